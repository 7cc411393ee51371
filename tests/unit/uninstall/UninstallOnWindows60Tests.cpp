// A program of its own: on Windows 6.0 Outlook Express is switched and unregistered, its program is Windows Mail, and
// the profiles keep Outlook's cache file in another place.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/unit/settings/WindowsReports.h"
#include "tests/unit/uninstall/UninstallLog.h"
#include "tests/unit/uninstall/UninstallWorld.h"
#include "uninstall/UninstallCommand.h"

using namespace TestSupport;

namespace {

constexpr char kProduct[] = "C:\\VelaTest\\Removal\\product\\VELA";
constexpr char kSession[] =
    "LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: S-1-5-21-0-0-0-1000";
const Lines kRunValuesGone[] = {
    {"LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szOE_OEM !!"},
    {"LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szWLM_OEM !!"}};

std::string Client(const char* name) {
  return std::string(kProduct) + "\\" + name;
}

Lines Uninstall() {
  const LogCapture log;
  CHECK(plugVELA_Uninstall() == 0);
  return log.Lines();
}

TEST_CASE("both monitored clients are switched off before they are unregistered") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  UninstallWorld world;
  world.RegisterAll();
  WriteTestFile(L"C:\\users\\root\\AppData\\Local\\Microsoft\\Outlook\\Extend.dat", "cache");
  world.running.Become({L"msimn.exe"});  // not looked at here
  CHECK_LINES(Uninstall(), (Joined({SwitchedOff(1, kSession, OutlookExpressSwitch::kHandled),
                                    OutlookModulesRemoved(Client("VELA_OL")), OutlookKeysRemoved(true, true),
                                    OutlookExpressRemoved(Client("VELA_OE")), kRunValuesGone[0],
                                    WindowsLiveMailRemoved(Client("VELA_WLM")), kRunValuesGone[1],
                                    ProductFolderRemoved(kProduct), NoProgramData()})));
  CHECK_FALSE(Exists(L"C:\\users\\root\\AppData\\Local\\Microsoft\\Outlook\\Extend.dat"));
}

TEST_CASE("a running Windows Mail keeps its modules, and the monitors are not told to end") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  UninstallWorld world;
  world.RegisterAll();
  world.running.Become({L"WinMail.exe"});
  CHECK_LINES(
      Uninstall(),
      (Joined({{"LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=1", kSession,
                "LOG_INFO : SetAntiSpamEnable() - VELA OL deactivated successfully.",
                "LOG_INFO : SetAntiSpamEnable() - VELA OE deactivated successfully.",
                "LOG_INFO : SetAntiSpamEnable() - VELA WLM deactivated successfully.",
                "LOG_INFO : Check if need VELA_DISABLE_NOTIFY_EVENT", "LOG_INFO : Not Send VELA_DISABLE_NOTIFY_EVENT"},
               OutlookModulesRemoved(Client("VELA_OL")),
               OutlookKeysRemoved(true, true),
               {"LOG_WARN : plugVELA_Uninstall(), OE is still running!."},
               WindowsLiveMailRemoved(Client("VELA_WLM")),
               kRunValuesGone[1],
               ProductFolderRemoved(kProduct),
               NoProgramData()})));
  CHECK_FALSE(UninstallWorld::HasRunValue(L"OE"));  // by the switch
  CHECK(world.regsvr32.Starts().size() == 6);
}

}  // namespace
