// The lines of the tests, and the code page that a test's registration names (tests/VelaTest.cmake, run_in_prefix.sh).
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/TextLines.h"

using namespace TestSupport;

namespace {

TEST_CASE("a difference shows all lines in order; equal lists have none") {
  CHECK(Difference({}, {}) == "");
  CHECK(Difference({"a", "b"}, {"a", "b"}) == "");
  CHECK(Difference({"a", "b", "c"}, {"a", "c"}) == "  a\n- b\n  c\n");
  CHECK(Difference({"a", "c"}, {"a", "b", "c"}) == "  a\n+ b\n  c\n");
  CHECK(Difference({"a"}, {"b"}) == "- a\n+ b\n");
  CHECK(Difference({}, {"a"}) == "+ a\n");
  CHECK(Difference({"a", ""}, {"a"}) == "  a\n- \n");
  CHECK(Difference({"a", "b"}, {"b", "a"}) == "- a\n  b\n+ a\n");
}

TEST_CASE("the ANSI code page is the one of the test's locale") {
  wchar_t locale[32] = {};
  ::GetEnvironmentVariableW(L"VELA_TEST_LOCALE", locale, 32);
  const bool japanese = std::wstring(locale) == L"ja_JP.UTF-8";
  CHECK(::GetACP() == (japanese ? 932U : 1252U));
  CHECK((::IsDBCSLeadByte(0x93) != FALSE) == japanese);
}

}  // namespace
