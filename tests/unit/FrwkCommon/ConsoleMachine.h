// A machine whose console session is number 7 by default.
#pragma once

#include <windows.h>

#include "tests/unit/OrCommon/SessionCalls.h"

namespace FrwkCommonTests {

class ConsoleMachine {
 public:
  ConsoleMachine() = default;
  ConsoleMachine(const ConsoleMachine&) = delete;
  ConsoleMachine& operator=(const ConsoleMachine&) = delete;

  void SetSession(DWORD session) { session_ = session; }
  // From now on, sessions have no token.
  void FailTokens(DWORD error) { tokenError_ = error; }
  // The fake token of all sessions.
  void SetToken(HANDLE token) {
    given_ = true;
    token_ = token;
  }

  unsigned SessionsAsked() const { return sessions_.Asked(); }
  unsigned TokensAsked() const { return tokens_.Asked(); }
  DWORD AskedSession() const { return askedSession_; }  // the last session whose token was requested

 private:
  BOOL Give(ULONG session, HANDLE* token) {
    askedSession_ = session;
    ::SetLastError(tokenError_);
    if (tokenError_ != 0) {
      return FALSE;
    }
    *token = given_ ? token_ : OrCommonTests::MakePrimaryToken();
    return TRUE;
  }

  DWORD session_ = 7;
  DWORD askedSession_ = 4711;
  DWORD tokenError_ = 0;
  bool given_ = false;
  HANDLE token_ = nullptr;
  OrCommonTests::AnswerEntry sessions_{"WTSGetActiveConsoleSessionId", [this]() -> DWORD { return session_; }};
  OrCommonTests::AnswerEntry tokens_{"WTSQueryUserToken",
                                     [this](ULONG session, HANDLE* token) -> BOOL { return Give(session, token); }};
};

}  // namespace FrwkCommonTests
