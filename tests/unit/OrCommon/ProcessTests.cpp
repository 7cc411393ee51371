#include <windows.h>

#include <tlhelp32.h>

#include <doctest/doctest.h>

#include <cwchar>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_String.h"
#include "Common/OrCommon/OrComn_System.h"
#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/unit/OrCommon/Probe.h"
#include "tests/unit/OrCommon/ScratchFolder.h"

using namespace OrCommon::System;
using OrCommon::String::EqualsIgnoringAsciiCase;
using OrCommonTests::ProbeFile;
using OrCommonTests::ScratchFolder;
using OrCommonTests::SleepingProbe;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;

namespace {

struct Running {
  const wchar_t* executable;
  DWORD id;
};

// A machine on which exactly these processes run. Watches the snapshot from its making to its end.
class Processes {
 public:
  explicit Processes(std::vector<Running> processes) : processes_(std::move(processes)) {}

  DWORD flags = 0;
  DWORD process = 1;
  DWORD entrySize = 0;
  unsigned taken = 0;
  unsigned closed = 0;
  unsigned looked = 0;  // entries that were looked at

 private:
  BOOL Answer(PROCESSENTRY32W* entry, std::size_t index) {
    entrySize = entry->dwSize;
    next_ = index + 1;
    if (index >= processes_.size()) {
      ::SetLastError(ERROR_NO_MORE_FILES);
      return FALSE;
    }
    ++looked;
    std::wcscpy(entry->szExeFile, processes_[index].executable);
    entry->th32ProcessID = processes_[index].id;
    return TRUE;
  }

