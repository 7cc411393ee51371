// A program of its own: on Windows 6.0 the events of Outlook Express are Windows Mail's.
#include "notify/ReloadNotification.h"

#include <doctest/doctest.h>

#include "tests/support/LogCapture.h"
#include "tests/unit/notify/EventCallTrace.h"
#include "tests/unit/settings/RunningProcesses.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;
using VELAUtility::NotifyReloadVELAEngine;

namespace {

constexpr char kEnter[] = "LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()";
constexpr char kLeave[] = "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()";

TEST_CASE("Windows Mail is notified under the name of Outlook Express") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const RunningProcesses running({L"WinMail.exe"});
  const LogCapture log;
  const EventCallTrace trace;
  CHECK(NotifyReloadVELAEngine());
  CHECK_LINES(log.Lines(), {kEnter, "LOG_INFO : [VELAUtility::NotifyReloadVELAEngine] OE has been notified.", kLeave});
  CHECK_LINES(trace.Calls(), {"CreateEventW manual-reset Global\\VELA_UPDATE_EVENT_OE", "SetEvent 1", "CloseHandle 1"});
}

TEST_CASE("Outlook Express is not looked at") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const RunningProcesses running({L"msimn.exe"});
  const LogCapture log;
  const EventCallTrace trace;
  CHECK(NotifyReloadVELAEngine());
  CHECK_LINES(log.Lines(), {kEnter, kLeave});
  CHECK_LINES(trace.Calls(), {});
}

TEST_CASE("the other clients have the names that they have everywhere") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const RunningProcesses running({L"outlook.exe", L"wlmail.exe"});
  const LogCapture log;
  CHECK(NotifyReloadVELAEngine());
  CHECK_LINES(log.Lines(), {kEnter, "LOG_INFO : [VELAUtility::NotifyReloadVELAEngine] OL has been notified.",
                            "LOG_INFO : [VELAUtility::NotifyReloadVELAEngine] WLM has been notified.", kLeave});
}

}  // namespace
