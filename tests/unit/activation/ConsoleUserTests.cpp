// Who the console user is; with everything given back and the thread being itself afterwards.
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

// Every way: tests/unit/FrwkCommon/ConsoleUserScopeTests.cpp.
struct NoIdentity {
  const char* name;
  void (*prepare)(ConsoleSession& session);
  Lines calls;
};

TEST_CASE("where the thread cannot act as the user there is no identifier") {
  const std::string session = "WTSGetActiveConsoleSessionId";
  const std::string token = "WTSQueryUserToken 7";
  const std::string impersonate = "ImpersonateLoggedOnUser token";
  const NoIdentity rows[] = {
      {"no function that tells the session",
       [](ConsoleSession& s) { s.missingEntries = {"WTSGetActiveConsoleSessionId"}; },
       {}},
      {"neither a token nor a shell", [](ConsoleSession& s) { s.tokenError = ERROR_NO_TOKEN; }, {session, token}},
      {"no session attached",
       [](ConsoleSession& s) {
         s.sessionId = 0xFFFFFFFF;
         s.tokenError = ERROR_NO_TOKEN;
       },
       {session, "WTSQueryUserToken 4294967295"}},
      {"no environment block",
       [](ConsoleSession& s) { s.createBlockError = ERROR_ACCESS_DENIED; },
       {session, token, impersonate, "CreateEnvironmentBlock token", "RevertToSelf"}},
      {"no library for the block", [](ConsoleSession& s) { s.missingLibraries = {L"userenv.dll"}; }, {}},
  };
  for (const NoIdentity& row : rows) {
    CAPTURE(row.name);
    ConsoleSession console;
    row.prepare(console);
    const Answered answered = Ask(console);
    CHECK(answered.sid.empty());
    CHECK_LINES(answered.log, {kStartFailed});
    CHECK(answered.calls == row.calls);
    CHECK_LINES(answered.notGivenBack, {});
    CHECK_LINES(console.LoadedAsUser(), {});
    CHECK_FALSE(answered.actsAsUser);
  }
}

TEST_CASE("an identity that cannot be left again is told, and the identifier is given all the same") {
  const std::wstring sid = OwnSid();
  struct Row {
    const char* name;
    void (*prepare)(ConsoleSession& session);
    Lines notGivenBack;
    bool actsAsUser;
  };
  const Row rows[] = {
      {"the environment block cannot be given back",
       [](ConsoleSession& session) { session.destroyBlockError = ERROR_INVALID_PARAMETER; },
       {"environment block"},
       false},
      {"the function for it is missing",
       [](ConsoleSession& session) { session.missingEntries = {"DestroyEnvironmentBlock"}; },
       {"environment block"},
       false},
      {"the thread cannot become itself",
       [](ConsoleSession& session) { session.revertError = ERROR_NOT_ENOUGH_MEMORY; },
       {},
       true},
  };
  for (const Row& row : rows) {
    CAPTURE(row.name);
    ConsoleSession session;
    row.prepare(session);
    const Answered answered = Ask(session);
    CHECK(answered.sid == sid);
    CHECK_LINES(answered.log, {kEndFailed});
    CHECK(answered.calls.back() == "RevertToSelf");
    CHECK(answered.notGivenBack == row.notGivenBack);
    CHECK(answered.actsAsUser == row.actsAsUser);
  }
}

}  // namespace
