// Which cache file is deleted depends on the Windows version, which the program asks for once: every run of this
// program is one version, named by the environment.
#include <windows.h>

#include <shlobj.h>

#include <doctest/doctest.h>

#include <cstdlib>
#include <cwchar>
#include <stdexcept>

#include "Common/OrCommon/OrComn_System.h"
#include "plugins/OutlookAddinRemoval.h"
#include "tests/support/CallFailures.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/support/FolderLink.h"
#include "tests/unit/plugins/OwnFiles.h"

using OrCommonTests::FolderLink;
using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::Lines;
using TestSupport::LogCapture;

namespace {

constexpr wchar_t kOlder[] = L"Application Data\\Microsoft\\Outlook\\Extend.dat";
constexpr wchar_t kNewer[] = L"AppData\\Local\\Microsoft\\Outlook\\Extend.dat";

// The version of this run.
struct Version {
  unsigned long major = 0;
  unsigned long minor = 0;

  Version() {
    const char* const text = std::getenv("VELA_TEST_WINDOWS");
    char* end = nullptr;
    if (text != nullptr) {
      major = std::strtoul(text, &end, 10);
      minor = *end == '.' ? std::strtoul(end + 1, nullptr, 10) : 0;
    }
    if (major == 0) {
      throw std::runtime_error("VELA_TEST_WINDOWS does not name a Windows version");
    }
  }
};

// A machine of that version, whose profiles lie in a folder of the test's own.
class Machine {
 public:
  Machine()
      : getVersion_("GetVersionExW",
                    [this](OSVERSIONINFOW* record) -> BOOL {
                      record->dwMajorVersion = version_.major;
                      record->dwMinorVersion = version_.minor;
                      record->dwPlatformId = VER_PLATFORM_WIN32_NT;
                      return TRUE;
                    }),
        getFolder_("SHGetFolderPathW", [](HWND, int folder, HANDLE token, DWORD flags, LPWSTR path) -> HRESULT {
          CHECK(folder == CSIDL_PROFILE);
          CHECK(token == nullptr);
          CHECK(flags == 0);
          std::wcscpy(path, L"C:\\VelaProfiles\\current user");
          return S_OK;
        }) {}

  const OwnFolder& Profiles() const { return profiles_; }
  bool IsVersion60() const { return version_.major == 6 && version_.minor == 0; }
  const wchar_t* CacheFile() const { return IsVersion60() ? kNewer : kOlder; }
  std::string DeleteLine(const std::wstring& user) const {
    return "LOG_INFO : Begin to delete the file: C:\\VelaProfiles\\" + TestSupport::ToUtf8(user + L"\\" + CacheFile());
  }

