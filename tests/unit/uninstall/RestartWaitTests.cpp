// What waits for the restart in the data of all users: until then, every user could replace a folder by a link.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/CallWatch.h"
#include "tests/support/TestFiles.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/uninstall/Removal.h"

using namespace TestSupport;

namespace {

// "close <path>" and "move <path>" in order.
class Waiting {
 public:
  const Lines& Events() const { return events_; }
  unsigned refusals = 0;  // this many of the first calls to protect a folder fail

 private:
  Lines events_;
  std::wstring opened_;
  OnCall create_{"CreateFileW", &::CreateFileW,
                 [this](LPCWSTR path, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) { opened_ = path; }};
  ImportRedirection set_{"SetKernelObjectSecurity", [this](HANDLE, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR) -> BOOL {
                           events_.push_back("close " + ToUtf8(opened_));
                           if (refusals != 0) {
                             --refusals;
                             ::SetLastError(ERROR_ACCESS_DENIED);
                             return FALSE;
                           }
                           return TRUE;
                         }};
  ImportRedirection move_{"MoveFileExW", [this](LPCWSTR path, LPCWSTR, DWORD) -> BOOL {
                            events_.push_back("move " + ToUtf8(path));
                            return TRUE;
                          }};
};

TEST_CASE("before an entry is scheduled, the folders of its path are protected from the top down, each once") {
  const ClearedData cleared;
  const std::wstring data = kProgramData;
  WriteTestFile(data + L"\\OL\\a\\held.txt", "held");
  WriteTestFile(data + L"\\OL\\held.txt", "held");
  WriteTestFile(data + L"\\other\\file.txt", "other");
  const HeldFile first(data + L"\\OL\\a\\held.txt");
  const HeldFile second(data + L"\\OL\\held.txt");
  const std::string base = ToUtf8(data);
  for (const bool refused : {true, false}) {  // if the first folder cannot be protected, nothing waits
    Waiting waiting;
    waiting.refusals = refused ? 1 : 0;
    CHECK_LINES(Remove(data + L"\\OL"), (Removed(1)));
    const Lines closed = {"close " + base,
                          "close " + base + "\\OL",
                          "close " + base + "\\OL\\a",
                          "move " + base + "\\OL\\a\\held.txt",
                          "move " + base + "\\OL\\a",
                          "move " + base + "\\OL\\held.txt",
                          "move " + base + "\\OL"};
    CHECK_LINES(waiting.Events(), (refused ? Lines{closed.front()} : closed));
  }
}

TEST_CASE("if a folder cannot be protected, neither it nor its contents are scheduled for the restart") {
  const ClearedData cleared;
  const std::wstring data = kProgramData;
  WriteTestFile(data + L"\\OL\\held.txt", "held");
  const HeldFile held(data + L"\\OL\\held.txt");
  Waiting waiting;
  unsigned opened = 0;
  const ImportRedirection facts{"GetFileInformationByHandle", [&](HANDLE, BY_HANDLE_FILE_INFORMATION* answer) -> BOOL {
                                  answer->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
                                  return ++opened == 4 ? FALSE : TRUE;
                                }};
  Remove(data + L"\\OL");
  CHECK_LINES(waiting.Events(), {"close " + ToUtf8(data)});
}

TEST_CASE("for a missing folder, and for one outside the data folder, nothing is protected") {
  const ClearedData cleared;
  MakeFolder(kProgramData);
  const ScratchFolder scratch(L"Removal");
  const HeldFile held(scratch.MakeFile(L"VELA\\held.txt", "held"));
  Waiting waiting;
  Remove(kProgramData + std::wstring(L"\\OL"));
  Remove(scratch.Path(L"VELA"));
  CHECK_LINES(waiting.Events(), {"move " + ToUtf8(kProgramData) + "\\OL", "move C:\\VelaTest\\Removal\\VELA\\held.txt",
                                 "move C:\\VelaTest\\Removal\\VELA"});
}

}  // namespace
