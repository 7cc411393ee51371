// The switch told: always in the log only, and never changed.
#include <doctest/doctest.h>

#include "tests/scenarios/ExpectedSwitch.h"

using namespace Expected;
using TestSupport::kNoAccess;
using TestSupport::kReadOnlyAccess;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

void CheckStatus(World& world, const std::string& told) {
  const Outcome outcome = world.Run(L"-s", World::kSource, kInstallPath);
  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, (Joined({StatusBegins(), Info(told), RunEnds(0)})));
  CHECK(outcome.registryDiff.empty());
  CHECK(outcome.moduleDiff.empty());
  CHECK(outcome.fileDiff.empty());
  CHECK(outcome.pending.empty());
}

TEST_CASE("the status is told on every Windows") {
  for (const WindowsVersion version : {WindowsVersion::kXp64, WindowsVersion::kVista, WindowsVersion::kWindows7,
                                       WindowsVersion::kWindows8, WindowsVersion::kWindows10}) {
    for (const int enabled : {0, 1}) {
      World world;
      world.OnWindows(version).WithProductKey({{L"VELAEnable", enabled}});
      CheckStatus(world, "GetStatus!!!!! " + std::to_string(enabled));
    }
  }
}

TEST_CASE("any number is told as it is, unsigned") {
  for (const auto& [stored, told] : {std::pair{2, "2"}, {-1, "4294967295"}}) {
    World world;
    world.WithProductKey({{L"VELAEnable", stored}});
    CheckStatus(world, std::string("GetStatus!!!!! ") + told);
  }
}

TEST_CASE("a switch of 64-bit programs is never told") {
  {
    World world;
    world.WithProductKey({{L"VELAEnable", 0}}).WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 1}});
    CheckStatus(world, "GetStatus!!!!! 0");
  }
  World world;
  world.WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 1}});
  CheckStatus(world, "REG Open Fail");
}

TEST_CASE("a key that is missing or closed is told as such") {
  {
    World world;
    CheckStatus(world, "REG Open Fail");
  }
  World world;
  world.WithProductKey({{L"VELAEnable", 1}}).WithAccess(MachineKey32(World::kProductKey), kNoAccess);
  CheckStatus(world, "REG Open Fail");
}

TEST_CASE("a key that may only be read is enough") {
  World world;
  world.WithProductKey({{L"VELAEnable", 1}}).WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess);
  CheckStatus(world, "GetStatus!!!!! 1");
}

TEST_CASE("a switch that is missing or no number cannot be told") {
  {
    World world;
    world.WithProductKey();
    CheckStatus(world, "GetStatus!!!!! FAIL!!");
  }
  for (const wchar_t* const text : {L"", L"1", L"enabled"}) {
    World world;
    world.WithProductKey({{L"VELAEnable", text}});
    CheckStatus(world, "GetStatus!!!!! FAIL!!");
  }
  const DWORD one = 1;
  World world;
  world.WithProductKey();
  TestSupport::SetRawValue(MachineKey32(World::kProductKey), L"VELAEnable", REG_BINARY, &one, sizeof one);
  CheckStatus(world, "GetStatus!!!!! FAIL!!");
}

TEST_CASE("the status follows the switch") {
  World world;
  world.WithSampleSource().WithProductKey();
  PlaceMonitors();
  CheckStatus(world, "GetStatus!!!!! FAIL!!");
  world.Run(L"-e", World::kSource, kInstallPath);
  CheckStatus(world, "GetStatus!!!!! 1");
  world.Run(L"-d", World::kSource, kInstallPath);
  CheckStatus(world, "GetStatus!!!!! 0");
}

}  // namespace
