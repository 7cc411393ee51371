#include "plugins/OutlookAddin.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/plugins/OwnFiles.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"

using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::Lines;
using TestSupport::LogCapture;
using VELAUtility::LoadBehavior;

namespace {

constexpr char kAddinKey[] = "HKLM\\Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent [64]";
constexpr char kLoadBehaviorFailure[] = "LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior !!";
constexpr char kEcfWithoutOutlook[] =
    "LOG_INFO : VELAUtility::VELA_RemoveOutlookECF(), OL Install Path is empty, it maybe not install.";

// A machine without Outlook, on which nothing of the add-in was ever registered.
struct CleanMachine {
  OwnKey outlook{TestSupport::MachineKey64(L"Software\\Microsoft\\Office\\Outlook")};
  OwnKey registeredProgram{TestSupport::MachineKey64(L"Software\\Classes\\Outlook.Application")};
  UserHivesWorld hives;
  OwnKey addin{TestSupport::MachineKey64(L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent")};
};

Lines AddinContents(int loadBehavior) {
  return {kAddinKey, std::string(kAddinKey) + " \"CommandLineSafe\" REG_DWORD 0",
          std::string(kAddinKey) + " \"Description\" REG_SZ \"Orvane Labs Anti-Spam Agent for Outlook\"",
          std::string(kAddinKey) + " \"FriendlyName\" REG_SZ \"Orvane Labs Anti-Spam Addin\"",
          std::string(kAddinKey) + " \"LoadBehavior\" REG_DWORD " + std::to_string(loadBehavior)};
}

Lines Without(const std::string& value, const Lines& contents) {
  Lines rest;
  for (const std::string& line : contents) {
    if (line.find("\"" + value + "\"") == std::string::npos) {
      rest.push_back(line);
    }
  }
  return rest;
}

// As a registration does.
void WriteMachineKey() {
  if (VELAUtility::EnsureOutlookAddinKeyForMachine()) {
    CHECK(VELAUtility::WriteOutlookLoadBehaviorForMachine(LoadBehavior::kLoadAtStartUp));
    VELAUtility::WriteOutlookAddinValuesForMachine();
  }
}

TEST_CASE("registering starts Redemption.dll, then VELA_OLA.dll, with or without a backslash behind the folder") {
  for (const wchar_t* const folder : {L"C:\\Orvane Labs\\VELA_OL", L"C:\\Orvane Labs\\VELA_OL\\"}) {
    const CleanMachine machine;
    RegistrationChild child;
    const LogCapture log;
    CHECK(VELAUtility::RegisterOutlookAddin(folder, true));

    CHECK_LINES(child.CommandLines(), {"regsvr32.exe /s \"C:\\Orvane Labs\\VELA_OL\\Redemption.dll\"",
                                       "regsvr32.exe /s \"C:\\Orvane Labs\\VELA_OL\\VELA_OLA.dll\""});
    CHECK_LINES(log.Lines(), (Joined({RegisteringLines("C:\\Orvane Labs\\VELA_OL\\Redemption.dll"),
                                      {kEcfWithoutOutlook},
                                      RegisteringLines("C:\\Orvane Labs\\VELA_OL\\VELA_OLA.dll")})));
    CHECK_LINES(machine.addin.Contents(), (AddinContents(3)));
  }
}

TEST_CASE("an add-in that is not to be loaded at start-up is registered all the same") {
  const CleanMachine machine;
  RegistrationChild child;
  CHECK(VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", false));
  CHECK(child.Starts().size() == 2);
  CHECK_LINES(machine.addin.Contents(), (AddinContents(2)));
}

TEST_CASE("registering again replaces what was registered") {
  const CleanMachine machine;
  RegistrationChild child;
  VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", true);
  VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", false);
  CHECK_LINES(machine.addin.Contents(), (AddinContents(2)));
}

TEST_CASE("without Redemption.dll nothing else is attempted") {
  const CleanMachine machine;
  RegistrationChild child;
  child.FailStart(1, ERROR_FILE_NOT_FOUND);
  const LogCapture log;
  CHECK_FALSE(VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", true));

  CHECK(child.Starts().size() == 1);
  CHECK_LINES(log.Lines(), (Joined({RegisteringLines("C:\\VELA_OL\\Redemption.dll", 0),
                                    {"LOG_ERROR: Failed to register Redemption.dll !! C:\\VELA_OL\\Redemption.dll"}})));
  CHECK(machine.outlook.Contents().empty());
}

TEST_CASE("without VELA_OLA.dll no key is written, and the message tells why regsvr32.exe did not start") {
  const CleanMachine machine;
  RegistrationChild child;
  child.FailStart(2, ERROR_INTERNAL_ERROR);
  const LogCapture log;
  CHECK_FALSE(VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", true));

  CHECK_LINES(log.Lines(), (Joined({RegisteringLines("C:\\VELA_OL\\Redemption.dll"),
                                    {kEcfWithoutOutlook},
                                    RegisteringLines("C:\\VELA_OL\\VELA_OLA.dll", 0),
                                    {"LOG_ERROR: Failed to register VELA_OLA.dll !! GetLastError()=[%d]1359"}})));
  CHECK(machine.outlook.Contents().empty());
}

TEST_CASE("a module path that does not fit the command line counts as one that could not be registered") {
  const CleanMachine machine;
  RegistrationChild child;
  const std::wstring folder = L"C:\\" + std::wstring(240, L'f');
  const LogCapture log;
  CHECK_FALSE(VELAUtility::RegisterOutlookAddin(folder, true));

  const std::string path = TestSupport::ToUtf8(folder) + "\\Redemption.dll";
  CHECK(child.Starts().empty());
  CHECK_LINES(log.Lines(), {"LOG_INFO : RegisterComModule() command line: regsvr32.exe /s \"" + path + "\"",
                            "LOG_ERROR: Failed to register Redemption.dll !! " + path});
}

TEST_CASE("the values are written in order, each through a key that is opened and closed for it") {
  const CleanMachine machine;
  struct Write {
    std::string name;
    DWORD type;
    DWORD size;
    bool operator==(const Write& other) const { return name == other.name && type == other.type && size == other.size; }
  };
  std::vector<Write> writes;
  unsigned opens = 0;
  OpenKeysWatch keys;
  {
    ImportRedirection open{"RegOpenKeyW", [&](HKEY root, LPCWSTR path, PHKEY key) -> LSTATUS {
                             ++opens;
                             return open.Original<decltype(&::RegOpenKeyW)>()(root, path, key);
                           }};
    ImportRedirection set{"RegSetValueExW",
                          [&](HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
                            writes.push_back({TestSupport::ToUtf8(name), type, size});
                            return set.Original<decltype(&::RegSetValueExW)>()(key, name, 0, type, data, size);
                          }};
    WriteMachineKey();
  }
  CHECK(writes == std::vector<Write>{{"LoadBehavior", REG_DWORD, 4},
                                     {"CommandLineSafe", REG_DWORD, 4},
                                     {"FriendlyName", REG_SZ, 56},
                                     {"Description", REG_SZ, 80}});
  CHECK(opens == 4);
  CHECK(keys.Opened() == 5);
  CHECK(keys.StillOpen() == 0);
}

TEST_CASE("the add-in key is made as a lasting key, asking for no more than to write") {
  const CleanMachine machine;
  unsigned creates = 0;
  ImportRedirection create{
      "RegCreateKeyExW",
      [&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM rights,
          LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) -> LSTATUS {
        ++creates;
        CHECK(root == HKEY_LOCAL_MACHINE);
        CHECK(TestSupport::ToUtf8(path) == "Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\");
        CHECK(type == nullptr);
        CHECK(options == REG_OPTION_NON_VOLATILE);
        CHECK(rights == KEY_WRITE);
        CHECK(security == nullptr);
        return create.Original<decltype(&::RegCreateKeyExW)>()(root, path, reserved, type, options, rights, security,
                                                               key, disposition);
      }};
  WriteMachineKey();
  CHECK(creates == 1);
}

TEST_CASE("an add-in key that cannot be made is told, and the users get theirs") {
  const CleanMachine machine;
  RegistrationChild child;
  const LogCapture log;
  {
    const FailCall create{"RegCreateKeyExW", 1, ERROR_ACCESS_DENIED};
    CHECK(VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", true));
  }
  CHECK_LINES(TestSupport::LinesWith(log.Lines(), "ERROR"),
              {"LOG_ERROR: Failed to CreateRegKey of g_szOLActivateKey : "
               "Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\"});
  CHECK(machine.outlook.Contents().empty());
  CHECK(machine.hives.HasAddinKey(UserHivesWorld::kUser));
}

struct ValueFailure {
  unsigned write;  // counted from 1
  const char* value;
  const char* line;
};

constexpr ValueFailure kValueFailures[] = {
    {1, "LoadBehavior", kLoadBehaviorFailure},
    {2, "CommandLineSafe", "LOG_ERROR: Failed to WriteRegIntValue of CommandLineSafe !!"},
    {3, "FriendlyName", "LOG_ERROR: Failed to WriteRegIntValue of FriendlyName !!"},
    {4, "Description", "LOG_ERROR: Failed to WriteRegIntValue of Description !!"},
};

TEST_CASE("a value that cannot be written is told, and the others are written") {
  for (const ValueFailure& failure : kValueFailures) {
    for (const auto& [call, before] : {std::pair{"RegOpenKeyW", 1U}, std::pair{"RegSetValueExW", 0U}}) {
      CAPTURE(failure.value);
      CAPTURE(call);
      const CleanMachine machine;
      RegistrationChild child;  // Outlook's folder is looked for first: one key is opened before
      const LogCapture log;
      const OpenKeysWatch keys;
      {
        const FailCall write{call, before + failure.write, ERROR_ACCESS_DENIED};
        CHECK(VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", true));
        CHECK(write.Failed() == 1);
      }
      CHECK_LINES(TestSupport::LinesWith(log.Lines(), "ERROR"), {failure.line});
      CHECK_LINES(machine.addin.Contents(), (Without(failure.value, AddinContents(3))));
      CHECK(keys.StillOpen() == 0);
    }
  }
}

TEST_CASE("the failure texts reach the log of a registration, which succeeds") {
  const CleanMachine machine;
  RegistrationChild child;
  const LogCapture log;
  {
    const FailCall write{"RegSetValueExW", TestSupport::Calls::Between(1, 4), ERROR_ACCESS_DENIED};
    CHECK(VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", true));
  }
  CHECK_LINES(TestSupport::LinesWith(log.Lines(), "ERROR"),
              {kValueFailures[0].line, kValueFailures[1].line, kValueFailures[2].line, kValueFailures[3].line});
}

TEST_CASE("switching the machine's add-in off changes its load behaviour and nothing else") {
  const CleanMachine machine;
  WriteMachineKey();
  const LogCapture log;
  CHECK(VELAUtility::WriteOutlookLoadBehaviorForMachine(LoadBehavior::kDoNotLoad));
  CHECK_LINES(machine.addin.Contents(), (AddinContents(2)));
  CHECK(log.Lines().empty());
}

TEST_CASE("an add-in that was never registered cannot be switched off, and is not made for that") {
  const CleanMachine machine;
  const LogCapture log;
  CHECK_FALSE(VELAUtility::WriteOutlookLoadBehaviorForMachine(LoadBehavior::kDoNotLoad));
  CHECK(machine.outlook.Contents().empty());
  CHECK(log.Lines().empty());
}

TEST_CASE("a key that refuses the load behaviour is no switched-off add-in") {
  const CleanMachine machine;
  WriteMachineKey();
  const OpenKeysWatch keys;
  {
    const FailCall write{"RegSetValueExW", 1, ERROR_ACCESS_DENIED};
    CHECK_FALSE(VELAUtility::WriteOutlookLoadBehaviorForMachine(LoadBehavior::kDoNotLoad));
  }
  CHECK_LINES(machine.addin.Contents(), (AddinContents(3)));
  CHECK(keys.StillOpen() == 0);
}

Lines OutlookLookup(const std::string& path) {
  return {"LOG_INFO : GetOutlookVersion(), Open registry key success: Software\\Classes\\Outlook.Application\\CurVer\\",
          "LOG_INFO : GetOutlookVersion(), RegQueryValueEx for strVer: 14",
          "LOG_INFO : VELAUtility::GetOutlookInstallPath() success, the path: " + path};
}

TEST_CASE("the stale extension file goes from Outlook's folder, and nothing else does") {
  for (const wchar_t* const path : {L"C:\\VelaOffice14", L"C:\\VelaOffice14\\"}) {
    const CleanMachine machine;
    const OwnFolder office(L"C:\\VelaOffice14");
    office.Write(L"ADDINS\\Redemption.ECF", "stale");
    office.Write(L"ADDINS\\Other.ECF", "of somebody else");
    office.Write(L"outlook.exe", "program");
    const RegisteredOutlook outlook(path);
    const LogCapture log;
    VELAUtility::VELA_RemoveOutlookECF();

    CHECK_LINES(log.Lines(), (Joined({OutlookLookup(TestSupport::ToUtf8(path)),
                                      {"LOG_INFO : VELAUtility::VELA_RemoveOutlookECF(), Try to delete the file : "
                                       "C:\\VelaOffice14\\ADDINS\\Redemption.ECF"}})));
    CHECK_LINES(office.Contents(), {"ADDINS\\", "ADDINS\\Other.ECF 16 bytes", "outlook.exe 7 bytes"});
  }
}

TEST_CASE("an extension file that is not there, or cannot be deleted, is not reported") {
  const CleanMachine machine;
  const RegisteredOutlook outlook(L"C:\\VelaNoSuchOffice\\");
  const LogCapture log;
  VELAUtility::VELA_RemoveOutlookECF();
  const Lines missing = log.Lines();
  CHECK_LINES(missing, (Joined({OutlookLookup("C:\\VelaNoSuchOffice\\"),
                                {"LOG_INFO : VELAUtility::VELA_RemoveOutlookECF(), Try to delete the file : "
                                 "C:\\VelaNoSuchOffice\\ADDINS\\Redemption.ECF"}})));

  LogCapture second;
  {
    const FailCall erase{"DeleteFileW", 1, ERROR_SHARING_VIOLATION};
    VELAUtility::VELA_RemoveOutlookECF();
    CHECK(erase.Failed() == 1);
  }
  CHECK_LINES(second.Lines(), (missing));
}

TEST_CASE("an empty path of Outlook deletes nothing") {
  const CleanMachine machine;
  const RegisteredOutlook outlook(L"");
  const LogCapture log;
  const CountCalls deletes{"DeleteFileW"};
  VELAUtility::VELA_RemoveOutlookECF();
  CHECK(deletes.Calls() == 0);
  CHECK_LINES(TestSupport::LinesWith(log.Lines(), "RemoveOutlookECF"), {kEcfWithoutOutlook});
}

}  // namespace
