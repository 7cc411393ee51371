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

using namespace TestSupport;
using VELAUtility::LoadBehavior;

namespace {

const std::string kAddin = "HKLM\\Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent [64]";
constexpr char kEcfWithoutOutlook[] =
    "LOG_INFO : VELAUtility::VELA_RemoveOutlookECF(), OL Install Path is empty, it maybe not install.";

using CleanMachine = MachineWithoutOutlook;

// Except for the value `without`.
Lines AddinContents(const std::string& without = "none") {
  Lines contents = {kAddin};
  for (const char* const value :
       {"\"CommandLineSafe\" REG_DWORD 0", "\"Description\" REG_SZ \"Orvane Labs Anti-Spam Agent for Outlook\"",
        "\"FriendlyName\" REG_SZ \"Orvane Labs Anti-Spam Addin\"", "\"LoadBehavior\" REG_DWORD 3"}) {
    if (std::string(value).find(without) == std::string::npos) {
      contents.push_back(kAddin + " " + value);
    }
  }
  return contents;
}

// As a registration does.
void WriteMachineKey() {
  if (VELAUtility::EnsureOutlookAddinKeyForMachine()) {
    CHECK(VELAUtility::WriteOutlookLoadBehaviorForMachine(LoadBehavior::kLoadAtStartUp));
    VELAUtility::WriteOutlookAddinValuesForMachine();
  }
}

TEST_CASE("Redemption.dll is registered, then VELA_OLA.dll, with or without a backslash after the folder") {
  for (const wchar_t* const folder : {L"C:\\Orvane Labs\\VELA_OL", L"C:\\Orvane Labs\\VELA_OL\\"}) {
    const CleanMachine machine;
    const RegistrationChild child;
    const LogCapture log;
    CHECK(VELAUtility::RegisterOutlookAddin(folder, true));

    CHECK_LINES(child.CommandLines(), {"regsvr32.exe /s \"C:\\Orvane Labs\\VELA_OL\\Redemption.dll\"",
                                       "regsvr32.exe /s \"C:\\Orvane Labs\\VELA_OL\\VELA_OLA.dll\""});
    CHECK_LINES(log.Lines(), (Joined({RegisteringLines("C:\\Orvane Labs\\VELA_OL\\Redemption.dll"),
                                      {kEcfWithoutOutlook},
                                      RegisteringLines("C:\\Orvane Labs\\VELA_OL\\VELA_OLA.dll")})));
    CHECK_LINES(machine.addin.Contents(), (AddinContents()));
  }
}

TEST_CASE("without Redemption.dll nothing else is attempted, without VELA_OLA.dll no key is written") {
  const std::string redemption = "C:\\VELA_OL\\Redemption.dll";
  const Lines wanted[] = {
      Joined({RegisteringLines(redemption, 0), {"LOG_ERROR: Failed to register Redemption.dll !! " + redemption}}),
      Joined({RegisteringLines(redemption),
              {kEcfWithoutOutlook},
              RegisteringLines("C:\\VELA_OL\\VELA_OLA.dll", 0),
              {"LOG_ERROR: Failed to register VELA_OLA.dll !! GetLastError()=[%d]1359"}})};
  for (const unsigned failing : {1U, 2U}) {
    const CleanMachine machine;
    RegistrationChild child;
    child.FailStart(failing, ERROR_INTERNAL_ERROR);
    const LogCapture log;
    CHECK_FALSE(VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", true));
    CHECK(child.Starts().size() == failing);
    CHECK_LINES(log.Lines(), (wanted[failing - 1]));
    CHECK(machine.outlook.Contents().empty());
  }
}

TEST_CASE("the key is created with write access only, and opened again for each value, in order") {
  const CleanMachine machine;
  const std::string path = "Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\";
  const std::string open = "RegOpenKeyW HKLM " + path + " -> ";
  {
    const RegistryCallTrace trace;
    WriteMachineKey();
    CHECK_LINES(trace.Calls(), {"RegCreateKeyExW HKLM " + path + " 00020006 options 0 plain -> 1", "RegCloseKey 1",
                                open + "2", "RegSetValueExW 2 \"LoadBehavior\" REG_DWORD 4 bytes", "RegCloseKey 2",
                                open + "3", "RegSetValueExW 3 \"CommandLineSafe\" REG_DWORD 4 bytes", "RegCloseKey 3",
                                open + "4", "RegSetValueExW 4 \"FriendlyName\" REG_SZ 56 bytes", "RegCloseKey 4",
                                open + "5", "RegSetValueExW 5 \"Description\" REG_SZ 80 bytes", "RegCloseKey 5"});
  }
  // A key that refuses the load behaviour does not count as a switched-off add-in.
  const FailCall write{"RegSetValueExW", 1, ERROR_ACCESS_DENIED};
  CHECK_FALSE(VELAUtility::WriteOutlookLoadBehaviorForMachine(LoadBehavior::kDoNotLoad));
  CHECK_LINES(machine.addin.Contents(), (AddinContents()));
}

TEST_CASE("a key or value that cannot be written is logged; the other values and the users' keys are written") {
  struct Row {
    const char* call;
    unsigned number;  // Outlook's folder is looked up first: one key is opened before
    const char* value;
    const char* line;
  };
  constexpr const char* kLines[] = {"LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior !!",
                                    "LOG_ERROR: Failed to WriteRegIntValue of CommandLineSafe !!",
                                    "LOG_ERROR: Failed to WriteRegIntValue of FriendlyName !!",
                                    "LOG_ERROR: Failed to WriteRegIntValue of Description !!"};
  for (const Row& row :
       {Row{"RegCreateKeyExW", 1, "",
            "LOG_ERROR: Failed to CreateRegKey of g_szOLActivateKey : "
            "Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\"},
        Row{"RegOpenKeyW", 2, "LoadBehavior", kLines[0]}, Row{"RegOpenKeyW", 3, "CommandLineSafe", kLines[1]},
        Row{"RegOpenKeyW", 4, "FriendlyName", kLines[2]}, Row{"RegOpenKeyW", 5, "Description", kLines[3]},
        Row{"RegSetValueExW", 1, "LoadBehavior", kLines[0]}, Row{"RegSetValueExW", 2, "CommandLineSafe", kLines[1]},
        Row{"RegSetValueExW", 3, "FriendlyName", kLines[2]}, Row{"RegSetValueExW", 4, "Description", kLines[3]}}) {
    CAPTURE(std::string(row.call));
    CAPTURE(row.number);
    const CleanMachine machine;
    const RegistrationChild child;
    const LogCapture log;
    {
      const RegistryCallTrace keys;
      const FailCall write{row.call, row.number, ERROR_ACCESS_DENIED};
      CHECK(VELAUtility::RegisterOutlookAddin(L"C:\\VELA_OL", true));
      CHECK(write.Failed() == 1);
      CHECK(keys.AllClosed());
    }
    CHECK_LINES(LinesWith(log.Lines(), "ERROR"), {row.line});
    CHECK_LINES(machine.addin.Contents(), (*row.value == '\0' ? Lines{} : AddinContents(row.value)));
    CHECK(machine.hives.HasAddinKey(UserHivesWorld::kUser));
  }
}

TEST_CASE("only the stale extension file is deleted from Outlook's folder; an empty path deletes nothing") {
  for (const wchar_t* const path : {L"C:\\VelaTest\\Office14", L"C:\\VelaTest\\Office14\\", L""}) {
    const CleanMachine machine;
    const ScratchFolder office(L"Office14");
    office.MakeFile(L"ADDINS\\Redemption.ECF", "stale");
    office.MakeFile(L"ADDINS\\Other.ECF", "of somebody else");
    const OutlookRegistered outlook;
    outlook.Name(L"Outlook.Application.14");
    outlook.Release(L"14.0", path);
    const LogCapture log;
    const CountCalls deletes{"DeleteFileW"};
    VELAUtility::VELA_RemoveOutlookECF();
    const bool found = *path != L'\0';
    CHECK(deletes.Calls() == (found ? 1 : 0));
    CHECK_LINES(LinesWith(log.Lines(), "RemoveOutlookECF"),
                {found ? "LOG_INFO : VELAUtility::VELA_RemoveOutlookECF(), Try to delete the file : "
                         "C:\\VelaTest\\Office14\\ADDINS\\Redemption.ECF"
                       : kEcfWithoutOutlook});
    FileSnapshot left;
    left.Add(office.Path());
    Lines files = {"ADDINS\\", "ADDINS\\Other.ECF 16 bytes", "ADDINS\\Redemption.ECF 5 bytes"};
    files.resize(found ? 2 : 3);
    CHECK_LINES(left.AsLines(), (files));
  }
}

}  // namespace
