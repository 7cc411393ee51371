// A program of its own: a Windows without sessions at the console is not asked for one.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/LogCapture.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/settings/WindowsReports.h"
#include "tests/unit/uninstall/UninstallWorld.h"
#include "uninstall/UninstallCommand.h"

using namespace TestSupport;

namespace {

TEST_CASE("the user is looked for in no session, and the switch fails without a code") {
  const WindowsReports windows2000(5, 0, VER_NT_WORKSTATION);
  const UninstallWorld world;
  world.RegisterAll();
  const LogCapture log;
  Lines calls;
  {
    const ConsoleSession session;
    CHECK(plugVELA_Uninstall() == 0);
    calls = session.Calls();
  }
  CHECK(LinesWith(calls, "WTSGetActiveConsoleSessionId").empty());
  CHECK(LinesWith(calls, "WTSQueryUserToken 4294967295").size() == 1);
  CHECK_LINES((Lines{log.Lines()[0], log.Lines()[1], log.Lines()[2]}),
              {"LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=1",
               "LOG_ERROR: *** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=0",
               "LOG_WARN : VELAUtility::SetAntiSpamEnable(), Failed."});
  CHECK(world.regsvr32.Starts().size() == 10);
}

}  // namespace
