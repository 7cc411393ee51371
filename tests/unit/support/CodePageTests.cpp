// A test program runs in the code page that its registration names (tests/VelaTest.cmake, run_in_prefix.sh).
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

namespace {

TEST_CASE("the ANSI code page is the one of the test's locale") {
  wchar_t locale[32] = {};
  ::GetEnvironmentVariableW(L"VELA_TEST_LOCALE", locale, 32);
  const bool japanese = std::wstring(locale) == L"ja_JP.UTF-8";
  CHECK(::GetACP() == (japanese ? 932U : 1252U));
  CHECK((::IsDBCSLeadByte(0x93) != FALSE) == japanese);
}

}  // namespace
