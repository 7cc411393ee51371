// Acting as the console user for the duration of a scope.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "Common/FrwkCommon/Frwk_WindowStation.h"
#include "tests/support/CallFailures.h"
#include "tests/unit/FrwkCommon/ConsoleMachine.h"
#include "tests/unit/OrCommon/SessionCalls.h"

using Frwk::WindowStation::ConsoleUserScope;
using FrwkCommonTests::ConsoleMachine;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

// Loads and releases of the user environment library, and each end of acting as the user, in order.
class Order {
 public:
  Lines events;

 private:
  HMODULE library_ = nullptr;
  AfterCall load_{"LoadLibraryW", &::LoadLibraryW, [this](HMODULE module, LPCWSTR name) {
                    if (::lstrcmpiW(name, L"userenv.dll") == 0) {
                      library_ = module;
                      events.push_back("load");
                    }
                  }};
  OnCall free_{"FreeLibrary", &::FreeLibrary, [this](HMODULE module) {
                 if (module == library_) {
                   events.push_back("free");
                 }
               }};
  OnCall impersonate_{"ImpersonateLoggedOnUser", &::ImpersonateLoggedOnUser,
                      [this] { events.push_back("impersonate"); }};
  OnCall revert_{"RevertToSelf", &::RevertToSelf, [this] { events.push_back("revert"); }};
};

TEST_CASE("the token stays open until the scope ends, whether End is called never, once or twice") {
  for (const int ends : {0, 1, 2}) {
    CAPTURE(ends);
    const Belongings belongings;
    const ConsoleMachine machine;
    const Order order;
    HANDLE token = nullptr;
    {
      ConsoleUserScope user;
      CHECK(user.Token() == nullptr);
      CHECK(user.End());  // not started: nothing to do
      CHECK_LINES(order.events, {});
      CHECK(user.Start());
      CHECK(IsImpersonating());
      token = user.Token();
      for (int end = 0; end < ends; ++end) {
        CHECK(user.End());
        CHECK_FALSE(IsImpersonating());
      }
      CHECK(TokenKind(token) == "primary");
    }
    CHECK_FALSE(IsImpersonating());
    CHECK(TokenKind(token) == "invalid");
    // A library that is bound while acting as the user is loaded before that and stays loaded until after it.
    CHECK_LINES(order.events, {"load", "impersonate", "load", "free", "load", "free", "revert", "free"});
    CHECK_LINES(belongings.Left(), {});
  }
}

TEST_CASE("if the library search cannot be limited to the system folder, every library is loaded by its full path") {
  const ConsoleMachine machine;
  const MissingEntry limit("SetDefaultDllDirectories");
  const LoadedNames loaded;
  ConsoleUserScope user;
  CHECK(user.Start());
  CHECK(user.End());
  CHECK(loaded.names.size() > 2);
  CHECK(loaded.WithoutFolder().empty());
}

TEST_CASE("a failed end is reported once; if only the environment stays, the thread acts as itself again") {
  const ConsoleMachine machine;
  ConsoleUserScope user;
  REQUIRE(user.Start());
  {
    const MissingEntry missing("DestroyEnvironmentBlock");
    CHECK_FALSE(user.End());
  }
  CHECK_FALSE(IsImpersonating());
  CHECK(user.End());
}

TEST_CASE("a failed start is undone at once: the thread acts as itself, and there is nothing left to end") {
  struct Row {
    const char* name;
    DWORD tokenError;
    bool hasLibrary;  // of the environment; without it nothing is started, and no load is tried as the user
    std::string token;
    Lines events;  // the last one is the end of the scope
  };
  for (const Row& row :
       {Row{"nobody", ERROR_NO_TOKEN, true, "", {"load", "free"}},
        Row{"no environment", 0, true, "primary", {"load", "impersonate", "load", "free", "revert", "free"}},
        Row{"no library", 0, false, "", {}}}) {
    CAPTURE(std::string(row.name));
    const Belongings belongings;
    ConsoleMachine machine;
    machine.FailTokens(row.tokenError);
    const AnswerEntry create{"CreateEnvironmentBlock", [](void**, HANDLE, BOOL) -> BOOL { return FALSE; }};
    const Order order;
    {
      const FailCall load{"LoadLibraryW", row.hasLibrary ? Calls::None() : Calls::Only(1), ERROR_NOT_ENOUGH_MEMORY};
      ConsoleUserScope user;
      CHECK_FALSE(user.Start());
      CHECK_FALSE(IsImpersonating());
      CHECK((user.Token() == nullptr ? "" : TokenKind(user.Token())) == row.token);
      CHECK(user.End());
    }
    StopImpersonating();
    CHECK_LINES(order.events, (row.events));
    CHECK(machine.SessionsAsked() == (row.hasLibrary ? 1 : 0));
    CHECK_LINES(belongings.Left(), {});
  }
}

TEST_CASE("a second start ends the first one, and releases its environment block and token") {
  const Belongings belongings;
  const ConsoleMachine machine;
  const CountCalls reverts{"RevertToSelf"};
  int made = 0;
  int destroyed = 0;
  const AnswerEntry create{"CreateEnvironmentBlock", [&](void** block, HANDLE, BOOL) -> BOOL {
                             ++made;
                             *block = &made;
                             return TRUE;
                           }};
  const AnswerEntry destroy{"DestroyEnvironmentBlock", [&](void* block) -> BOOL {
                              destroyed += block == &made ? 1 : 0;
                              return TRUE;
                            }};
  HANDLE first = nullptr;
  {
    ConsoleUserScope user;
    REQUIRE(user.Start());
    first = user.Token();
    CHECK(user.Start());
    CHECK(IsImpersonating());
    CHECK(reverts.Calls() == 1);
    CHECK(destroyed == 1);
  }
  CHECK(made == 2);
  CHECK(destroyed == 2);
  CHECK(reverts.Calls() == 2);
  CHECK_FALSE(IsImpersonating());
  CHECK(TokenKind(first) == "invalid");
  CHECK_LINES(belongings.Left(), {});
}

}  // namespace
