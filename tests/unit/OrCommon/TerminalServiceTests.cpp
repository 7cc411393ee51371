// The session at the console, the token of its user, and acting as that user.
#include <doctest/doctest.h>

#include <windows.h>

#include <cwchar>
#include <string>

#include "Common/OrCommon/OrComn_TerminalService.h"
#include "tests/support/CallFailures.h"
#include "tests/unit/OrCommon/SessionCalls.h"

using OrCommon::KernelHandle;
using namespace OrCommon::TerminalService;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

// "<session>" or "none", and the error.
std::string AskForSession() {
  DWORD session = 4711;
  DWORD error = 4711;
  const bool found = GetActiveSessionId(session, error);
  CHECK((found || session == 0xFFFFFFFF));
  return (found ? std::to_string(session) : "none") + ", error " + std::to_string(error);
}

TEST_CASE("the session number is returned unchanged, even 0xFFFFFFFF for no session, and with error 0") {
  const auto ask = RealEntry<DWORD(WINAPI*)()>("kernel32.dll", "WTSGetActiveConsoleSessionId");
  CHECK(AskForSession() == std::to_string(ask()) + ", error 0");  // this machine's
  for (const DWORD id : {0UL, 7UL, 0xFFFFFFFFUL}) {
    const Belongings belongings;
    const AnswerEntry answer{"WTSGetActiveConsoleSessionId", [&]() -> DWORD {
                               ::SetLastError(ERROR_BUSY);
                               return id;
                             }};
    CHECK(AskForSession() == std::to_string(id) + ", error 0");
    CHECK(answer.Asked() == 1);
    CHECK(belongings.LibrariesLoaded() == 1);
    CHECK_LINES(belongings.Left(), {});
  }
}

