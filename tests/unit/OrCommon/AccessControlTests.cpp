// The token of the shell's user, on simulated machines, and the identifier of an account by its name.
#include "Common/OrCommon/OrComn_AccessControl.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <sddl.h>

#include <malloc.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/unit/OrCommon/SessionCalls.h"

using OrCommon::KernelHandle;
using namespace OrCommon::AccessControl;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

constexpr const wchar_t* kShell = kShellProgram;

// "found" or the error, and the kind of token.
std::string AskFor(const std::wstring& moduleName) {
  KernelHandle token;
  DWORD error = 4711;
  const bool found = QueryUserToken(token, moduleName, error);
  return (found ? "found" : std::to_string(error)) + (token ? ", " + TokenKind(token.Get()) : ", none");
}
constexpr char kFound[] = "found, primary";
constexpr char kNobody[] = "6, none";

// A machine with these processes; the first id is 100. Their handles are real ones, of this process.
struct Processes {
  explicit Processes(std::vector<std::wstring> executables) : names(std::move(executables)) {}

  Lines opened;                          // "<id> <access> <inherit>"
  std::vector<DWORD> sizes;              // of the requested lists, in bytes
  std::map<DWORD, std::string> failing;  // what fails for a process: "look", "modules" or "name"

 private:
  static HMODULE ModuleOf(DWORD id) { return reinterpret_cast<HMODULE>(ULONG_PTR{id} << 16); }
  bool Fails(DWORD id, const char* what) {
    const auto failure = failing.find(id);
    return failure != failing.end() && failure->second == what;
  }

  std::vector<std::wstring> names;
  std::map<HANDLE, DWORD> ids;
  ImportRedirection open{
      "OpenProcess", [this](DWORD access, BOOL inherit, DWORD id) -> HANDLE {
        opened.push_back(std::to_string(id) + " " + std::to_string(access) + " " + std::to_string(inherit));
        if (Fails(id, "look")) {
          return nullptr;
        }
        const HANDLE process = open.Original<decltype(&::OpenProcess)>()(access, FALSE, ::GetCurrentProcessId());
        ids[process] = id;
        return process;
      }};
  AnswerEntry list{"EnumProcesses", [this](DWORD* processes, DWORD size, DWORD* used) -> BOOL {
                     sizes.push_back(size);
                     const std::size_t count = std::min(names.size(), size / sizeof(DWORD));
                     std::iota(processes, processes + count, 100);
                     *used = static_cast<DWORD>(count * sizeof(DWORD));
                     return TRUE;
                   }};
  AnswerEntry modules{"EnumProcessModules", [this](HANDLE process, HMODULE* main, DWORD size, DWORD* needed) -> BOOL {
                        CHECK(size == sizeof(HMODULE));
                        *main = ModuleOf(ids[process]);
                        *needed = 20 * sizeof(HMODULE);  // the main module is the first of many
                        return Fails(ids[process], "modules") ? FALSE : TRUE;
                      }};
  AnswerEntry name{"GetModuleBaseNameW", [this](HANDLE process, HMODULE module, wchar_t* text, DWORD room) -> DWORD {
                     const DWORD id = ids[process];
                     if (Fails(id, "name") || module != ModuleOf(id) || room < 260) {
                       return 0;
                     }
                     const std::wstring& known = names[id - 100];
                     std::copy_n(known.c_str(), known.size() + 1, text);
                     return static_cast<DWORD>(known.size());
                   }};
};

constexpr char kLook[] = " 1040 0";     // 0x410: query information, read memory
constexpr char kFull[] = " 2035711 0";  // 0x1F0FFF

TEST_CASE("the first process with the name is opened with all access, those before it for queries only") {
  const Belongings belongings;
  const Processes machine({L"smss.exe", L"eXPLORER.EXE", L"Explorer.exe"});
  CHECK(std::wstring(kShell) == L"Explorer.exe");
  CHECK(AskFor(kShell) == kFound);
  CHECK_LINES(machine.opened, {std::string("100") + kLook, std::string("101") + kLook, std::string("101") + kFull});
  CHECK_LINES(belongings.Left(), {});
  CHECK(belongings.Strange() == 1);  // the token, which was duplicated, not opened
}

