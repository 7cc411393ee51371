// The uninstall command and the user at the console: the flag that tells of the profile, and the switch.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <string>

#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/uninstall/UninstallLog.h"
#include "tests/unit/uninstall/UninstallWorld.h"
#include "uninstall/UninstallCommand.h"

using namespace TestSupport;

namespace {

constexpr char kMode[] = "LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=";

Lines Uninstall() {
  const LogCapture log;
  CHECK(plugVELA_Uninstall() == 0);
  return log.Lines();
}

// The lines from the flag to the first of Outlook's.
Lines SwitchLines(const Lines& log) {
  const auto end = std::find(log.begin(), log.end(), "LOG_INFO : Begin to unregister VELA_OLA.dll ... ");
  return {log.begin(), end};
}

TEST_CASE("a profile that can be loaded: the flag is 1, and profile and token are given back before the switch") {
  const UninstallWorld world;
  world.RegisterAll();
  Lines calls;
  Lines held;
  Lines log;
  {
    const ConsoleSession session;
    log = Uninstall();
    calls = session.Calls();
    held = session.NotGivenBack();
  }
  CHECK_LINES(SwitchLines(log),
              (SwitchedOff(1,
                           "LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:7, szSID: "
                           "S-1-5-21-0-0-0-1000",
                           OutlookExpressSwitch::kLeftOut)));
  CHECK_LINES(held, {});
  const auto unload = std::find(calls.begin(), calls.end(), "UnloadUserProfile token");
  REQUIRE(unload != calls.end());
  // The switch asks for the session again.
  CHECK(std::count(calls.begin(), unload, "WTSGetActiveConsoleSessionId") == 1);
  CHECK(std::count(unload, calls.end(), "WTSGetActiveConsoleSessionId") >= 1);
}

TEST_CASE("a profile that cannot be loaded: the flag is 0, and the token is given back") {
  const UninstallWorld world;
  world.RegisterAll();
  Lines log;
  Lines calls;
  Lines held;
  {
    ConsoleSession session;
    session.loadProfileError = ERROR_ACCESS_DENIED;
    log = Uninstall();
    calls = session.Calls();
    held = LinesWith(session.NotGivenBack(), "token");
  }
  CHECK(log.front() == kMode + std::string("0"));
  CHECK_LINES(held, {});
  CHECK(LinesWith(calls, "UnloadUserProfile token").size() == 1);
  // The switch needs no profile.
  CHECK_LINES(LinesWith(log, "VELAUtility::SetAntiSpamEnable()"), {});
}

TEST_CASE("no user at the console: the flag is 0, nothing is given back, and the switch goes on without a name") {
  const UninstallWorld world;
  world.RegisterAll();
  Lines log;
  Lines calls;
  {
    ConsoleSession session;
    session.tokenError = ERROR_NO_TOKEN;
    log = Uninstall();
    calls = session.Calls();
  }
  CHECK_LINES(
      SwitchLines(log),
      {kMode + std::string("0"), "LOG_ERROR: Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()",
       "LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:7, szSID: ",
       "LOG_INFO : SetAntiSpamEnable() - VELA OL deactivated successfully.",
       "LOG_INFO : SetAntiSpamEnable() - VELA WLM deactivated successfully.",
       "LOG_INFO : Check if need VELA_DISABLE_NOTIFY_EVENT",
       "LOG_INFO : Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! "});
  CHECK(LinesWith(calls, "UnloadUserProfile").empty());
}

TEST_CASE(
    "no environment block: the flag is 0, everything is removed by the program itself, and the thread is itself") {
  const UninstallWorld world;
  world.RegisterAll();
  Lines log;
  bool actsAsUser = true;
  unsigned asUser = 0;
  unsigned asItself = 0;
  {
    ConsoleSession session;
    session.createBlockError = ERROR_ACCESS_DENIED;
    ImportRedirection remove("RemoveDirectoryW", [&](LPCWSTR path) -> BOOL {
      ++(ConsoleSession::ThreadActsAsUser() ? asUser : asItself);
      return remove.Original<decltype(&::RemoveDirectoryW)>()(path);
    });
    log = Uninstall();
    actsAsUser = ConsoleSession::ThreadActsAsUser();
  }
  CHECK(log.front() == kMode + std::string("0"));
  CHECK_LINES(LinesWith(log, "StartImpersonate"),
              {"LOG_ERROR: Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()"});
  CHECK_FALSE(actsAsUser);
  CHECK(asUser == 0);
  CHECK(asItself > 0);
}

TEST_CASE("no session at the console: the switch fails, is warned of, and everything else is removed") {
  const UninstallWorld world;
  world.RegisterAll();
  Lines log;
  Lines calls;
  {
    ConsoleSession session;
    session.sessionId = 0xFFFFFFFF;
    session.tokenError = ERROR_NO_TOKEN;
    log = Uninstall();
    calls = session.Calls();
  }
  CHECK_LINES(SwitchLines(log),
              {kMode + std::string("0"),
               "LOG_ERROR: *** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=0",
               "LOG_WARN : VELAUtility::SetAntiSpamEnable(), Failed."});
  CHECK(LinesWith(calls, "WTSQueryUserToken 4294967295").size() == 1);
  CHECK(world.regsvr32.Starts().size() == 10);
  CHECK_FALSE(UninstallWorld::HasAddinKey(L""));
  CHECK_FALSE(UninstallWorld::HasRunValue(L"OE"));
  CHECK_FALSE(UninstallWorld::HasRunValue(L"WLM"));  // not by the switch this time
  CHECK_FALSE(Exists(world.folder.Path(L"product\\VELA")));
}

TEST_CASE("the session cannot be asked for: the same, with the code") {
  const UninstallWorld world;
  world.RegisterAll();
  Lines log;
  {
    ConsoleSession session;
    session.missingEntries = {"WTSGetActiveConsoleSessionId"};
    session.tokenError = ERROR_NO_TOKEN;
    log = Uninstall();
  }
  CHECK_LINES(SwitchLines(log),
              {kMode + std::string("0"),
               "LOG_ERROR: *** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=127",
               "LOG_WARN : VELAUtility::SetAntiSpamEnable(), Failed."});
}

TEST_CASE("a switch that fails for one client is warned of") {
  const UninstallWorld world;
  world.RegisterAll();
  RemoveValue(MachineKey64(L"Software\\Microsoft\\Windows\\CurrentVersion\\Run"), L"WLM");
  const Lines log = Uninstall();
  CHECK_LINES(LinesWith(log, "SetAntiSpamEnable()"),
              {"LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: S-1-5-21-0-0-0-1000",
               "LOG_INFO : SetAntiSpamEnable() - VELA OL deactivated successfully.",
               "LOG_ERROR: *** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()",
               "LOG_WARN : VELAUtility::SetAntiSpamEnable(), Failed."});
}

}  // namespace
