// What a mail client is, on the Windows of this run.
#include "settings/MailClients.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <iterator>
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
  constexpr std::size_t kAll = std::size(kMailClients);
  constexpr std::size_t kWithMonitor = [] {
    std::size_t count = 0;
    for (const MailClientFacts& facts : kMailClients) {
      count += HasMonitor(facts.client) ? 1U : 0U;
    }
    return count;
  }();
  Row inOrder[kAll] = {};
  std::transform(std::begin(kMailClients), std::end(kMailClients), inOrder,
                 [](const MailClientFacts& facts) { return Row{facts.client}; });
  Row reversed[kAll] = {};
  std::reverse_copy(std::begin(inOrder), std::end(inOrder), reversed);
  Row twice[kAll] = {};  // the last client, instead of the second
  std::copy(std::begin(inOrder), std::end(inOrder), twice);
  twice[1] = twice[kAll - 1];
  Row oneMore[kAll + 1] = {};
  std::copy(std::begin(inOrder), std::end(inOrder), oneMore);
  oneMore[kAll] = oneMore[kAll - 1];
  Row monitored[kWithMonitor] = {};
  std::copy_if(std::begin(reversed), std::end(reversed), monitored,
               [](const Row& row) { return HasMonitor(row.client); });
  Row monitorMissing[kWithMonitor - 1] = {};
  std::copy_n(monitored, kWithMonitor - 1, monitorMissing);

  CHECK(StandInOrder(inOrder));
  CHECK_FALSE(StandInOrder(reversed));
  CHECK(&RowOf(MailClient::kOutlook, reversed) == &reversed[kAll - 1]);
  CHECK(HasEveryClient(inOrder));
  CHECK(HasEveryClient(reversed));
  CHECK_FALSE(HasEveryClient(twice));
  CHECK_FALSE(HasEveryClient(oneMore));
  CHECK_FALSE(HasEveryClient(monitored));
  CHECK(HasEveryMonitor(monitored));
  CHECK_FALSE(HasEveryMonitor(monitorMissing));
  CHECK_FALSE(HasEveryMonitor(inOrder));
}

}  // namespace
