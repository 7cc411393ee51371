// Filtering switched off, and the monitors told to end.
#include <doctest/doctest.h>

#include "tests/scenarios/ExpectedSwitch.h"
#include "tests/scenarios/WindowsSystems.h"
#include "tests/support/TestPaths.h"

using namespace Expected;
using TestSupport::kReadOnlyAccess;
using TestSupport::LinesWith;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::Outcome;
using TestSupport::TestProcess;
using TestSupport::WindowsVersion;

namespace {

constexpr wchar_t kShutdownEvent[] = L"Global\\{DD2A6866-95FD-47a8-A48D-CDB025648C09}";
constexpr wchar_t kAddinKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";
constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr DWORD kPulse = 100;  // milliseconds

// A machine on which filtering was switched on.
World& SwitchedOn(World& world, WindowsVersion version = WindowsVersion::kWindows10) {
  world.OnWindows(version).WithSampleSource().WithProductKey({{L"VELAEnable", 0}});
  PlaceMonitors();
  world.Run(L"-e", World::kSource, kInstallPath);
  return world;
}

Outcome Disable(World& world) {
  return world.Run(L"-d", World::kSource, kInstallPath);
}

// A program that waits for the monitors' shutdown, as they do. It has the event for as long as it runs.
class WaitingMonitor {
 public:
  WaitingMonitor() : process_(TestSupport::FixturePath(L"Sleeper.exe"), {kShutdownEvent, L"60"}) {
    for (int i = 0; event_ == nullptr && i < 500; ++i) {
      event_ = ::OpenEventW(SYNCHRONIZE, FALSE, kShutdownEvent);
      ::Sleep(10);  // from making the event to waiting for it
    }
  }
  WaitingMonitor(const WaitingMonitor&) = delete;
  WaitingMonitor& operator=(const WaitingMonitor&) = delete;
  ~WaitingMonitor() { ::CloseHandle(event_); }

  // The event came.
  bool WasTold() { return process_.Finish(1000).exitCode == 0; }
  bool StillWaits() const { return process_.IsRunning(); }
  bool EventIsSet() const { return ::WaitForSingleObject(event_, 0) == WAIT_OBJECT_0; }

 private:
  TestProcess process_;
  HANDLE event_ = nullptr;
};

TEST_CASE("switching off deactivates every client, tells the monitors for a moment and is stored") {
  for (const WindowsSystem& system : kTypicalSystems) {
    CAPTURE(system.name);
    World world;
    SwitchedOn(world.WithUserHive(L"S-1-5-21-1-2-3-1001"), system.version);
    WaitingMonitor monitor;

    const Outcome outcome = Disable(world);

    CHECK(outcome.exitCode == 0);
    CHECK_LINES(outcome.log, (Joined({DisableBegins(), SessionFound(), ClientsDeactivated(system.outlookExpress),
                                      MonitorsTold(), SwitchStored("Disable")})));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfDisable(system.outlookExpress)));
    CHECK(outcome.fileDiff.empty());
    CHECK(outcome.moduleDiff.empty());
    CHECK(outcome.pending.empty());
    CHECK(monitor.WasTold());
    CHECK_FALSE(monitor.EventIsSet());
    CHECK(outcome.milliseconds >= kPulse);
  }
}

TEST_CASE("the monitors are told without anybody waiting, and with an event that was left set") {
  {
    World world;
    SwitchedOn(world);
    CHECK_LINES(LinesWith(Disable(world).log, "OpenEvent"), (MonitorsTold()));
    CHECK(::OpenEventW(SYNCHRONIZE, FALSE, kShutdownEvent) == nullptr);
  }
  World world;
  SwitchedOn(world).WithEvent(kShutdownEvent);
  const HANDLE event = ::OpenEventW(EVENT_MODIFY_STATE, FALSE, kShutdownEvent);
  ::SetEvent(event);
  ::CloseHandle(event);
  CHECK_LINES(LinesWith(Disable(world).log, "OpenEvent"), (MonitorsTold()));
  CHECK_FALSE(world.EventIsSet(kShutdownEvent));
}

TEST_CASE("a client that runs keeps its monitor, where it has one and Windows has it") {
  struct Case {
    const wchar_t* program;
    WindowsVersion version;
    OutlookExpress outlookExpress;
    bool keeps;
  };
  for (const Case& running : {Case{L"wlmail.exe", WindowsVersion::kWindows10, OutlookExpress::kLeftOut, true},
                              Case{L"WLMAIL.EXE", WindowsVersion::kXp64, OutlookExpress::kStaged, true},
                              Case{L"msimn.exe", WindowsVersion::kXp64, OutlookExpress::kStaged, true},
                              Case{L"msimn.exe", WindowsVersion::kVista, OutlookExpress::kStaged, false},
                              Case{L"msimn.exe", WindowsVersion::kWindows7, OutlookExpress::kLeftOut, false},
                              Case{L"winmail.exe", WindowsVersion::kVista, OutlookExpress::kStaged, true},
                              Case{L"winmail.exe", WindowsVersion::kXp64, OutlookExpress::kStaged, false},
                              Case{L"OUTLOOK.EXE", WindowsVersion::kVista, OutlookExpress::kStaged, false}}) {
    CAPTURE(running.program);
    World world;
    SwitchedOn(world, running.version).WithRunning(running.program);
    WaitingMonitor monitor;

    const Outcome outcome = Disable(world);

    CHECK_LINES(outcome.log, (Joined({DisableBegins(), SessionFound(), ClientsDeactivated(running.outlookExpress),
                                      running.keeps ? MonitorsKept() : MonitorsTold(), SwitchStored("Disable")})));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfDisable(running.outlookExpress)));
    CHECK(monitor.StillWaits() == running.keeps);
    CHECK_FALSE(monitor.EventIsSet());
  }
}

