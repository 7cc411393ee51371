// Every Windows, code page and kind of user, each with every command. One test case is one system. The code page and
// the rights are those of this program, which runs once with each (CMakeLists.txt).
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/matrix/Machines.h"

namespace {

bool IsOrdinaryUser() {
  wchar_t rights[16] = {};
  ::GetEnvironmentVariableW(L"VELA_TEST_RIGHTS", rights, 16);
  return std::wstring(rights) == L"ordinary";
}

void Play(const std::string& name, const Expected::WindowsSystem& system) {
  const unsigned codePage = ::GetACP();
  REQUIRE((codePage == 1252 || codePage == 932));
  const std::string cell = name + "." + std::to_string(codePage);
  if (IsOrdinaryUser()) {
    Matrix::CheckChapter(Matrix::OrdinaryUser(system), "ordinary_user", cell);
    return;
  }
  Matrix::CheckChapter(Matrix::Life(system), "life", cell);
  Matrix::CheckChapter(Matrix::ForeignDestinations(system), "destinations", cell);
  Matrix::CheckChapter(Matrix::Outlook2002(system), "outlook_2002", cell);
}

TEST_CASE("windows_xp") {
  Play("windows_xp", Expected::kXp64System);
}
TEST_CASE("windows_server_2003") {
  Play("windows_server_2003", Expected::kServer2003System);
}
TEST_CASE("windows_vista") {
  Play("windows_vista", Expected::kVistaSystem);
}
TEST_CASE("windows_7") {
  Play("windows_7", Expected::kWindows7System);
}
TEST_CASE("windows_8") {
  Play("windows_8", Expected::kWindows8System);
}
TEST_CASE("windows_8_1") {
  Play("windows_8_1", Expected::kWindows81System);
}
TEST_CASE("windows_10") {
  Play("windows_10", Expected::kWindows10System);
}

}  // namespace
