// What a mail client is, on the Windows of this run.
#include "settings/MailClients.h"

#include <doctest/doctest.h>

#include <string>

#include "tests/support/Clients.h"
#include "tests/support/TextLines.h"
#include "tests/unit/settings/RunningProcesses.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;

namespace {

TEST_CASE("each client has the expected names, program and monitor on this Windows") {
  const WindowsOfThisRun windows;
  const WindowsReports reports(windows.major, windows.minor, VER_NT_WORKSTATION);
  REQUIRE(std::size(kMailClients) == Clients().size());
  for (std::size_t index = 0; index < Clients().size(); ++index) {
    const Client& wanted = Clients()[index];
    const MailClient client = kMailClients[index].client;
    CAPTURE(ToUtf8(wanted.shortName));
    CHECK(&FactsOf(client) == &kMailClients[index]);
    CHECK(FactsOf(client).shortName == std::wstring(wanted.shortName));
    CHECK(FolderNameOf(client) == wanted.FolderName());
    CHECK(MonitorNameOf(client) == wanted.MonitorName());
    CHECK(UpdateEventOf(client) == wanted.UpdateEvent());
    CHECK(DelayFlagOf(client) == wanted.DelayFlag());
    CHECK(HasMonitor(client) == wanted.hasMonitor);
    if (wanted.hasMonitor) {
      CHECK(FactsOf(client).runValue == std::wstring(wanted.shortName));
    }
    CHECK(IsLeftOut(client) == (wanted.endedWithVista && windows.IsAfterVista()));
    const std::wstring process = windows.Is60() ? wanted.processOnWindows60 : wanted.process;
    for (const Client& other : Clients()) {
      for (const wchar_t* const running : {other.process, other.processOnWindows60}) {
        CAPTURE(ToUtf8(running));
        const RunningProcesses processes({L"System", running});
        CHECK(IsMailClientRunning(client) == (running == process));
      }
    }
  }
}

TEST_CASE("a client runs if its program does, whatever the case of the name, and no other program counts") {
  const WindowsOfThisRun windows;
  const WindowsReports reports(windows.major, windows.minor, VER_NT_WORKSTATION);
  RunningProcesses running({L"System", L"OUTLOOK2.exe", L"outlook.com.exe", L"outloo.exe"});
  CHECK_FALSE(IsMailClientRunning(MailClient::kOutlook));
  running.Become({L"System", L"oUtLoOk.ExE"});
  CHECK(IsMailClientRunning(MailClient::kOutlook));
}

TEST_CASE("a table that lacks a client, or has one twice, is rejected at compile time") {
  struct Row {
    MailClient client;
  };
  constexpr Row kInOrder[] = {{MailClient::kOutlook}, {MailClient::kOutlookExpress}, {MailClient::kWindowsLiveMail}};
  constexpr Row kOther[] = {{MailClient::kWindowsLiveMail}, {MailClient::kOutlook}, {MailClient::kOutlookExpress}};
  constexpr Row kTwice[] = {{MailClient::kOutlook}, {MailClient::kWindowsLiveMail}, {MailClient::kWindowsLiveMail}};
  constexpr Row kOneMore[] = {{MailClient::kOutlook},
                              {MailClient::kOutlookExpress},
                              {MailClient::kWindowsLiveMail},
                              {MailClient::kWindowsLiveMail}};
  constexpr Row kMonitored[] = {{MailClient::kWindowsLiveMail}, {MailClient::kOutlookExpress}};
  constexpr Row kMonitorMissing[] = {{MailClient::kWindowsLiveMail}};

  CHECK(StandInOrder(kInOrder));
  CHECK_FALSE(StandInOrder(kOther));
  CHECK(&RowOf(MailClient::kOutlook, kOther) == &kOther[1]);
  CHECK(HasEveryClient(kInOrder));
  CHECK(HasEveryClient(kOther));
  CHECK_FALSE(HasEveryClient(kTwice));
  CHECK_FALSE(HasEveryClient(kOneMore));
  CHECK_FALSE(HasEveryClient(kMonitored));
  CHECK(HasEveryMonitor(kMonitored));
  CHECK_FALSE(HasEveryMonitor(kMonitorMissing));
  CHECK_FALSE(HasEveryMonitor(kInOrder));
}

}  // namespace
