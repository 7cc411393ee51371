// The start of the monitors on a Windows without Outlook Express. WindowsVersionTests.cpp tests the others.
#include "activation/MonitorLaunch.h"

#include <doctest/doctest.h>

#include "Common/OrCommon/OrComn_ProcessGuards.h"
#include "tests/support/Clients.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/activation/MonitorStarts.h"

using namespace TestSupport;
using VELAUtility::VELA_LaunchMonProcess;

namespace {

// The paths of the monitors that this Windows has.
Lines MonitorsBelow(const std::string& folder) {
  Lines monitors;
  for (const Client& client : Clients()) {
    if (client.hasMonitor && !client.endedWithVista) {
      monitors.push_back(folder + "\\" + ToUtf8(client.FolderName() + L"\\" + client.MonitorName()));
    }
  }
  return monitors;
}

TEST_CASE("the monitor is started with the user's token, while acting as the user, by its full path alone") {
  ConsoleSession session;
  const MonitorStarts starts(session);
  const LogCapture log;
  CHECK(VELA_LaunchMonProcess(L"C:\\Program Files\\Orvane Labs", 0));
  Lines calls;
  Lines lines;
  for (const std::string& path : MonitorsBelow("C:\\Program Files\\Orvane Labs\\VELA")) {
    const std::string name = path.substr(path.rfind('\\') + 1);
    calls.push_back("token " + path + " plain as the user");
    lines.push_back("LOG_INFO : ImpersonateLoggedOnUser() : " + path);
    lines.push_back("LOG_INFO : Succeeded in calling CreateProcessAsUser() of " + name);
  }
  CHECK_LINES(starts.Starts(), (calls));
  CHECK_LINES(log.Lines(), (lines));
  CHECK_LINES(session.Calls(), {"WTSGetActiveConsoleSessionId", "WTSQueryUserToken 7", "ImpersonateLoggedOnUser token",
                                "CreateEnvironmentBlock token", "DestroyEnvironmentBlock", "RevertToSelf"});
  CHECK_LINES(session.NotGivenBack(), {});
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
}

TEST_CASE("the monitor is started with the error mode that this process was started with") {
  const UINT before = ::SetErrorMode(SEM_NOALIGNMENTFAULTEXCEPT);
  OrCommon::GuardProcess();
  ConsoleSession session;
  const MonitorStarts starts(session);
  VELA_LaunchMonProcess(L"C:\\X", 0);
  const UINT after = ::SetErrorMode(before);
  CHECK(starts.ErrorModes() == std::vector<UINT>(MonitorsBelow("").size(), SEM_NOALIGNMENTFAULTEXCEPT));
  CHECK(after ==
        (SEM_NOALIGNMENTFAULTEXCEPT | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX));
}

// All cases: tests/unit/FrwkCommon/ConsoleUserScopeTests.cpp.
TEST_CASE("without a user at the console, no monitor is started, nothing is logged, and the launch succeeds") {
  for (const bool found : {false, true}) {
    ConsoleSession session;
    (found ? session.createBlockError : session.tokenError) = ERROR_NO_TOKEN;
    const MonitorStarts starts(session);
    const LogCapture log;
    CHECK(VELA_LaunchMonProcess(L"C:\\X", 0));
    CHECK_LINES(starts.Starts(), {});
    CHECK_LINES(log.Lines(), {});
    CHECK_LINES(session.NotGivenBack(), {});
    CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
  }
}

TEST_CASE("if the thread cannot stop acting as the user, the launch still succeeds") {
  ConsoleSession session;
  session.revertError = ERROR_NOT_ENOUGH_MEMORY;
  session.destroyBlockError = ERROR_INVALID_PARAMETER;
  const MonitorStarts starts(session);
  const LogCapture log;
  CHECK(VELA_LaunchMonProcess(L"C:\\X", 0));
  CHECK(log.Lines().size() == 2 * MonitorsBelow("").size());
  CHECK_LINES(session.NotGivenBack(), {"environment block"});
  CHECK(ConsoleSession::ThreadActsAsUser());
}

}  // namespace
