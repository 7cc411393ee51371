// The token of who runs the shell: machines made up from answers.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_AccessControl.h"
#include "tests/support/CallFailures.h"
#include "tests/unit/OrCommon/SessionCalls.h"

using OrCommon::KernelHandle;
using OrCommon::AccessControl::QueryUserToken;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

constexpr const wchar_t* kShell = OrCommon::AccessControl::kShellProgram;

struct Query {
  bool found = false;
  DWORD error = 4711;
  std::string token = {};  // its kind, or "none"
};

Query AskFor(const std::wstring& moduleName) {
  Query query;
  KernelHandle token;
  query.found = QueryUserToken(token, moduleName, query.error);
  query.token = token ? TokenKind(token.Get()) : "none";
  return query;
}

void CheckFails(const Query& query, DWORD error) {
  CHECK_FALSE(query.found);
  CHECK(query.error == error);
  CHECK(query.token == "none");
}

// A machine with these processes, the first with the id 100. Handles of them are real ones, of this process.
class Processes {
 public:
  explicit Processes(std::vector<std::wstring> names) : names_(std::move(names)) {}
  Processes(const Processes&) = delete;
  Processes& operator=(const Processes&) = delete;

  static constexpr DWORD kFirst = 100;

  Lines events;                       // what was opened and asked
  std::vector<DWORD> sizes;           // of the lists that were asked for, in bytes
  DWORD listError = 0;                // of the list of processes; 0: none
  std::vector<DWORD> closedToLooks;   // ids that cannot be opened for a look
  DWORD fullAccessError = 0;          // of opening one with all access; 0: none
  std::vector<DWORD> withoutModules;  // ids whose modules cannot be listed
  std::vector<DWORD> withoutName;     // ids whose module has no name

 private:
  static bool Contains(const std::vector<DWORD>& ids, DWORD id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
  }
  static HMODULE ModuleOf(DWORD id) { return reinterpret_cast<HMODULE>(ULONG_PTR{id} << 16); }

  BOOL List(DWORD* ids, DWORD size, DWORD* used) {
    sizes.push_back(size);
    if (listError != 0) {
      ::SetLastError(listError);
      return FALSE;
    }
    const std::size_t count = std::min(names_.size(), size / sizeof(DWORD));
    for (std::size_t index = 0; index < count; ++index) {
      ids[index] = kFirst + static_cast<DWORD>(index);
    }
    *used = static_cast<DWORD>(count * sizeof(DWORD));
    return TRUE;
  }

  HANDLE Open(DWORD access, BOOL inherit, DWORD id) {
    const bool look = access == 0x410;
    if (!look || names_.size() < 10) {
      char text[64] = {};
      std::snprintf(text, sizeof text, "open %u access 0x%x inherit %d", static_cast<unsigned>(id),
                    static_cast<unsigned>(access), inherit);
      events.push_back(text);
    }
    if (look ? Contains(closedToLooks, id) : fullAccessError != 0) {
      ::SetLastError(look ? ERROR_ACCESS_DENIED : fullAccessError);
      return nullptr;
    }
    const HANDLE process = open_.Original<decltype(&::OpenProcess)>()(access, FALSE, ::GetCurrentProcessId());
    ids_[process] = id;
    return process;
  }

  BOOL Modules(HANDLE process, HMODULE* modules, DWORD size, DWORD* needed) {
    const DWORD id = ids_[process];
    if (Contains(withoutModules, id)) {
      ::SetLastError(ERROR_PARTIAL_COPY);
      return FALSE;
    }
    if (size >= sizeof(HMODULE)) {
      modules[0] = ModuleOf(id);
    }
    *needed = 20 * sizeof(HMODULE);  // the main module is the first of many
    return TRUE;
  }

  DWORD Name(HANDLE process, HMODULE module, wchar_t* name, DWORD capacity) {
    const DWORD id = ids_[process];
    if (Contains(withoutName, id) || module != ModuleOf(id) || capacity < 260) {
      ::SetLastError(ERROR_INVALID_HANDLE);
      return 0;
    }
    const std::wstring& text = names_[id - kFirst];
    std::copy_n(text.c_str(), text.size() + 1, name);
    return static_cast<DWORD>(text.size());
  }

