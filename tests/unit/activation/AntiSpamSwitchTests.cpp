// The switch on a Windows without Outlook Express: its order, what decides its result, and the event for the monitors.
#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
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

TEST_CASE("shared settings that are missing, or that may not be read, are told and do not count") {
  for (const bool there : {false, true}) {
    SwitchWorld world;
    if (there) {
      world.machine.SetFlags(1, 1, 1);
      SetKeyAccess(MachineKey64(SwitchedMachine::kCoreAgentKey), kNoAccess);
    }
    const Lines log = world.Switch(true);
    CHECK(world.result);
    CHECK_LINES(log, (Joined({Error("Fail to open REG_ZENTA_VELA_ROOT_PATH for query !!"), SessionFound(), Activated(),
                              MonitorStarted()})));
    CHECK(world.regsvr32.Starts().empty());
    if (there) {
      SetKeyAccess(MachineKey64(SwitchedMachine::kCoreAgentKey), kFullAccess);
    }
  }
}

TEST_CASE("flags that are missing or no numbers are 0") {
  SwitchWorld world;
  MakeKey(MachineKey64(SwitchedMachine::kCoreAgentKey), {{L"OE_DELAY_INST", L"1"}});
  const BYTE bytes[] = {1, 0, 0, 0};
  SetRawValue(MachineKey64(SwitchedMachine::kCoreAgentKey), L"WLM_DELAY_INST", REG_BINARY, bytes, sizeof bytes);
  CHECK(world.Switch(true).front() == Info(kNoFlags).front());
  CHECK(world.regsvr32.Starts().empty());
}

TEST_CASE("flags of the 32-bit view are nobody's") {
  SwitchWorld world;
  MakeKey(MachineKey32(SwitchedMachine::kCoreAgentKey), {{L"OE_DELAY_INST", 1}});
  CHECK(world.Switch(true).front() == Error("Fail to open REG_ZENTA_VELA_ROOT_PATH for query !!").front());
  CHECK(world.regsvr32.Starts().empty());
}

TEST_CASE("a monitor that cannot be started does not fail the switch") {
  SwitchWorld world;
  world.machine.SetFlags(0, 0, 0);
  world.monitors.Fail(ERROR_FILE_NOT_FOUND);
  const Lines log = world.Switch(true);
  CHECK(world.result);
  CHECK_LINES(log, (Joined({Info(kNoFlags), SessionFound(), Activated(),
                            Info("ImpersonateLoggedOnUser() : C:\\VELA\\VELA\\VELA_WLM\\VELA_WLMMon.exe"),
                            Error("Failed to call CreateProcessAsUser() to launch VELA_WLMMon.exe 2 "
                                  "C:\\VELA\\VELA\\VELA_WLM\\VELA_WLMMon.exe"),
                            Error("!!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()")})));
}

TEST_CASE("a console without a session stops the switch behind the registrations that were put off") {
  SwitchWorld world;
  world.session.sessionId = 0xFFFFFFFF;
  world.machine.SetFlags(0, 0, 1);
  const RegistrySnapshot before = world.machine.Registry();
  const Lines log = world.Switch(true);
  CHECK_FALSE(world.result);
  REQUIRE(!log.empty());
  CHECK(log.front() == Info("nDelayEnableOE = %d0 nDelayEnableOL = %d0 nDelayEnableWLM = %d1").front());
  CHECK(log.back() ==
        Error("*** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=0").front());
  CHECK(world.regsvr32.Starts().size() == 4);
  CHECK_LINES(world.session.Calls(), {"WTSGetActiveConsoleSessionId"});
  CHECK(world.monitors.Starts().empty());
  CHECK_LINES(world.machine.Data(), {"data\\"});
  CHECK_LINES(LinesWith(RegistrySnapshot::Changes(before, world.machine.Registry()), "Office"), {});
  CHECK(SwitchedMachine::RunValue(L"WLM").empty());
}

