// Acting as the user at the console: who that is, what is traced on the way, and what is left where a step fails.
#include <doctest/doctest.h>

#include <windows.h>

#include <memory>
#include <string>

#include "Common/FrwkCommon/Frwk_WindowStation.h"
#include "tests/support/CallFailures.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/FrwkCommon/ConsoleMachine.h"
#include "tests/unit/OrCommon/RecordedTrace.h"
#include "tests/unit/OrCommon/SessionCalls.h"
#include "tests/unit/install/ScratchFolder.h"

using Frwk::WindowStation::EndImpersonateLoggedOnCurrentUser;
using Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser;
using FrwkCommonTests::ConsoleMachine;
using OrCommon::KernelHandle;
using OrCommonTests::AnswerEntry;
using OrCommonTests::Belongings;
using OrCommonTests::IsImpersonating;
using OrCommonTests::RecordedTrace;
using OrCommonTests::RunningCopy;
using OrCommonTests::StopImpersonating;
using OrCommonTests::TokenKind;
using OrCommonTests::TraceScope;
using TestSupport::FailCall;
using TestSupport::MissingEntry;
using TestSupport::MissingLibrary;
using TestSupport::ScratchFolder;

namespace {

// The lines that are traced, from the tag on.
const std::string kStartEnter =
    ".w. <VELA> [Enter] StartImpersonateLoggedOnCurrentUser()... - Frwk_WindowStation(143)\r\n";
const std::string kStartLeave =
    ".w. <VELA> [Leave] StartImpersonateLoggedOnCurrentUser()... - Frwk_WindowStation(188)\r\n";
const std::string kEndEnter = ".w. <VELA> [Enter] EndImpersonateLoggedOnCurrentUser()... - Frwk_WindowStation(196)\r\n";
const std::string kEndLeave = ".w. <VELA> [Leave] EndImpersonateLoggedOnCurrentUser()... - Frwk_WindowStation(207)\r\n";
const std::string kNoPlace =
    "!!! <VELA> *** StartImpersonateLoggedOnCurrentUser() - _pEnvironmentBlock was invalid. - "
    "Frwk_WindowStation(145)\r\n";

// `error`: eight hexadecimal digits.
std::string NoSession(const std::string& error) {
  return "!!! <VELA> *** StartImpersonateLoggedOnCurrentUser() - OrCommon::TerminalService::GetActiveSessionId() "
         "failed. [0x" +
         error + "] - Frwk_WindowStation(155)\r\n";
}

std::string NoSessionToken(const std::string& error, const std::string& session) {
  return "!!! <VELA> *** StartImpersonateLoggedOnCurrentUser() - OrCommon::TerminalService::QuerySessionUserToken() "
         "failed. [0x" +
         error + "], Session Id[" + session + "] - Frwk_WindowStation(164)\r\n";
}

std::string NoShellToken(const std::string& error) {
  return "!!! <VELA> *** StartImpersonateLoggedOnCurrentUser() - OrCommon::AccessControl::QueryUserToken() failed. "
         "[0x" +
         error + "], Module name[Explorer.exe] - Frwk_WindowStation(169)\r\n";
}

std::string InvalidToken(const std::string& session) {
  return "!!! <VELA> *** StartImpersonateLoggedOnCurrentUser() - _hUserToken was invalid. [" + session +
         "] - Frwk_WindowStation(175)\r\n";
}

std::string NotStarted(const std::string& error, const std::string& session) {
  return "!!! <VELA> *** StartImpersonateLoggedOnCurrentUser() - "
         "OrCommon::TerminalService::StartImpersonateLoggedOnUser() failed. [0x" +
         error + "], Session Id[" + session + "] - Frwk_WindowStation(183)\r\n";
}

std::string NotEnded(const std::string& error) {
  return "!!! <VELA> *** EndImpersonateLoggedOnCurrentUser() - "
         "OrCommon::TerminalService::EndImpersonateLoggedOnUser() failed. [0x" +
         error + "] - Frwk_WindowStation(202)\r\n";
}

// One start, with the trace open, and what it left. The token is closed and the thread itself again afterwards.
struct Start {
  bool succeeded = false;
  DWORD error = 4711;
  void* block = nullptr;
  std::string token = {};  // its kind, or "none"
  bool impersonating = false;
  TestSupport::Lines trace = {};
  TestSupport::Lines left = {};  // libraries and handles, the user's token not counted

