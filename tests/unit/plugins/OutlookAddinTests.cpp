#include "plugins/OutlookAddin.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/OutlookRegistered.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using TestSupport::CountCalls;
using TestSupport::FailCall;
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

TEST_CASE("the key is made to be written only, and each value is written through a key opened for it, in order") {
  const CleanMachine machine;
  Lines calls;
  {
    const TestSupport::RegistryCallTrace trace;
    WriteMachineKey();
    calls = trace.Calls();
  }
  const std::string path = "Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\";
  const std::string open = "RegOpenKeyW HKLM " + path + " -> ";
  CHECK_LINES(calls, {"RegCreateKeyExW HKLM " + path + " 00020006 options 0 plain -> 1", "RegCloseKey 1", open + "2",
                      "RegSetValueExW 2 \"LoadBehavior\" REG_DWORD 4 bytes", "RegCloseKey 2", open + "3",
                      "RegSetValueExW 3 \"CommandLineSafe\" REG_DWORD 4 bytes", "RegCloseKey 3", open + "4",
                      "RegSetValueExW 4 \"FriendlyName\" REG_SZ 56 bytes", "RegCloseKey 4", open + "5",
                      "RegSetValueExW 5 \"Description\" REG_SZ 80 bytes", "RegCloseKey 5"});
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
      const char* const name = call;
      CAPTURE(name);
      const CleanMachine machine;
      RegistrationChild child;  // Outlook's folder is looked for first: one key is opened before
      const LogCapture log;
      const TestSupport::RegistryCallTrace keys;
      {
        const FailCall write{call, before + failure.write, ERROR_ACCESS_DENIED};
        CHECK(VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", true));
        CHECK(write.Failed() == 1);
      }
      CHECK_LINES(TestSupport::LinesWith(log.Lines(), "ERROR"), {failure.line});
      CHECK_LINES(machine.addin.Contents(), (Without(failure.value, AddinContents(3))));
      CHECK(keys.AllClosed());
    }
  }
}

TEST_CASE("a key that refuses the load behaviour is no switched-off add-in") {
  const CleanMachine machine;
  WriteMachineKey();
  const TestSupport::RegistryCallTrace keys;
  {
    const FailCall write{"RegSetValueExW", 1, ERROR_ACCESS_DENIED};
    CHECK_FALSE(VELAUtility::WriteOutlookLoadBehaviorForMachine(LoadBehavior::kDoNotLoad));
  }
  CHECK_LINES(machine.addin.Contents(), (AddinContents(3)));
  CHECK(keys.AllClosed());
}

TEST_CASE("the stale extension file goes from Outlook's folder, and nothing else does") {
  for (const wchar_t* const path : {L"C:\\VelaTest\\Office14", L"C:\\VelaTest\\Office14\\"}) {
    const CleanMachine machine;
    const TestSupport::ScratchFolder office(L"Office14");
    office.MakeFile(L"ADDINS\\Redemption.ECF", "stale");
    office.MakeFile(L"ADDINS\\Other.ECF", "of somebody else");
    office.MakeFile(L"outlook.exe", "program");
    const TestSupport::OutlookRegistered outlook;
    outlook.Name(L"Outlook.Application.14");
    outlook.Release(L"14.0", path);
    const LogCapture log;
    VELAUtility::VELA_RemoveOutlookECF();

    CHECK(log.Lines().back() ==
          "LOG_INFO : VELAUtility::VELA_RemoveOutlookECF(), Try to delete the file : "
          "C:\\VelaTest\\Office14\\ADDINS\\Redemption.ECF");
    TestSupport::FileSnapshot left;
    left.Add(office.Path());
    CHECK_LINES(left.AsLines(), {"ADDINS\\", "ADDINS\\Other.ECF 16 bytes", "outlook.exe 7 bytes"});
  }
}

TEST_CASE("an empty path of Outlook deletes nothing") {
  const CleanMachine machine;
  const TestSupport::OutlookRegistered outlook;
  outlook.Name(L"Outlook.Application.14");
  outlook.Release(L"14.0", L"");
  const LogCapture log;
  const CountCalls deletes{"DeleteFileW"};
  VELAUtility::VELA_RemoveOutlookECF();
  CHECK(deletes.Calls() == 0);
  CHECK_LINES(TestSupport::LinesWith(log.Lines(), "RemoveOutlookECF"), {kEcfWithoutOutlook});
}

}  // namespace
