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

TEST_CASE("any number is told as it is, unsigned") {
  for (const auto& [stored, told] : {std::pair{0, "0"}, {1, "1"}, {2, "2"}, {-1, "4294967295"}}) {
    World world;
    CheckStatus(world.WithProductKey({{L"VELAEnable", stored}}), std::string("GetStatus!!!!! ") + told);
  }
}

TEST_CASE("a switch of 64-bit programs is never told, and a key that is missing or closed is told as such") {
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

TEST_CASE("a key that may only be read is enough") {
  World world;
  world.WithProductKey({{L"VELAEnable", 1}}).WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess);
  CheckStatus(world, "GetStatus!!!!! 1");
}

TEST_CASE("a switch that is missing or no number cannot be told") {
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
