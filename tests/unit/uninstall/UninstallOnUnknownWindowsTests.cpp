// A program of its own: a Windows that does not tell its version is none of those with a session at the console, and
// one that has Outlook Express.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/uninstall/UninstallLog.h"
#include "tests/unit/uninstall/UninstallWorld.h"
#include "uninstall/UninstallCommand.h"

using namespace TestSupport;

namespace {

constexpr char kProduct[] = "C:\\VelaTest\\Removal\\product\\VELA";

TEST_CASE("no session is asked for, the switch fails, and everything is removed") {
  const FailCall version("GetVersionExW", Calls::From(1), ERROR_INVALID_PARAMETER);
  UninstallWorld world;
  world.RegisterAll();
  world.running.Become({L"winmail.exe"});
  const LogCapture log;
  Lines calls;
  {
    const ConsoleSession session;
    CHECK(plugVELA_Uninstall() == 0);
    calls = session.Calls();
  }
  CHECK(version.Failed() > 0);
  CHECK(LinesWith(calls, "WTSGetActiveConsoleSessionId").empty());
  CHECK_LINES(
      log.Lines(),
      (Joined({{"LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=1",
                "LOG_ERROR: *** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=0",
                "LOG_WARN : VELAUtility::SetAntiSpamEnable(), Failed."},
               OutlookModulesRemoved(kProduct + std::string("\\VELA_OL")),
               OutlookKeysRemoved(true),
               OutlookExpressRemoved(kProduct + std::string("\\VELA_OE")),
               WindowsLiveMailRemoved(kProduct + std::string("\\VELA_WLM")),
               ProductFolderRemoved(kProduct),
               NoProgramData()})));
  CHECK_FALSE(UninstallWorld::HasRunValue(L"OE"));  // by the removal of each client, without a warning
  CHECK_FALSE(UninstallWorld::HasRunValue(L"WLM"));
}

}  // namespace
