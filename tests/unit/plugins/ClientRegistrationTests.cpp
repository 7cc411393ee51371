#include "plugins/ClientRegistration.h"

#include <doctest/doctest.h>

#include "tests/support/LogCapture.h"
#include "tests/unit/plugins/OnlyProcess.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"

using TestSupport::Lines;
using TestSupport::LogCapture;
using TestSupport::MachineKey64;

namespace {

struct CleanMachine {
  OwnKey outlook{MachineKey64(L"Software\\Microsoft\\Office\\Outlook")};
  OwnKey registeredProgram{MachineKey64(L"Software\\Classes\\Outlook.Application")};
  OwnKey nektra{MachineKey64(L"Software\\Nektra")};
  UserHivesWorld hives;
};

// Reported as 6.2, where Outlook Express is "msimn".
struct Client {
  MailClient client;
  const wchar_t* process;
  const char* firstModule;
  const char* runningLine;
  const char* failureLine;
};

constexpr Client kClients[] = {
    {MailClient::kOutlook, L"OUTLOOK.EXE", "Redemption.dll",
     "LOG_INFO : MS Office Outlook is running during installing !", "LOG_ERROR: Fail to Install VELA_OL !!"},
    {MailClient::kOutlookExpress, L"msimn.exe", "oeapiinitcom.dll",
     "LOG_INFO : Outlook Express is running during installing !", "LOG_ERROR: Fail to Install VELA_OE !!"},
    {MailClient::kWindowsLiveMail, L"wlmail.exe", "WLMailApiInit.dll",
     "LOG_INFO : Windows Live Mail is running during installing !", "LOG_ERROR: Fail to Install VELA_WLM !!"},
};

bool Holds(const Lines& lines, const char* part) {
  return !TestSupport::LinesWith(lines, part).empty();
}

TEST_CASE("each client is registered by its own modules, and a machine on which it does not run is not spoken of") {
  for (const Client& client : kClients) {
    CAPTURE(client.firstModule);
    const CleanMachine machine;
    RegistrationChild child;
    const OnlyProcess other(L"explorer.exe");
    const LogCapture log;
    VELAUtility::RegisterClient(client.client, L"C:\\Folder", true);

    REQUIRE_FALSE(child.Starts().empty());
    CHECK(child.CommandLines().front() == std::string("regsvr32.exe /s \"C:\\Folder\\") + client.firstModule + "\"");
    CHECK_FALSE(Holds(log.Lines(), "is running"));
    CHECK_FALSE(Holds(log.Lines(), "LOG_ERROR"));
  }
}

TEST_CASE("a client that runs is told before its modules are registered") {
  for (const Client& client : kClients) {
    CAPTURE(client.firstModule);
    const CleanMachine machine;
    RegistrationChild child;
    const OnlyProcess running(client.process);
    const LogCapture log;
    VELAUtility::RegisterClient(client.client, L"C:\\Folder", true);

    CHECK(log.Lines().front() == client.runningLine);
    CHECK(child.Starts().size() >= 2);
  }
}

TEST_CASE("only the client itself counts as running") {
  for (const Client& client : kClients) {
    for (const Client& other : kClients) {
      const CleanMachine machine;
      RegistrationChild child;
      const OnlyProcess running(other.process);
      const LogCapture log;
      VELAUtility::RegisterClient(client.client, L"C:\\Folder", true);
      CHECK(Holds(log.Lines(), "is running") == (client.client == other.client));
    }
  }
}

TEST_CASE("Outlook loads the add-in where that is wanted and Outlook does not run") {
  struct Case {
    const wchar_t* process;
    bool enable;
    const char* loadBehavior;
  };
  for (const Case& wanted : {Case{L"explorer.exe", true, "\"LoadBehavior\" REG_DWORD 3"},
                             Case{L"explorer.exe", false, "\"LoadBehavior\" REG_DWORD 2"},
                             Case{L"outlook.exe", true, "\"LoadBehavior\" REG_DWORD 2"},
                             Case{L"outlook.exe", false, "\"LoadBehavior\" REG_DWORD 2"}}) {
    const CleanMachine machine;
    RegistrationChild child;
    const OnlyProcess running(wanted.process);
    VELAUtility::RegisterClient(MailClient::kOutlook, L"C:\\Folder", wanted.enable);
    CHECK(Holds(machine.outlook.Contents(), wanted.loadBehavior));
  }
}

TEST_CASE("a registration that fails is told last") {
  for (const Client& client : kClients) {
    CAPTURE(client.firstModule);
    const CleanMachine machine;
    RegistrationChild child;
    child.FailEveryStart(ERROR_FILE_NOT_FOUND);
    const LogCapture log;
    VELAUtility::RegisterClient(client.client, L"C:\\Folder", true);
    CHECK(log.Lines().back() == client.failureLine);
  }
}

}  // namespace
