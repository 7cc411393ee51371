#include "tests/support/ImportRedirection.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <memory>
#include <stdexcept>
#include <string>

using namespace TestSupport;

namespace {

using TickCount = decltype(&::GetTickCount);

DWORD WINAPI AlwaysSeven() {
  return 7;
}

const ImportSlot& SlotOf(const std::string& function) {
  for (const auto& slot : ProgramImports()) {
    if (slot.function == function) {
      return slot;
    }
  }
  throw std::logic_error(function);
}

TEST_CASE("redirections end in any order") {
  const void* const before = *SlotOf("GetTickCount").slot;
  auto first = std::make_unique<ImportRedirection>("GetTickCount", []() -> DWORD { return 1; });
  std::unique_ptr<ImportRedirection> second;
  second = std::make_unique<ImportRedirection>("GetTickCount",
                                               [&]() -> DWORD { return second->Original<TickCount>()() + 10; });
  auto third = std::make_unique<ImportRedirection>("GetTickCount", []() -> DWORD { return 3; });
  CHECK(::GetTickCount() == 3);
  CHECK(OriginalImport<TickCount>("GetTickCount")() > 11);
  SUBCASE("the oldest first") {
    first.reset();
    CHECK(::GetTickCount() == 3);
    third.reset();
    CHECK(::GetTickCount() > 11);  // the result of the system's function, plus ten
  }
  SUBCASE("the middle one first") {
    second.reset();
    CHECK(::GetTickCount() == 3);
    third.reset();
    CHECK(::GetTickCount() == 1);
  }
  first.reset();
  second.reset();
  third.reset();
  CHECK(*SlotOf("GetTickCount").slot == before);
}

TEST_CASE("a function that is not imported is refused, and nothing is changed") {
  CHECK_THROWS_WITH_AS(ImportRedirection("NoSuchFunctionW", []() -> DWORD { return 0; }),
                       "this program does not import NoSuchFunctionW", std::logic_error);
  CHECK_THROWS_WITH_AS(ImportRedirection("GetTickCount", &AlwaysSeven, "advapi32.dll"),
                       "this program does not import GetTickCount from advapi32.dll", std::logic_error);
  CHECK(::GetTickCount() != 7);
  CHECK(IsImported("GetTickCount", "Kernel32.DLL"));
  CHECK_FALSE(IsImported("gettickcount"));
  // Each refusal frees its slot in the pool; there are fewer slots than attempts here.
  for (int i = 0; i < 40; ++i) {
    CHECK_THROWS_AS(ImportRedirection("NoSuchFunctionW", []() -> DWORD { return 0; }), std::logic_error);
  }
}

TEST_CASE("too many redirections of one signature are refused with a message") {
  std::vector<std::unique_ptr<ImportRedirection>> layers;
  const auto fillUp = [&] {
    for (int i = 0; i < 100; ++i) {
      layers.push_back(std::make_unique<ImportRedirection>("GetTickCount", []() -> DWORD { return 5; }));
    }
  };
  CHECK_THROWS_WITH_AS(fillUp(), "too many redirections of functions with one signature", std::logic_error);
  CHECK(::GetTickCount() == 5);
  layers.clear();
  CHECK(::GetTickCount() != 5);
}

}  // namespace
