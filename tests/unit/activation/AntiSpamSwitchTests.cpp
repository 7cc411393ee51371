// The switch on a Windows without Outlook Express: single calls that fail, identities, and the event for the monitors.
// Whole runs: tests/scenarios/EnableTests.cpp, DisableTests.cpp and DelayedInstallTests.cpp.
#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/Clients.h"
#include "tests/unit/activation/SwitchWorld.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;

namespace {

constexpr char kUser[] = "S-1-5-21-0-0-0-1000";  // the user of all processes in Wine

// The clients in the order of their delayed registrations.
std::vector<Client> InOrderOfDelays() {
  std::vector<Client> clients = Clients();
  std::swap(clients[0], clients[1]);
  return clients;
}

// The line about the flags, all 0 but that of one client.
Lines FlagsLine(const wchar_t* client = L"", const char* flag = "0") {
  std::string text;
  for (const Client& each : InOrderOfDelays()) {
    text += (text.empty() ? "" : " ") + ("nDelayEnable" + ToUtf8(each.shortName)) + " = %d" +
            (client == std::wstring(each.shortName) ? flag : "0");
  }
  return Info(text);
}

// The clients that this Windows has.
std::vector<Client> ClientsHere() {
  std::vector<Client> clients;
  for (const Client& client : Clients()) {
    if (!client.endedWithVista) {
      clients.push_back(client);
    }
  }
  return clients;
}

Lines MonitorsHere() {
  Lines monitors;
  for (const Client& client : ClientsHere()) {
    if (client.hasMonitor) {
      monitors.push_back("C:\\VELA\\VELA\\" + ToUtf8(client.FolderName() + L"\\" + client.MonitorName()));
    }
  }
  return monitors;
}

Lines Switched(const std::string& how) {
  Lines lines;
  for (const Client& client : ClientsHere()) {
    lines = Joined({lines, Info("SetAntiSpamEnable() - VELA " + ToUtf8(client.shortName) + how + " successfully.")});
  }
  return lines;
}

Lines Started(const Lines& monitors) {
  Lines lines;
  for (const std::string& monitor : monitors) {
    lines = Joined({lines, Info("ImpersonateLoggedOnUser() : " + monitor),
                    Info("Succeeded in calling CreateProcessAsUser() of " + monitor.substr(monitor.rfind('\\') + 1))});
  }
  return lines;
}

const Lines kSessionFound = Info(SessionLine(kUser));
const Lines kActivated = Joined({Info("GetCurrentUserID - szSidString: " + std::string(kUser) + " strCurrentUserID:"),
                                 Switched(" activated"), Started(MonitorsHere())});
const Lines kDeactivated =
    Joined({kSessionFound, Switched(" deactivated"), Info("Check if need VELA_DISABLE_NOTIFY_EVENT")});

// ---- on

TEST_CASE("switching on activates the clients and starts the monitor") {
  SwitchWorld world;
  world.machine.ClearFlags();
  const Lines log = world.Switch(true);
  CHECK(world.result);
  CHECK_LINES(log, (Joined({FlagsLine(), kSessionFound, kActivated})));
  CHECK(world.regsvr32.Starts().empty());
  CHECK(world.monitors.Starts().size() == MonitorsHere().size());
  CHECK_LINES(world.shutdown.Calls(), {});
  CHECK_LINES(world.session.NotGivenBack(), {});
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
}

TEST_CASE("without a session at the console, nothing is switched on or off") {
  for (const bool enable : {true, false}) {
    for (const bool known : {true, false}) {
      CAPTURE(enable);
      CAPTURE(known);
      SwitchWorld world;
      world.machine.ClearFlags();
      MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 9}});
      world.session.sessionId = 0xFFFFFFFF;
      if (!known) {
        world.session.missingEntries = {"WTSGetActiveConsoleSessionId"};
      }
      const RegistrySnapshot before = world.machine.Registry();
      const Lines log = world.Switch(enable);
      CHECK_FALSE(world.result);
      CHECK_LINES(log, (Joined({enable ? FlagsLine() : Lines{},
                                Error(std::string("*** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active "
                                                  "session id. error=") +
                                      (known ? "0" : "127"))})));
      CHECK_LINES(RegistrySnapshot::Changes(before, world.machine.Registry()), {});
      CHECK_LINES(world.machine.Data(), {"data\\"});
      CHECK(world.monitors.Starts().empty());
      CHECK_LINES(world.shutdown.Calls(), {});
      CHECK_LINES(world.session.NotGivenBack(), {});
    }
  }
}

TEST_CASE("without an environment block, the program switches as itself, and the thread acts as itself afterwards") {
  for (const bool enable : {true, false}) {
    SwitchWorld world;
    world.machine.ClearFlags();
    MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
    world.session.createBlockError = ERROR_ACCESS_DENIED;
    unsigned asUser = 0;
    unsigned asItself = 0;
    const auto note = [&] { ++(ConsoleSession::ThreadActsAsUser() ? asUser : asItself); };
    const OnCall folder("CreateDirectoryW", &::CreateDirectoryW, note);
    const OnCall value("RegSetValueExW", &::RegSetValueExW, note);
    const Lines log = world.Switch(enable);
    CHECK_LINES(LinesWith(log, "StartImpersonate"),
                (Error("Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()")));
    CHECK(asUser == 0);
    CHECK(asItself > 0);
    CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
    CHECK(world.monitors.Starts().empty());
    CHECK_LINES(world.session.NotGivenBack(), {});
  }
}

