// Removing the folders in which plug-ins and monitors keep data of all users.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/Clients.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/uninstall/Removal.h"

using namespace TestSupport;
using VELAUtility::RemoveVELAProgramData;

namespace {

constexpr wchar_t kBase[] = L"C:\\ProgramData\\Orvane Labs\\";

// The folders' names, in order.
std::vector<std::wstring> Folders() {
  std::vector<std::wstring> folders;
  for (const Client& client : Clients()) {
    folders.emplace_back(client.shortName);
  }
  folders.emplace_back(L"VELA_common");
  return folders;
}

struct ProgramData : ClearedData {
  std::wstring MakeFile(const std::wstring& below) const {
    WriteTestFile(kBase + below, "data");
    return kBase + below;
  }
  Lines Contents() const {
    FileSnapshot snapshot;
    snapshot.Add(kBase);
    return snapshot.AsLines();
  }

  PendingMoves pending;
};

Lines Failed(const std::wstring& folder, int error, const std::string& base = ToUtf8(kBase)) {
  return Joined(
      {FolderNotEmptied(error),
       {"LOG_WARN : VELAUtility::RemoveVELAProgramData(), Failed to delete folder: " + base + ToUtf8(folder)}});
}

TEST_CASE("the clients' folders and the common one are deleted, other folders stay; a missing one stops nothing") {
  for (std::size_t missing = 0; missing <= Folders().size(); ++missing) {  // index of the missing folder; then none
    const ProgramData data;
    data.MakeFile(L"Other product\\settings.txt");
    data.MakeFile(L"OL2\\settings.txt");
    Lines wanted;
    Lines scheduled;
    for (std::size_t folder = 0; folder < Folders().size(); ++folder) {
      if (folder == missing) {
        wanted = Joined({wanted, Failed(Folders()[folder], ERROR_PATH_NOT_FOUND)});
        scheduled.push_back("\\??\\" + ToUtf8(kBase + Folders()[folder]) + " -> ");
      } else {
        data.MakeFile(Folders()[folder] + L"\\Users\\a.log");
        wanted = Joined({wanted, FolderEmptied()});
      }
    }
    const LogCapture log;
    RemoveVELAProgramData();
    CHECK_LINES(log.Lines(), (wanted));
    CHECK_LINES(data.Contents(),
                {"OL2\\", "OL2\\settings.txt 4 bytes", "Other product\\", "Other product\\settings.txt 4 bytes"});
    CHECK_LINES(data.pending.Lines(), (scheduled));
  }
}

TEST_CASE("if the data folder is unknown, folders with the same names below the current folder stay") {
  const ProgramData data;
  const std::wstring current = L"C:\\VelaCurrentFolder";
  WriteTestFile(current + L"\\Orvane Labs\\OL\\a.txt", "somebody's");
  MakeFolder(current + L"\\Orvane Labs\\OE");
  wchar_t before[MAX_PATH] = {};
  ::GetCurrentDirectoryW(MAX_PATH, before);
  ::SetCurrentDirectoryW(current.c_str());
  const LogCapture log;
  {
    const FailCall ask("SHGetSpecialFolderPathW", Calls::From(1), ERROR_FILE_NOT_FOUND);
    const FailCall askAgain("SHGetFolderPathW", Calls::From(1), ERROR_FILE_NOT_FOUND);
    RemoveVELAProgramData();
    CHECK(askAgain.Failed() >= 1);
  }
  ::SetCurrentDirectoryW(before);
  Lines wanted;
  for (const std::wstring& folder : Folders()) {
    wanted = Joined({wanted, Failed(folder, ERROR_PATH_NOT_FOUND, "Orvane Labs\\")});
  }
  CHECK_LINES(log.Lines(), (wanted));
  CHECK(Exists(current + L"\\Orvane Labs\\OL\\a.txt"));
  CHECK(Exists(current + L"\\Orvane Labs\\OE"));
  CHECK_LINES(data.pending.Lines(), {});
  RemoveTree(current);
}

TEST_CASE("the folder that contains all data folders is protected only once") {
  const ProgramData data;
  const HeldFile first(data.MakeFile(L"OL\\held.log"));
  const HeldFile second(data.MakeFile(L"OE\\held.log"));
  unsigned closed = 0;
  {
    const CountCalls closings("SetKernelObjectSecurity");
    RemoveVELAProgramData();
    closed = closings.Calls();
  }
  CHECK(closed == 3);
}

}  // namespace
