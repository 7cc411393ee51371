// The switch on each Windows with different results of the version tests. The product asks Windows once per process:
// each run of this program has one answer, named by the environment. tests/matrix has the versions between.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "tests/support/Clients.h"
#include "tests/support/HeapWatch.h"
#include "tests/unit/activation/SwitchWorld.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;

namespace {

constexpr char kNoSession[] = "*** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=0";

constexpr std::size_t kFormatBuffer = 256 * sizeof(wchar_t);  // bytes; the smallest buffer for a path

struct ReportedWorld {
  WindowsOfThisRun windows;
  WindowsReports reports{windows.major, windows.minor, VER_NT_WORKSTATION};
  SwitchWorld world;

  bool HasSessions() const { return windows.major > 5 || windows.minor > 0; }
  bool Has(const Client& client) const { return !client.endedWithVista || !windows.IsAfterVista(); }
  const wchar_t* ProgramOf(const Client& client) const {
    return windows.Is60() ? client.processOnWindows60 : client.process;
  }
};

// The name of a client in the log: "activated", "deactivated".
Lines Switched(const ReportedWorld& reported, const std::string& how) {
  Lines lines;
  for (const Client& client : Clients()) {
    if (reported.Has(client)) {
      lines = Joined(
          {lines, Info("SetAntiSpamEnable() - VELA " + ToUtf8(client.shortName) + " " + how + " successfully.")});
    }
  }
  return lines;
}

TEST_CASE("the clients that this Windows has are activated, and their monitors are started") {
  ReportedWorld reported;
  SwitchWorld& world = reported.world;
  world.machine.ClearFlags();
  const Lines log = world.Switch(true);
  CHECK(world.result == reported.HasSessions());
  CHECK_LINES(LinesWith(log, "LOG_ERROR"), (reported.HasSessions() ? Lines{} : Error(kNoSession)));
  CHECK_LINES(LinesWith(log, "activated"), (reported.HasSessions() ? Switched(reported, "activated") : Lines{}));
  Lines starts;
  for (const Client& client : Clients()) {
    CAPTURE(ToUtf8(client.shortName));
    const std::wstring monitor = client.FolderName() + L"\\" + client.MonitorName();
    const bool activated = client.hasMonitor && reported.HasSessions() && reported.Has(client);
    if (activated) {
      starts.push_back("token C:\\VELA\\VELA\\" + ToUtf8(monitor) + " plain as the user");
    }
    CHECK(SwitchedMachine::RunValue(client.shortName) == (activated ? L"\"C:\\VELA\\" + monitor + L"\"" : L""));
  }
  CHECK_LINES(world.monitors.Starts(), (starts));
  CHECK_LINES(world.session.NotGivenBack(), {});
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
}

TEST_CASE("if memory for its path is short, a monitor is not started, and its start-up value is not written") {
  ReportedWorld reported;
  SwitchWorld& world = reported.world;
  world.machine.ClearFlags();
  Lines log;
  {
    const TestSupport::HeapLimit memory(TestSupport::HeapLimit::kAnySize, kFormatBuffer);
    log = world.Switch(true);
  }
  Lines values;
  Lines starts;
  for (const Client& client : Clients()) {
    if (client.hasMonitor && reported.HasSessions() && reported.Has(client)) {
      const std::string name = ToUtf8(client.shortName);
      values = Joined({values, Error("Failed to WriteRegStringValue of Run Key for " + name + "Mon !!")});
      starts = Joined({starts, Error("Failed to call CreateProcessAsUser() to launch VELA_" + name + "Mon.exe 8 ")});
      CHECK(SwitchedMachine::RunValue(client.shortName).empty());
    }
  }
  CHECK_LINES(LinesWith(log, "Failed to"), (Joined({values, starts})));
  CHECK(world.result == reported.HasSessions());
  CHECK(world.monitors.Starts().empty());
  CHECK_LINES(world.session.NotGivenBack(), {});
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
}

TEST_CASE("the clients that this Windows has are deactivated; one that runs keeps its monitor running") {
  std::vector<std::wstring> programs = {L"explorer.exe"};
  for (const Client& client : Clients()) {
    programs.insert(programs.end(), {client.process, client.processOnWindows60});
  }
  for (const std::wstring& program : programs) {
    CAPTURE(ToUtf8(program));
    ReportedWorld reported;
    SwitchWorld& world = reported.world;
    MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
    bool keeps = false;
    for (const Client& client : Clients()) {
      if (client.hasMonitor) {
        MakeKey(MachineKey64(SwitchedMachine::kRunKey), {{client.shortName, L"x"}});
        keeps = keeps || (reported.Has(client) && program == reported.ProgramOf(client));
      }
    }
    world.running.Become({program});
    const Lines log = world.Switch(false);
    CHECK(world.result == reported.HasSessions());
    CHECK_LINES(LinesWith(log, "LOG_ERROR"), (reported.HasSessions() ? Lines{} : Error(kNoSession)));
    CHECK_LINES(LinesWith(log, "deactivated"), (reported.HasSessions() ? Switched(reported, "deactivated") : Lines{}));
    CHECK(LinesWith(log, "LOG_INFO : Not Send VELA_DISABLE_NOTIFY_EVENT").size() ==
          (reported.HasSessions() && keeps ? 1 : 0));
    CHECK_LINES(world.shutdown.Calls(), (reported.HasSessions() && !keeps ? SignalledCalls() : Lines{}));
    for (const Client& client : Clients()) {
      const bool left = client.hasMonitor && (!reported.HasSessions() || !reported.Has(client));
      CHECK(SwitchedMachine::RunValue(client.shortName) == (left ? L"x" : L""));
    }
  }
}

TEST_CASE("a delayed registration is done on every Windows, and looks for the client's program by its name there") {
  for (const Client& client : Clients()) {
    for (const wchar_t* const program : {client.process, client.processOnWindows60}) {
      CAPTURE(ToUtf8(program));
      ReportedWorld reported;
      SwitchWorld& world = reported.world;
      MakeKey(MachineKey64(SwitchedMachine::kCoreAgentKey), {{client.DelayFlag().c_str(), 1}});
      world.running.Become({program});
      const Lines log = world.Switch(true);
      CHECK(LinesWith(log, "is running during installing !").size() ==
            (program == std::wstring(reported.ProgramOf(client)) ? 1 : 0));
      CHECK(world.regsvr32.Starts().size() == client.modules.size());
    }
  }
}

}  // namespace