  std::vector<Running> processes_;
  std::size_t next_ = 0;
  HANDLE snapshot_ = nullptr;
  ImportRedirection take_{"CreateToolhelp32Snapshot", [this](DWORD kinds, DWORD id) -> HANDLE {
                            ++taken;
                            flags = kinds;
                            process = id;
                            snapshot_ = take_.Original<decltype(&::CreateToolhelp32Snapshot)>()(TH32CS_SNAPPROCESS, 0);
                            return snapshot_;
                          }};
  ImportRedirection first_{"Process32FirstW",
                           [this](HANDLE, PROCESSENTRY32W* entry) -> BOOL { return Answer(entry, 0); }};
  ImportRedirection later_{"Process32NextW",
                           [this](HANDLE, PROCESSENTRY32W* entry) -> BOOL { return Answer(entry, next_); }};
  ImportRedirection close_{"CloseHandle", [this](HANDLE handle) -> BOOL {
                             closed += handle == snapshot_ ? 1 : 0;
                             return close_.Original<decltype(&::CloseHandle)>()(handle);
                           }};
};

constexpr DWORD kNotSet = 4711;

struct Found {
  int result;
  DWORD id;
};

Found Find(const wchar_t* name) {
  DWORD id = kNotSet;
  const int result = FindProcessByName(name, id);
  return {result, id};
}

TEST_CASE("a running process is found by its base name, whatever the case") {
  const Processes machine({{L"services.exe", 8}, {L"OUTLOOK.EXE", 16}, {L"msimn.exe", 24}, {L"WinMail.Exe", 32}});
  CHECK(Find(L"outlook").result == 1);
  CHECK(Find(L"outlook").id == 16);
  CHECK(Find(L"OutLook").id == 16);
  CHECK(Find(L"msimn").id == 24);
  CHECK(Find(L"MSIMN").id == 24);
  CHECK(Find(L"winmail").id == 32);
  CHECK(Find(L"wlmail").result == 0);
  CHECK(Find(L"wlmail").id == 0);
}

TEST_CASE("the whole base name is compared, and nothing of the extension") {
  const Processes machine({{L"outlook2.exe", 8},
                           {L"xoutlook.exe", 16},
                           {L"outlook.helper.exe", 24},
                           {L"exe.outlook", 32},
                           {L"C:\\outlook\\other.exe", 40}});
  CHECK(Find(L"outlook").result == 0);
  CHECK(Find(L"outlook.exe").result == 0);
  CHECK(Find(L"outloo").result == 0);
  CHECK(Find(L"outlook.helper").id == 24);
  CHECK(Find(L"other").id == 40);
}

TEST_CASE("executables without an extension, with another one, and with a path") {
  const Processes machine({{L"msimn", 8}, {L"outlook.com", 16}, {L"D:\\Mail\\wlmail.exe", 24}});
  CHECK(Find(L"msimn").id == 8);
  CHECK(Find(L"outlook").id == 16);
  CHECK(Find(L"wlmail").id == 24);
}

TEST_CASE("the first of several is taken and the rest is not looked at") {
  const Processes machine({{L"a.exe", 8}, {L"outlook.exe", 16}, {L"outlook.exe", 24}});
  const Found found = Find(L"outlook");
  CHECK(found.result == 1);
  CHECK(found.id == 16);
  CHECK(machine.looked == 2);
}

TEST_CASE("the snapshot is one of everything, and it is closed once") {
  const Processes machine({{L"outlook.exe", 16}});
  CHECK(Find(L"outlook").result == 1);
  CHECK(machine.flags == TH32CS_SNAPALL);
  CHECK(machine.process == 0);
  CHECK(machine.entrySize == sizeof(PROCESSENTRY32W));
  CHECK(machine.taken == 1);
  CHECK(machine.closed == 1);
  CHECK(Find(L"nobody").result == 0);
  CHECK(machine.taken == 2);
  CHECK(machine.closed == 2);
}

TEST_CASE("only the letters A to Z have two cases") {
  const Processes machine({{L"\u00C9mail.exe", 8}, {L"\u212Aim.exe", 16}, {L"[x].exe", 24}});
  CHECK(Find(L"\u00E9mail").result == 0);
  CHECK(Find(L"\u00C9MAIL").id == 8);
  CHECK(Find(L"kim").result == 0);  // U+212A, the Kelvin sign, is no K
  CHECK(Find(L"{x}").result == 0);  // one bit apart from [x], as a is from A
}

TEST_CASE("no process at all") {
  const Processes machine({});
  CHECK(Find(L"outlook").result == 0);
  CHECK(Find(L"outlook").id == 0);
  CHECK(machine.closed == 2);
}

TEST_CASE("a snapshot that cannot be taken gives -1, which is not running, and closes nothing") {
  const FailCall fails{"CreateToolhelp32Snapshot", TestSupport::Calls::From(1), ERROR_BAD_LENGTH};
  const TestSupport::CountCalls closes{"CloseHandle"};
  const TestSupport::CountCalls firsts{"Process32FirstW"};
  const Found found = Find(L"outlook");
  const DWORD error = ::GetLastError();
  CHECK(found.result == -1);
  CHECK(found.id == 0);
  CHECK(error == ERROR_BAD_LENGTH);
  CHECK_FALSE(IsProcessRunning(L"outlook"));
  CHECK(fails.Failed() == 2);
  CHECK(closes.Calls() == 0);
  CHECK(firsts.Calls() == 0);
}

TEST_CASE("IsProcessRunning says yes for a match only") {
  const Processes machine({{L"outlook.exe", 16}});
  CHECK(IsProcessRunning(L"OUTLOOK"));
  CHECK_FALSE(IsProcessRunning(L"msimn"));
}

TEST_CASE("a real process is found while it runs and not afterwards") {
  const ScratchFolder folder(L"mail clients");
  const std::wstring program = folder.Copy(ProbeFile(), L"MsImN.exe");
  CHECK(Find(L"msimn").result == 0);
  {
    const SleepingProbe client(program);
    CHECK(Find(L"msimn").result == 1);
    CHECK(Find(L"msimn").id == client.Id());
    CHECK(IsProcessRunning(L"MSIMN"));
    CHECK(Find(L"wlmail").result == 0);
  }
  CHECK(Find(L"msimn").result == 0);
  CHECK_FALSE(IsProcessRunning(L"msimn"));
}

TEST_CASE("base names of executables") {
  CHECK(GetProcessBaseName(L"OUTLOOK.EXE") == L"OUTLOOK");
  CHECK(GetProcessBaseName(L"C:\\a.b\\c") == L"c");
  CHECK(GetProcessBaseName(L"C:/a/b.exe") == L"b");
  CHECK(GetProcessBaseName(L"C:b.exe") == L"b");
  CHECK(GetProcessBaseName(L"a.b.exe") == L"a.b");
  CHECK(GetProcessBaseName(L".exe").empty());
  CHECK(GetProcessBaseName(L"C:\\folder\\").empty());
  CHECK(GetProcessBaseName(L"").empty());
}

TEST_CASE("comparing without regard to ASCII case") {
  CHECK(EqualsIgnoringAsciiCase(L"", L""));
  CHECK(EqualsIgnoringAsciiCase(L"abcXYZ09", L"ABCxyz09"));
  CHECK_FALSE(EqualsIgnoringAsciiCase(L"abc", L"abcd"));
  CHECK_FALSE(EqualsIgnoringAsciiCase(L"abcd", L"abc"));
  CHECK_FALSE(EqualsIgnoringAsciiCase(L"\u00E9", L"\u00C9"));
  CHECK_FALSE(EqualsIgnoringAsciiCase(L"@", L"`"));
  CHECK_FALSE(EqualsIgnoringAsciiCase(L"[", L"{"));
}

}  // namespace
