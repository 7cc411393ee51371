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
  std::string title = "delayed:";
  for (std::size_t i = 0; i < Clients().size(); ++i) {
    title += IsPutOff(combination, i) ? " " + ToUtf8(Clients()[i].shortName) : "";
  }
  return title;
}

TEST_CASE("delayed registrations are done, one or all; that of Outlook clears the flag of Outlook Express and back") {
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

TEST_CASE("a running client is logged before its registration, and found by its program's name on this Windows") {
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
    CheckRun("all delayed, all clients run", plain, Told(Enable(world)));
  }
  // The name of Outlook Express on another Windows does not count.
  World world;
  const Outcome outcome = Enable(Delayed(world, kAll).WithStandInRegsvr32().WithRunning(L"msimn.exe"));
  CHECK_LINES(TestSupport::LinesWith(outcome.log, "is running during installing"), {});
}

TEST_CASE("the flag of Outlook or Outlook Express alone is not cleared, and the next run registers it again") {
  for (const unsigned combination : {1U, 2U}) {
    World world;
    const Outcome first = Enable(Delayed(world, combination).WithStandInRegsvr32());
    const Outcome second = Enable(world);
    CHECK_LINES(second.log, (first.log));
    CHECK(second.registryDiff.empty());
    CHECK(world.RegistrationCalls().size() == (combination == 1 ? 4U : 8U));
  }
}

TEST_CASE("delayed registrations that cannot be started are logged, and their flags are cleared anyway") {
  Lines plain;
  {
    World world;
    plain = Told(Enable(Delayed(world, kAll)));
  }
  World world;
  CheckRun("all delayed, no regsvr32.exe", plain, Told(Enable(Delayed(world, kAll).WithoutRegsvr32())));
}

TEST_CASE("read-only settings keep their flags, and each flag that cannot be cleared is logged by its name") {
  Lines plain;
  {
    World world;
    plain = Told(Enable(Delayed(world, kAll).WithStandInRegsvr32()));
  }
  World world;
  Delayed(world, kAll).WithStandInRegsvr32().WithAccess(MachineKey64(World::kCoreAgentKey), kReadOnlyAccess);
  CheckRun("all delayed, the flags are read-only", plain, Told(Enable(world)));
}

TEST_CASE("flags that are missing or not numbers start no delayed registration") {
  const Lines& plain = PlainEnable();  // where all are missing
  World world;
  SetUp(world).WithKey(MachineKey64(World::kCoreAgentKey), {{Clients().back().DelayFlag(), L"1"}});
  CHECK_LINES(Told(Enable(world)), (plain));
}

TEST_CASE("an installed Outlook is not logged as missing, and its stale extension file is deleted") {
  const Lines& plain = PlainEnable();
  World world;
  Delayed(world, 1).WithStandInRegsvr32().WithOutlook(L"14", L"C:\\VelaTest\\Office14\\");
  world.WithFile(L"C:\\VelaTest\\Office14\\ADDINS\\Redemption.ECF", "stale");
  CheckRun("delayed: OL, which is installed", plain, Told(Enable(world)));
}

}  // namespace
