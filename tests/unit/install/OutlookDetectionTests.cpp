// Whether Outlook is installed, which release, and where.
#include "install/OutlookDetection.h"

#include <doctest/doctest.h>

#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/OutlookRegistered.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

constexpr char kOpened[] =
    "LOG_INFO : GetOutlookVersion(), Open registry key success: Software\\Classes\\Outlook.Application\\CurVer\\";
constexpr char kProgram[] = "LOG_INFO : GetOutlookVersion(), Get outlook.exe path: C:\\VelaTest\\Office\\outlook.exe";

std::string Release(const std::string& text) {
  return "LOG_INFO : GetOutlookVersion(), RegQueryValueEx for strVer: " + text;
}

std::string Success(const std::string& number) {
  return "LOG_INFO : GetOutlookVersion(), Success Get Outlook version: " + number;
}

TEST_CASE("which Outlook release each version number means") {
  const DWORD codes[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 3, 4, 5, 0, 6, 7, 7, 7};
  for (unsigned long number = 0; number < std::size(codes); ++number) {
    CAPTURE(number);
    CHECK(static_cast<DWORD>(ReleaseOfVersion(number)) == codes[number]);
  }
  CHECK(ReleaseOfVersion(0xFFFFFFFFUL) == OL_LATER_THAN_2010);
}

TEST_CASE("the release is what follows the last dot") {
  CHECK(ReleaseTextOf(L"Outlook.Application.14") == L"14");
  CHECK(ReleaseTextOf(L"Outlook.Application.14.1") == L"1");
  CHECK(ReleaseTextOf(L"14") == L"14");
  CHECK(ReleaseTextOf(L"Outlook") == L"Outlook");
  CHECK(ReleaseTextOf(L"Outlook.Application.").empty());
  CHECK(ReleaseTextOf(L"").empty());
}

TEST_CASE("a number is its leading decimal digits") {
  CHECK(LeadingNumberOf(L"14") == 14);
  CHECK(LeadingNumberOf(L"014") == 14);
  CHECK(LeadingNumberOf(L"14x9") == 14);
  CHECK(LeadingNumberOf(L"x14") == 0);
  CHECK(LeadingNumberOf(L"") == 0);
  CHECK(LeadingNumberOf(L"4294967290") == 4294967290UL);
  CHECK(LeadingNumberOf(L"4294967295") == 0xFFFFFFFFUL);
  CHECK(LeadingNumberOf(L"4294967296") == 0xFFFFFFFFUL);
  CHECK(LeadingNumberOf(L"99999999999999999999") == 0xFFFFFFFFUL);
}

TEST_CASE("which releases are supported, and what is logged about the others") {
  struct Row {
    const wchar_t* release;  // empty: Outlook is not registered
    bool supported;
    int code;
    const char* word;
  };
  for (const Row& row :
       {Row{L"", false, 0, "OL_NOT_INSTALLED"}, Row{L"9", false, 2, "OL_2000"}, Row{L"10", true, 3, ""},
        Row{L"11", true, 4, ""}, Row{L"12", true, 5, ""}, Row{L"13", false, 0, "OL_NOT_INSTALLED"},
        Row{L"14", true, 6, ""}, Row{L"16", false, 7, "OL_LATER_THAN_2010"}}) {
    CAPTURE(ToUtf8(row.release));
    const OutlookRegistered outlook;
    if (*row.release != L'\0') {
      outlook.NameAndRelease(row.release);
    }
    const LogCapture log;
    CHECK(IsOutlookSupported() == row.supported);
    Lines wanted = {"LOG_INFO : GetOutlookVersion return=" + std::to_string(row.code)};
    if (*row.word != '\0') {
      wanted.push_back("LOG_INFO : GetOutlookVersion return " + std::string(row.word) + " !");
    }
    CHECK_LINES(LinesWith(log.Lines(), "return"), (wanted));
  }
}

TEST_CASE("the calls of a lookup, in order, with every key closed") {
  const OutlookRegistered outlook;
  outlook.NameAndRelease(L"14");
  outlook.office32.MakeSubkey(L"12.0");
  Lines calls;
  {
    const RegistryCallTrace trace;
    GetOutlookVersion();
    calls = trace.Calls();
  }
  CHECK_LINES(
      calls, {"RegOpenKeyW HKLM Software\\Classes\\Outlook.Application\\CurVer\\ -> 1",
              "RegQueryValueExW 1 default 4096 bytes", "RegOpenKeyExW HKLM SOFTWARE\\Microsoft\\Office\\ 00020219 -> 2",
              "RegEnumKeyW 2 index 0 260 characters", "RegEnumKeyW 2 index 1 260 characters", "RegCloseKey 2",
              "RegOpenKeyExW HKLM SOFTWARE\\Microsoft\\Office\\14.0\\Outlook\\InstallRoot 00020019 -> error 2",
              "RegOpenKeyExW HKLM SOFTWARE\\Microsoft\\Office\\14.0\\Outlook\\InstallRoot 00020219 -> 3",
              "RegQueryValueExW 3 \"Path\" 522 bytes", "RegCloseKey 3", "RegCloseKey 1"});
}

TEST_CASE("the folder in the program's own registry view takes precedence over the 32-bit view") {
  const OutlookRegistered outlook;
  outlook.Name(L"Outlook.Application.14");
  outlook.Release(L"14.0", L"C:\\VelaTest\\Office32\\");
  outlook.office64.Set(L"14.0\\Outlook\\InstallRoot", {L"Path", L"C:\\VelaTest\\Office\\"});
  std::wstring folder;
  CHECK(GetOutlookInstallPath(folder));
  CHECK(folder == L"C:\\VelaTest\\Office\\");
  // The release itself is looked up only in the 32-bit view.
  outlook.office32.Delete();
  CHECK(GetOutlookVersion() == OL_NOT_INSTALLED);
  // A key without the value counts, too.
  outlook.Release(L"14.0");
  outlook.office64.Delete();
  outlook.office64.MakeSubkey(L"14.0\\Outlook\\InstallRoot");
  CHECK_FALSE(GetOutlookInstallPath(folder));
  CHECK(GetOutlookVersion() == OL_NOT_INSTALLED);
}