 private:
  const Version version_;
  OwnFolder profiles_{L"C:\\VelaProfiles"};
  ImportRedirection getVersion_;
  ImportRedirection getFolder_;
};

void WriteBothCaches(const OwnFolder& profiles, const std::wstring& user) {
  profiles.Write(user + L"\\" + kOlder, "cache");
  profiles.Write(user + L"\\" + kNewer, "cache");
}

TEST_SUITE_BEGIN("windows versions");

TEST_CASE("every user's cache goes from where this Windows version has it, and from there only") {
  const Machine machine;
  WriteBothCaches(machine.Profiles(), L"anna");
  WriteBothCaches(machine.Profiles(), L"bert");
  machine.Profiles().MakeFolder(L"current user");
  const LogCapture log;
  VELAUtility::DeleteOutlookExtendDat();

  CHECK(OrCommon::System::IsWindowsVersion(OrCommon::System::kWindows60) == machine.IsVersion60());
  CHECK_LINES(log.Lines(),
              {machine.DeleteLine(L"anna"), machine.DeleteLine(L"bert"), machine.DeleteLine(L"current user")});
  const std::string kept = machine.IsVersion60() ? "Application Data\\Microsoft\\Outlook\\Extend.dat 5 bytes"
                                                 : "AppData\\Local\\Microsoft\\Outlook\\Extend.dat 5 bytes";
  CHECK_LINES(TestSupport::LinesWith(machine.Profiles().Contents(), "Extend.dat"), {"anna\\" + kept, "bert\\" + kept});
}

TEST_CASE("other files in the folder of the cache stay") {
  const Machine machine;
  WriteBothCaches(machine.Profiles(), L"anna");
  const std::wstring folder = std::wstring(machine.CacheFile(), std::wcslen(machine.CacheFile()) - 10);
  machine.Profiles().Write(L"anna\\" + folder + L"outlook.pst", "letters");
  VELAUtility::DeleteOutlookExtendDat();
  CHECK(TestSupport::LinesWith(machine.Profiles().Contents(), "outlook.pst").size() == 1);
  CHECK(TestSupport::LinesWith(machine.Profiles().Contents(), "Extend.dat").size() == 1);
}

TEST_CASE("only folders are profiles") {
  const Machine machine;
  machine.Profiles().Write(L"a file", "");
  const LogCapture log;
  VELAUtility::DeleteOutlookExtendDat();
  CHECK(log.Lines().empty());
}

TEST_CASE("a cache that cannot be deleted is not reported, and the next user comes") {
  const Machine machine;
  WriteBothCaches(machine.Profiles(), L"anna");
  WriteBothCaches(machine.Profiles(), L"bert");
  const LogCapture log;
  {
    const FailCall open{"CreateFileW", 1, ERROR_SHARING_VIOLATION};
    VELAUtility::DeleteOutlookExtendDat();
  }
  CHECK_LINES(log.Lines(), {machine.DeleteLine(L"anna"), machine.DeleteLine(L"bert")});
  CHECK(TestSupport::LinesWith(machine.Profiles().Contents(), "bert\\").size() ==
        TestSupport::LinesWith(machine.Profiles().Contents(), "anna\\").size() - 1);
}

TEST_CASE("a profile whose cache would have too long a path keeps nobody else from losing theirs") {
  const Machine machine;
  machine.Profiles().MakeFolder(std::wstring(220, L'l'));
  WriteBothCaches(machine.Profiles(), L"zoe");
  const LogCapture log;
  VELAUtility::DeleteOutlookExtendDat();
  CHECK_LINES(TestSupport::LinesWith(log.Lines(), "zoe"), {machine.DeleteLine(L"zoe")});
  CHECK(TestSupport::LinesWith(machine.Profiles().Contents(), "zoe\\").size() > 0);
  CHECK(TestSupport::LinesWith(machine.Profiles().Contents(), "Extend.dat").size() == 1);
}

TEST_CASE("without a profile folder nothing is deleted and nothing is said") {
  const Machine machine;
  WriteBothCaches(machine.Profiles(), L"anna");
  const LogCapture log;
  {
    const FailCall folder{"SHGetFolderPathW", 1, ERROR_PATH_NOT_FOUND};
    VELAUtility::DeleteOutlookExtendDat();
    CHECK(folder.Failed() == 1);
  }
  CHECK(log.Lines().empty());
  CHECK(TestSupport::LinesWith(machine.Profiles().Contents(), "Extend.dat").size() == 2);
}

TEST_CASE("the search for profiles is closed") {
  const Machine machine;
  const CountCalls closes{"FindClose"};
  VELAUtility::DeleteOutlookExtendDat();
  CHECK(closes.Calls() == 1);
}

// The first so many folders of the way to the cache, the profile's own included.
std::wstring WayToCache(const Machine& machine, int folders) {
  const std::wstring way = std::wstring(L"anna\\") + machine.CacheFile();
  std::size_t end = 0;
  for (int folder = 0; folder < folders; ++folder) {
    end = way.find(L'\\', end + 1);
  }
  return way.substr(0, end);
}

// Deletes the caches where one folder on the way is a link that leads to another folder with such a file.
void CheckLinkNotFollowed(int folder) {
  CAPTURE(folder);
  const Machine machine;
  const std::wstring way = WayToCache(machine, folder);
  const std::wstring rest = (std::wstring(L"anna\\") + machine.CacheFile()).substr(way.size());
  const OwnFolder outside(L"C:\\VelaOutside");
  outside.Write(rest.substr(1), "somebody's");
  if (folder > 1) {
    machine.Profiles().MakeFolder(WayToCache(machine, folder - 1));
  }
  const FolderLink link(L"C:\\VelaProfiles\\" + way, L"C:\\VelaOutside");
  const LogCapture log;
  VELAUtility::DeleteOutlookExtendDat();
  CHECK_LINES(log.Lines(), {machine.DeleteLine(L"anna")});
  CHECK(TestSupport::LinesWith(outside.Contents(), "Extend.dat").size() == 1);
}

TEST_CASE("a link that a user has put anywhere on the way to the cache is not followed, and the line is the same") {
  const int folders = Machine().IsVersion60() ? 5 : 4;
  for (int folder = 1; folder <= folders; ++folder) {
    CheckLinkNotFollowed(folder);
    const TestSupport::MissingEntry old{"SetFileInformationByHandle"};
    CheckLinkNotFollowed(folder);
  }
}

TEST_CASE("the system's own junction is followed to the folder of the same profile and to no other") {
  const Machine machine;
  const wchar_t* const roaming[] = {L"anna\\AppData\\Roaming", L"bert\\AppData\\Roaming"};
  for (const wchar_t* const folder : roaming) {
    machine.Profiles().Write(folder + std::wstring(L"\\Microsoft\\Outlook\\Extend.dat"), "cache");
  }
  const std::wstring profiles = L"C:\\VelaProfiles\\";
  const FolderLink own(profiles + L"anna\\Application Data", profiles + roaming[0]);
  const FolderLink foreign(profiles + L"carl", profiles + L"bert");
  const FolderLink planted(profiles + L"bert\\Application Data", profiles + roaming[0]);
  VELAUtility::DeleteOutlookExtendDat();
  // Version 6.0 looks into the folder itself.
  const bool stays = machine.IsVersion60();
  CHECK(TestSupport::Exists(profiles + roaming[0] + L"\\Microsoft\\Outlook\\Extend.dat") == stays);
  CHECK(TestSupport::Exists(profiles + roaming[1] + L"\\Microsoft\\Outlook\\Extend.dat"));
}

TEST_SUITE_END();

}  // namespace
