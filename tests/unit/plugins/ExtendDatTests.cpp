// The Windows version decides which cache file is deleted. The program asks for it once: every run of this program is
// one version, named by the environment.
#include <windows.h>

#include <shlobj.h>

#include <doctest/doctest.h>

#include <cwchar>

#include "Common/OrCommon/OrComn_System.h"
#include "plugins/OutlookAddinRemoval.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/support/FolderLink.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;
using TestSupport::FolderLink;

namespace {

constexpr wchar_t kOlder[] = L"Application Data\\Microsoft\\Outlook\\Extend.dat";
constexpr wchar_t kNewer[] = L"AppData\\Local\\Microsoft\\Outlook\\Extend.dat";

// A machine of this run's version, with its profiles in a separate folder of the test.
class Machine {
 public:
  const ScratchFolder& Profiles() const { return profiles_; }
  // A profile with a cache in both places.
  void AddUser(const std::wstring& user) const {
    profiles_.MakeFile(user + L"\\" + kOlder, "cache");
    profiles_.MakeFile(user + L"\\" + kNewer, "cache");
  }
  Lines Caches() const {
    FileSnapshot snapshot;
    snapshot.Add(profiles_.Path());
    return LinesWith(snapshot.AsLines(), "Extend.dat");
  }
  bool IsVersion60() const { return windows_.Is60(); }
  const wchar_t* CacheFile() const { return IsVersion60() ? kNewer : kOlder; }
  std::string DeleteLine(const std::wstring& user) const {
    return "LOG_INFO : Begin to delete the file: C:\\VelaTest\\Profiles\\" + ToUtf8(user + L"\\" + CacheFile());
  }

 private:
  const WindowsOfThisRun windows_;
  const WindowsReports reports_{windows_.major, windows_.minor, VER_NT_WORKSTATION};
  ScratchFolder profiles_{L"Profiles"};
  const ImportRedirection getFolder_{"SHGetFolderPathW",
                                     [](HWND, int folder, HANDLE token, DWORD flags, LPWSTR path) -> HRESULT {
                                       CHECK(folder == CSIDL_PROFILE);
                                       CHECK(token == nullptr);
                                       CHECK(flags == 0);
                                       std::wcscpy(path, L"C:\\VelaTest\\Profiles\\current user");
                                       return S_OK;
                                     }};
};

TEST_CASE("every user's cache file is deleted where this Windows version has it, and only there") {
  const Machine machine;
  machine.AddUser(L"anna");
  machine.Profiles().MakeFolder(L"current user");
  machine.Profiles().MakeFolder(std::wstring(220, L'l'));  // whose cache would have too long a path
  machine.AddUser(L"zoe");
  const LogCapture log;
  VELAUtility::DeleteOutlookExtendDat();

  CHECK(OrCommon::System::IsWindowsVersion(OrCommon::System::kWindows60) == machine.IsVersion60());
  CHECK_LINES(log.Lines(),
              {machine.DeleteLine(L"anna"), machine.DeleteLine(L"current user"), machine.DeleteLine(L"zoe")});
  const std::string kept = "\\" + ToUtf8(machine.IsVersion60() ? kOlder : kNewer) + " 5 bytes";
  CHECK_LINES(machine.Caches(), {"anna" + kept, "zoe" + kept});
}

TEST_CASE("a cache file that cannot be deleted is not reported; without a profile folder, nothing is logged") {
  const Machine machine;
  machine.AddUser(L"anna");
  machine.AddUser(L"bert");
  const LogCapture log;
  {
    const FailCall folder{"SHGetFolderPathW", 1, ERROR_PATH_NOT_FOUND};
    VELAUtility::DeleteOutlookExtendDat();
    CHECK(folder.Failed() == 1);
  }
  CHECK(log.Lines().empty());
  CHECK(machine.Caches().size() == 4);
  {
    const FailCall open{"CreateFileW", 1, ERROR_SHARING_VIOLATION};
    VELAUtility::DeleteOutlookExtendDat();
  }
  CHECK_LINES(log.Lines(), {machine.DeleteLine(L"anna"), machine.DeleteLine(L"bert")});
  CHECK(LinesWith(machine.Caches(), "anna\\").size() == 2);
  CHECK(LinesWith(machine.Caches(), "bert\\").size() == 1);
}

TEST_CASE("the system's own junction is followed to the folder of the same profile and to no other") {
  const Machine machine;
  const wchar_t* const roaming[] = {L"anna\\AppData\\Roaming", L"bert\\AppData\\Roaming"};
  for (const wchar_t* const folder : roaming) {
    machine.Profiles().MakeFile(folder + std::wstring(L"\\Microsoft\\Outlook\\Extend.dat"), "cache");
  }
  const std::wstring profiles = L"C:\\VelaTest\\Profiles\\";
  const FolderLink own(profiles + L"anna\\Application Data", profiles + roaming[0]);
  const FolderLink foreign(profiles + L"carl", profiles + L"bert");
  const FolderLink planted(profiles + L"bert\\Application Data", profiles + roaming[0]);
  VELAUtility::DeleteOutlookExtendDat();
  // Version 6.0 looks in the folder itself.
  const bool stays = machine.IsVersion60();
  CHECK(Exists(profiles + roaming[0] + L"\\Microsoft\\Outlook\\Extend.dat") == stays);
  CHECK(Exists(profiles + roaming[1] + L"\\Microsoft\\Outlook\\Extend.dat"));
}

}  // namespace
