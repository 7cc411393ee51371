// What the program brings itself in the place of parts of the C++ library (OrComn_Runtime.cpp).
#include <doctest/doctest.h>

#include <stdexcept>

#include "tests/unit/OrCommon/Probe.h"

namespace {

struct Made {
  explicit Made(int& count) : number(++count) {
    if (number == 1) {
      throw std::runtime_error("not yet");
    }
  }
  int number;
};

int NumberOfTheOne(int& count) {
  static const Made one(count);
  return one.number;
}

TEST_CASE("a local static object is made once, and again where its making failed") {
  int count = 0;
  CHECK_THROWS_AS(NumberOfTheOne(count), std::runtime_error);
  CHECK(NumberOfTheOne(count) == 2);
  CHECK(NumberOfTheOne(count) == 2);
  CHECK(count == 2);
}

#if defined(__MINGW32__)
TEST_CASE("an exception that nobody catches ends the process as abort does, and is not told") {
  const auto outcome = OrCommonTests::RunProbe(L"uncaught");
  CHECK(outcome.exitCode == 3);
  CHECK(outcome.answers.empty());  // "what(): ..." else
}
#endif

}  // namespace
