// The session at the console and the token of its user.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_TerminalService.h"
#include "tests/support/CallFailures.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/OrCommon/SessionCalls.h"

using OrCommon::KernelHandle;
using OrCommon::TerminalService::GetActiveSessionId;
using OrCommon::TerminalService::QuerySessionUserToken;
using OrCommonTests::AnswerEntry;
using OrCommonTests::Belongings;
using OrCommonTests::MakePrimaryToken;
using OrCommonTests::TokenKind;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::MissingEntry;
using TestSupport::MissingLibrary;

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

TEST_CASE("the session of this machine's console") {
  const auto ask = OrCommonTests::RealEntry<DWORD(WINAPI*)()>("kernel32.dll", "WTSGetActiveConsoleSessionId");
  CheckSession(AskForSession(), true, ask(), 0);
}

TEST_CASE("the session is passed on as it is, also the number for none, and no stale error with it") {
  for (const DWORD id : {0UL, 1UL, 7UL, 0xFFFFFFFEUL, 0xFFFFFFFFUL}) {
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
    const FailCall conversion{"WideCharToMultiByte", TestSupport::Calls::From(1), ERROR_NO_UNICODE_TRANSLATION};
    CheckSession(AskForSession(), false, 0xFFFFFFFF, 160);
  }
  CHECK_LINES(belongings.Left(), {});
}

constexpr wchar_t kOldSystem[] = L"on Windows 2000 no session is looked for";
constexpr wchar_t kUnknownSystem[] = L"where the version cannot be asked no session is looked for";

void CheckNoSessionIsLookedFor() {
  const AnswerEntry answer{"WTSGetActiveConsoleSessionId", []() -> DWORD { return 1; }};
  CheckSession(AskForSession(), false, 0xFFFFFFFF, 0);
  CHECK(answer.Asked() == 0);
}

TEST_CASE("on Windows 2000 no session is looked for" * doctest::skip()) {
  const ImportRedirection version{"GetVersionExW", [&](OSVERSIONINFOW* info) -> BOOL {
                                    const BOOL known = version.Original<decltype(&::GetVersionExW)>()(info);
                                    info->dwMajorVersion = 5;
                                    info->dwMinorVersion = 0;
                                    return known;
                                  }};
  CheckNoSessionIsLookedFor();
}

TEST_CASE("where the version cannot be asked no session is looked for" * doctest::skip()) {
  const FailCall version{"GetVersionExW", TestSupport::Calls::From(1), ERROR_INVALID_PARAMETER};
  CheckNoSessionIsLookedFor();
}

TEST_CASE("in processes of their own: systems that have no sessions") {
  for (const wchar_t* name : {kOldSystem, kUnknownSystem}) {
    wchar_t program[MAX_PATH] = {};
    REQUIRE(::GetModuleFileNameW(nullptr, program, MAX_PATH) != 0);
    TestSupport::TestProcess child(program, {L"--no-skip", std::wstring(L"--test-case=") + name});
    const TestSupport::ProcessOutcome outcome = child.Finish(60000);
    CHECK_FALSE(outcome.timedOut);
    CHECK(outcome.exitCode == 0);
  }
}

TEST_CASE("the token of this session's user") {
  DWORD session = 4711;
  DWORD error = 4711;
  REQUIRE(GetActiveSessionId(session, error));
  KernelHandle token;
  const Belongings belongings;
  CHECK(QuerySessionUserToken(token, session, error));
  CHECK(TokenKind(token.Get()) == "primary");
  CHECK_LINES(belongings.Left(), {});
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
  const Belongings belongings;
  const AnswerEntry answer{"WTSQueryUserToken", [](ULONG, HANDLE*) -> BOOL {
                             ::SetLastError(ERROR_NO_TOKEN);
                             return FALSE;
                           }};
  const ImportRedirection free{"FreeLibrary", [&](HMODULE module) -> BOOL {
                                 const BOOL freed = free.Original<decltype(&::FreeLibrary)>()(module);
                                 ::SetLastError(ERROR_BUSY);
                                 return freed;
                               }};
  KernelHandle token;
  DWORD error = 4711;
  CHECK_FALSE(QuerySessionUserToken(token, 1, error));
  CHECK(error == ERROR_NO_TOKEN);
  CHECK_FALSE(static_cast<bool>(token));
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("without the terminal services library, or its entry, there is no token; one held before is closed") {
  Belongings belongings;
  for (const bool entryOnly : {false, true}) {
    KernelHandle token(belongings.Add(MakePrimaryToken(), "token of before"));
    DWORD error = 4711;
    if (entryOnly) {
      const MissingEntry missing("WTSQueryUserToken");
      CHECK_FALSE(QuerySessionUserToken(token, 1, error));
      CHECK(error == ERROR_PROC_NOT_FOUND);
    } else {
      const MissingLibrary missing(L"wtsapi32.dll", ERROR_FILE_NOT_FOUND);
      CHECK_FALSE(QuerySessionUserToken(token, 1, error));
      CHECK(error == ERROR_FILE_NOT_FOUND);
    }
    CHECK_FALSE(static_cast<bool>(token));
    CHECK_LINES(belongings.Left(), {});
  }
}

}  // namespace
