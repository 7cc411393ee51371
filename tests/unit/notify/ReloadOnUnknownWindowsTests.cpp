// A program of its own: a Windows that does not tell its version. That is not reported.
#include "notify/ReloadNotification.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/notify/EventCallTrace.h"
#include "tests/unit/settings/RunningProcesses.h"

using namespace TestSupport;
using VELAUtility::NotifyReloadVELAEngine;

namespace {

constexpr char kEnter[] = "LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()";
constexpr char kLeave[] = "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()";

TEST_CASE("Outlook Express is looked for, Windows Mail is not") {
  const FailCall version("GetVersionExW", Calls::From(1), ERROR_INVALID_PARAMETER);
  RunningProcesses running({L"winmail.exe"});
  {
    const LogCapture log;
    CHECK(NotifyReloadVELAEngine());
    CHECK_LINES(log.Lines(), {kEnter, kLeave});
  }
  running.Become({L"msimn.exe"});
  const LogCapture log;
  CHECK(NotifyReloadVELAEngine());
  CHECK_LINES(log.Lines(), {kEnter, "LOG_INFO : [VELAUtility::NotifyReloadVELAEngine] OE has been notified.", kLeave});
  CHECK(version.Failed() > 0);
}

}  // namespace