  Start() {
    const RecordedTrace recorded;
    const TraceScope traced(recorded, L"VELA");
    const Belongings belongings;
    KernelHandle user;
    succeeded = StartImpersonateLoggedOnCurrentUser(user, &block, error);
    // NOLINTNEXTLINE(cppcoreguidelines-prefer-member-initializer): asked between two steps
    impersonating = IsImpersonating();
    trace = recorded.Lines();
    token = user ? TokenKind(user.Get()) : "none";
    if (block != nullptr) {
      EndImpersonateLoggedOnCurrentUser(user.Get(), block);
    }
    StopImpersonating();
    user.Reset();
    left = belongings.Left();
  }
};

void CheckFails(const Start& start, DWORD error, const std::string& token) {
  CHECK_FALSE(start.succeeded);
  CHECK(start.error == error);
  CHECK(start.token == token);
  CHECK(start.block == nullptr);
  CHECK_LINES(start.left, {});
}

TEST_CASE("the user of this machine's console: the thread acts as that user until the end") {
  const RecordedTrace recorded;
  const TraceScope traced(recorded, L"VELA");
  REQUIRE_FALSE(IsImpersonating());
  KernelHandle token;
  void* block = nullptr;
  DWORD error = 4711;
  CHECK(StartImpersonateLoggedOnCurrentUser(token, &block, error));
  CHECK(error == 0);
  CHECK(TokenKind(token.Get()) == "primary");
  CHECK(block != nullptr);
  CHECK(IsImpersonating());
  CHECK_LINES(recorded.Lines(), {kStartEnter, kStartLeave});
  CHECK(EndImpersonateLoggedOnCurrentUser(token.Get(), block));
  CHECK_FALSE(IsImpersonating());
  CHECK(TokenKind(token.Get()) == "primary");  // stays with the caller
  CHECK_LINES(recorded.Lines(), {kStartEnter, kStartLeave, kEndEnter, kEndLeave});
}

TEST_CASE("the levels of the lines: 1 for progress, 256 for errors") {
  const RecordedTrace recorded;
  OrCommon::DebugLog::Options options;
  options.enabled = 1;
  options.component = L"VELA";
  for (const DWORD mask : {1UL, 256UL, ~257UL}) {
    options.mask = mask;
    REQUIRE(OrCommon::g_debugLog.Open(recorded.Library(), nullptr, options, nullptr));
    KernelHandle token;
    DWORD error = 4711;
    CHECK_FALSE(StartImpersonateLoggedOnCurrentUser(token, nullptr, error));
  }
  OrCommon::g_debugLog.Open(OrCommon::Module(), nullptr, OrCommon::DebugLog::Options(), nullptr);
  CHECK_LINES(recorded.Lines(), {kStartEnter, kNoPlace});
}

TEST_CASE("without a trace library everything goes the same way, untold") {
  const ConsoleMachine machine;
  const Belongings belongings;
  KernelHandle token;
  void* block = nullptr;
  DWORD error = 4711;
  CHECK(StartImpersonateLoggedOnCurrentUser(token, &block, error));
  CHECK(EndImpersonateLoggedOnCurrentUser(token.Get(), block));
  CHECK_FALSE(IsImpersonating());
  CHECK_FALSE(StartImpersonateLoggedOnCurrentUser(token, nullptr, error));
  CHECK(error == 87);
  CHECK_LINES(belongings.Left(), {});
}

TEST_CASE("no place for the environment: an invalid parameter, and nothing is asked") {
  const RecordedTrace recorded;
  const TraceScope traced(recorded, L"VELA");
  const ConsoleMachine machine;
  KernelHandle token;
  DWORD error = 4711;
  CHECK_FALSE(StartImpersonateLoggedOnCurrentUser(token, nullptr, error));
  CHECK(error == 87);
  CHECK_FALSE(static_cast<bool>(token));
  CHECK(machine.SessionsAsked() == 0);
  CHECK_FALSE(IsImpersonating());
  CHECK_LINES(recorded.Lines(), {kStartEnter, kNoPlace});
}

TEST_CASE("no session can be asked for: its code, and no user is looked for") {
  const ConsoleMachine machine;
  {
    const MissingEntry missing("WTSGetActiveConsoleSessionId");
    const Start start;
    CheckFails(start, ERROR_PROC_NOT_FOUND, "none");
    CHECK_FALSE(start.impersonating);
    CHECK_LINES(start.trace, {kStartEnter, NoSession("0000007f")});
  }
  const MissingLibrary missing(L"kernel32.dll", ERROR_FILE_NOT_FOUND);
  const Start start;
  CheckFails(start, ERROR_FILE_NOT_FOUND, "none");
  CHECK_LINES(start.trace, {kStartEnter, NoSession("00000002")});
  CHECK(machine.TokensAsked() == 0);
}

constexpr wchar_t kOldSystem[] = L"on Windows 2000 there is no session and no error";

TEST_CASE("on Windows 2000 there is no session and no error" * doctest::skip()) {
  const TestSupport::ImportRedirection version{"GetVersionExW", [&](OSVERSIONINFOW* info) -> BOOL {
                                                 const BOOL known =
                                                     version.Original<decltype(&::GetVersionExW)>()(info);
                                                 info->dwMajorVersion = 5;
                                                 info->dwMinorVersion = 0;
                                                 return known;
                                               }};
  const Start start;
  CheckFails(start, 0, "none");
  CHECK_LINES(start.trace, {kStartEnter, NoSession("00000000")});
}

TEST_CASE("in a process of its own: Windows 2000") {
  wchar_t program[MAX_PATH] = {};
  REQUIRE(::GetModuleFileNameW(nullptr, program, MAX_PATH) != 0);
  TestSupport::TestProcess child(program, {L"--no-skip", std::wstring(L"--test-case=") + kOldSystem});
  const TestSupport::ProcessOutcome outcome = child.Finish(60000);
  CHECK_FALSE(outcome.timedOut);
  CHECK(outcome.exitCode == 0);
}

TEST_CASE("a session without a token: who runs the shell stands in") {
  const ScratchFolder scratch(L"console user");
  const RunningCopy shell(scratch.Path(), L"explorer.exe");
  ConsoleMachine machine;
  machine.FailTokens(ERROR_NO_TOKEN);
  {
    const Start start;
    CHECK(start.succeeded);
    CHECK(start.error == 0);
    CHECK(start.token == "primary");
    CHECK(start.impersonating);
    CHECK(start.block != nullptr);
    CHECK_LINES(start.left, {});
    CHECK_LINES(start.trace, {kStartEnter, NoSessionToken("000003f0", "7"), kStartLeave});
  }
  machine.SetSession(0xFFFFFFFF);
  const Start start;
  CHECK(start.succeeded);
  CHECK(machine.AskedSession() == 0xFFFFFFFF);  // the number for no session is passed on as it is
  CHECK_LINES(start.trace, {kStartEnter, NoSessionToken("000003f0", "-1"), kStartLeave});
}

TEST_CASE("neither a token of the session nor a shell: the code of the second") {
  ConsoleMachine machine;
  machine.FailTokens(ERROR_ACCESS_DENIED);
  {
    const Start start;
    CheckFails(start, 6, "none");
    CHECK_FALSE(start.impersonating);
    CHECK_LINES(start.trace, {kStartEnter, NoSessionToken("00000005", "7"), NoShellToken("00000006")});
  }
  const MissingLibrary missing(L"psapi.dll", ERROR_BAD_EXE_FORMAT);
  const Start start;
  CheckFails(start, ERROR_BAD_EXE_FORMAT, "none");
  CHECK_LINES(start.trace, {kStartEnter, NoSessionToken("00000005", "7"), NoShellToken("000000c1")});
}

TEST_CASE("without the terminal services the shell is asked, too") {
  const ConsoleMachine machine;
  {
    const MissingLibrary missing(L"wtsapi32.dll", ERROR_MOD_NOT_FOUND);
    const Start start;
    CheckFails(start, 6, "none");
    CHECK_LINES(start.trace, {kStartEnter, NoSessionToken("0000007e", "7"), NoShellToken("00000006")});
  }
  const MissingEntry missing("WTSQueryUserToken");
  const Start start;
  CheckFails(start, 6, "none");
  CHECK_LINES(start.trace, {kStartEnter, NoSessionToken("0000007f", "7"), NoShellToken("00000006")});
}

TEST_CASE("a token that is none is an invalid handle") {
  for (const HANDLE token : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    ConsoleMachine machine;
    machine.SetToken(token);
    const FailCall impersonation{"ImpersonateLoggedOnUser", TestSupport::Calls::From(1), ERROR_BUSY};
    const Start start;
    CHECK_FALSE(start.succeeded);
    CHECK(start.error == 6);
    CHECK(start.block == nullptr);
    CHECK_LINES(start.left, {});
    CHECK_LINES(start.trace, {kStartEnter, InvalidToken("7")});
    CHECK(impersonation.Calls() == 0);
  }
}

TEST_CASE("a user who cannot be impersonated: its code; the token stays with the caller") {
  const ConsoleMachine machine;
  const FailCall impersonation{"ImpersonateLoggedOnUser", 1, ERROR_BAD_IMPERSONATION_LEVEL};
  const Start start;
  CheckFails(start, ERROR_BAD_IMPERSONATION_LEVEL, "primary");
  CHECK_FALSE(start.impersonating);
  CHECK_LINES(start.trace, {kStartEnter, NotStarted("00000542", "7")});
}

TEST_CASE("an environment that cannot be had: its code, the token stays, and the thread goes on acting as the user") {
  const ConsoleMachine machine;
  {
    const MissingLibrary missing(L"userenv.dll", ERROR_FILE_NOT_FOUND);
    const Start start;
    CheckFails(start, ERROR_FILE_NOT_FOUND, "primary");
    CHECK(start.impersonating);
    CHECK_LINES(start.trace, {kStartEnter, NotStarted("00000002", "7")});
  }
  {
    const MissingEntry missing("CreateEnvironmentBlock");
    const Start start;
    CheckFails(start, ERROR_PROC_NOT_FOUND, "primary");
    CHECK(start.impersonating);
    CHECK_LINES(start.trace, {kStartEnter, NotStarted("0000007f", "7")});
  }
  const AnswerEntry create{"CreateEnvironmentBlock", [](void**, HANDLE, BOOL) -> BOOL {
                             ::SetLastError(ERROR_PRIVILEGE_NOT_HELD);
                             return FALSE;
                           }};
  const Start start;
  CheckFails(start, ERROR_PRIVILEGE_NOT_HELD, "primary");
  CHECK(start.impersonating);
  CHECK_LINES(start.trace, {kStartEnter, NotStarted("00000522", "7")});
}

TEST_CASE("a token that the caller held before is closed") {
  Belongings belongings;
  ConsoleMachine machine;
  machine.FailTokens(ERROR_NO_TOKEN);
  KernelHandle token(belongings.Add(OrCommonTests::MakePrimaryToken(), "token of before"));
  void* block = nullptr;
  DWORD error = 4711;
  CHECK_FALSE(StartImpersonateLoggedOnCurrentUser(token, &block, error));
  CHECK_FALSE(static_cast<bool>(token));
  CHECK_LINES(belongings.Left(), {});
  CHECK(belongings.Strange() == 0);
}

// One end of an impersonation that was started on this machine.
struct End {
  bool succeeded = false;
  bool impersonating = false;
  TestSupport::Lines trace = {};
  TestSupport::Lines left = {};