  std::vector<std::wstring> names_;
  std::map<HANDLE, DWORD> ids_;
  ImportRedirection open_{"OpenProcess",
                          [this](DWORD access, BOOL inherit, DWORD id) -> HANDLE { return Open(access, inherit, id); }};
  AnswerEntry list_{"EnumProcesses",
                    [this](DWORD* ids, DWORD size, DWORD* used) -> BOOL { return List(ids, size, used); }};
  AnswerEntry modules_{"EnumProcessModules",
                       [this](HANDLE process, HMODULE* modules, DWORD size, DWORD* needed) -> BOOL {
                         return Modules(process, modules, size, needed);
                       }};
  AnswerEntry name_{"GetModuleBaseNameW",
                    [this](HANDLE process, HMODULE module, wchar_t* name, DWORD capacity) -> DWORD {
                      return Name(process, module, name, capacity);
                    }};
};

TEST_CASE("the first process of the name is opened with all access, the others are only looked at") {
  const Belongings belongings;
  const Processes machine({L"smss.exe", L"eXPLORER.EXE", L"Explorer.exe"});
  const Query query = AskFor(kShell);
  CHECK(std::wstring(kShell) == L"Explorer.exe");
  CHECK(query.found);
  CHECK(query.token == "primary");
  CHECK_LINES(machine.events, {"open 100 access 0x410 inherit 0", "open 101 access 0x410 inherit 0",
                               "open 101 access 0x1f0fff inherit 0"});
  CHECK_LINES(belongings.Left(), {});
  CHECK(belongings.Strange() == 1);  // the token, which was not opened but duplicated
}

