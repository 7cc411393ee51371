// The console session as the product sees it: the calls with which it reaches the user are noted in order, answered as
// told, and passed on to Windows otherwise, so that tokens, libraries and the thread's identity are real ones.
//
//   ConsoleSession session;
//   session.environmentError = ERROR_ACCESS_DENIED;
//   GetCurrentUserSid();
//   CHECK_LINES(session.Calls(), {"WTSQueryUserToken 7", "ImpersonateLoggedOnUser token", ...});
//   CHECK_LINES(session.NotGivenBack(), {});
#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <set>
#include <string>

#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

class ConsoleSession {
 public:
  ConsoleSession();
  ConsoleSession(const ConsoleSession&) = delete;
  ConsoleSession& operator=(const ConsoleSession&) = delete;
  // The thread acts as itself again, whatever the product left behind.
  ~ConsoleSession();

  // ---- answers. An error code other than 0: the call fails with it and does nothing.
  DWORD sessionId = 7;
  DWORD tokenError = ERROR_SUCCESS;        // WTSQueryUserToken
  std::optional<HANDLE> tokenAnswer;       // it succeeds and gives this for a token
  DWORD impersonateError = ERROR_SUCCESS;  // ImpersonateLoggedOnUser
  DWORD createBlockError = ERROR_SUCCESS;  // CreateEnvironmentBlock
  DWORD destroyBlockError = ERROR_SUCCESS;
  DWORD revertError = ERROR_SUCCESS;  // RevertToSelf
  DWORD nameExError = ERROR_SUCCESS;  // GetUserNameExW
  DWORD nameError = ERROR_SUCCESS;    // GetUserNameW
  std::wstring account;               // what GetUserNameExW tells; empty: what Windows does
  DWORD loadProfileError = ERROR_SUCCESS;
  std::set<std::string> missingEntries;     // functions that no library has
  std::set<std::wstring> missingLibraries;  // as the product writes their names

  // ---- what happened
  const Lines& Calls() const { return calls_; }
  // Tokens, processes, environment blocks, profiles and libraries that are still held.
  Lines NotGivenBack() const;
  // Libraries that the product first loaded, or looked for in vain, while the thread acted as the user.
  const Lines& LoadedAsUser() const { return loadedAsUser_; }
  static bool ThreadActsAsUser();
  // For a caller that keeps it: "token", or "" for no handle that was given out.
  std::string NameOf(HANDLE handle) const;

 private:
  struct Answers;  // the functions that are looked up by name
  FARPROC Answer(const char* name, FARPROC original);
  HANDLE GiveOut(HANDLE handle, const std::string& name);
  void Note(const std::string& call) { calls_.push_back(call); }

  Lines calls_;
  Lines loadedAsUser_;
  std::map<HANDLE, std::string> handles_;
  std::map<void*, std::string> blocks_;
  std::map<HMODULE, int> libraries_;
  int profiles_ = 0;
  std::map<std::string, FARPROC> originals_;

  ImportRedirection getProcAddress_;
  ImportRedirection loadLibrary_;
  ImportRedirection freeLibrary_;
  ImportRedirection closeHandle_;
  ImportRedirection openProcess_;
  ImportRedirection openProcessToken_;
  ImportRedirection impersonate_;
  ImportRedirection revert_;
  ImportRedirection getUserName_;
  ImportRedirection lookUpAccount_;
};

}  // namespace TestSupport
