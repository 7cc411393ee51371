// The program's own versions of parts of the C and C++ libraries.
#include <doctest/doctest.h>

#include <windows.h>

#include <stdexcept>
#include <string>

#include "Common/OrCommon/OrComn_StackGuard.h"
#include "tests/support/ImportRedirection.h"
#include "tests/unit/OrCommon/Probe.h"

using OrCommon::DrawStackGuard;
using OrCommonTests::RunProbe;
using TestSupport::ImportRedirection;

namespace {

// The inputs of the value, from this machine, now.
struct Ingredients {
  ULONGLONG time = 0x01DC5B0012345678;
  DWORD process = 0x1234;
  DWORD thread = 0x5678;
  LONGLONG counter = 0x123456789A;

  ImportRedirection askTime{"GetSystemTimeAsFileTime", [this](FILETIME* now) {
                              *now = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
                            }};
  ImportRedirection askProcess{"GetCurrentProcessId", [this]() -> DWORD { return process; }};
  ImportRedirection askThread{"GetCurrentThreadId", [this]() -> DWORD { return thread; }};
  ImportRedirection askCounter{"QueryPerformanceCounter", [this](LARGE_INTEGER* value) -> BOOL {
                                 value->QuadPart = counter;
                                 return TRUE;
                               }};
};

TEST_CASE("each input changes its own bits of the stack guard, whose lowest byte is 0") {
  Ingredients ingredients;
  const auto check = [&](auto& ingredient, auto change, std::uintptr_t difference) {
    const std::uintptr_t first = DrawStackGuard();
    CHECK(first == DrawStackGuard());
    CHECK(first % 0x100 == 0);
    ingredient ^= change;
    CHECK((DrawStackGuard() ^ first) == difference);
  };
  check(ingredients.time, 0x0000000100001000ULL, 0x0000000100001000);
  check(ingredients.process, 4U, std::uintptr_t{4} << 48);
  check(ingredients.thread, 4U, std::uintptr_t{4} << 40);
  check(ingredients.counter, 0x100LL, 0x0000000100000100);
}

TEST_CASE("if the inputs cancel each other out, the stack guard is the fixed value, never 0") {
  Ingredients ingredients;
  std::uintptr_t last = 0;
  // The first round finds the time that makes the value zero. The second one draws with it, at the same address.
  for (int round = 0; round < 2; ++round) {
    last = DrawStackGuard();
    ingredients.time ^= last;
  }
  CHECK(last == 0xFF0A0D00);
}

#if defined(__MINGW32__)
TEST_CASE("each process has its own stack guard") {
  const auto first = RunProbe({L"guard"}).answers.at("guard");
  const auto second = RunProbe({L"guard"}).answers.at("guard");
  CHECK(first != second);
  for (const std::string& guard : {first, second}) {
    CHECK(std::stoull(guard) > 0xFF);
    CHECK(std::stoull(guard) % 256 == 0);
  }
}

TEST_CASE("a function that overruns its stack buffer ends the process") {
  CHECK(RunProbe({L"overrun", L"8"}).exitCode == 0);
  CHECK(RunProbe({L"overrun", L"24"}).exitCode == STATUS_STACK_BUFFER_OVERRUN);  // the exit code of a fast fail
}

TEST_CASE("an uncaught exception ends the process with exit code 3, as abort does, and is not printed") {
  const auto outcome = RunProbe({L"uncaught"});
  CHECK(outcome.exitCode == 3);
  CHECK(outcome.answers.empty());  // otherwise "what(): ..."
}
#endif

int NumberOfTheOne(int& count) {
  static const int number = [&] { return ++count == 1 ? throw std::runtime_error("not yet") : count; }();
  return number;
}

TEST_CASE("a local static object is created once; if that throws, the next call tries again") {
  int count = 0;
  CHECK_THROWS_AS(NumberOfTheOne(count), std::runtime_error);
  CHECK(NumberOfTheOne(count) == 2);
  CHECK(NumberOfTheOne(count) == 2);
  CHECK(count == 2);
}

}  // namespace