TEST_CASE("a system without the entry point, or without its library, has no session; the error code says why") {
  const Belongings belongings;
  {
    const MissingEntry missing("WTSGetActiveConsoleSessionId");
    CHECK(AskForSession() == "none, error 127");
  }
  {
    const MissingLibrary missing(L"kernel32.dll", ERROR_BAD_EXE_FORMAT);
    CHECK(AskForSession() == "none, error 193");
  }
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("the token of the given session is queried; the last error is returned even on success") {
  ULONG asked = 0;
  Belongings belongings;
  const AnswerEntry answer{"WTSQueryUserToken", [&](ULONG session, HANDLE* token) -> BOOL {
                             asked = session;
                             *token = belongings.Add(MakePrimaryToken(), "token");
                             ::SetLastError(ERROR_MORE_DATA);
                             return TRUE;
                           }};
  KernelHandle token;
  for (const DWORD session : {0xFFFFFFFEUL, 1UL}) {  // what is held already is closed before the next one comes
    DWORD error = 4711;
    CHECK(QuerySessionUserToken(token, session, error));
    CHECK(asked == session);
    CHECK(error == ERROR_MORE_DATA);
    CHECK_LINES(belongings.Left(), {"token"});  // the token belongs to the caller, and the library is given back
  }
  CHECK(TokenKind(token.Get()) == "primary");
  token.Reset();
  CHECK_LINES(belongings.Left(), {});
  CHECK(belongings.HandlesTaken() == 2);
  CHECK(belongings.Strange() == 0);
}

TEST_CASE("a session without a user gives the error of the query, not that of releasing the library") {
  Belongings belongings;
  const AnswerEntry answer{"WTSQueryUserToken", [](ULONG, HANDLE*) -> BOOL {
                             ::SetLastError(ERROR_NO_TOKEN);
                             return FALSE;
                           }};
  const AfterCall free{"FreeLibrary", &::FreeLibrary, [] { ::SetLastError(ERROR_BUSY); }};
  KernelHandle token(belongings.Add(MakePrimaryToken(), "token of before"));
  DWORD error = 4711;
  CHECK_FALSE(QuerySessionUserToken(token, 1, error));
  CHECK(error == ERROR_NO_TOKEN);
  CHECK_FALSE(static_cast<bool>(token));
  CHECK_LINES(belongings.Left(), {});
}

bool HasVariable(const void* block, const std::wstring& name) {
  const auto* variable = static_cast<const wchar_t*>(block);
  while (*variable != L'\0' && std::wstring(variable).compare(0, name.size() + 1, name + L'=') != 0) {
    variable += std::wcslen(variable) + 1;
  }
  return *variable != L'\0';
}

TEST_CASE("the thread acts as the user until the end, with the user's environment and not this program's") {
  REQUIRE(::SetEnvironmentVariableW(L"VELA_OF_THIS_PROGRAM", L"1"));
  REQUIRE_FALSE(IsImpersonating());
  const KernelHandle token(MakePrimaryToken());
  const Belongings belongings;
  void* block = nullptr;
  DWORD error = 4711;
  CHECK(StartImpersonateLoggedOnUser(token.Get(), block, error));
  CHECK(error == 0);
  CHECK(IsImpersonating());
  REQUIRE(block != nullptr);
  CHECK(HasVariable(block, L"USERPROFILE"));
  CHECK_FALSE(HasVariable(block, L"VELA_OF_THIS_PROGRAM"));
  error = 4711;
  CHECK(EndImpersonateLoggedOnUser(block, error));
  CHECK(error == 0);
  CHECK_FALSE(IsImpersonating());
  CHECK(TokenKind(token.Get()) == "primary");  // still belongs to the caller
  CHECK_LINES(belongings.Left(), {});
  ::SetEnvironmentVariableW(L"VELA_OF_THIS_PROGRAM", nullptr);
}

TEST_CASE("start and end make their calls in order, with the right arguments") {
  const KernelHandle token(MakePrimaryToken());
  int environment = 0;
  void* block = nullptr;
  DWORD error = 4711;
  Lines events;
  const OnCall impersonate{"ImpersonateLoggedOnUser", &::ImpersonateLoggedOnUser, [&](HANDLE user) {
                             CHECK(user == token.Get());
                             events.push_back("impersonate");
                           }};
  const OnCall load{"LoadLibraryW", &::LoadLibraryW, [&](LPCWSTR name) { events.push_back("load " + ToUtf8(name)); }};
  const OnCall free{"FreeLibrary", &::FreeLibrary, [&] { events.push_back("free"); }};
  const OnCall revert{"RevertToSelf", &::RevertToSelf, [&] { events.push_back("revert"); }};
  const AnswerEntry create{"CreateEnvironmentBlock", [&](void** made, HANDLE user, BOOL inherited) -> BOOL {
                             events.push_back("create");
                             CHECK(user == token.Get());
                             CHECK_FALSE(inherited);
                             *made = &environment;
                             ::SetLastError(ERROR_BUSY);
                             return TRUE;
                           }};
  const AnswerEntry destroy{"DestroyEnvironmentBlock", [&](void* gone) -> BOOL {
                              events.push_back("destroy");
                              CHECK(gone == &environment);
                              return TRUE;
                            }};
  CHECK(StartImpersonateLoggedOnUser(token.Get(), block, error));
  CHECK(error == 0);
  CHECK(block == &environment);
  CHECK(EndImpersonateLoggedOnUser(block, error));
  CHECK(error == 0);
  CHECK_LINES(events,
              {"impersonate", "load userenv.dll", "create", "free", "load userenv.dll", "destroy", "free", "revert"});
}

TEST_CASE("if the user cannot be impersonated, no environment is created") {
  const CountCalls loads{"LoadLibraryW"};
  int stale = 0;
  void* block = &stale;
  DWORD error = 4711;
  CHECK_FALSE(StartImpersonateLoggedOnUser(nullptr, block, error));  // this is no token
  CHECK(error == ERROR_INVALID_HANDLE);
  CHECK(block == nullptr);
  CHECK(loads.Calls() == 0);
  CHECK_FALSE(IsImpersonating());
}

TEST_CASE("if the environment cannot be created, the thread still acts as the user, and the block is null") {
  int half = 0;
  void* block = &half;
  DWORD error = 4711;
  const KernelHandle token(MakePrimaryToken());
  const AnswerEntry create{"CreateEnvironmentBlock", [&](void** made, HANDLE, BOOL) -> BOOL {
                             *made = &half;
                             ::SetLastError(ERROR_PRIVILEGE_NOT_HELD);
                             return FALSE;
                           }};
  CHECK_FALSE(StartImpersonateLoggedOnUser(token.Get(), block, error));
  CHECK(IsImpersonating());
  StopImpersonating();
  CHECK(error == ERROR_PRIVILEGE_NOT_HELD);
  CHECK(block == nullptr);
}

TEST_CASE("the thread reverts even if the environment cannot be freed; a failed revert determines the error code") {
  const auto check = [](DWORD wanted) {
    const KernelHandle token(MakePrimaryToken());
    REQUIRE(::ImpersonateLoggedOnUser(token.Get()));
    DWORD error = 4711;
    const Belongings belongings;
    const CountCalls reverts{"RevertToSelf"};
    CHECK_FALSE(EndImpersonateLoggedOnUser(nullptr, error));
    CHECK(reverts.Calls() == 1);
    CHECK_LINES(belongings.Left(), {});
    CHECK(error == wanted);
    CHECK(IsImpersonating() == (wanted == ERROR_ACCESS_DENIED));  // the error of RevertToSelf below
    StopImpersonating();
  };
  {
    const MissingLibrary missing(L"userenv.dll", ERROR_FILE_NOT_FOUND);
    check(ERROR_FILE_NOT_FOUND);
  }
  const MissingEntry missing("DestroyEnvironmentBlock");
  check(ERROR_PROC_NOT_FOUND);
  const FailCall revert{"RevertToSelf", Calls::From(1), ERROR_ACCESS_DENIED};
  check(ERROR_ACCESS_DENIED);
}

}  // namespace