TEST_CASE("processes that cannot be looked at are passed over") {
  const Belongings belongings;
  Processes machine({L"Explorer.exe", L"Explorer.exe", L"Explorer.exe", L"Explorer.exe"});
  machine.closedToLooks = {Processes::kFirst};
  machine.withoutModules = {Processes::kFirst + 1};
  machine.withoutName = {Processes::kFirst + 2};
  CHECK(AskFor(kShell).found);
  CHECK(machine.events.back() == "open 103 access 0x1f0fff inherit 0");
  machine.withoutName.push_back(Processes::kFirst + 3);
  CheckFails(AskFor(kShell), 6);
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("a name is compared whole, and only the letters A to Z have two cases") {
  const Processes machine({L"Explorer.ex", L"Explorer.exe ", L"\x00C9xplorer.exe", L"Explorer.exe.exe", L""});
  for (const wchar_t* const name : {kShell, L"\x00E9xplorer.exe", L"Explorer", L"xplorer.exe"}) {
    CheckFails(AskFor(name), 6);
  }
  CHECK(AskFor(L"\x00C9XPLORER.EXE").found);
}

TEST_CASE("a list of processes that is full is asked for again with more room") {
  for (const std::size_t count : {1023U, 1024U, 1025U, 2048U, 3000U}) {
    CAPTURE(count);
    std::vector<std::wstring> names(count, L"svchost.exe");
    names.back() = kShell;
    const Belongings belongings;
    const Processes machine(names);
    CHECK(AskFor(kShell).found);
    CHECK(machine.events.back() ==
          "open " + std::to_string(Processes::kFirst + count - 1) + " access 0x1f0fff inherit 0");
    const std::size_t attempts = count / 1024 + 1;
    CHECK(machine.sizes.size() == attempts);
    CHECK(machine.sizes.back() == attempts * 1024 * sizeof(DWORD));
    CHECK_LINES(belongings.Left(), {});
  }
}

TEST_CASE("each step that fails gives its code; what was opened is closed") {
  const auto check = [](DWORD error, const Lines& events) {
    const Belongings belongings;
    Processes machine({L"Explorer.exe", L"Explorer.exe"});
    machine.listError = error == ERROR_NOACCESS ? error : 0;
    machine.fullAccessError = error == ERROR_PRIVILEGE_NOT_HELD ? error : 0;
    CheckFails(AskFor(kShell), error);
    CHECK_LINES(machine.events, (events));
    CHECK_LINES(belongings.Left(), {});
    CHECK(belongings.Strange() == 0);
  };
  const std::string look = "open 100 access 0x410 inherit 0";
  const std::string full = "open 100 access 0x1f0fff inherit 0";
  check(ERROR_NOACCESS, {});                      // the list of processes
  check(ERROR_PRIVILEGE_NOT_HELD, {look, full});  // the process: the search ends
  {
    const FailCall token{"OpenProcessToken", 1, ERROR_ACCESS_DENIED};
    check(ERROR_ACCESS_DENIED, {look, full});
  }
  {
    const MissingEntry missing("DuplicateTokenEx");
    check(ERROR_PROC_NOT_FOUND, {look, full});
  }
  const MissingLibrary missing(L"advapi32.dll", ERROR_BAD_EXE_FORMAT);
  check(ERROR_BAD_EXE_FORMAT, {look, full});
}

TEST_CASE("a missing process status library, or one of its entries, gives its code") {
  const Belongings belongings;
  const CountCalls opened{"OpenProcess"};
  {
    const MissingLibrary missing(L"psapi.dll", ERROR_FILE_NOT_FOUND);
    CheckFails(AskFor(kShell), ERROR_FILE_NOT_FOUND);
  }
  for (const char* name : {"EnumProcesses", "EnumProcessModules", "GetModuleBaseNameW"}) {
    const MissingEntry missing(name);
    CheckFails(AskFor(kShell), ERROR_PROC_NOT_FOUND);
    CHECK(missing.Asked() == 1);
  }
  CHECK(opened.Calls() == 0);
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("the token is opened to be duplicated and duplicated as a primary one with all access") {
  Belongings belongings;
  const Processes machine({L"Explorer.exe"});
  BOOL result = TRUE;
  HANDLE given = belongings.Add(MakePrimaryToken(), "duplicate");
  HANDLE opened = nullptr;
  const AfterCall open{"OpenProcessToken", &::OpenProcessToken, [&](BOOL, HANDLE process, DWORD access, HANDLE* token) {
                         CHECK(process != nullptr);
                         CHECK(access == 0x20003);  // duplicate, assign primary, read control
                         opened = *token;
                       }};
  const AnswerEntry duplicate{"DuplicateTokenEx",
                              [&](HANDLE token, DWORD access, SECURITY_ATTRIBUTES* security,
                                  SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, HANDLE* made) -> BOOL {
                                CHECK(token == opened);
                                CHECK(access == 0xF01FF);
                                CHECK(security == nullptr);
                                CHECK(level == SecurityImpersonation);
                                CHECK(type == TokenPrimary);
                                *made = given;
                                ::SetLastError(ERROR_BAD_IMPERSONATION_LEVEL);
                                return result;
                              }};
  KernelHandle token;
  DWORD error = 4711;
  CHECK(QueryUserToken(token, kShell, error));
  CHECK(token.Get() == given);
  CHECK_LINES(belongings.Left(), {"duplicate"});
  token.Reset();
  for (const HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {  // a duplicate that is no handle
    given = none;
    CheckFails(AskFor(kShell), 6);
  }
  result = FALSE;
  CheckFails(AskFor(kShell), ERROR_BAD_IMPERSONATION_LEVEL);
  CHECK_LINES(belongings.Left(), {});
  CHECK(belongings.Strange() == 0);  // no attempt to close what is no handle
}

TEST_CASE("a token held before is closed, found or not") {
  Belongings belongings;
  const Processes machine({L"Explorer.exe"});
  for (const wchar_t* name : {kShell, L"other.exe"}) {
    KernelHandle token(belongings.Add(MakePrimaryToken(), "token of before"));
    DWORD error = 4711;
    CHECK(QueryUserToken(token, name, error) == (name == kShell));
    CHECK_LINES(belongings.Left(), {});
  }
}

}  // namespace
