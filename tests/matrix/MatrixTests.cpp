// Every Windows, code page and kind of user, each with every command. One test case is one system; the code page and
// the rights are those of this program, which runs once with each (CMakeLists.txt).
#include <doctest/doctest.h>

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "tests/matrix/Machines.h"

using Expected::WindowsSystem;

namespace {

// Systems that behave alike share their texts. A file is named after the first that uses it, which also writes it.
struct Row {
  const WindowsSystem& system;
  const char* kind;     // for all but one chapter
  const char* edition;  // for Outlook 2002, which one edition of a kind refuses
};

constexpr Row kRows[] = {
    {Expected::kXp64System, "windows_xp", "windows_xp"},
    {Expected::kServer2003System, "windows_xp", "windows_server_2003"},
    {Expected::kVistaSystem, "windows_vista", "windows_server_2003"},
    {Expected::kWindows7System, "windows_7", "windows_7"},
    {Expected::kWindows8System, "windows_7", "windows_7"},
    {Expected::kWindows81System, "windows_7", "windows_7"},
    {Expected::kWindows10System, "windows_7", "windows_7"},
};

const Row& RowOf(const WindowsSystem& system) {
  for (const Row& row : kRows) {
    if (row.system.version == system.version) {
      return row;
    }
  }
  throw std::logic_error("a system without expected texts");
}

bool IsFirst(const Row& row, const char* Row::*group) {
  for (const Row& other : kRows) {
    if (std::strcmp(other.*group, row.*group) == 0) {
      return &other == &row;
    }
  }
  return false;
}

bool IsOrdinaryUser() {
  wchar_t rights[16] = {};
  ::GetEnvironmentVariableW(L"VELA_TEST_RIGHTS", rights, 16);
  return std::wstring(rights) == L"ordinary";
}

void Play(const WindowsSystem& system) {
  const Row& row = RowOf(system);
  const std::string kind = std::string(".") + row.kind + ".txt";
  const unsigned codePage = ::GetACP();
  REQUIRE((codePage == 1252 || codePage == 932));
  // What does not depend on the code page is written by the runs with the first of them.
  const bool firstOfKind = IsFirst(row, &Row::kind);
  const bool mayWrite = firstOfKind && codePage == 1252;
  if (IsOrdinaryUser()) {
    Matrix::CheckChapter(Matrix::OrdinaryUser(system), "ordinary_user" + kind, mayWrite);
    return;
  }
  Matrix::CheckChapter(Matrix::Life(system), "life" + kind, mayWrite);
  Matrix::CheckChapter(Matrix::ForeignDestinations(system), "destinations." + std::to_string(codePage) + kind,
                       firstOfKind);
  Matrix::CheckChapter(Matrix::Outlook2002(system), std::string("outlook_2002.") + row.edition + ".txt",
                       codePage == 1252 && IsFirst(row, &Row::edition));
}

TEST_CASE("windows_xp") {
  Play(Expected::kXp64System);
}
TEST_CASE("windows_server_2003") {
  Play(Expected::kServer2003System);
}
TEST_CASE("windows_vista") {
  Play(Expected::kVistaSystem);
}
TEST_CASE("windows_7") {
  Play(Expected::kWindows7System);
}
TEST_CASE("windows_8") {
  Play(Expected::kWindows8System);
}
TEST_CASE("windows_8_1") {
  Play(Expected::kWindows81System);
}
TEST_CASE("windows_10") {
  Play(Expected::kWindows10System);
}

}  // namespace
