// The start of the monitors on a Windows that has no Outlook Express; WindowsVersionTests.cpp has the others.
#include "activation/MonitorLaunch.h"

#include <doctest/doctest.h>

#include "Common/OrCommon/OrComn_ProcessGuards.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/activation/MonitorStarts.h"

using namespace TestSupport;
using VELAUtility::VELA_LaunchMonProcess;

namespace {

struct Launched {
  bool result = false;
  Lines starts;
  Lines log;
  Lines notGivenBack;
  bool actsAsUser = false;
};

Launched Launch(const ConsoleSession& session, const MonitorStarts& starts, const std::wstring& installPath) {
  Launched launched;
  const LogCapture log;
  launched.result = VELA_LaunchMonProcess(installPath, 0);
  launched.actsAsUser = ConsoleSession::ThreadActsAsUser();
  launched.starts = starts.Starts();
  launched.notGivenBack = session.NotGivenBack();
  launched.log = log.Lines();
  return launched;
}

TEST_CASE("the monitor is started with the user's token, in the user's identity, by its full path alone") {
  ConsoleSession session;
  const MonitorStarts starts(session);
  const Launched launched = Launch(session, starts, L"C:\\Program Files\\Orvane Labs");
  CHECK(launched.result);
  CHECK_LINES(launched.starts,
              {"token C:\\Program Files\\Orvane Labs\\VELA\\VELA_WLM\\VELA_WLMMon.exe plain as the user"});
  CHECK_LINES(launched.log, {"LOG_INFO : ImpersonateLoggedOnUser() : "
                             "C:\\Program Files\\Orvane Labs\\VELA\\VELA_WLM\\VELA_WLMMon.exe",
                             "LOG_INFO : Succeeded in calling CreateProcessAsUser() of VELA_WLMMon.exe"});
  CHECK_LINES(session.Calls(), {"WTSGetActiveConsoleSessionId", "WTSQueryUserToken 7", "ImpersonateLoggedOnUser token",
                                "CreateEnvironmentBlock token", "DestroyEnvironmentBlock", "RevertToSelf"});
  CHECK(starts.GivenOut() == 2);
  CHECK(starts.Closed() == 2);
  CHECK_LINES(launched.notGivenBack, {});
  CHECK_FALSE(launched.actsAsUser);
}

TEST_CASE("the monitor is started with the error mode of who started this process") {
  const UINT before = ::SetErrorMode(SEM_NOALIGNMENTFAULTEXCEPT);
  OrCommon::GuardProcess();
  ConsoleSession session;
  const MonitorStarts starts(session);
  Launch(session, starts, L"C:\\X");
  const UINT after = ::SetErrorMode(before);
  REQUIRE(starts.ErrorModes().size() == 1);
  CHECK(starts.ErrorModes()[0] == SEM_NOALIGNMENTFAULTEXCEPT);
  CHECK(after ==
        (SEM_NOALIGNMENTFAULTEXCEPT | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX));
}

// Every way: tests/unit/FrwkCommon/ConsoleUserScopeTests.cpp.
struct NoUser {
  const char* name;
  void (*prepare)(ConsoleSession& session);
};

TEST_CASE("without a user to start a monitor for nothing is started, nothing is said and nothing is wrong") {
  const NoUser rows[] = {
      {"no session can be asked for",
       [](ConsoleSession& session) { session.missingEntries = {"WTSGetActiveConsoleSessionId"}; }},
      {"neither a token nor a shell", [](ConsoleSession& session) { session.tokenError = ERROR_NO_TOKEN; }},
      {"no environment block", [](ConsoleSession& session) { session.createBlockError = ERROR_ACCESS_DENIED; }},
      {"no library for the environment block",
       [](ConsoleSession& session) { session.missingLibraries = {L"userenv.dll"}; }}};
  for (const NoUser& row : rows) {
    CAPTURE(row.name);
    ConsoleSession session;
    row.prepare(session);
    const MonitorStarts starts(session);
    const Launched launched = Launch(session, starts, L"C:\\X");
    CHECK(launched.result);
    CHECK_LINES(launched.starts, {});
    CHECK_LINES(launched.log, {});
    CHECK_LINES(launched.notGivenBack, {});
    CHECK_FALSE(launched.actsAsUser);
    CHECK_LINES(session.LoadedAsUser(), {});
  }
}

TEST_CASE("an identity that cannot be left again does not count") {
  ConsoleSession session;
  session.revertError = ERROR_NOT_ENOUGH_MEMORY;
  session.destroyBlockError = ERROR_INVALID_PARAMETER;
  const MonitorStarts starts(session);
  const Launched launched = Launch(session, starts, L"C:\\X");
  CHECK(launched.result);
  CHECK(launched.log.size() == 2);
  CHECK_LINES(launched.notGivenBack, {"environment block"});
  CHECK(launched.actsAsUser);
}

}  // namespace