TEST_CASE("a session that cannot be asked for stops the switch with the error") {
  for (const bool enable : {true, false}) {
    SwitchWorld world;
    world.machine.SetFlags(0, 0, 0);
    MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 9}});
    world.session.missingEntries = {"WTSGetActiveConsoleSessionId"};
    const RegistrySnapshot before = world.machine.Registry();
    const Lines log = world.Switch(enable);
    CHECK_FALSE(world.result);
    CHECK_LINES(log, (Joined({enable ? Info(kNoFlags) : Lines{},
                              Error("*** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. "
                                    "error=127")})));
    CHECK_LINES(RegistrySnapshot::Changes(before, world.machine.Registry()), {});
    CHECK(world.monitors.Starts().empty());
    CHECK_LINES(world.shutdown.Calls(), {});
    CHECK_LINES(world.session.NotGivenBack(), {});
  }
}

TEST_CASE("a user who cannot be had does not stop the switch: the clients are switched for nobody in particular") {
  SwitchWorld world;
  world.machine.SetFlags(0, 0, 0);
  world.session.tokenError = ERROR_NO_TOKEN;
  const Lines log = world.Switch(true);
  CHECK(world.result);
  CHECK_LINES(log, (Joined({Info(kNoFlags), Error("Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()"),
                            Info(SessionLine("")), Activated("")})));
  CHECK(world.monitors.Starts().empty());
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

TEST_CASE("the session is told as it is, however large") {
  SwitchWorld world;
  world.machine.SetFlags(0, 0, 0);
  world.session.sessionId = 0xFFFFFFFE;
  const Lines log = world.Switch(true);
  REQUIRE(log.size() > 1);
  CHECK(log[1] == Info(SessionLine(kUser, "4294967294")).front());
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

TEST_CASE("nothing to switch off makes the switch fail client by client, and the monitors are told all the same") {
  SwitchWorld world;
  const Lines log = world.Switch(false);
  CHECK_FALSE(world.result);
  CHECK_LINES(log, (Joined({SessionFound(), Error("Failed to WriteRegIntValue of LoadBehavior to 2!!"),
                            Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateOL()"),
                            Error("Fail to DeleteRegStringValue() of g_szWLM_OEM !"),
                            Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()"),
                            Info("Check if need VELA_DISABLE_NOTIFY_EVENT"), Signalled()})));
  CHECK_LINES(world.shutdown.Calls(), (SignalledCalls()));
}

TEST_CASE("one client that cannot be switched off is enough to fail the switch") {
  {
    SwitchWorld world;
    SwitchOnBefore(world);
    RemoveValue(MachineKey64(SwitchedMachine::kRunKey), L"WLM");
    world.Switch(false);
    CHECK_FALSE(world.result);
    CHECK(world.machine.LoadBehavior() == 2);
  }
  SwitchWorld world;
  SwitchOnBefore(world);
  RemoveKey(MachineKey64(SwitchedMachine::kAddinKey));
  world.Switch(false);
  CHECK_FALSE(world.result);
  CHECK(SwitchedMachine::RunValue(L"WLM").empty());
}

TEST_CASE("a running client that needs its monitor keeps it, any other does not") {
  struct Case {
    const wchar_t* program;
    bool keeps;
  };
  for (const Case& client : {Case{L"wlmail.exe", true}, Case{L"WLMail.EXE", true}, Case{L"outlook.exe", false},
                             Case{L"msimn.exe", false}, Case{L"winmail.exe", false}, Case{L"wlmail2.exe", false}}) {
    CAPTURE(client.program);
    SwitchWorld world;
    SwitchOnBefore(world);
    world.running.Become({L"System", client.program});
    const Lines log = world.Switch(false);
    CHECK(world.result);
    CHECK_LINES(log, (Joined({SessionFound(), Deactivated(),
                              client.keeps ? Info("Not Send VELA_DISABLE_NOTIFY_EVENT") : Signalled()})));
    CHECK_LINES(world.shutdown.Calls(), (client.keeps ? Lines{} : SignalledCalls()));
  }
}

TEST_CASE("processes that cannot be listed do not run") {
  SwitchWorld world;
  SwitchOnBefore(world);
  world.running.Become({L"wlmail.exe"});
  Lines log;
  {
    const FailCall list("CreateToolhelp32Snapshot", Calls::From(1), ERROR_BAD_LENGTH);
    log = world.Switch(false);
  }
  CHECK_LINES(log, (Joined({SessionFound(), Deactivated(), Signalled()})));
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