TEST_CASE("of several subkeys the first that contains the release wins, even without a folder") {
  for (const wchar_t* const second : {L"14.0.1", L"9.14"}) {
    const OutlookRegistered outlook;
    outlook.Name(L"Outlook.Application.14");
    outlook.Release(second, L"C:\\second\\");
    outlook.Release(L"14.0", L"C:\\first\\");
    outlook.Release(L"12.0", L"C:\\other\\");
    std::wstring folder;
    CHECK(GetOutlookInstallPath(folder));
    CHECK(folder == L"C:\\first\\");
    outlook.office32.MakeSubkey(L"0.14");
    CHECK_FALSE(GetOutlookInstallPath(folder));
    CHECK(GetOutlookVersion() == OL_NOT_INSTALLED);
  }
}

// The contents of the registry, and how far the lookup gets with them.
struct Lookup {
  const wchar_t* program;  // null: no default value
  const wchar_t* release;
  const wchar_t* folder;
  OutlookRelease found;
  Lines lines;  // after the first
};

TEST_CASE("what a lookup finds and logs if the registry entries are unusual or incomplete") {
  const wchar_t* const folder = L"C:\\VelaTest\\Office\\";
  const std::string asked = "LOG_INFO : GetOutlookVersion(), Get outlook.exe path: C:\\VelaTest\\";
  const std::wstring tooLong = L"Outlook.Application." + std::wstring(2100, L'1');  // more than 4,096 bytes
  const Lookup rows[] = {
      {L"12", L"12.0", folder, OL_2007, {Release("12"), kProgram, Success("12")}},
      {L"X.Beta", L"Beta", folder, OL_NOT_INSTALLED, {Release("Beta"), kProgram, Success("0")}},
      {nullptr, L"14.0", folder, OL_NOT_INSTALLED, {}},
      {tooLong.c_str(), L"14.0", folder, OL_NOT_INSTALLED, {}},
      {L"X.14", L"14.0", L"C:\\VelaTest\\No\\", OL_NOT_INSTALLED, {Release("14"), asked + "No\\outlook.exe"}},
      {L"X.14", L"14.0", L"C:\\VelaTest\\Office", OL_NOT_INSTALLED, {Release("14"), asked + "Officeoutlook.exe"}},
  };
  for (const Lookup& row : rows) {
    const OutlookRegistered outlook;
    outlook.program.MakeSubkey(L"CurVer");
    if (row.program != nullptr) {
      outlook.Name(row.program);
    }
    outlook.Release(row.release, row.folder);
    const LogCapture log;
    CHECK(GetOutlookVersion() == row.found);
    CHECK_LINES(log.Lines(), (Joined({{kOpened}, row.lines})));
  }
}

TEST_CASE("a default value stored without its terminator is read all the same") {
  const OutlookRegistered outlook;
  outlook.program.SetData(L"CurVer", L"", REG_BINARY, L"X.14", 8);
  outlook.Release(L"14.0");
  CHECK(GetOutlookVersion() == OL_2010);
}

TEST_CASE("a folder of more than 522 bytes cannot be read") {
  const OutlookRegistered outlook;
  outlook.Name(L"Outlook.Application.14");
  std::wstring folder = L"before";
  outlook.Release(L"14.0", std::wstring(261, L'x'));
  CHECK_FALSE(GetOutlookInstallPath(folder));
  CHECK(folder.empty());
  outlook.Release(L"14.0", std::wstring(260, L'x'));
  CHECK(GetOutlookInstallPath(folder));
  CHECK(folder == std::wstring(260, L'x'));
}

TEST_CASE("the install path is found even without outlook.exe, and logged with the lines of the version query") {
  const OutlookRegistered outlook;
  const LogCapture log;
  std::wstring folder = L"before";
  outlook.Name(L"Outlook.Application.16");
  CHECK_FALSE(GetOutlookInstallPath(folder));
  CHECK(folder.empty());
  outlook.Release(L"16.0", L"C:\\VelaTest\\No\\");
  CHECK(GetOutlookInstallPath(folder));
  CHECK(folder == L"C:\\VelaTest\\No\\");
  CHECK_LINES(log.Lines(), {kOpened, Release("16"), kOpened, Release("16"),
                            "LOG_INFO : VELAUtility::GetOutlookInstallPath() success, the path: C:\\VelaTest\\No\\"});
}

TEST_CASE("every failing call ends the lookup, and every key is closed") {
  const OutlookRegistered outlook;
  outlook.NameAndRelease(L"14");
  const std::vector<std::string> functions = {"RegOpenKeyW", "RegOpenKeyExW", "RegQueryValueExW", "RegEnumKeyW",
                                              "GetFileAttributesW"};
  unsigned failing = 0;
  for (bool failed = true; failed;) {
    ++failing;
    CAPTURE(failing);
    const FailNthOf fault(functions, Calls::Only(failing), ERROR_ACCESS_DENIED);
    const RegistryCallTrace trace;
    const OutlookRelease release = GetOutlookVersion();
    CHECK(trace.AllClosed());
    failed = !fault.Failed().empty();
    // The fifth call is the open that fails anyway. It is followed by the open in the 32-bit view.
    CHECK(release == (failed && failing != 5 ? OL_NOT_INSTALLED : OL_2010));
  }
  CHECK(failing == 9);
}

}  // namespace
