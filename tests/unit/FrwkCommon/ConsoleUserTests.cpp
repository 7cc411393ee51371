// Acting as the user at the console: who the user is, what is traced, and what is left if a step fails.
#include <doctest/doctest.h>

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "Common/FrwkCommon/Frwk_WindowStation.h"
#include "tests/support/CallFailures.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/FrwkCommon/ConsoleMachine.h"
#include "tests/unit/OrCommon/RecordedTrace.h"
#include "tests/unit/OrCommon/SessionCalls.h"

using namespace Frwk::WindowStation;
using FrwkCommonTests::ConsoleMachine;
using OrCommon::KernelHandle;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

// The traced lines, from the tag on. `error`: eight hexadecimal digits.
const std::string kStart = "StartImpersonateLoggedOnCurrentUser()";
const std::string kEnd = "EndImpersonateLoggedOnCurrentUser()";

std::string Progress(const std::string& text, int line) {
  return ".w. <VELA> " + text + "... - Frwk_WindowStation(" + std::to_string(line) + ")\r\n";
}
std::string Error(const std::string& text, int line) {
  return "!!! <VELA> *** " + text + " - Frwk_WindowStation(" + std::to_string(line) + ")\r\n";
}
// A call that failed; `more` comes after its code.
std::string Failed(const std::string& function, const std::string& error, const std::string& more, int line) {
  return Error((line == 202 ? kEnd : kStart) + " - OrCommon::" + function + "() failed. [0x" + error + "]" + more,
               line);
}

const std::string kStartEnter = Progress("[Enter] " + kStart, 143);
const std::string kStartLeave = Progress("[Leave] " + kStart, 188);
const std::string kEndEnter = Progress("[Enter] " + kEnd, 196);
const std::string kEndLeave = Progress("[Leave] " + kEnd, 207);
const std::string kNoPlace = Error(kStart + " - _pEnvironmentBlock was invalid.", 145);
const std::string kInvalidToken = Error(kStart + " - _hUserToken was invalid. [7]", 175);
std::string NoSession(const std::string& error) {
  return Failed("TerminalService::GetActiveSessionId", error, "", 155);
}
std::string NoSessionToken(const std::string& error, const std::string& session = "7") {
  return Failed("TerminalService::QuerySessionUserToken", error, ", Session Id[" + session + "]", 164);
}
std::string NoShellToken(const std::string& error) {
  return Failed("AccessControl::QueryUserToken", error, ", Module name[Explorer.exe]", 169);
}
std::string NotStarted(const std::string& error) {
  return Failed("TerminalService::StartImpersonateLoggedOnUser", error, ", Session Id[7]", 183);
}
std::string NotEnded(const std::string& error) {
  return Failed("TerminalService::EndImpersonateLoggedOnUser", error, "", 202);
}

// One start with an open trace, and its results. Afterwards the token is closed and the thread acts as itself again.
struct Start {
  bool succeeded = false;
  DWORD error = 4711;
  void* block = nullptr;
  std::string token = {};  // its kind, or "none"
  bool impersonating = false;
  Lines trace = {};

  Start() {
    const RecordedTrace recorded;
    const TraceScope traced(recorded, L"VELA");
    const Belongings belongings;
    KernelHandle user;
    succeeded = StartImpersonateLoggedOnCurrentUser(user, &block, error);
    // NOLINTNEXTLINE(cppcoreguidelines-prefer-member-initializer): must run between two steps
    impersonating = IsImpersonating();
    trace = recorded.Lines();
    token = user ? TokenKind(user.Get()) : "none";
    if (block != nullptr) {
      EndImpersonateLoggedOnCurrentUser(user.Get(), block);
    }
    StopImpersonating();
    user.Reset();
    CHECK_LINES(belongings.Left(), {});  // libraries and handles, without the user's token
  }
};

// `lines`: those after the entry line.
void CheckFails(const Start& start, DWORD error, const std::string& token, bool impersonating, Lines lines) {
  CHECK_FALSE(start.succeeded);
  CHECK(start.error == error);
  CHECK(start.token == token);
  CHECK(start.block == nullptr);
  CHECK(start.impersonating == impersonating);
  lines.insert(lines.begin(), kStartEnter);
  CHECK_LINES(start.trace, (lines));
}

