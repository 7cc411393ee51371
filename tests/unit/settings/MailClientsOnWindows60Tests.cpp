// A program of its own: on Windows 6.0 another program is Outlook Express.
#include <doctest/doctest.h>

#include <string>

#include "settings/MailClients.h"
#include "tests/unit/settings/RunningProcesses.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;

namespace {

TEST_CASE("Windows Mail stands in the place of Outlook Express") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  CHECK(std::wstring(ProcessNameOf(MailClient::kOutlook)) == L"outlook");
  CHECK(std::wstring(ProcessNameOf(MailClient::kOutlookExpress)) == L"winmail");
  CHECK(std::wstring(ProcessNameOf(MailClient::kWindowsLiveMail)) == L"wlmail");
}

TEST_CASE("a running Outlook Express is not looked at, a running Windows Mail is") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  RunningProcesses running({L"msimn.exe"});
  CHECK_FALSE(IsMailClientRunning(MailClient::kOutlookExpress));
  running.Become({L"WinMail.exe"});
  CHECK(IsMailClientRunning(MailClient::kOutlookExpress));
}

TEST_CASE("no client is left out") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  for (const MailClientFacts& facts : kMailClients) {
    CHECK_FALSE(IsLeftOut(facts.client));
  }
}

}  // namespace
