// Registrations that were delayed because their client ran. They are done when filtering is switched on.
#include <doctest/doctest.h>

#include "tests/scenarios/PlainRuns.h"

using namespace Scenarios;
using TestSupport::kReadOnlyAccess;
using TestSupport::MachineKey64;
using TestSupport::ToUtf8;

namespace {

// The bit of a client in a combination of delayed registrations: its index in the table.
bool IsPutOff(unsigned combination, std::size_t client) {
  return (combination >> client & 1U) != 0;
}
const unsigned kAll = (1U << Clients().size()) - 1;

World& Delayed(World& world, unsigned combination, WindowsVersion version = WindowsVersion::kVista) {
  SetUp(world, version);
  for (std::size_t i = 0; i < Clients().size(); ++i) {
    world.WithKey(MachineKey64(World::kCoreAgentKey), {{Clients()[i].DelayFlag(), IsPutOff(combination, i) ? 1 : 0}});
  }
  return world;
}

std::string Title(unsigned combination) {
  std::string title = "put off:";
  for (std::size_t i = 0; i < Clients().size(); ++i) {
    title += IsPutOff(combination, i) ? " " + ToUtf8(Clients()[i].shortName) : "";
  }
  return title;
}

TEST_CASE("registrations that were put off are done, each alone and all of them, and their flags cleared crosswise") {
  const Lines& plain = PlainEnable();
  Lines all;
  {
    World world;
    all = Told(Enable(Delayed(world, kAll)));
  }
  CheckRun(Title(kAll), plain, all);
  for (unsigned combination = 1; combination < kAll; combination <<= 1U) {
    World world;
    CheckRun(Title(combination), all, Told(Enable(Delayed(world, combination))));
  }
}

TEST_CASE("a running client is told before its registration, under its name on this Windows") {
  for (const WindowsVersion version : {WindowsVersion::kVista, WindowsVersion::kXp64, WindowsVersion::kWindows7}) {
    Lines plain;
    {
      World world;
      plain = Told(Enable(Delayed(world, kAll, version).WithStandInRegsvr32()));
    }
    World world;
    Delayed(world, kAll, version).WithStandInRegsvr32();
    for (const Client& client : Clients()) {
      world.WithRunning(world.ProcessOf(client));
    }
    CheckRun("all put off, all clients run", plain, Told(Enable(world)));
  }
  // The name of Outlook Express on another Windows does not count.
  World world;
  const Outcome outcome = Enable(Delayed(world, kAll).WithStandInRegsvr32().WithRunning(L"msimn.exe"));
  CHECK_LINES(TestSupport::LinesWith(outcome.log, "is running during installing"), {});
}

TEST_CASE("a flag that only its own registration is put off by stays, and the next switch does it again") {
  for (const unsigned combination : {1U, 2U}) {
    World world;
    const Outcome first = Enable(Delayed(world, combination).WithStandInRegsvr32());
    const Outcome second = Enable(world);
    CHECK_LINES(second.log, (first.log));
    CHECK(second.registryDiff.empty());
    CHECK(world.RegistrationCalls().size() == (combination == 1 ? 4U : 8U));
  }
}

TEST_CASE("registrations that cannot be started are told, and their flags are cleared all the same") {
  Lines plain;
  {
    World world;
    plain = Told(Enable(Delayed(world, kAll)));
  }
  World world;
  CheckRun("all put off, no regsvr32.exe", plain, Told(Enable(Delayed(world, kAll).WithoutRegsvr32())));
}

TEST_CASE("settings that may only be read keep their flags, each told by the name of the flag that was to be cleared") {
  Lines plain;
  {
    World world;
    plain = Told(Enable(Delayed(world, kAll).WithStandInRegsvr32()));
  }
  World world;
  Delayed(world, kAll).WithStandInRegsvr32().WithAccess(MachineKey64(World::kCoreAgentKey), kReadOnlyAccess);
  CheckRun("all put off, the flags may only be read", plain, Told(Enable(world)));
}

TEST_CASE("flags that are missing or no numbers put nothing off") {
  const Lines& plain = PlainEnable();  // where all are missing
  World world;
  SetUp(world).WithKey(MachineKey64(World::kCoreAgentKey), {{Clients().back().DelayFlag(), L"1"}});
  CHECK_LINES(Told(Enable(world)), (plain));
}

TEST_CASE("Outlook that is installed is not told as missing, and loses its stale extension file") {
  const Lines& plain = PlainEnable();
  World world;
  Delayed(world, 1).WithStandInRegsvr32().WithOutlook(L"14", L"C:\\VelaTest\\Office14\\");
  world.WithFile(L"C:\\VelaTest\\Office14\\ADDINS\\Redemption.ECF", "stale");
  CheckRun("put off: OL, which is installed", plain, Told(Enable(world)));
}

}  // namespace