TEST_CASE("from start to end, the thread acts as the user at this machine's console") {
  const RecordedTrace recorded;
  const TraceScope traced(recorded, L"VELA");
  KernelHandle token;
  void* block = nullptr;
  DWORD error = 4711;
  CHECK(StartImpersonateLoggedOnCurrentUser(token, &block, error));
  CHECK(error == 0);
  CHECK(TokenKind(token.Get()) == "primary");
  CHECK(block != nullptr);
  CHECK(IsImpersonating());
  CHECK(EndImpersonateLoggedOnCurrentUser(token.Get(), block));
  CHECK_FALSE(IsImpersonating());
  CHECK(TokenKind(token.Get()) == "primary");  // stays open: the caller owns it
  CHECK_LINES(recorded.Lines(), {kStartEnter, kStartLeave, kEndEnter, kEndLeave});
}

TEST_CASE("without a pointer for the environment: error 87, no query, and trace lines of the levels 1 and 256") {
  const RecordedTrace recorded;
  const ConsoleMachine machine;
  OrCommon::DebugLog::Options options;
  options.enabled = 1;
  options.component = L"VELA";
  for (const DWORD mask : {1UL, 256UL, ~257UL}) {
    options.mask = mask;
    REQUIRE(OrCommon::g_debugLog.Open(recorded.Library(), nullptr, options, nullptr));
    KernelHandle token;
    DWORD error = 4711;
    CHECK_FALSE(StartImpersonateLoggedOnCurrentUser(token, nullptr, error));
    CHECK(error == 87);
    CHECK_FALSE(static_cast<bool>(token));
  }
  OrCommon::g_debugLog.Open(OrCommon::Module(), nullptr, OrCommon::DebugLog::Options(), nullptr);
  CHECK(machine.SessionsAsked() == 0);
  CHECK_FALSE(IsImpersonating());
  CHECK_LINES(recorded.Lines(), {kStartEnter, kNoPlace});
}

TEST_CASE("if the session has no token, the token of the user who runs the shell is used") {
  const ScratchFolder scratch(L"console user");
  const RunningCopy shell(scratch.Path(), L"explorer.exe");
  ConsoleMachine machine;
  machine.FailTokens(ERROR_NO_TOKEN);
  for (const DWORD session : {7UL, 0xFFFFFFFFUL}) {  // the number for "no session" is passed on unchanged
    machine.SetSession(session);
    const Start start;
    CHECK(start.succeeded);
    CHECK(start.error == 0);
    CHECK(start.token == "primary");
    CHECK(start.impersonating);
    CHECK(start.block != nullptr);
    CHECK(machine.AskedSession() == session);
    CHECK_LINES(start.trace, {kStartEnter, NoSessionToken("000003f0", session == 7 ? "7" : "-1"), kStartLeave});
  }
}

// The conditions of a start, and what it reports.
struct Obstacle {
  enum class Way { kNone, kLibrary, kEntry, kCall } way;
  std::string name;  // of a call that is missing or fails
  DWORD tokenError;  // of the session's token
  DWORD error;
  const char* token;
  bool impersonating;
  Lines lines;
};

