// The session at the console, the token of its user, and acting as that user.
#include <doctest/doctest.h>

#include <windows.h>

#include <cwchar>
#include <set>
#include <string>

#include "Common/OrCommon/OrComn_TerminalService.h"
#include "tests/support/CallFailures.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/OrCommon/SessionCalls.h"

using OrCommon::KernelHandle;
using namespace OrCommon::TerminalService;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

struct Session {
  bool found;
  DWORD id;
  DWORD error;
};

Session AskForSession() {
  Session session = {false, 4711, 4711};
  session.found = GetActiveSessionId(session.id, session.error);
  return session;
}

void CheckSession(const Session& session, bool found, DWORD id, DWORD error) {
  CHECK(session.found == found);
  CHECK(session.id == id);
  CHECK(session.error == error);
}

TEST_CASE("the session is passed on as it is, also the number for none, and no stale error with it") {
  const auto ask = RealEntry<DWORD(WINAPI*)()>("kernel32.dll", "WTSGetActiveConsoleSessionId");
  CheckSession(AskForSession(), true, ask(), 0);  // this machine's
  for (const DWORD id : {0UL, 7UL, 0xFFFFFFFFUL}) {
    CAPTURE(id);
    const Belongings belongings;
    const AnswerEntry answer{"WTSGetActiveConsoleSessionId", [&]() -> DWORD {
                               ::SetLastError(ERROR_BUSY);
                               return id;
                             }};
    CheckSession(AskForSession(), true, id, 0);
    CHECK(answer.Asked() == 1);
    CHECK(belongings.LibrariesLoaded() == 1);
    CHECK_LINES(belongings.Left(), {});
  }
}

TEST_CASE("a system without the entry point, or without its library, has no session: the code tells why") {
  const Belongings belongings;
  {
    const MissingEntry missing("WTSGetActiveConsoleSessionId");
    CheckSession(AskForSession(), false, 0xFFFFFFFF, ERROR_PROC_NOT_FOUND);
  }
  {
    const MissingLibrary missing(L"kernel32.dll", ERROR_BAD_EXE_FORMAT);
    CheckSession(AskForSession(), false, 0xFFFFFFFF, ERROR_BAD_EXE_FORMAT);
  }
  {
    const FailCall conversion{"WideCharToMultiByte", Calls::From(1), ERROR_NO_UNICODE_TRANSLATION};
    CheckSession(AskForSession(), false, 0xFFFFFFFF, 160);
  }
  CHECK_LINES(belongings.Left(), {});
}

// In a process of its own: a process asks for the version once. Windows 2000 answers in the tests of the console user.
TEST_CASE("where the version cannot be asked no session is looked for" * doctest::skip()) {
  const FailCall version{"GetVersionExW", Calls::From(1), ERROR_INVALID_PARAMETER};
  const AnswerEntry answer{"WTSGetActiveConsoleSessionId", []() -> DWORD { return 1; }};
  CheckSession(AskForSession(), false, 0xFFFFFFFF, 0);
  CHECK(answer.Asked() == 0);
}

TEST_CASE("a system whose version is unknown has no session") {
  wchar_t program[MAX_PATH] = {};
  REQUIRE(::GetModuleFileNameW(nullptr, program, MAX_PATH) != 0);
  TestProcess child(program, {L"--no-skip", L"--test-case=where the version cannot be asked*"});
  const ProcessOutcome outcome = child.Finish(60000);
  CHECK_FALSE(outcome.timedOut);
  CHECK(outcome.exitCode == 0);
}

TEST_CASE("the session is asked for its token; the last error is given, also with a success") {
  ULONG asked = 0;
  Belongings belongings;
  const AnswerEntry answer{"WTSQueryUserToken", [&](ULONG session, HANDLE* token) -> BOOL {
                             asked = session;
                             *token = belongings.Add(MakePrimaryToken(), "token");
                             ::SetLastError(ERROR_MORE_DATA);
                             return TRUE;
                           }};
  KernelHandle token;
  DWORD error = 4711;
  CHECK(QuerySessionUserToken(token, 0xFFFFFFFE, error));
  CHECK(asked == 0xFFFFFFFE);
  CHECK(error == ERROR_MORE_DATA);
  CHECK(TokenKind(token.Get()) == "primary");
  CHECK_LINES(belongings.Left(), {"token"});  // the caller's, the library is given back
  // Once more: what is held already is closed before the next one comes.
  CHECK(QuerySessionUserToken(token, 1, error));
  CHECK_LINES(belongings.Left(), {"token"});
  token.Reset();
  CHECK_LINES(belongings.Left(), {});
  CHECK(belongings.HandlesTaken() == 2);
  CHECK(belongings.Strange() == 0);
}

