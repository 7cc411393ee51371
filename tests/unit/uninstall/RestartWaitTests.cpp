// What waits for the restart in the data of all users: until then every user could make a folder on the way a link.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/ImportRedirection.h"
#include "tests/support/TestFiles.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/uninstall/Removal.h"

using namespace TestSupport;

namespace {

constexpr wchar_t kProgramData[] = L"C:\\ProgramData\\Orvane Labs";

// No data of all users before and after a test.
struct ClearedData {
  ClearedData() { RemoveTree(kProgramData); }
  ClearedData(const ClearedData&) = delete;
  ClearedData& operator=(const ClearedData&) = delete;
  ~ClearedData() { RemoveTree(kProgramData); }
};

// "close <path>" and "move <path>" in order.
class Waiting {
 public:
  const Lines& Events() const { return events_; }
  unsigned refusals = 0;  // so many of the first closings fail

 private:
  Lines events_;
  std::wstring opened_;
  ImportRedirection create_{"CreateFileW",
                            [this](LPCWSTR path, DWORD rights, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD how,
                                   DWORD options, HANDLE pattern) -> HANDLE {
                              opened_ = path;
                              return create_.Original<decltype(&::CreateFileW)>()(path, rights, sharing, security, how,
                                                                                  options, pattern);
                            }};
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

TEST_CASE("the way to what is left to the restart is closed before, from the top down, each folder once") {
  const ClearedData cleared;
  const std::wstring data = kProgramData;
  WriteTestFile(data + L"\\OL\\a\\held.txt", "held");
  WriteTestFile(data + L"\\OL\\held.txt", "held");
  WriteTestFile(data + L"\\other\\file.txt", "other");
  const HeldFile first(data + L"\\OL\\a\\held.txt");
  const HeldFile second(data + L"\\OL\\held.txt");
  Waiting waiting;
  const Removal removal = Remove(data + L"\\OL");
  CHECK(removal.succeeded);
  CHECK(removal.restartNeeded == 1);
  CHECK_LINES(removal.log, (FolderEmptied()));
  const std::string base = ToUtf8(data);
  CHECK_LINES(waiting.Events(), {"close " + base, "close " + base + "\\OL", "close " + base + "\\OL\\a",
                                 "move " + base + "\\OL\\a\\held.txt", "move " + base + "\\OL\\a",
                                 "move " + base + "\\OL\\held.txt", "move " + base + "\\OL"});
}

TEST_CASE("where a folder on the way cannot be closed nothing is left to the restart, and the log is the same") {
  const ClearedData cleared;
  const std::wstring data = kProgramData;
  WriteTestFile(data + L"\\OL\\a\\held.txt", "held");
  const HeldFile held(data + L"\\OL\\a\\held.txt");
  Waiting waiting;
  waiting.refusals = 1;
  const Removal removal = Remove(data + L"\\OL");
  CHECK(removal.succeeded);
  CHECK(removal.restartNeeded == 1);
  CHECK_LINES(removal.log, (FolderEmptied()));
  CHECK_LINES(waiting.Events(), {"close " + ToUtf8(data)});
}

TEST_CASE("a folder that cannot be closed waits as little as what lies in it") {
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

TEST_CASE("for a folder that is not there nothing is closed") {
  const ClearedData cleared;
  MakeFolder(kProgramData);
  Waiting waiting;
  Remove(kProgramData + std::wstring(L"\\OL"));
  CHECK_LINES(waiting.Events(), {"move " + ToUtf8(kProgramData) + "\\OL"});
}

TEST_CASE("a product folder elsewhere stays as open as it is") {
  const ScratchFolder scratch(L"Removal");
  const HeldFile held(scratch.MakeFile(L"VELA\\held.txt", "held"));
  Waiting waiting;
  Remove(scratch.Path(L"VELA"));
  CHECK_LINES(waiting.Events(), {"move C:\\VelaTest\\Removal\\VELA\\held.txt", "move C:\\VelaTest\\Removal\\VELA"});
}

}  // namespace
