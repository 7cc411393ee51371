// Filtering is switched off, and the monitors are asked to end.
#include <doctest/doctest.h>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/TestPaths.h"

using namespace Scenarios;
using TestSupport::kReadOnlyAccess;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::TestProcess;

namespace {

constexpr wchar_t kShutdownEvent[] = L"Global\\{DD2A6866-95FD-47a8-A48D-CDB025648C09}";
constexpr DWORD kPulse = 100;  // milliseconds

// A machine on which filtering was switched on.
World& SwitchedOn(World& world, WindowsVersion version = WindowsVersion::kVista) {
  Enable(SetUp(world, version));
  return world;
}

// A program that waits for the shutdown event of the monitors, as they do. It holds the event while it runs.
class WaitingMonitor {
 public:
  WaitingMonitor() : process_(TestSupport::FixturePath(L"Sleeper.exe"), {kShutdownEvent, L"60"}) {
    for (int i = 0; event_ == nullptr && i < 500; ++i) {
      event_ = ::OpenEventW(SYNCHRONIZE, FALSE, kShutdownEvent);
      ::Sleep(10);  // from creating the event to waiting for it
    }
  }
  WaitingMonitor(const WaitingMonitor&) = delete;
  WaitingMonitor& operator=(const WaitingMonitor&) = delete;
  ~WaitingMonitor() { ::CloseHandle(event_); }

  // The event was signalled.
  bool WasTold() { return process_.Finish(1000).exitCode == 0; }
  bool StillWaits() const { return process_.IsRunning(); }
  bool EventIsSet() const { return ::WaitForSingleObject(event_, 0) == WAIT_OBJECT_0; }

 private:
  TestProcess process_;
  HANDLE event_ = nullptr;
};

TEST_CASE("switching off signals the waiting monitors for a moment") {
  const Lines& plain = PlainDisable();
  World world;
  SwitchedOn(world);
  WaitingMonitor monitor;
  const Outcome outcome = Disable(world);
  CHECK_LINES(Told(outcome), (plain));
  CHECK(monitor.WasTold());
  CHECK_FALSE(monitor.EventIsSet());
  CHECK(outcome.milliseconds >= kPulse);
}

TEST_CASE("the shutdown event is signalled and reset even if nobody waits for it, or if it was left set") {
  const Lines& plain = PlainDisable();
  CHECK(::OpenEventW(SYNCHRONIZE, FALSE, kShutdownEvent) == nullptr);
  World world;
  SwitchedOn(world).WithEvent(kShutdownEvent);
  const HANDLE event = ::OpenEventW(EVENT_MODIFY_STATE, FALSE, kShutdownEvent);
  ::SetEvent(event);
  ::CloseHandle(event);
  CHECK_LINES(Told(Disable(world)), (plain));
  CHECK_FALSE(world.EventIsSet(kShutdownEvent));
}

TEST_CASE("a running client keeps its monitor, if it has one and this Windows has the client") {
  for (const WindowsVersion version : {WindowsVersion::kXp64, WindowsVersion::kVista, WindowsVersion::kWindows7}) {
    const Lines& plain = PlainDisable(version);
    // The name of Outlook Express on another Windows does not count.
    std::vector<std::pair<std::wstring, bool>> programs = {
        {version == WindowsVersion::kVista ? L"msimn.exe" : L"winmail.exe", false}};
    for (const Client& client : Clients()) {
      World world;
      world.OnWindows(version);
      programs.emplace_back(world.ProcessOf(client), client.hasMonitor && world.Handles(client));
    }
    for (const auto& [program, keeps] : programs) {
      const std::string name = TestSupport::ToUtf8(program);
      CAPTURE(name);
      World world;
      SwitchedOn(world, version).WithRunning(program);
      WaitingMonitor monitor;
      CheckRun(keeps ? "off: monitors are kept" : "off: monitors are signalled", plain, Told(Disable(world)));
      CHECK(monitor.StillWaits() == keeps);
      CHECK_FALSE(monitor.EventIsSet());
    }
  }
}

TEST_CASE("if another object has the event's name, the error is logged, and filtering is switched off anyway") {
  CheckDisable("off: the event's name is taken", [](World& world) { world.WithTakenName(kShutdownEvent); });
}

TEST_CASE("if nothing was switched on, each client fails, and the stored switch stays") {
  const Lines& plain = PlainDisable();
  World world;
  world.OnWindows(WindowsVersion::kVista).WithProductKey({{L"VELAEnable", 1}});
  CheckRun("off: nothing was switched on", plain, Told(Disable(world)));
}

TEST_CASE("without the machine's add-in key, the users' keys stay, and the other clients are switched off") {
  CheckDisable("off: no add-in key of the machine", [](World&) { TestSupport::RemoveKey(MachineKey64(kAddinKey)); });
}

TEST_CASE("a product key that is missing or read-only is logged after the clients are switched off") {
  CheckDisable("off: nothing can be stored",
               [](World& world) { world.WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess); });
  CheckDisable("off: nothing can be stored", [](World& world) {
    TestSupport::RemoveKey(MachineKey32(World::kProductKey));
    world.WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 1}});
  });
}

TEST_CASE("delayed registrations stay delayed when filtering is switched off") {
  const Lines& plain = PlainDisable();
  World world;
  SwitchedOn(world);
  for (const Client& client : Clients()) {
    world.WithKey(MachineKey64(World::kCoreAgentKey), {{client.DelayFlag(), 1}});
  }
  CHECK_LINES(Told(Disable(world)), (plain));
}

}  // namespace