TEST_CASE("processes that cannot be queried are skipped") {
  const Belongings belongings;
  Processes machine({L"Explorer.exe", L"Explorer.exe", L"Explorer.exe", L"Explorer.exe"});
  machine.failing = {{100, "look"}, {101, "modules"}, {102, "name"}};
  CHECK(AskFor(kShell) == kFound);
  CHECK(machine.opened.back() == std::string("103") + kFull);
  machine.failing[103] = "name";
  CHECK(AskFor(kShell) == kNobody);
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("names are compared as a whole, and only the letters A to Z match in either case") {
  const Processes machine({L"Explorer.ex", L"Explorer.exe ", L"\x00C9xplorer.exe", L"Explorer.exe.exe", L""});
  for (const wchar_t* const name : {kShell, L"\x00E9xplorer.exe", L"Explorer", L"xplorer.exe"}) {
    CHECK(AskFor(name) == kNobody);
  }
  CHECK(AskFor(L"\x00C9XPLORER.EXE") == kFound);
}

TEST_CASE("if the list of processes is full, it is requested again with a larger buffer") {
  for (const std::size_t count : {1023U, 1024U, 1025U, 2048U, 3000U}) {
    CAPTURE(count);
    std::vector<std::wstring> names(count, L"svchost.exe");
    names.back() = kShell;
    const Belongings belongings;
    const Processes machine(names);
    CHECK(AskFor(kShell) == kFound);
    CHECK(machine.opened.back() == std::to_string(99 + count) + kFull);
    const std::size_t attempts = count / 1024 + 1;
    CHECK(machine.sizes.size() == attempts);
    CHECK(machine.sizes.back() == attempts * 1024 * sizeof(DWORD));
    CHECK_LINES(belongings.Left(), {});
  }
}

TEST_CASE("a failing step ends the search with its error code, and everything that was opened is closed") {
  const Belongings belongings;
  Processes machine({L"Explorer.exe", L"Explorer.exe"});
  const auto check = [&](DWORD error, unsigned opened) {
    machine.opened.clear();
    CHECK(AskFor(kShell) == std::to_string(error) + ", none");
    CHECK(machine.opened.size() == opened);
    CHECK_LINES(belongings.Left(), {});
    CHECK(belongings.Strange() == 0);
  };
  {
    const AnswerEntry list{"EnumProcesses", [](DWORD*, DWORD, DWORD*) -> BOOL {
                             ::SetLastError(ERROR_NOACCESS);
                             return FALSE;
                           }};
    check(ERROR_NOACCESS, 0);
  }
  {
    const FailCall all{"OpenProcess", 2, ERROR_PRIVILEGE_NOT_HELD};  // with all access
    check(ERROR_PRIVILEGE_NOT_HELD, 1);
  }
  {
    const FailCall token{"OpenProcessToken", 1, ERROR_ACCESS_DENIED};
    check(ERROR_ACCESS_DENIED, 2);
  }
  {
    const MissingLibrary missing(L"advapi32.dll", ERROR_BAD_EXE_FORMAT);
    check(ERROR_BAD_EXE_FORMAT, 2);
  }
  {
    const MissingLibrary missing(L"psapi.dll", ERROR_FILE_NOT_FOUND);
    check(ERROR_FILE_NOT_FOUND, 0);
  }
  for (const char* name : {"EnumProcesses", "EnumProcessModules", "GetModuleBaseNameW", "DuplicateTokenEx"}) {
    const MissingEntry missing(name);
    check(ERROR_PROC_NOT_FOUND, name[0] == 'D' ? 2 : 0);
    CHECK(missing.Asked() == 1);
  }
}

TEST_CASE("the token is opened for duplication, and duplicated as a primary token with all access") {
  Belongings belongings;
  const Processes machine({L"Explorer.exe"});
  BOOL result = TRUE;
  HANDLE given = belongings.Add(MakePrimaryToken(), "duplicate");
  HANDLE opened = nullptr;
  const AfterCall open{"OpenProcessToken", &::OpenProcessToken, [&](BOOL, HANDLE, DWORD access, HANDLE* token) {
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
  for (const HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {  // a duplicate that is not a handle
    given = none;
    CHECK(AskFor(kShell) == kNobody);
  }
  result = FALSE;
  CHECK(AskFor(kShell) == std::to_string(ERROR_BAD_IMPERSONATION_LEVEL) + ", none");
  CHECK_LINES(belongings.Left(), {});
  CHECK(belongings.Strange() == 0);  // no attempt to close a value that is not a handle
}

TEST_CASE("a token that the caller already held is closed, whether or not a new one is found") {
  Belongings belongings;
  const Processes machine({L"Explorer.exe"});
  for (const wchar_t* name : {kShell, L"other.exe"}) {
    KernelHandle token(belongings.Add(MakePrimaryToken(), "token of before"));
    DWORD error = 4711;
    CHECK(QueryUserToken(token, name, error) == (name == kShell));
    CHECK_LINES(belongings.Left(), {});
  }
}

TEST_CASE("the account of this program's user is found with and without its domain") {
  wchar_t account[257] = {};
  wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD length = 257;
  REQUIRE(::GetUserNameW(account, &length));
  length = MAX_COMPUTERNAME_LENGTH + 1;
  REQUIRE(::GetComputerNameW(computer, &length));
  BYTE sid[SECURITY_MAX_SID_SIZE] = {};
  wchar_t domain[257] = {};
  DWORD size = sizeof sid;
  length = 257;
  SID_NAME_USE use = SidTypeUnknown;
  REQUIRE(::LookupAccountNameW(nullptr, account, sid, &size, domain, &length, &use));
  for (const std::wstring& name : {std::wstring(account), std::wstring(computer) + L"\\" + account}) {
    PSID found = nullptr;
    REQUIRE(::ConvertStringSidToSidW(GetAccountSid(name).c_str(), &found));
    CHECK(::EqualSid(found, sid));
    ::LocalFree(found);
  }
}

TEST_CASE("an account that does not exist has no identifier, and is looked up only once") {
  const CountCalls lookUps{"LookupAccountNameW"};
  CHECK(GetAccountSid(L"NOSUCHDOMAIN\\nobody of this name").empty());
  CHECK(lookUps.Calls() == 1);
}

// Answers account look-ups: first the sizes, then the identifier.
struct Accounts {
  DWORD domainLength = 9;
  std::vector<std::wstring> asked = {};
  ImportRedirection lookUp{"LookupAccountNameW",
                           [this](LPCWSTR system, LPCWSTR account, PSID sid, DWORD* sidSize, LPWSTR domain,
                                  DWORD* length, SID_NAME_USE* use) -> BOOL {
                             SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
                             asked.emplace_back(account);
                             CHECK(system == nullptr);
                             const DWORD needed = ::GetSidLengthRequired(2);
                             if (sid == nullptr || *sidSize < needed || *length < domainLength) {
                               *sidSize = needed;
                               *length = domainLength;
                               ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
                               return FALSE;
                             }
                             CHECK(*sidSize == needed);
                             CHECK(::_msize(domain) >= std::max(*length, domainLength) * sizeof(wchar_t));
                             ::InitializeSid(sid, &nt, 2);
                             *::GetSidSubAuthority(sid, 0) = 21;
                             *::GetSidSubAuthority(sid, 1) = 4000000000U;
                             std::fill_n(domain, domainLength, L'd');  // up to the last character that was requested
                             *use = SidTypeUser;
                             return TRUE;
                           }};
};

TEST_CASE("a name outside the code page is looked up on this machine, with buffers of the requested sizes") {
  const Accounts accounts;
  CHECK(GetAccountSid(L"DOM\\\x65E5\x672C") == L"S-1-5-21-4000000000");
  CHECK(accounts.asked == std::vector<std::wstring>(2, L"DOM\\\x65E5\x672C"));
}

TEST_CASE("a domain length of 0 still gives the identifier; if the second look-up fails, there is none") {
  const Accounts accounts{0};
  CHECK(GetAccountSid(L"somebody") == L"S-1-5-21-4000000000");
  const FailCall second{"LookupAccountNameW", 2, ERROR_NONE_MAPPED};
  CHECK(GetAccountSid(L"somebody").empty());
  CHECK(second.Failed() == 1);
}

TEST_CASE("an identifier without a text form gives an empty text; the text from Windows is freed") {
  std::set<HLOCAL> texts;
  const Accounts accounts;
  const OnCall free{"LocalFree", &::LocalFree, [&](HLOCAL memory) { texts.erase(memory); }};
  const AfterCall convert{"ConvertSidToStringSidW", &::ConvertSidToStringSidW,
                          [&](BOOL done, PSID, LPWSTR* text) { done ? void(texts.insert(*text)) : void(); }};
  CHECK(GetAccountSid(L"somebody") == L"S-1-5-21-4000000000");
  CHECK(texts.empty());
  const FailCall conversion{"ConvertSidToStringSidW", 1, ERROR_INVALID_SID};
  CHECK(GetAccountSid(L"somebody").empty());
  CHECK(texts.empty());
}

}  // namespace
