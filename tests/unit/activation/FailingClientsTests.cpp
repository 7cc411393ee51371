// The switch when clients cannot be switched. The real activation never fails at present. So this program has fake
// clients instead of ClientActivation.cpp, which the linker then leaves out.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "activation/ClientActivation.h"
#include "tests/support/Clients.h"
#include "tests/unit/activation/SwitchWorld.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;

namespace {

constexpr char kUser[] = "S-1-5-21-0-0-0-1000";

// The client whose steps fail, by its short name; "" for none.
std::wstring failing;
Lines steps;

bool Take(const char* step, const wchar_t* client) {
  steps.push_back(step + ToUtf8(client));
  return failing != client;
}

bool Take(const char* step, const wchar_t* client, const std::wstring& installPath, DWORD sessionId,
          const std::wstring& userSid) {
  CHECK(installPath == L"C:\\VELA");
  CHECK(sessionId == 7);
  CHECK(ToUtf8(userSid) == kUser);
  return Take(step, client);
}

}  // namespace

namespace VELAUtility {

bool VELA_ActivateOL(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take("Activate", L"OL", installPath, sessionId, userSid);
}
bool VELA_ActivateOE(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take("Activate", L"OE", installPath, sessionId, userSid);
}
bool VELA_ActivateWLM(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take("Activate", L"WLM", installPath, sessionId, userSid);
}
bool VELA_DeActivateOL(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take("DeActivate", L"OL", installPath, sessionId, userSid);
}
bool VELA_DeActivateOE(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take("DeActivate", L"OE", installPath, sessionId, userSid);
}
bool VELA_DeActivateWLM(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take("DeActivate", L"WLM", installPath, sessionId, userSid);
}
// For a client without functions of its own.
bool ActivateMonitor(MailClient client, const std::wstring& installPath, const std::wstring& userSid) {
  return Take("Activate", FactsOf(client).shortName, installPath, 7, userSid);
}
bool DeactivateMonitor(MailClient client) {
  return Take("DeActivate", FactsOf(client).shortName);
}

}  // namespace VELAUtility

namespace {

// Windows Vista, which has all clients.
struct VistaWorld {
  WindowsReports reports{6, 0, VER_NT_WORKSTATION};
  SwitchWorld world;
};

TEST_CASE("every client is switched, any failure fails the switch, and monitors are started or signalled anyway") {
  std::vector<std::wstring> rows = {L""};
  for (const Client& client : Clients()) {
    rows.emplace_back(client.shortName);
  }
  for (const bool enable : {true, false}) {
    for (const std::wstring& row : rows) {
      CAPTURE(enable);
      CAPTURE(ToUtf8(row));
      failing = row;
      steps.clear();
      VistaWorld vista;
      vista.world.machine.ClearFlags();
      const Lines log = vista.world.Switch(enable);
      CHECK(vista.world.result == row.empty());
      Lines wantedSteps;
      Lines wanted = Info(SessionLine(kUser));
      Lines monitors;
      for (const Client& client : Clients()) {
        const std::string name = ToUtf8(client.shortName);
        wantedSteps.push_back((enable ? "Activate" : "DeActivate") + name);
        wanted =
            Joined({wanted, row != client.shortName
                                ? Info("SetAntiSpamEnable() - VELA " + name +
                                       (enable ? " activated successfully." : " deactivated successfully."))
                            : enable ? Error("*** SetAntiSpamEnable() - VELA_Activate" + name + "() Fail")
                                     : Error("*** SetAntiSpamEnable() - failed on VELA_DeActivate" + name + "()")});
        if (client.hasMonitor) {
          monitors.push_back("token C:\\VELA\\VELA\\" + ToUtf8(client.FolderName() + L"\\" + client.MonitorName()) +
                             " plain as the user");
        }
      }
      if (enable && !row.empty()) {
        wanted = Joined({wanted, Error("!!! SetAntiSpamEnable() - failed on VELA_ActivateAll()")});
      }
      REQUIRE(log.size() > wanted.size());
      const auto first = log.begin() + (enable ? 1 : 0);  // after the line about the flags
      CHECK_LINES(Lines(first, first + static_cast<std::ptrdiff_t>(wanted.size())), (wanted));
      CHECK_LINES(steps, (wantedSteps));
      CHECK_LINES(vista.world.monitors.Starts(), (enable ? monitors : Lines{}));
      CHECK_LINES(vista.world.shutdown.Calls(), (enable ? Lines{} : SignalledCalls()));
      CHECK_LINES(vista.world.session.NotGivenBack(), {});
    }
  }
}

TEST_CASE("a failed activation and a failed monitor are each logged, and every monitor is tried") {
  VistaWorld vista;
  vista.world.machine.ClearFlags();
  vista.world.monitors.Fail(ERROR_ACCESS_DENIED);
  failing = L"OL";
  const Lines log = vista.world.Switch(true);
  CHECK_FALSE(vista.world.result);
  CHECK_LINES(LinesWith(log, "!!!"), {"LOG_ERROR: !!! SetAntiSpamEnable() - failed on VELA_ActivateAll()",
                                      "LOG_ERROR: !!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()"});
  Lines wanted;
  for (const Client& client : Clients()) {
    if (client.hasMonitor) {
      const std::string monitor = ToUtf8(client.MonitorName());
      wanted.push_back("LOG_ERROR: Failed to call CreateProcessAsUser() to launch " + monitor + " 5 C:\\VELA\\VELA\\" +
                       ToUtf8(client.FolderName()) + "\\" + monitor);
    }
  }
  CHECK_LINES(LinesWith(log, "Failed to call"), (wanted));
}

}  // namespace