// ---- delayed registrations

// The client whose flag is cleared after a delayed registration.
std::string ClearedAfter(const std::wstring& client) {
  return client == L"OE" ? "OL" : client == L"OL" ? "OE" : ToUtf8(client);
}

TEST_CASE("a delay flag gets its client registered, and one flag is cleared; if that fails, it is logged") {
  for (const Client& delayed : InOrderOfDelays()) {
    for (const DWORD error : {DWORD{ERROR_SUCCESS}, DWORD{ERROR_ACCESS_DENIED}}) {
      CAPTURE(ToUtf8(delayed.shortName));
      CAPTURE(error);
      SwitchWorld world;
      const std::wstring client = delayed.shortName;
      world.machine.ClearFlags();
      world.machine.SetFlag(delayed.shortName, 2);
      const std::string cleared = ClearedAfter(client);
      const FailWhere set("RegSetValueExW", &::RegSetValueExW,
                          [&](HKEY, LPCWSTR name, DWORD, DWORD, const BYTE*, DWORD) {
                            return std::wcsstr(name, L"_DELAY_INST") != nullptr ? error : ERROR_SUCCESS;
                          });
      const RegistryCallTrace trace;
      const Lines log = world.Switch(true);
      CHECK(world.result);
      CHECK(log.front() == FlagsLine(delayed.shortName, "2").front());
      const Lines stored = LinesWith(trace.Calls(), "_DELAY_INST\" REG_DWORD 4 bytes");
      CHECK(stored.size() == 1);
      CHECK_LINES(LinesWith(stored, "\"" + cleared + "_DELAY_INST"), (stored));
      CHECK_LINES(LinesWith(log, " store "),
                  (error == ERROR_SUCCESS
                       ? Lines{}
                       : Joined({Error("Fail to store value !!"),
                                 Error("Fail to store REG_ZENTA_VELA_" + cleared + "_DELAY_INSTALL_KEY value !!")})));
      CHECK(LinesWith(log, "MS Office Outlook is not installed !").size() == (client == L"OL" ? 1 : 0));
      for (const Client& other : Clients()) {
        CHECK(LinesWith(world.regsvr32.CommandLines(), "\"C:\\VELA\\" + ToUtf8(other.FolderName()) + "\\").size() ==
              (client == other.shortName ? other.modules.size() : 0));
      }
      CHECK(world.regsvr32.OpenHandles() == 0);
    }
  }
}

TEST_CASE("a delayed registration while Outlook runs sets the add-in not to load") {
  for (const bool running : {false, true}) {
    SwitchWorld world;
    world.machine.SetFlag(L"OL", 1);
    world.session.sessionId = 0xFFFFFFFF;  // no activation then
    world.running.Become({running ? L"outlook.exe" : L"x.exe"});
    world.Switch(true);
    CHECK(world.machine.LoadBehavior() == (running ? 2 : 3));
  }
}

// ---- off

void SwitchOnBefore(SwitchWorld& world) {
  MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
  for (const Client& client : Clients()) {
    world.machine.SetFlag(client.shortName, 1);
    if (client.hasMonitor) {
      MakeKey(MachineKey64(SwitchedMachine::kRunKey), {{client.shortName, L"x"}});
    }
  }
}

TEST_CASE("switching off ignores the delay flags, deactivates the clients and signals the monitors for 100 ms") {
  SwitchWorld world;
  SwitchOnBefore(world);
  const LogCapture capture;
  Lines beforeEvent;  // the monitors are told after the line about it
  const OnCall set("SetEvent", &::SetEvent, [&] { beforeEvent = capture.Lines(); });
  const Lines log = world.Switch(false);
  CHECK(world.result);
  CHECK_LINES(
      log,
      (Joined({kDeactivated, Info("Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! ")})));
  CHECK_LINES(beforeEvent, (log));
  CHECK_LINES(world.shutdown.Calls(), (SignalledCalls()));
  CHECK(world.monitors.Starts().empty());
  CHECK(world.regsvr32.Starts().empty());
  CHECK(LinesWith(world.machine.Flags(), "_DELAY_INST\" REG_DWORD 1").size() == Clients().size());
  CHECK(world.machine.LoadBehavior() == 2);
  for (const Client& client : Clients()) {
    CHECK((SwitchedMachine::RunValue(client.shortName) == L"x") == (client.hasMonitor && client.endedWithVista));
  }
  CHECK_LINES(world.session.NotGivenBack(), {});
}

TEST_CASE("an event that cannot be created is logged with its error, and the switch still succeeds") {
  const FailCall noEvent("CreateEventW", Calls::From(1), ERROR_INVALID_HANDLE);
  SwitchWorld world;
  SwitchOnBefore(world);
  const Lines log = world.Switch(false);
  CHECK(world.result);
  CHECK_LINES(log, (Joined({kDeactivated, Error("Fail to OpenEvent() ! ErrCode:6")})));
  CHECK_LINES(world.shutdown.Calls(), {SignalledCalls().front()});
}

}  // namespace
