// The switch on a Windows without Outlook Express: single calls that fail, identities, and the event for the monitors.
// Whole runs: tests/scenarios/EnableTests.cpp, DisableTests.cpp and DelayedInstallTests.cpp.
#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/Clients.h"
#include "tests/unit/activation/SwitchWorld.h"

using namespace TestSupport;

namespace {

constexpr char kUser[] = "S-1-5-21-0-0-0-1000";  // whom Wine runs everything for
constexpr char kNoFlags[] = "nDelayEnableOE = %d0 nDelayEnableOL = %d0 nDelayEnableWLM = %d0";

Lines SessionFound() {
  return Info(SessionLine(kUser));
}

Lines Activated(const std::string& sid = kUser) {
  return Joined({Info("GetCurrentUserID - szSidString: " + sid + " strCurrentUserID:"),
                 Info("SetAntiSpamEnable() - VELA OL activated successfully."),
                 Info("SetAntiSpamEnable() - VELA WLM activated successfully.")});
}

Lines MonitorStarted() {
  return Joined({Info("ImpersonateLoggedOnUser() : C:\\VELA\\VELA\\VELA_WLM\\VELA_WLMMon.exe"),
                 Info("Succeeded in calling CreateProcessAsUser() of VELA_WLMMon.exe")});
}

Lines Deactivated() {
  return Joined({Info("SetAntiSpamEnable() - VELA OL deactivated successfully."),
                 Info("SetAntiSpamEnable() - VELA WLM deactivated successfully."),
                 Info("Check if need VELA_DISABLE_NOTIFY_EVENT")});
}

Lines Signalled() {
  return Info("Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! ");
}

// ---- on

TEST_CASE("switching on activates the clients and starts the monitor") {
  SwitchWorld world;
  world.machine.SetFlags(0, 0, 0);
  const Lines log = world.Switch(true);
  CHECK(world.result);
  CHECK_LINES(log, (Joined({Info(kNoFlags), SessionFound(), Activated(), MonitorStarted()})));
  CHECK(world.regsvr32.Starts().empty());
  CHECK(world.monitors.Starts().size() == 1);
  CHECK_LINES(world.shutdown.Calls(), {});
  CHECK_LINES(world.session.NotGivenBack(), {});
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
}

TEST_CASE("without a session at the console nothing is switched, in either direction") {
  for (const bool enable : {true, false}) {
    for (const bool known : {true, false}) {
      CAPTURE(enable);
      CAPTURE(known);
      SwitchWorld world;
      world.machine.SetFlags(0, 0, 0);
      MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 9}});
      world.session.sessionId = 0xFFFFFFFF;
      if (!known) {
        world.session.missingEntries = {"WTSGetActiveConsoleSessionId"};
      }
      const RegistrySnapshot before = world.machine.Registry();
      const Lines log = world.Switch(enable);
      CHECK_FALSE(world.result);
      CHECK_LINES(log, (Joined({enable ? Info(kNoFlags) : Lines{},
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

TEST_CASE("without an environment block the program switches as itself, and the thread is itself in the end") {
  for (const bool enable : {true, false}) {
    SwitchWorld world;
    world.machine.SetFlags(0, 0, 0);
    MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
    world.session.createBlockError = ERROR_ACCESS_DENIED;
    Lines asUser;
    Lines asItself;
    const auto note = [&](const char* function) {
      (ConsoleSession::ThreadActsAsUser() ? asUser : asItself).emplace_back(function);
    };
    Lines log;
    {
      ImportRedirection folder("CreateDirectoryW", [&](LPCWSTR path, LPSECURITY_ATTRIBUTES attributes) -> BOOL {
        note("CreateDirectoryW");
        return folder.Original<decltype(&::CreateDirectoryW)>()(path, attributes);
      });
      ImportRedirection value(
          "RegSetValueExW",
          [&](HKEY key, LPCWSTR name, DWORD zero, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
            note("RegSetValueExW");
            return value.Original<decltype(&::RegSetValueExW)>()(key, name, zero, type, data, size);
          });
      log = world.Switch(enable);
    }
    const bool actsAsUser = ConsoleSession::ThreadActsAsUser();
    CHECK_LINES(LinesWith(log, "StartImpersonate"),
                (Error("Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()")));
    CHECK_LINES(asUser, {});
    CHECK_FALSE(asItself.empty());
    CHECK_FALSE(actsAsUser);
    CHECK(world.monitors.Starts().empty());
    CHECK_LINES(world.session.NotGivenBack(), {});
  }
}

// ---- registrations that were put off

struct Delayed {
  const wchar_t* client;
  const wchar_t* cleared;  // whose flag is cleared after it
};

// In the order in which they are done.
constexpr Delayed kDelayed[] = {{L"OE", L"OL"}, {L"OL", L"OE"}, {L"WLM", L"WLM"}};

TEST_CASE("a flag has its client registered, and clears a flag; one that refuses its new value is told") {
  REQUIRE(std::size(kDelayed) == Clients().size());
  for (const Delayed& delayed : kDelayed) {
    for (const bool refused : {false, true}) {
      CAPTURE(ToUtf8(delayed.client));
      CAPTURE(refused);
      SwitchWorld world;
      Lines flags;
      std::string shown;
      for (const Delayed& other : kDelayed) {
        const std::wstring name = other.client + std::wstring(L"_DELAY_INST");
        const DWORD value = other.client == delayed.client ? 2 : 0;
        MakeKey(MachineKey64(SwitchedMachine::kCoreAgentKey), {{name.c_str(), value}});
        shown += (shown.empty() ? "" : " ") + ("nDelayEnable" + ToUtf8(other.client)) + " = %d" + std::to_string(value);
      }
      Lines log;
      Lines stored;
      {
        ImportRedirection set(
            "RegSetValueExW",
            [&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
              if (std::wcsstr(name, L"_DELAY_INST") != nullptr) {
                stored.push_back(ToUtf8(name) + " " + std::to_string(type) + " " + std::to_string(size) + " " +
                                 std::to_string(data[0] + data[1] + data[2] + data[3]));
                return refused ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
              }
              return set.Original<decltype(&::RegSetValueExW)>()(key, name, reserved, type, data, size);
            });
        log = world.Switch(true);
      }
      const std::string cleared = ToUtf8(delayed.cleared);
      CHECK(world.result);
      CHECK(log.front() == Info(shown).front());
      CHECK_LINES(stored, {cleared + "_DELAY_INST 4 4 0"});
      CHECK_LINES(LinesWith(log, " store "),
                  (refused ? Joined({Error("Fail to store value !!"),
                                     Error("Fail to store REG_ZENTA_VELA_" + cleared + "_DELAY_INSTALL_KEY value !!")})
                           : Lines{}));
      const bool outlook = delayed.client == std::wstring(L"OL");
      CHECK(LinesWith(log, "MS Office Outlook is not installed !").size() == (outlook ? 1 : 0));
      for (const Client& client : Clients()) {
        CHECK(LinesWith(world.regsvr32.CommandLines(), "\"C:\\VELA\\" + ToUtf8(client.FolderName()) + "\\").size() ==
              (client.shortName == std::wstring(delayed.client) ? client.modules.size() : 0));
      }
      CHECK(world.regsvr32.OpenHandles() == 0);
    }
  }
}

TEST_CASE("a running Outlook keeps its add-in from being loaded until the activation behind") {
  for (const bool running : {false, true}) {
    SwitchWorld world;
    world.machine.SetFlags(0, 1, 0);
    world.session.sessionId = 0xFFFFFFFF;  // no activation then
    world.running.Become({running ? L"outlook.exe" : L"x.exe"});
    world.Switch(true);
    CHECK(world.machine.LoadBehavior() == (running ? 2 : 3));
  }
}

// ---- off

void SwitchOnBefore(SwitchWorld& world) {
  world.machine.SetFlags(1, 1, 1);
  MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
  MakeKey(MachineKey64(SwitchedMachine::kRunKey), {{L"WLM", L"x"}, {L"OE", L"y"}});
}

TEST_CASE("switching off looks at no flags, deactivates the clients and tells the monitors for 100 milliseconds") {
  SwitchWorld world;
  SwitchOnBefore(world);
  const Lines log = world.Switch(false);
  CHECK(world.result);
  CHECK_LINES(log, (Joined({SessionFound(), Deactivated(), Signalled()})));
  CHECK_LINES(world.shutdown.Calls(), (SignalledCalls()));
  CHECK(world.monitors.Starts().empty());
  CHECK(world.regsvr32.Starts().empty());
  CHECK_LINES(world.machine.Flags(),
              {"\"OE_DELAY_INST\" REG_DWORD 1", "\"OL_DELAY_INST\" REG_DWORD 1", "\"WLM_DELAY_INST\" REG_DWORD 1"});
  CHECK(world.machine.LoadBehavior() == 2);
  CHECK(SwitchedMachine::RunValue(L"WLM").empty());
  CHECK(SwitchedMachine::RunValue(L"OE") == L"y");
  CHECK_LINES(world.session.NotGivenBack(), {});
}

TEST_CASE("a running client that needs its monitor keeps it, any other does not") {
  for (const Client& client : Clients()) {
    CAPTURE(ToUtf8(client.shortName));
    SwitchWorld world;
    SwitchOnBefore(world);
    world.running.Become({L"System", client.process});
    const Lines log = world.Switch(false);
    const bool keeps = client.hasMonitor && !client.endedWithVista;
    CHECK(world.result);
    CHECK_LINES(
        log,
        (Joined({SessionFound(), Deactivated(), keeps ? Info("Not Send VELA_DISABLE_NOTIFY_EVENT") : Signalled()})));
    CHECK_LINES(world.shutdown.Calls(), (keeps ? Lines{} : SignalledCalls()));
  }
}

TEST_CASE("an event that cannot be had is told with the error and does not count") {
  SwitchWorld world;
  SwitchOnBefore(world);
  world.shutdown.Fail(ERROR_INVALID_HANDLE);
  const Lines log = world.Switch(false);
  CHECK(world.result);
  CHECK_LINES(log, (Joined({SessionFound(), Deactivated(), Error("Fail to OpenEvent() ! ErrCode:6")})));
  CHECK_LINES(world.shutdown.Calls(), {"CreateEventW Global\\{DD2A6866-95FD-47a8-A48D-CDB025648C09} manual"});
}

TEST_CASE("the monitors are told behind the line that says so") {
  SwitchWorld world;
  SwitchOnBefore(world);
  const LogCapture log;
  Lines before;
  const ImportRedirection set("SetEvent", [&](HANDLE) -> BOOL {
    before = log.Lines();
    return TRUE;
  });
  world.Switch(false);
  CHECK_LINES(before, (Joined({SessionFound(), Deactivated(), Signalled()})));
}

}  // namespace
