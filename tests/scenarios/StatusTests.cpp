// Shows the switch: always in the log only, and without changing it.
#include <doctest/doctest.h>

#include "tests/scenarios/PlainRuns.h"

using namespace Scenarios;
using TestSupport::kNoAccess;
using TestSupport::kReadOnlyAccess;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;

namespace {

void CheckStatus(World& world, const std::string& status) {
  CHECK_LINES(Told(world.Run(L"-s", World::kSource, World::kDestination)),
              {"exit code: 0", "log:", "  LOG_INFO :  cmd:-s", "   src:[source]", "  dest:[dest]",
               "  LOG_INFO : ======= GetStatus ========", "  \xC2\xB7", "  LOG_INFO : " + status,
               "  LOG_INFO : [time] VELA END!!! RetrunCode:0"});
}

TEST_CASE("any stored number is logged as it is, as an unsigned number") {
  for (const auto& [stored, told] : {std::pair{0, "0"}, {1, "1"}, {2, "2"}, {-1, "4294967295"}}) {
    World world;
    CheckStatus(world.WithProductKey({{L"VELAEnable", stored}}), std::string("GetStatus!!!!! ") + told);
  }
}

TEST_CASE("a switch in the 64-bit view is ignored; a key that is missing or inaccessible is logged as such") {
  {
    World world;
    world.WithProductKey({{L"VELAEnable", 0}}).WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 1}});
    CheckStatus(world, "GetStatus!!!!! 0");
  }
  {
    World world;
    CheckStatus(world.WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 1}}), "REG Open Fail");
  }
  World world;
  world.WithProductKey({{L"VELAEnable", 1}}).WithAccess(MachineKey32(World::kProductKey), kNoAccess);
  CheckStatus(world, "REG Open Fail");
}

TEST_CASE("a read-only key is enough") {
  World world;
  world.WithProductKey({{L"VELAEnable", 1}}).WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess);
  CheckStatus(world, "GetStatus!!!!! 1");
}

TEST_CASE("a switch that is missing, or not a 32-bit number, is logged as a failure") {
  {
    World world;
    CheckStatus(world.WithProductKey(), "GetStatus!!!!! FAIL!!");
  }
  for (const wchar_t* const text : {L"", L"1", L"enabled"}) {
    World world;
    CheckStatus(world.WithProductKey({{L"VELAEnable", text}}), "GetStatus!!!!! FAIL!!");
  }
  const DWORD one = 1;
  World world;
  world.WithProductKey();
  TestSupport::SetRawValue(MachineKey32(World::kProductKey), L"VELAEnable", REG_BINARY, &one, sizeof one);
  CheckStatus(world, "GetStatus!!!!! FAIL!!");
}

}  // namespace
