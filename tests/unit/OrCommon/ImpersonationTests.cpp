// Acting as a user, with that user's environment, and ending it.
#include <doctest/doctest.h>

#include <windows.h>

#include <cwchar>
#include <set>
#include <string>

#include "Common/OrCommon/OrComn_TerminalService.h"
#include "tests/support/CallFailures.h"
#include "tests/unit/OrCommon/SessionCalls.h"

using OrCommon::KernelHandle;
using OrCommon::TerminalService::EndImpersonateLoggedOnUser;
using OrCommon::TerminalService::StartImpersonateLoggedOnUser;
using OrCommonTests::AnswerEntry;
using OrCommonTests::Belongings;
using OrCommonTests::IsImpersonating;
using OrCommonTests::MakePrimaryToken;
using OrCommonTests::StopImpersonating;
using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::MissingEntry;
using TestSupport::MissingLibrary;

namespace {

// The calls in order, by name.
class CallOrder {
 public:
  TestSupport::Lines events;

 private:
  ImportRedirection impersonate_{"ImpersonateLoggedOnUser", [this](HANDLE token) -> BOOL {
                                   events.push_back("impersonate");
                                   return impersonate_.Original<decltype(&::ImpersonateLoggedOnUser)>()(token);
                                 }};
  ImportRedirection load_{"LoadLibraryW", [this](LPCWSTR name) -> HMODULE {
                            events.push_back("load " + TestSupport::ToUtf8(name));
                            return load_.Original<decltype(&::LoadLibraryW)>()(name);
                          }};
  ImportRedirection free_{"FreeLibrary", [this](HMODULE module) -> BOOL {
                            events.push_back("free");
                            return free_.Original<decltype(&::FreeLibrary)>()(module);
                          }};
  ImportRedirection revert_{"RevertToSelf", [this]() -> BOOL {
                              events.push_back("revert");
                              return revert_.Original<decltype(&::RevertToSelf)>()();
                            }};
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
  CHECK(OrCommonTests::TokenKind(token.Get()) == "primary");  // still the caller's
  CHECK_LINES(belongings.Left(), {});
  ::SetEnvironmentVariableW(L"VELA_OF_THIS_PROGRAM", nullptr);
}

TEST_CASE("the arguments and the order of the calls") {
  const KernelHandle token(MakePrimaryToken());
  int environment = 0;
  HANDLE impersonated = nullptr;
  HANDLE ofBlock = nullptr;
  BOOL inherit = 4711;
  void* destroyed = nullptr;
  void* block = nullptr;
  DWORD error = 4711;
  CallOrder order;
  const ImportRedirection impersonate{"ImpersonateLoggedOnUser", [&](HANDLE user) -> BOOL {
                                        impersonated = user;
                                        return impersonate.Original<decltype(&::ImpersonateLoggedOnUser)>()(user);
                                      }};
  const AnswerEntry create{"CreateEnvironmentBlock", [&](void** made, HANDLE user, BOOL inherited) -> BOOL {
                             order.events.push_back("create");
                             ofBlock = user;
                             inherit = inherited;
                             *made = &environment;
                             ::SetLastError(ERROR_BUSY);
                             return TRUE;
                           }};
  const AnswerEntry destroy{"DestroyEnvironmentBlock", [&](void* gone) -> BOOL {
                              order.events.push_back("destroy");
                              destroyed = gone;
                              return TRUE;
                            }};
  CHECK(StartImpersonateLoggedOnUser(token.Get(), block, error));
  CHECK(error == 0);
  CHECK(impersonated == token.Get());
  CHECK(ofBlock == token.Get());
  CHECK(inherit == FALSE);
  CHECK(block == &environment);
  CHECK(EndImpersonateLoggedOnUser(block, error));
  CHECK(error == 0);
  CHECK(destroyed == &environment);
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

struct FailedStart {
  bool succeeded = true;
  void* block = nullptr;
  DWORD error = 4711;
  bool impersonating = false;
  TestSupport::Lines left = {};
};

FailedStart Start() {
  FailedStart start;
  int stale = 0;
  start.block = &stale;
  const KernelHandle token(MakePrimaryToken());
  {
    const Belongings belongings;
    start.succeeded = StartImpersonateLoggedOnUser(token.Get(), start.block, start.error);
    start.left = belongings.Left();
  }
  start.impersonating = IsImpersonating();
  StopImpersonating();
  return start;
}

void CheckFailsButImpersonates(const FailedStart& start, DWORD error) {
  CHECK_FALSE(start.succeeded);
  CHECK(start.error == error);
  CHECK(start.block == nullptr);
  CHECK(start.impersonating);
  CHECK_LINES(start.left, {});
}

TEST_CASE("an environment that cannot be had leaves the thread acting as the user") {
  {
    const MissingLibrary missing(L"userenv.dll", ERROR_FILE_NOT_FOUND);
    CheckFailsButImpersonates(Start(), ERROR_FILE_NOT_FOUND);
  }
  {
    const MissingEntry missing("CreateEnvironmentBlock");
    CheckFailsButImpersonates(Start(), ERROR_PROC_NOT_FOUND);
  }
  int half = 0;
  const AnswerEntry create{"CreateEnvironmentBlock", [&](void** made, HANDLE, BOOL) -> BOOL {
                             *made = &half;
                             ::SetLastError(ERROR_PRIVILEGE_NOT_HELD);
                             return FALSE;
                           }};
  CheckFailsButImpersonates(Start(), ERROR_PRIVILEGE_NOT_HELD);
}

struct FailedEnd {
  bool succeeded = true;
  DWORD error = 4711;
  unsigned reverts = 0;
  TestSupport::Lines left = {};
};

FailedEnd End() {
  FailedEnd end;
  const Belongings belongings;
  const CountCalls reverts{"RevertToSelf"};
  end.succeeded = EndImpersonateLoggedOnUser(nullptr, end.error);
  end.reverts = reverts.Calls();
  end.left = belongings.Left();
  return end;
}

void CheckFailsButReverts(const FailedEnd& end, DWORD error) {
  CHECK_FALSE(end.succeeded);
  CHECK(end.error == error);
  CHECK(end.reverts == 1);
  CHECK_LINES(end.left, {});
}

TEST_CASE("the thread is itself again also where the environment cannot be given back") {
  const KernelHandle token(MakePrimaryToken());
  {
    REQUIRE(::ImpersonateLoggedOnUser(token.Get()));
    const MissingLibrary missing(L"userenv.dll", ERROR_FILE_NOT_FOUND);
    CheckFailsButReverts(End(), ERROR_FILE_NOT_FOUND);
    CHECK_FALSE(IsImpersonating());
  }
  {
    REQUIRE(::ImpersonateLoggedOnUser(token.Get()));
    const MissingEntry missing("DestroyEnvironmentBlock");
    CheckFailsButReverts(End(), ERROR_PROC_NOT_FOUND);
    CHECK_FALSE(IsImpersonating());
  }
  REQUIRE(::ImpersonateLoggedOnUser(token.Get()));
  const AnswerEntry destroy{"DestroyEnvironmentBlock", [](void*) -> BOOL {
                              ::SetLastError(ERROR_INVALID_BLOCK);
                              return FALSE;
                            }};
  CheckFailsButReverts(End(), ERROR_INVALID_BLOCK);
  CHECK_FALSE(IsImpersonating());
}

TEST_CASE("a thread that cannot be itself again is a failure; its code wins") {
  const FailCall revert{"RevertToSelf", TestSupport::Calls::From(1), ERROR_ACCESS_DENIED};
  BOOL destroyed = TRUE;
  const AnswerEntry destroy{"DestroyEnvironmentBlock", [&](void*) -> BOOL {
                              ::SetLastError(ERROR_INVALID_BLOCK);
                              return destroyed;
                            }};
  CheckFailsButReverts(End(), ERROR_ACCESS_DENIED);
  destroyed = FALSE;
  CheckFailsButReverts(End(), ERROR_ACCESS_DENIED);
}

}  // namespace
