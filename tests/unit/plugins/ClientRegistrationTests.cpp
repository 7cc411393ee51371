#include "plugins/ClientRegistration.h"

#include <doctest/doctest.h>

#include "tests/support/Clients.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"
#include "tests/unit/settings/RunningProcesses.h"

using namespace TestSupport;

namespace {

struct CleanMachine : MachineWithoutOutlook {
  OwnKey nektra{MachineKey64(L"Software\\Nektra")};
};

TEST_CASE("each client is (un)registered by its own modules; only if it runs itself, that is logged first") {
  for (std::size_t index = 0; index < Clients().size(); ++index) {
    for (const Client& running : Clients()) {
      const Client& client = Clients()[index];
      CAPTURE(ToUtf8(client.shortName));
      CAPTURE(ToUtf8(running.shortName));
      const bool runs = running.shortName == client.shortName;
      const std::string runningAtInstall = "LOG_INFO : " + std::string(client.name) + " is running during installing !";
      const CleanMachine machine;
      const RunningProcesses processes({L"explorer.exe", running.process});
      const LogCapture log;
      {
        const RegistrationChild child;
        VELAUtility::RegisterClient(kMailClients[index].client, L"C:\\Folder", true);
        Lines commands;
        for (const wchar_t* const module : client.modules) {
          commands.push_back("regsvr32.exe /s \"C:\\Folder\\" + ToUtf8(module) + "\"");
        }
        CHECK_LINES(child.CommandLines(), (commands));
        CHECK_LINES(LinesWith(log.Lines(), "is running"), (runs ? Lines{runningAtInstall} : Lines{}));
        CHECK((log.Lines().front() == runningAtInstall) == runs);
      }
      const RegistrationChild child;
      VELAUtility::UnregisterClient(kMailClients[index].client, L"C:\\Folder");
      CHECK(child.Starts().size() == (runs && client.keptWhileRunning ? 0 : client.modules.size()));
      CHECK_LINES(LinesWith(log.Lines(), "still running"), (runs ? Lines{client.runningAtRemoval} : Lines{}));
      CHECK_LINES(LinesWith(log.Lines(), "LOG_ERROR"), {});
    }
  }
}

TEST_CASE("Outlook is set to load the add-in if that is requested and Outlook does not run") {
  for (const wchar_t* const process : {L"explorer.exe", L"outlook.exe"}) {
    for (const bool enable : {true, false}) {
      const CleanMachine machine;
      const RegistrationChild child;
      const RunningProcesses running({process});
      VELAUtility::RegisterClient(MailClient::kOutlook, L"C:\\Folder", enable);
      const char* const wanted = enable && *process == L'e' ? "3" : "2";
      CHECK(LinesWith(machine.outlook.Contents(), std::string("\"LoadBehavior\" REG_DWORD ") + wanted).size() == 1);
    }
  }
}

TEST_CASE("a failed registration, and a failed removal, is logged in the last line") {
  for (std::size_t index = 0; index < Clients().size(); ++index) {
    const Client& client = Clients()[index];
    CAPTURE(ToUtf8(client.shortName));
    const CleanMachine machine;
    RegistrationChild child;
    child.FailEveryStart(ERROR_FILE_NOT_FOUND);
    const LogCapture log;
    VELAUtility::RegisterClient(kMailClients[index].client, L"C:\\Folder", true);
    CHECK(log.Lines().back() == "LOG_ERROR: Fail to Install VELA_" + ToUtf8(client.shortName) + " !!");
    VELAUtility::UnregisterClient(kMailClients[index].client, L"C:\\Folder");
    CHECK(log.Lines().back() == "LOG_ERROR: VELA " + ToUtf8(client.shortName) + " UnInstall Fail !!");
  }
}

}  // namespace
