#include <windows.h>

#include <tlhelp32.h>

#include <doctest/doctest.h>

#include <cwchar>
#include <string>
#include <utility>
#include <vector>

#include "Common/OrCommon/OrComn_System.h"
#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"

using namespace OrCommon::System;
using namespace TestSupport;

namespace {

// A machine on which only these processes run, with the ids 8, 16, 24, ... Watches the snapshot from its creation to
// its end.
class Processes {
 public:
  explicit Processes(std::vector<const wchar_t*> executables) : executables_(std::move(executables)) {}

  Lines events;         // "take <kinds> <process>", "close"
  unsigned looked = 0;  // entries that were read

 private:
  BOOL Answer(PROCESSENTRY32W* entry, std::size_t index) {
    CHECK(entry->dwSize == sizeof *entry);
    next_ = index + 1;
    if (index >= executables_.size()) {
      return FALSE;
    }
    ++looked;
    std::wcscpy(entry->szExeFile, executables_[index]);
    entry->th32ProcessID = static_cast<DWORD>(8 * next_);
    return TRUE;
  }

  std::vector<const wchar_t*> executables_;
  std::size_t next_ = 0;
  ImportRedirection take_{"CreateToolhelp32Snapshot", [this](DWORD kinds, DWORD id) -> HANDLE {
                            events.push_back("take " + std::to_string(kinds) + " " + std::to_string(id));
                            return this;
                          }};
  ImportRedirection first_{"Process32FirstW",
                           [this](HANDLE, PROCESSENTRY32W* entry) -> BOOL { return Answer(entry, 0); }};
  ImportRedirection later_{"Process32NextW",
                           [this](HANDLE, PROCESSENTRY32W* entry) -> BOOL { return Answer(entry, next_); }};
  ImportRedirection close_{"CloseHandle", [this](HANDLE handle) -> BOOL {
                             events.emplace_back(handle == this ? "close" : "close something else");
                             return TRUE;
                           }};
};

using Found = std::pair<int, DWORD>;  // the result and the process

Found Find(const wchar_t* name) {
  Found found(4711, 4711);
  found.first = FindProcessByName(name, found.second);
  return found;
}

TEST_CASE("a process is found by its whole base name, and only the letters A to Z match in either case") {
  const Processes machine({L"services.exe", L"OUTLOOK.EXE", L"outlook2.exe", L"xwlmail.exe", L"helper.a.exe",
                           L"exe.other", L"C:\\outlook\\WinMail.Exe", L"msimn", L"outlook.com", L"\u00C9mail.exe",
                           L"\u212Aim.exe", L"[x].exe", L"@.exe"});
  const std::pair<const wchar_t*, DWORD> names[] = {
      {L"outlook", 16},  {L"OutLook", 16}, {L"MSIMN", 64},      {L"winmail", 56},
      {L"helper.a", 40}, {L"exe", 48},     {L"\u00C9MAIL", 80}, {L"wlmail", 0},
      {L"outloo", 0},    {L"other", 0},    {L"outlook.exe", 0}, {L"\u00E9mail", 0},  // its other case
      {L"kim", 0},                                                                   // U+212A, the Kelvin sign, is no K
      {L"`", 0},                                                                     // one before a, as @ is before A
      {L"{x}", 0}};  // one bit apart from [x], as a is from A
  for (const auto& row : names) {
    const auto& name = row.first;
    const DWORD id = row.second;
    CAPTURE(ToUtf8(name));
    CHECK(Find(name) == Found(id != 0 ? 1 : 0, id));
    CHECK(IsProcessRunning(name) == (id != 0));
  }
}

TEST_CASE("one full snapshot is taken, its first match is returned, and it is closed once") {
  const std::string take = "take " + std::to_string(TH32CS_SNAPALL) + " 0";
  Processes machine({L"a.exe", L"outlook.exe", L"outlook.exe"});
  CHECK(Find(L"outlook") == Found(1, 16));
  CHECK(machine.looked == 2);
  CHECK_LINES(machine.events, {take, "close"});
  const Processes nobody({});
  CHECK(Find(L"outlook") == Found(0, 0));
}

TEST_CASE("a failed snapshot gives -1, which counts as not running, and closes nothing") {
  const FailCall fails{"CreateToolhelp32Snapshot", Calls::From(1), ERROR_BAD_LENGTH};
  const CountCalls closes{"CloseHandle"};
  const CountCalls firsts{"Process32FirstW"};
  const Found found = Find(L"outlook");
  CHECK(::GetLastError() == ERROR_BAD_LENGTH);
  CHECK(found == Found(-1, 0));
  CHECK_FALSE(IsProcessRunning(L"outlook"));
  CHECK(closes.Calls() + firsts.Calls() == 0);
}

TEST_CASE("the base name of an executable is its file name without the folder and the last extension") {
  CHECK(GetProcessBaseName(L"OUTLOOK.EXE") == L"OUTLOOK");
  CHECK(GetProcessBaseName(L"C:\\a.b\\c") == L"c");
  CHECK(GetProcessBaseName(L"C:/a/b.exe") == L"b");
  CHECK(GetProcessBaseName(L"C:b.exe") == L"b");
  CHECK(GetProcessBaseName(L"a.b.exe") == L"a.b");
  CHECK((GetProcessBaseName(L".exe").empty() && GetProcessBaseName(L"C:\\folder\\").empty()));
}

}  // namespace
