#include "settings/MailClients.h"

#include <doctest/doctest.h>

#include <string>

#include "tests/unit/settings/RunningProcesses.h"

using namespace TestSupport;

namespace {

TEST_CASE("the clients, in the order in which they are always taken") {
  REQUIRE(std::size(kMailClients) == 3);
  CHECK(kMailClients[0].client == MailClient::kOutlook);
  CHECK(kMailClients[1].client == MailClient::kOutlookExpress);
  CHECK(kMailClients[2].client == MailClient::kWindowsLiveMail);
  for (const MailClientFacts& facts : kMailClients) {
    CHECK(&FactsOf(facts.client) == &facts);
  }
}

TEST_CASE("their names") {
  CHECK(FolderNameOf(MailClient::kOutlook) == L"VELA_OL");
  CHECK(FolderNameOf(MailClient::kWindowsLiveMail) == L"VELA_WLM");
  CHECK(MonitorNameOf(MailClient::kOutlookExpress) == L"VELA_OEMon.exe");
  CHECK(UpdateEventOf(MailClient::kOutlook) == L"Global\\VELA_UPDATE_EVENT_OL");
  CHECK(DelayFlagOf(MailClient::kWindowsLiveMail) == L"WLM_DELAY_INST");
  CHECK_FALSE(HasMonitor(MailClient::kOutlook));
  CHECK(std::wstring(FactsOf(MailClient::kOutlookExpress).runValue) == L"OE");
  CHECK(std::wstring(FactsOf(MailClient::kWindowsLiveMail).runValue) == L"WLM");
}

TEST_CASE("a table that misses a client, or names one twice, does not pass the compiler") {
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

TEST_CASE("their programs on any Windows but 6.0") {
  REQUIRE_FALSE(OrCommon::System::IsWindowsVersion(OrCommon::System::kWindows60));
  CHECK(std::wstring(ProcessNameOf(MailClient::kOutlook)) == L"outlook");
  CHECK(std::wstring(ProcessNameOf(MailClient::kOutlookExpress)) == L"msimn");
  CHECK(std::wstring(ProcessNameOf(MailClient::kWindowsLiveMail)) == L"wlmail");
}

TEST_CASE("Outlook Express alone is left out, on a Windows that no longer has it") {
  REQUIRE(OrCommon::System::IsWindowsVersion(109));
  CHECK_FALSE(IsLeftOut(MailClient::kOutlook));
  CHECK(IsLeftOut(MailClient::kOutlookExpress));
  CHECK_FALSE(IsLeftOut(MailClient::kWindowsLiveMail));
}

TEST_CASE("a client runs where its program does, and no other") {
  const RunningProcesses running({L"System", L"MSIMN.EXE", L"winmail.exe", L"outlook2.exe", L"wlmail.com.exe"});
  CHECK_FALSE(IsMailClientRunning(MailClient::kOutlook));
  CHECK(IsMailClientRunning(MailClient::kOutlookExpress));
  CHECK_FALSE(IsMailClientRunning(MailClient::kWindowsLiveMail));
}

}  // namespace
