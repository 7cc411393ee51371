#include "Common/OrCommon/OrComn_StackGuard.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/unit/OrCommon/Probe.h"

using OrCommon::DrawStackGuard;
using OrCommonTests::RunProbe;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;

namespace {

constexpr std::uintptr_t kFixed = 0xFF0A0D00;

TEST_CASE("the guard comes from the system's generator, and its lowest byte is 0") {
  ULONG asked = 0;
  const ImportRedirection random{"SystemFunction036", [&](void* buffer, ULONG size) -> BOOLEAN {
                                   asked = size;
                                   *static_cast<std::uintptr_t*>(buffer) = 0x1122334455667788;
                                   return TRUE;
                                 }};
  CHECK(DrawStackGuard() == 0x1122334455667700);
  CHECK(asked == sizeof(std::uintptr_t));
}

TEST_CASE("without random numbers the guard is one that stops a text") {
  SUBCASE("the generator refuses") {
    const FailCall refused("SystemFunction036", 1, ERROR_NOT_READY);
    CHECK(DrawStackGuard() == kFixed);
    CHECK(refused.Failed() == 1);
  }
  SUBCASE("it gives nothing but zeros") {
    const ImportRedirection zeros{"SystemFunction036", [](void* buffer, ULONG) -> BOOLEAN {
                                    *static_cast<std::uintptr_t*>(buffer) = 0;
                                    return TRUE;
                                  }};
    CHECK(DrawStackGuard() == kFixed);
  }
}

#if defined(__MINGW32__)
TEST_CASE("each process draws a guard of its own before it starts") {
  const auto first = RunProbe(L"guard").answers.at("guard");
  const auto second = RunProbe(L"guard").answers.at("guard");
  CHECK(first != second);
  for (const std::string& guard : {first, second}) {
    CHECK(std::stoull(guard) != kFixed);
    CHECK(std::stoull(guard) > 0xFF);
    CHECK(std::stoull(guard) % 256 == 0);
  }
}

TEST_CASE("a function that overruns its stack does not return") {
  CHECK(RunProbe(L"overrun 8").exitCode == 0);
  CHECK(RunProbe(L"overrun 24").exitCode == STATUS_ILLEGAL_INSTRUCTION);
}
#endif

}  // namespace
