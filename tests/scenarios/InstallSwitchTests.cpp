// What an installation does with the anti-spam switch: depending on how it is stored, on its access rights, and on
// running mail clients.
#include <doctest/doctest.h>

#include <map>

#include "tests/scenarios/PlainRuns.h"

using namespace Scenarios;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::NamedValue;

namespace {

World& WithSwitch(World& world, const std::vector<NamedValue>& values,
                  WindowsVersion version = WindowsVersion::kVista) {
  return world.OnWindows(version).WithSampleSource().WithProductKey(values);
}

// An installation with the switch stored as 1 or 0, without running clients.
const Lines& InstallWithSwitch(int stored, WindowsVersion version = WindowsVersion::kVista) {
  static std::map<std::pair<int, WindowsVersion>, Lines> known;
  Lines& text = known[{stored, version}];
  if (text.empty()) {
    World world;
    text = Told(Install(WithSwitch(world, {{L"VELAEnable", stored}}, version)));
  }
  return text;
}

TEST_CASE("a switch that is on stays on if no client runs, and the add-in is set to load") {
  const Lines& plain = PlainInstall();
  CheckRun("the switch is on", plain, InstallWithSwitch(1));
}

TEST_CASE("a switch that is off, or neither on nor off, stays unchanged, and no running client is looked for") {
  const Lines& plain = PlainInstall();
  CheckRun("the switch is off", plain, InstallWithSwitch(0));
  for (const NamedValue& stored :
       {NamedValue{L"VELAEnable", 2}, NamedValue{L"VELAEnable", -1}, NamedValue{L"VELAEnable", L"1"}}) {
    CheckInstall("the switch is off", [&](World& world) { world.WithProductKey({stored}); });
  }
}

TEST_CASE("a switch that is missing, too long, or only in the 64-bit view is stored as off") {
  CheckInstall("the switch is missing", [](World& world) { world.WithProductKey(); });
  CheckInstall("the switch is in the 64-bit view only", [](World& world) {
    world.WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 1}});
  });
  CheckInstall("the switch is too long", [](World& world) { world.WithProductKey({{L"VELAEnable", L"on"}}); });
}

TEST_CASE("a switch of another type is read by its first four bytes") {
  const Lines& plain = InstallWithSwitch(1);
  World world;
  const DWORD on = 1;
  WithSwitch(world, {});
  TestSupport::SetRawValue(MachineKey32(World::kProductKey), L"VELAEnable", REG_BINARY, &on, sizeof on);
  CheckRun("the switch is four bytes", plain, Told(Install(world)));
}

TEST_CASE("if a client runs, a switch that is on is turned off") {
  for (const WindowsVersion version : {WindowsVersion::kVista, WindowsVersion::kXp64, WindowsVersion::kWindows10}) {
    for (const Client& client : Clients()) {
      World world;
      WithSwitch(world, {{L"VELAEnable", 1}}, version).WithRunning(world.ProcessOf(client));
      const Outcome outcome = Install(world);
      CheckApproved(TestSupport::ToUtf8(client.shortName) + " runs, the switch is on",
                    TestSupport::LinesWith(outcome.log, "unning"));
      CHECK(TestSupport::LinesWith(outcome.registryDiff, "VELAEnable\" REG_DWORD 0 <- REG_DWORD 1").size() == 1);
      CHECK(TestSupport::LinesWith(outcome.registryDiff, "LoadBehavior\" REG_DWORD 3").empty());
    }
  }
}

TEST_CASE("a running client is logged at its registration, even if the switch is off") {
  const Lines& plain = InstallWithSwitch(0);
  for (const Client& client : Clients()) {
    World world;
    WithSwitch(world, {{L"VELAEnable", 0}}).WithRunning(world.ProcessOf(client));
    CheckRun(TestSupport::ToUtf8(client.shortName) + " runs, the switch is off", plain, Told(Install(world)));
  }
}

TEST_CASE("Windows Mail is a client on Windows Vista only, Outlook Express on all others") {
  for (const auto& [program, version] : {std::pair{L"winmail.exe", WindowsVersion::kXp64},
                                         {L"winmail.exe", WindowsVersion::kWindows7},
                                         {L"msimn.exe", WindowsVersion::kVista},
                                         {L"outlook2.exe", WindowsVersion::kVista}}) {
    const std::string name = TestSupport::ToUtf8(program);
    CAPTURE(name);
    const Lines& plain = InstallWithSwitch(1, version);
    World world;
    WithSwitch(world, {{L"VELAEnable", 1}}, version).WithRunning(program);
    CHECK_LINES(Told(Install(world)), (plain));
  }
}

TEST_CASE("all running clients are logged, whatever the case of their program names") {
  const Lines& plain = InstallWithSwitch(1);
  World world;
  WithSwitch(world, {{L"VELAEnable", 1}});
  for (const Client& client : Clients()) {
    std::wstring program = world.ProcessOf(client);
    program[1] ^= L' ';
    world.WithRunning(program);
  }
  CheckRun("all clients run", plain, Told(Install(world)));
}

TEST_CASE("a product key that is not accessible ends the installation before the registrations") {
  CheckInstall("the product key is not accessible", [](World& world) {
    world.WithProductKey({{L"VELAEnable", 1}}).WithAccess(MachineKey32(World::kProductKey), TestSupport::kNoAccess);
  });
}

}  // namespace