  End() {
    const RecordedTrace recorded;
    const TraceScope traced(recorded, L"VELA");
    const KernelHandle token(OrCommonTests::MakePrimaryToken());
    if (::ImpersonateLoggedOnUser(token.Get())) {
      const Belongings belongings;
      succeeded = EndImpersonateLoggedOnCurrentUser(token.Get(), nullptr);
      left = belongings.Left();
      impersonating = IsImpersonating();
    }
    StopImpersonating();
    trace = recorded.Lines();
  }
};

TEST_CASE("an environment that cannot be given back: a failure, and the thread is itself again") {
  for (const char* code : {"0000007e", "0000007f", "00000009"}) {
    std::unique_ptr<MissingLibrary> library;
    std::unique_ptr<MissingEntry> entry;
    std::unique_ptr<AnswerEntry> answer;
    if (code == std::string("0000007e")) {
      library = std::make_unique<MissingLibrary>(L"userenv.dll");
    } else if (code == std::string("0000007f")) {
      entry = std::make_unique<MissingEntry>("DestroyEnvironmentBlock");
    } else {
      answer = std::make_unique<AnswerEntry>("DestroyEnvironmentBlock", [](void*) -> BOOL {
        ::SetLastError(ERROR_INVALID_BLOCK);
        return FALSE;
      });
    }
    const End end;
    CHECK_FALSE(end.succeeded);
    CHECK_FALSE(end.impersonating);
    CHECK_LINES(end.left, {});
    CHECK_LINES(end.trace, {kEndEnter, NotEnded(code)});
  }
}

TEST_CASE("a thread that cannot be itself again: a failure with its code") {
  const AnswerEntry destroy{"DestroyEnvironmentBlock", [](void*) -> BOOL {
                              ::SetLastError(ERROR_INVALID_BLOCK);
                              return FALSE;
                            }};
  bool failed = false;
  TestSupport::Lines trace;
  {
    const FailCall revert{"RevertToSelf", 1, ERROR_ACCESS_DENIED};
    const End end;
    failed = !end.succeeded && end.impersonating;
    trace = end.trace;
  }
  CHECK(failed);
  CHECK_LINES(trace, {kEndEnter, NotEnded("00000005")});
}

TEST_CASE("the end gives back the block that it is handed") {
  int block = 0;
  void* destroyed = nullptr;
  const AnswerEntry destroy{"DestroyEnvironmentBlock", [&](void* given) -> BOOL {
                              destroyed = given;
                              return TRUE;
                            }};
  CHECK(EndImpersonateLoggedOnCurrentUser(nullptr, &block));
  CHECK(destroyed == &block);
}

}  // namespace
