// Who the console user is; with everything given back and the thread being itself afterwards.
#include "activation/ConsoleUser.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/activation/OwnUser.h"
#include "tests/unit/activation/ShellProgram.h"

using namespace TestSupport;
using VELAUtility::GetCurrentUserSid;

namespace {

constexpr char kStartFailed[] = "LOG_ERROR: Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()";
constexpr char kEndFailed[] = "LOG_WARN : Fail on Frwk::WindowStation::EndImpersonateLoggedOnCurrentUser()";

// Everything that GetCurrentUserSid did.
struct Answered {
  std::wstring sid;
  Lines log;
  Lines calls;
  Lines notGivenBack;
  bool actsAsUser = false;
};

Answered Ask(const ConsoleSession& session) {
  Answered answered;
  const LogCapture log;
  answered.sid = GetCurrentUserSid();
  answered.actsAsUser = ConsoleSession::ThreadActsAsUser();
  answered.calls = session.Calls();
  answered.notGivenBack = session.NotGivenBack();
  answered.log = log.Lines();
  return answered;
}

TEST_CASE("the identifier of the console user is that of the account named in the user's own identity") {
  const std::string name = ToUtf8(OwnName(true));
  const std::wstring sid = OwnSid();
  ConsoleSession session;
  const Answered answered = Ask(session);
  CHECK(answered.sid == sid);
  CHECK(answered.sid.compare(0, 4, L"S-1-") == 0);
  CHECK_LINES(answered.log, {});
  CHECK_LINES(answered.calls,
              {"WTSGetActiveConsoleSessionId", "WTSQueryUserToken 7", "ImpersonateLoggedOnUser token",
               "CreateEnvironmentBlock token", "GetUserNameExW domain and user 257 as the user",
               "LookupAccountNameW " + name, "LookupAccountNameW " + name, "DestroyEnvironmentBlock", "RevertToSelf"});
  CHECK_LINES(answered.notGivenBack, {});
  CHECK_LINES(session.LoadedAsUser(), {});
  CHECK_FALSE(answered.actsAsUser);
}

TEST_CASE("where the long form of the name cannot be had, the bare name is looked up") {
  const std::string name = ToUtf8(OwnName(false));
  const std::wstring sid = OwnSid();
  struct Case {
    DWORD nameExError;
    std::set<std::string> missingEntries;
    std::set<std::wstring> missingLibraries;
    bool asked;
  };
  for (const Case& failing : {Case{ERROR_MORE_DATA, {}, {}, true}, Case{0, {"GetUserNameExW"}, {}, false},
                              Case{0, {}, {L"secur32.dll"}, false}}) {
    ConsoleSession session;
    session.nameExError = failing.nameExError;
    session.missingEntries = failing.missingEntries;
    session.missingLibraries = failing.missingLibraries;
    const Answered answered = Ask(session);
    CHECK(answered.sid == sid);
    CHECK_LINES(answered.log, {});
    Lines names = LinesWith(answered.calls, "UserName");
    CHECK_LINES(names,
                (failing.asked ? Lines{"GetUserNameExW domain and user 257 as the user", "GetUserNameW 257 as the user"}
                               : Lines{"GetUserNameW 257 as the user"}));
    CHECK_LINES(LinesWith(answered.calls, "Lookup"), {"LookupAccountNameW " + name, "LookupAccountNameW " + name});
    CHECK_LINES(answered.notGivenBack, {});
    CHECK_FALSE(answered.actsAsUser);
  }
}

TEST_CASE("a user without a name has no identifier, and nothing is logged about it") {
  ConsoleSession session;
  session.nameExError = ERROR_NONE_MAPPED;
  session.nameError = ERROR_NOT_LOGGED_ON;
  const Answered answered = Ask(session);
  CHECK(answered.sid.empty());
  CHECK_LINES(answered.log, {});
  CHECK_LINES(LinesWith(answered.calls, "Lookup"), {});
  CHECK_LINES(answered.notGivenBack, {});
  CHECK_FALSE(answered.actsAsUser);
}

TEST_CASE("a name without an account has no identifier") {
  ConsoleSession session;
  session.account = L"NOSUCHDOMAIN\\nobody99";
  const Answered answered = Ask(session);
  CHECK(answered.sid.empty());
  CHECK_LINES(answered.log, {});
  CHECK_LINES(LinesWith(answered.calls, "Lookup"), {"LookupAccountNameW NOSUCHDOMAIN\\nobody99"});
  CHECK_LINES(answered.notGivenBack, {});
  CHECK_FALSE(answered.actsAsUser);
}

TEST_CASE("an account whose identifier cannot be read or written out has none") {
  for (const auto& [function, call] : {std::pair{"LookupAccountNameW", 2U}, {"ConvertSidToStringSidW", 1U}}) {
    ConsoleSession session;
    unsigned failed = 0;
    Answered answered;
    {
      const FailCall failing(function, call, ERROR_NONE_MAPPED);
      answered = Ask(session);
      failed = failing.Failed();
    }
    CHECK(failed == 1);
    CHECK(answered.sid.empty());
    CHECK_LINES(answered.log, {});
    CHECK_LINES(answered.notGivenBack, {});
    CHECK_FALSE(answered.actsAsUser);
  }
}

// The ways in which the thread cannot be made to act as the user. What must hold for all: one line, no identifier, and
// nothing kept.
void CheckStartFails(ConsoleSession& session, const Lines& calls) {
  const Answered answered = Ask(session);
  CHECK(answered.sid.empty());
  CHECK_LINES(answered.log, {kStartFailed});
  CHECK_LINES(answered.calls, (calls));
  CHECK_LINES(answered.notGivenBack, {});
  CHECK_FALSE(answered.actsAsUser);
}

TEST_CASE("no identifier without a function that tells the session") {
  ConsoleSession session;
  session.missingEntries = {"WTSGetActiveConsoleSessionId"};
  CheckStartFails(session, {});
}

TEST_CASE("no identifier where neither the session has a user nor a shell runs") {
  for (const bool libraryThere : {true, false}) {
    ConsoleSession session;
    session.tokenError = ERROR_NO_TOKEN;
    if (!libraryThere) {
      session.missingLibraries = {L"wtsapi32.dll"};
    }
    CheckStartFails(session, libraryThere ? Lines{"WTSGetActiveConsoleSessionId", "WTSQueryUserToken 7"}
                                          : Lines{"WTSGetActiveConsoleSessionId"});
  }
}

TEST_CASE("no session attached is handed on to the query for the token") {
  ConsoleSession session;
  session.sessionId = 0xFFFFFFFF;
  session.tokenError = ERROR_NO_TOKEN;
  CheckStartFails(session, {"WTSGetActiveConsoleSessionId", "WTSQueryUserToken 4294967295"});
}

TEST_CASE("no identifier for a token that is none") {
  for (const HANDLE token : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    ConsoleSession session;
    session.tokenAnswer = token;
    Lines calls = {"WTSGetActiveConsoleSessionId", "WTSQueryUserToken 7"};
    if (token != nullptr) {
      calls.emplace_back("RevertToSelf");  // a token was given, so something may have begun
    }
    CheckStartFails(session, calls);
  }
}

TEST_CASE("no identifier where the thread may not act as the user") {
  ConsoleSession session;
  session.impersonateError = ERROR_ACCESS_DENIED;
  CheckStartFails(session, {"WTSGetActiveConsoleSessionId", "WTSQueryUserToken 7", "ImpersonateLoggedOnUser token",
                            "RevertToSelf"});
}

TEST_CASE("after a failed environment block the thread is itself again, with the rest given back") {
  struct Case {
    DWORD error;
    std::set<std::string> missingEntries;
    bool asked;
  };
  for (const Case& failing : {Case{ERROR_ACCESS_DENIED, {}, true}, Case{0, {"CreateEnvironmentBlock"}, false}}) {
    ConsoleSession session;
    session.createBlockError = failing.error;
    session.missingEntries = failing.missingEntries;
    Lines calls = {"WTSGetActiveConsoleSessionId", "WTSQueryUserToken 7", "ImpersonateLoggedOnUser token"};
    if (failing.asked) {
      calls.emplace_back("CreateEnvironmentBlock token");
    }
    calls.emplace_back("RevertToSelf");
    CheckStartFails(session, calls);
  }
}

TEST_CASE("no identifier without the library of the environment block, which is not looked for as the user") {
  ConsoleSession session;
  session.missingLibraries = {L"userenv.dll"};
  CheckStartFails(session, {});
  CHECK_LINES(session.LoadedAsUser(), {});
}

TEST_CASE("an identity that cannot be left again is told, and the identifier is given all the same") {
  const std::wstring sid = OwnSid();
  SUBCASE("the environment block cannot be given back") {
    ConsoleSession session;
    session.destroyBlockError = ERROR_INVALID_PARAMETER;
    const Answered answered = Ask(session);
    CHECK(answered.sid == sid);
    CHECK_LINES(answered.log, {kEndFailed});
    CHECK(answered.calls.back() == "RevertToSelf");
    CHECK_LINES(answered.notGivenBack, {"environment block"});
    CHECK_FALSE(answered.actsAsUser);
  }
  SUBCASE("the function for it is missing") {
    ConsoleSession session;
    session.missingEntries = {"DestroyEnvironmentBlock"};
    const Answered answered = Ask(session);
    CHECK(answered.sid == sid);
    CHECK_LINES(answered.log, {kEndFailed});
    CHECK(answered.calls.back() == "RevertToSelf");
    CHECK_FALSE(answered.actsAsUser);
  }
  SUBCASE("the thread cannot become itself") {
    ConsoleSession session;
    session.revertError = ERROR_NOT_ENOUGH_MEMORY;
    const Answered answered = Ask(session);
    CHECK(answered.sid == sid);
    CHECK_LINES(answered.log, {kEndFailed});
    CHECK_LINES(answered.notGivenBack, {});
    CHECK(answered.actsAsUser);
  }
}

TEST_CASE("a session without a token is stood in for by who runs Explorer.exe") {
  const ShellProgram shell;
  const std::wstring sid = OwnSid();
  ConsoleSession session;
  session.tokenError = ERROR_NO_TOKEN;
  const Answered answered = Ask(session);
  CHECK(answered.sid == sid);
  CHECK_LINES(answered.log, {});
  REQUIRE(answered.calls.size() > 4);
  CHECK(answered.calls[1] == "WTSQueryUserToken 7");
  CHECK(answered.calls[2] == "DuplicateTokenEx of the process's token");
  CHECK(answered.calls[3] == "ImpersonateLoggedOnUser token");
  CHECK_LINES(answered.notGivenBack, {});
  CHECK_FALSE(answered.actsAsUser);
}

}  // namespace
