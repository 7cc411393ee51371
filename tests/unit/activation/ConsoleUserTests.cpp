// Who the console user is. Afterwards everything is given back and the thread acts as itself.
#include "activation/ConsoleUser.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/activation/OwnUser.h"

using namespace TestSupport;
using VELAUtility::GetCurrentUserSid;

namespace {

constexpr char kStartFailed[] = "LOG_ERROR: Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()";
constexpr char kEndFailed[] = "LOG_WARN : Fail on Frwk::WindowStation::EndImpersonateLoggedOnCurrentUser()";

TEST_CASE("the console user's identifier is looked up by the account name, queried while acting as the user") {
  const std::string name = ToUtf8(OwnName(true));
  const std::wstring sid = OwnSid();
  ConsoleSession session;
  const LogCapture log;
  const std::wstring answered = GetCurrentUserSid();
  CHECK(answered == sid);
  CHECK(answered.compare(0, 4, L"S-1-") == 0);
  CHECK_LINES(log.Lines(), {});
  CHECK_LINES(session.Calls(),
              {"WTSGetActiveConsoleSessionId", "WTSQueryUserToken 7", "ImpersonateLoggedOnUser token",
               "CreateEnvironmentBlock token", "GetUserNameExW domain and user 257 as the user",
               "LookupAccountNameW " + name, "LookupAccountNameW " + name, "DestroyEnvironmentBlock", "RevertToSelf"});
  CHECK_LINES(session.NotGivenBack(), {});
  CHECK_LINES(session.LoadedAsUser(), {});
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
}

TEST_CASE("without the name with its domain, the bare name is looked up; without that, there is no identifier") {
  const std::string name = ToUtf8(OwnName(false));
  const std::wstring sid = OwnSid();
  struct Case {
    DWORD nameExError;
    std::set<std::string> missingEntries;
    std::set<std::wstring> missingLibraries;
    DWORD nameError;
  };
  for (const Case& failing : {Case{ERROR_MORE_DATA, {}, {}, 0}, Case{0, {"GetUserNameExW"}, {}, 0},
                              Case{0, {}, {L"secur32.dll"}, 0}, Case{ERROR_NONE_MAPPED, {}, {}, ERROR_NOT_LOGGED_ON}}) {
    ConsoleSession session;
    session.nameExError = failing.nameExError;
    session.missingEntries = failing.missingEntries;
    session.missingLibraries = failing.missingLibraries;
    session.nameError = failing.nameError;
    const LogCapture log;
    const std::wstring answered = GetCurrentUserSid();
    const bool named = failing.nameError == ERROR_SUCCESS;
    CHECK(answered == (named ? sid : L""));
    CHECK_LINES(log.Lines(), {});
    Lines names = {"GetUserNameExW domain and user 257 as the user", "GetUserNameW 257 as the user"};
    names.erase(names.begin(), names.begin() + (failing.nameExError == ERROR_SUCCESS ? 1 : 0));
    CHECK_LINES(LinesWith(session.Calls(), "UserName"), (names));
    CHECK_LINES(LinesWith(session.Calls(), "Lookup"), (Lines(named ? 2 : 0, "LookupAccountNameW " + name)));
    CHECK_LINES(session.NotGivenBack(), {});
    CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
  }
}

TEST_CASE("an account whose identifier cannot be read or converted to text has none") {
  for (const auto& [function, call] : {std::pair{"LookupAccountNameW", 2U}, {"ConvertSidToStringSidW", 1U}}) {
    ConsoleSession session;
    const FailCall failing(function, call, ERROR_NONE_MAPPED);
    const LogCapture log;
    const std::wstring answered = GetCurrentUserSid();
    CHECK(failing.Failed() == 1);
    CHECK(answered.empty());
    CHECK_LINES(log.Lines(), {});
    CHECK_LINES(session.NotGivenBack(), {});
    CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
  }
}

// All cases: tests/unit/FrwkCommon/ConsoleUserScopeTests.cpp.
TEST_CASE("if the thread cannot act as the user, there is no identifier") {
  for (const bool found : {false, true}) {
    ConsoleSession session;
    (found ? session.createBlockError : session.tokenError) = ERROR_NO_TOKEN;
    const LogCapture log;
    const std::wstring answered = GetCurrentUserSid();
    CHECK(answered.empty());
    CHECK_LINES(log.Lines(), {kStartFailed});
    CHECK_LINES(LinesWith(session.Calls(), "UserName"), {});
    CHECK_LINES(session.NotGivenBack(), {});
    CHECK_LINES(session.LoadedAsUser(), {});
    CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
  }
}

TEST_CASE("if the thread cannot stop acting as the user, that is logged, and the identifier is still returned") {
  const std::wstring sid = OwnSid();
  struct Row {
    DWORD destroyBlockError;
    std::set<std::string> missingEntries;
    DWORD revertError;
  };
  for (const Row& row :
       {Row{ERROR_INVALID_PARAMETER, {}, 0}, Row{0, {"DestroyEnvironmentBlock"}, 0}, Row{0, {}, ERROR_BUSY}}) {
    ConsoleSession session;
    session.destroyBlockError = row.destroyBlockError;
    session.missingEntries = row.missingEntries;
    session.revertError = row.revertError;
    const LogCapture log;
    const std::wstring answered = GetCurrentUserSid();
    CHECK(answered == sid);
    CHECK_LINES(log.Lines(), {kEndFailed});
    CHECK(session.Calls().back() == "RevertToSelf");
    const bool reverts = row.revertError == ERROR_SUCCESS;
    CHECK_LINES(session.NotGivenBack(), (Lines(reverts ? 1 : 0, "environment block")));
    CHECK(ConsoleSession::ThreadActsAsUser() != reverts);
  }
}

}  // namespace