TEST_CASE("an event whose name somebody else has is told with the error, and filtering is off all the same") {
  World world;
  SwitchedOn(world).WithTakenName(kShutdownEvent);
  const Outcome outcome = Disable(world);
  CHECK_LINES(outcome.log, (Joined({DisableBegins(), SessionFound(), ClientsDeactivated(OutlookExpress::kLeftOut),
                                    Error("Fail to OpenEvent() ! ErrCode:6"), SwitchStored("Disable")})));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfDisable(OutlookExpress::kLeftOut)));
}

TEST_CASE("where nothing was switched on each client fails, and what is stored stays") {
  for (const auto& [version, outlookExpress] : {std::pair{WindowsVersion::kVista, OutlookExpress::kStaged},
                                                {WindowsVersion::kWindows10, OutlookExpress::kLeftOut}}) {
    World world;
    world.OnWindows(version).WithProductKey({{L"VELAEnable", 1}});

    const Outcome outcome = Disable(world);

    CHECK(outcome.exitCode == 0);
    CHECK_LINES(outcome.log,
                (Joined({DisableBegins(), SessionFound(), Error("Failed to WriteRegIntValue of LoadBehavior to 2!!"),
                         Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateOL()"),
                         outlookExpress == OutlookExpress::kStaged
                             ? Joined({Error("Fail to DeleteRegStringValue() of g_szOE_OEM !"),
                                       Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateOE()")})
                             : Lines{},
                         Error("Fail to DeleteRegStringValue() of g_szWLM_OEM !"),
                         Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()"),
                         Info("Check if need VELA_DISABLE_NOTIFY_EVENT"), MonitorsTold(), SwitchFailed()})));
    CHECK(outcome.registryDiff.empty());
    CHECK(outcome.fileDiff.empty());
  }
}

TEST_CASE("without the machine's add-in key the users' stay as they are, and the other clients are switched off") {
  World world;
  SwitchedOn(world);
  TestSupport::RemoveKey(MachineKey64(kAddinKey));

  const Outcome outcome = Disable(world);

  CHECK_LINES(outcome.log,
              (Joined({DisableBegins(), SessionFound(), Error("Failed to WriteRegIntValue of LoadBehavior to 2!!"),
                       Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateOL()"),
                       Info("SetAntiSpamEnable() - VELA WLM deactivated successfully."),
                       Info("Check if need VELA_DISABLE_NOTIFY_EVENT"), MonitorsTold(), SwitchFailed()})));
  CHECK_LINES(outcome.registryDiff, (RunValues('-', OutlookExpress::kLeftOut)));
}

TEST_CASE("keys that may only be read keep what they hold, and each client is told") {
  World world;
  SwitchedOn(world, WindowsVersion::kVista)
      .WithAccess(MachineKey64(kAddinKey), kReadOnlyAccess)
      .WithAccess(MachineKey64(kRunKey), kReadOnlyAccess);

  const Outcome outcome = Disable(world);

  CHECK_LINES(LinesWith(outcome.log, "LOG_ERROR"),
              (Joined({Error("Failed to WriteRegIntValue of LoadBehavior to 2!!"),
                       Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateOL()"),
                       Error("Fail to DeleteRegStringValue() of g_szOE_OEM !"),
                       Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateOE()"),
                       Error("Fail to DeleteRegStringValue() of g_szWLM_OEM !"),
                       Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()"),
                       {SwitchFailed().front()}})));
  CHECK(outcome.registryDiff.empty());
}

TEST_CASE("a product's key that is missing or may only be read is told behind the switch") {
  for (const bool there : {true, false}) {
    World world;
    SwitchedOn(world);
    if (there) {
      world.WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess);
    } else {
      TestSupport::RemoveKey(MachineKey32(World::kProductKey));
      world.WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 1}});
    }
    const Outcome outcome = Disable(world);
    CHECK_LINES(outcome.log, (Joined({DisableBegins(), SessionFound(), ClientsDeactivated(OutlookExpress::kLeftOut),
                                      MonitorsTold(), Info("Disable OK"), Info("REG Open Fail"), RunEnds(0)})));
    CHECK(LinesWith(outcome.registryDiff, "OrvaneLabs").empty());
    CHECK_FALSE(outcome.registryDiff.empty());
  }
}

TEST_CASE("registrations that were put off stay so when filtering is switched off") {
  World world;
  SwitchedOn(world).WithKey(MachineKey64(World::kCoreAgentKey),
                            {{L"OE_DELAY_INST", 1}, {L"OL_DELAY_INST", 1}, {L"WLM_DELAY_INST", 1}});
  const Outcome outcome = Disable(world);
  CHECK_LINES(outcome.log, (Joined({DisableBegins(), SessionFound(), ClientsDeactivated(OutlookExpress::kLeftOut),
                                    MonitorsTold(), SwitchStored("Disable")})));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfDisable(OutlookExpress::kLeftOut)));
  CHECK(outcome.moduleDiff.empty());
}

}  // namespace