TEST_CASE("a session without a user: the code of the query, whatever releasing the library leaves behind") {
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

// The calls in order, by name.
class CallOrder {
 public:
  Lines events;

 private:
  OnCall impersonate_{"ImpersonateLoggedOnUser", &::ImpersonateLoggedOnUser,
                      [this] { events.push_back("impersonate"); }};
  OnCall load_{"LoadLibraryW", &::LoadLibraryW, [this](LPCWSTR name) { events.push_back("load " + ToUtf8(name)); }};
  OnCall free_{"FreeLibrary", &::FreeLibrary, [this] { events.push_back("free"); }};
  OnCall revert_{"RevertToSelf", &::RevertToSelf, [this] { events.push_back("revert"); }};
};

std::set<std::wstring> NamesIn(const void* block) {
  std::set<std::wstring> names;
  for (const auto* variable = static_cast<const wchar_t*>(block); *variable != L'\0';
       variable += std::wcslen(variable) + 1) {
    const std::wstring text = variable;
    names.insert(text.substr(0, text.find(L'=', 1)));
  }
  return names;
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
  const std::set<std::wstring> names = NamesIn(block);
  CHECK(names.count(L"USERPROFILE") == 1);
  CHECK(names.count(L"VELA_OF_THIS_PROGRAM") == 0);
  error = 4711;
  CHECK(EndImpersonateLoggedOnUser(block, error));
  CHECK(error == 0);
  CHECK_FALSE(IsImpersonating());
  CHECK(TokenKind(token.Get()) == "primary");  // still the caller's
  CHECK_LINES(belongings.Left(), {});
  ::SetEnvironmentVariableW(L"VELA_OF_THIS_PROGRAM", nullptr);
}

TEST_CASE("the arguments and the order of the calls") {
  const KernelHandle token(MakePrimaryToken());
  int environment = 0;
  void* block = nullptr;
  DWORD error = 4711;
  CallOrder order;
  const OnCall impersonate{"ImpersonateLoggedOnUser", &::ImpersonateLoggedOnUser,
                           [&](HANDLE user) { CHECK(user == token.Get()); }};
  const AnswerEntry create{"CreateEnvironmentBlock", [&](void** made, HANDLE user, BOOL inherited) -> BOOL {
                             order.events.push_back("create");
                             CHECK(user == token.Get());
                             CHECK_FALSE(inherited);
                             *made = &environment;
                             ::SetLastError(ERROR_BUSY);
                             return TRUE;
                           }};
  const AnswerEntry destroy{"DestroyEnvironmentBlock", [&](void* gone) -> BOOL {
                              order.events.push_back("destroy");
                              CHECK(gone == &environment);
                              return TRUE;
                            }};
  CHECK(StartImpersonateLoggedOnUser(token.Get(), block, error));
  CHECK(error == 0);
  CHECK(block == &environment);
  CHECK(EndImpersonateLoggedOnUser(block, error));
  CHECK(error == 0);
  CHECK_LINES(order.events,
              {"impersonate", "load userenv.dll", "create", "free", "load userenv.dll", "destroy", "free", "revert"});
}

TEST_CASE("who cannot be impersonated gets no environment") {
  const CountCalls loads{"LoadLibraryW"};
  int stale = 0;
  void* block = &stale;
  DWORD error = 4711;
  {
    const FailCall impersonate{"ImpersonateLoggedOnUser", 1, ERROR_BAD_IMPERSONATION_LEVEL};
    CHECK_FALSE(StartImpersonateLoggedOnUser(nullptr, block, error));
  }
  CHECK(error == ERROR_BAD_IMPERSONATION_LEVEL);
  CHECK(block == nullptr);
  CHECK(loads.Calls() == 0);
  CHECK_FALSE(IsImpersonating());
  // And with Windows itself: this is no token.
  CHECK_FALSE(StartImpersonateLoggedOnUser(nullptr, block, error));
  CHECK(error == ERROR_INVALID_HANDLE);
  CHECK_FALSE(IsImpersonating());
}

TEST_CASE("an environment that cannot be had leaves the thread acting as the user, and no half-made block") {
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

void CheckEndFailsButReverts(DWORD wanted) {
  const KernelHandle token(MakePrimaryToken());
  REQUIRE(::ImpersonateLoggedOnUser(token.Get()));
  DWORD error = 4711;
  {
    const Belongings belongings;
    const CountCalls reverts{"RevertToSelf"};
    CHECK_FALSE(EndImpersonateLoggedOnUser(nullptr, error));
    CHECK(reverts.Calls() == 1);
    CHECK_LINES(belongings.Left(), {});
  }
  CHECK(error == wanted);
  CHECK(IsImpersonating() == (wanted == ERROR_ACCESS_DENIED));  // what RevertToSelf fails with below
  StopImpersonating();
}

TEST_CASE("the thread is itself again also where the environment cannot be given back; a failed return wins") {
  {
    const MissingLibrary missing(L"userenv.dll", ERROR_FILE_NOT_FOUND);
    CheckEndFailsButReverts(ERROR_FILE_NOT_FOUND);
  }
  const MissingEntry missing("DestroyEnvironmentBlock");
  CheckEndFailsButReverts(ERROR_PROC_NOT_FOUND);
  const FailCall revert{"RevertToSelf", Calls::From(1), ERROR_ACCESS_DENIED};
  CheckEndFailsButReverts(ERROR_ACCESS_DENIED);
}

}  // namespace
