// Acting as the console user for as long as a scope lasts.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "Common/FrwkCommon/Frwk_WindowStation.h"
#include "tests/support/CallFailures.h"
#include "tests/unit/FrwkCommon/ConsoleMachine.h"
#include "tests/unit/OrCommon/SessionCalls.h"

using Frwk::WindowStation::ConsoleUserScope;
using FrwkCommonTests::ConsoleMachine;
using OrCommonTests::AnswerEntry;
using OrCommonTests::Belongings;
using OrCommonTests::IsImpersonating;
using OrCommonTests::StopImpersonating;
using OrCommonTests::TokenKind;
using TestSupport::CountCalls;
using TestSupport::ImportRedirection;
using TestSupport::MissingEntry;

namespace {

// Loads and releases of the user environment library, and the ends of acting as the user, in order.
class Order {
 public:
  TestSupport::Lines events;

 private:
  HMODULE library_ = nullptr;
  ImportRedirection load_{"LoadLibraryW", [this](LPCWSTR name) -> HMODULE {
                            const HMODULE module = load_.Original<decltype(&::LoadLibraryW)>()(name);
                            if (::lstrcmpiW(name, L"userenv.dll") == 0) {
                              library_ = module;
                              events.push_back("load");
                            }
                            return module;
                          }};
  ImportRedirection free_{"FreeLibrary", [this](HMODULE module) -> BOOL {
                            if (module == library_) {
                              events.push_back("free");
                            }
                            return free_.Original<decltype(&::FreeLibrary)>()(module);
                          }};
  ImportRedirection impersonate_{"ImpersonateLoggedOnUser", [this](HANDLE token) -> BOOL {
                                   events.push_back("impersonate");
                                   return impersonate_.Original<decltype(&::ImpersonateLoggedOnUser)>()(token);
                                 }};
  ImportRedirection revert_{"RevertToSelf", [this]() -> BOOL {
                              events.push_back("revert");
                              return revert_.Original<decltype(&::RevertToSelf)>()();
                            }};
};

TEST_CASE("started and ended: the token stays until the scope goes") {
  const Belongings belongings;
  HANDLE token = nullptr;
  {
    const ConsoleMachine machine;
    ConsoleUserScope user;
    CHECK(user.Token() == nullptr);
    CHECK(user.Start());
    CHECK(IsImpersonating());
    token = user.Token();
    CHECK(TokenKind(token) == "primary");
    CHECK(user.End());
    CHECK_FALSE(IsImpersonating());
    CHECK(TokenKind(token) == "primary");
  }
  CHECK(TokenKind(token) == "invalid");
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("the library bound while acting as the user is loaded before and stays until after") {
  TestSupport::Lines events;
  {
    const ConsoleMachine machine;
    const Order order;
    {
      ConsoleUserScope user;
      REQUIRE(user.Start());
      REQUIRE(user.End());
    }
    events = order.events;
  }
  CHECK_LINES(events, {"load", "impersonate", "load", "free", "load", "free", "revert", "free"});
}

TEST_CASE("where the search cannot be limited to the system folder, nothing is loaded without its path") {
  const ConsoleMachine machine;
  const MissingEntry limit("SetDefaultDllDirectories");
  const TestSupport::LoadedNames loaded;
  ConsoleUserScope user;
  CHECK(user.Start());
  CHECK(user.End());
  CHECK(loaded.names.size() > 2);
  CHECK(loaded.WithoutFolder().empty());
}

TEST_CASE("who does not end the scope has it ended") {
  const Belongings belongings;
  const ConsoleMachine machine;
  const CountCalls reverts{"RevertToSelf"};
  {
    ConsoleUserScope user;
    REQUIRE(user.Start());
  }
  CHECK_FALSE(IsImpersonating());
  CHECK(reverts.Calls() == 1);
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("a scope that has ended, or was never started, ends without doing anything") {
  const ConsoleMachine machine;
  const CountCalls reverts{"RevertToSelf"};
  {
    ConsoleUserScope never;
    CHECK(never.End());
  }
  CHECK(reverts.Calls() == 0);
  {
    ConsoleUserScope user;
    REQUIRE(user.Start());
    CHECK(user.End());
    CHECK(user.End());
  }
  CHECK(reverts.Calls() == 1);
}

TEST_CASE("an end that fails tells so once; the thread is itself again where only the environment stays") {
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

TEST_CASE("a start that finds nobody leaves nothing to end") {
  const Belongings belongings;
  ConsoleMachine machine;
  machine.FailTokens(ERROR_NO_TOKEN);
  const CountCalls reverts{"RevertToSelf"};
  {
    ConsoleUserScope user;
    CHECK_FALSE(user.Start());
    CHECK(user.Token() == nullptr);
    CHECK(user.End());
  }
  CHECK(reverts.Calls() == 0);
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("a start that fails for the environment ends what it has begun: the thread is itself at once") {
  const Belongings belongings;
  const ConsoleMachine machine;
  const AnswerEntry create{"CreateEnvironmentBlock", [](void**, HANDLE, BOOL) -> BOOL { return FALSE; }};
  bool impersonating = true;
  unsigned reverted = 0;
  {
    const CountCalls reverts{"RevertToSelf"};
    ConsoleUserScope user;
    CHECK_FALSE(user.Start());
    impersonating = IsImpersonating();
    CHECK(TokenKind(user.Token()) == "primary");
    CHECK(user.End());
    reverted = reverts.Calls();
  }
  StopImpersonating();
  CHECK_FALSE(impersonating);
  CHECK(reverted == 1);
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE(
    "where the library of the environment cannot be loaded beforehand nothing is started, and it is not tried as the "
    "user") {
  const Belongings belongings;
  const ConsoleMachine machine;
  TestSupport::Lines events;
  {
    const Order order;
    const TestSupport::FailCall load{"LoadLibraryW", 1, ERROR_NOT_ENOUGH_MEMORY};
    ConsoleUserScope user;
    CHECK_FALSE(user.Start());
    CHECK(load.Failed() == 1);
    events = order.events;
  }
  CHECK_LINES(events, {});
  CHECK(machine.SessionsAsked() == 0);
  CHECK_FALSE(IsImpersonating());
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("starting once more ends the first, and gives its block and token back") {
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