TEST_CASE("a failed start: its error code, the token and impersonation that are left, and the trace lines") {
  using Way = Obstacle::Way;
  // Without the terminal services, the product asks the shell, too, and returns its code. The caller keeps the token.
  // Without an environment, the thread still acts as the user.
  const Obstacle rows[] = {
      {Way::kLibrary, "kernel32.dll", 0, 126, "none", false, {NoSession("0000007e")}},
      {Way::kEntry, "WTSGetActiveConsoleSessionId", 0, 127, "none", false, {NoSession("0000007f")}},
      {Way::kLibrary, "wtsapi32.dll", 0, 6, "none", false, {NoSessionToken("0000007e"), NoShellToken("00000006")}},
      {Way::kEntry, "WTSQueryUserToken", 0, 6, "none", false, {NoSessionToken("0000007f"), NoShellToken("00000006")}},
      {Way::kNone, "", 5, 6, "none", false, {NoSessionToken("00000005"), NoShellToken("00000006")}},
      {Way::kLibrary, "psapi.dll", 5, 126, "none", false, {NoSessionToken("00000005"), NoShellToken("0000007e")}},
      {Way::kCall, "ImpersonateLoggedOnUser", 0, 1346, "primary", false, {NotStarted("00000542")}},
      {Way::kLibrary, "userenv.dll", 0, 126, "primary", true, {NotStarted("0000007e")}},
      {Way::kEntry, "CreateEnvironmentBlock", 0, 127, "primary", true, {NotStarted("0000007f")}},
  };
  for (const Obstacle& row : rows) {
    CAPTURE(row.name);
    ConsoleMachine machine;
    machine.FailTokens(row.tokenError);
    std::optional<MissingLibrary> library;
    std::optional<MissingEntry> entry;
    std::optional<FailCall> call;
    if (row.way == Way::kLibrary) {
      library.emplace(std::wstring(row.name.begin(), row.name.end()).c_str());
    } else if (row.way == Way::kEntry) {
      entry.emplace(row.name.c_str());
    } else if (row.way == Way::kCall) {
      call.emplace(row.name.c_str(), 1, row.error);
    }
    CheckFails(Start(), row.error, row.token, row.impersonating, row.lines);
  }
  const ConsoleMachine machine;
  const AnswerEntry create{"CreateEnvironmentBlock", [](void**, HANDLE, BOOL) -> BOOL {
                             ::SetLastError(ERROR_PRIVILEGE_NOT_HELD);
                             return FALSE;
                           }};
  CheckFails(Start(), ERROR_PRIVILEGE_NOT_HELD, "primary", true, {NotStarted("00000522")});
}

TEST_CASE("a null or invalid token is reported as an invalid handle") {
  for (const HANDLE token : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    ConsoleMachine machine;
    machine.SetToken(token);
    const FailCall impersonation{"ImpersonateLoggedOnUser", Calls::From(1), ERROR_BUSY};
    const Start start;
    CheckFails(start, 6, start.token, false, {kInvalidToken});
    CHECK(impersonation.Calls() == 0);
  }
}

TEST_CASE("a token that the caller already held is closed") {
  Belongings belongings;
  ConsoleMachine machine;
  machine.FailTokens(ERROR_NO_TOKEN);
  KernelHandle token(belongings.Add(MakePrimaryToken(), "token of before"));
  void* block = nullptr;
  DWORD error = 4711;
  CHECK_FALSE(StartImpersonateLoggedOnCurrentUser(token, &block, error));
  CHECK_FALSE(static_cast<bool>(token));
  CHECK_LINES(belongings.Left(), {});
  CHECK(belongings.Strange() == 0);
}

TEST_CASE("a failed end: the environment stays and the thread acts as itself, or the thread still acts as the user") {
  for (const bool reverts : {true, false}) {
    const RecordedTrace recorded;
    const TraceScope traced(recorded, L"VELA");
    const KernelHandle token(MakePrimaryToken());
    REQUIRE(::ImpersonateLoggedOnUser(token.Get()));
    int block = 0;
    const AnswerEntry destroy{"DestroyEnvironmentBlock", [&](void* given) -> BOOL {
                                CHECK(given == &block);
                                ::SetLastError(ERROR_INVALID_BLOCK);
                                return FALSE;
                              }};
    bool ended = true;
    {
      const FailCall revert{"RevertToSelf", reverts ? 2U : 1U, ERROR_ACCESS_DENIED};
      ended = EndImpersonateLoggedOnCurrentUser(token.Get(), &block);
    }
    CHECK_FALSE(ended);
    CHECK(IsImpersonating() != reverts);
    StopImpersonating();
    CHECK_LINES(recorded.Lines(), {kEndEnter, NotEnded(reverts ? "00000009" : "00000005")});
  }
}

}  // namespace
