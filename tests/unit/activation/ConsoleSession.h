// The console session as the product sees it. The calls that reach the user are noted in order. Some get a prepared
// answer. The others go to Windows, so that tokens, libraries and the thread's identity are real.
//
//   ConsoleSession session;
//   session.createBlockError = ERROR_ACCESS_DENIED;
//   GetCurrentUserSid();
//   CHECK_LINES(session.Calls(), {"WTSQueryUserToken 7", "ImpersonateLoggedOnUser token", ...});
//   CHECK_LINES(session.NotGivenBack(), {});
#pragma once

#include <windows.h>

#include <userenv.h>

#include <map>
#include <set>
#include <string>

#include "tests/support/CallWatch.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/SessionCalls.h"

namespace TestSupport {

class ConsoleSession {
 public:
  ConsoleSession() = default;
  ConsoleSession(const ConsoleSession&) = delete;
  ConsoleSession& operator=(const ConsoleSession&) = delete;
  // Afterwards the thread acts as itself again, whatever the product did.
  ~ConsoleSession() { ::SetThreadToken(nullptr, nullptr); }

  // ---- answers. With an error code other than 0, the call fails with it and does nothing.
  DWORD sessionId = 7;
  DWORD tokenError = ERROR_SUCCESS;        // WTSQueryUserToken
  DWORD impersonateError = ERROR_SUCCESS;  // ImpersonateLoggedOnUser
  DWORD createBlockError = ERROR_SUCCESS;  // CreateEnvironmentBlock
  DWORD destroyBlockError = ERROR_SUCCESS;
  DWORD revertError = ERROR_SUCCESS;  // RevertToSelf
  DWORD nameExError = ERROR_SUCCESS;  // GetUserNameExW
  DWORD nameError = ERROR_SUCCESS;    // GetUserNameW
  DWORD loadProfileError = ERROR_SUCCESS;
  std::set<std::string> missingEntries;     // functions that no library contains
  std::set<std::wstring> missingLibraries;  // as the product writes their names

  // ---- what happened
  const Lines& Calls() const { return calls_; }
  // Tokens, processes, environment blocks, profiles and libraries that are not given back yet.
  Lines NotGivenBack() const;
  // Libraries that the product first loaded, or did not find, while the thread acted as the user.
  const Lines& LoadedAsUser() const { return loadedAsUser_; }
  static bool ThreadActsAsUser();
  // "token", or "" for a handle that was not given out.
  std::string NameOf(HANDLE handle) const;
  // A handle that the product has to close.
  HANDLE GiveOut(HANDLE handle, const std::string& name);

 private:
  // FALSE with this last-error code, or the result of the function itself.
  template <class Function, class... Arguments>
  static BOOL Answer(DWORD error, const char* library, const char* function, Arguments... arguments) {
    if (error != ERROR_SUCCESS) {
      ::SetLastError(error);
      return FALSE;
    }
    return OrCommonTests::RealEntry<Function>(library, function)(arguments...);
  }
  static std::string Identity() { return ThreadActsAsUser() ? " as the user" : " as itself"; }
  void Note(const std::string& call) { calls_.push_back(call); }

  Lines calls_;
  Lines loadedAsUser_;
  std::map<HANDLE, std::string> handles_;
  std::set<void*> blocks_;
  std::map<HMODULE, int> libraries_;
  int profiles_ = 0;

  OnCall freeLibrary_{"FreeLibrary", &::FreeLibrary, [this](HMODULE library) { --libraries_[library]; }};
  FailWhere missLibrary_{"LoadLibraryW", &::LoadLibraryW, [this](LPCWSTR path) -> DWORD {
                           return missingLibraries.count(path) != 0 ? ERROR_MOD_NOT_FOUND : ERROR_SUCCESS;
                         }};
  AfterCall loadLibrary_{"LoadLibraryW", &::LoadLibraryW, [this](HMODULE library, LPCWSTR path) {
                           if ((library == nullptr || libraries_[library]++ == 0) && ThreadActsAsUser()) {
                             loadedAsUser_.push_back(ToUtf8(path));
                           }
                         }};
  OnCall closeHandle_{"CloseHandle", &::CloseHandle, [this](HANDLE handle) { handles_.erase(handle); }};
  AfterCall openProcess_{"OpenProcess", &::OpenProcess,
                         [this](HANDLE process, DWORD, BOOL, DWORD) { GiveOut(process, "process"); }};
  AfterCall openProcessToken_{"OpenProcessToken", &::OpenProcessToken,
                              [this](BOOL, HANDLE, DWORD, const HANDLE* token) { GiveOut(*token, "process's token"); }};
  FailWhere impersonate_{"ImpersonateLoggedOnUser", &::ImpersonateLoggedOnUser, [this](HANDLE token) {
                           Note("ImpersonateLoggedOnUser " + NameOf(token));
                           return impersonateError;
                         }};
  FailWhere revert_{"RevertToSelf", &::RevertToSelf, [this] {
                      Note("RevertToSelf");
                      return revertError;
                    }};
  FailWhere getUserName_{"GetUserNameW", &::GetUserNameW, [this](LPCWSTR, const DWORD* length) {
                           Note("GetUserNameW " + std::to_string(*length) + Identity());
                           return nameError;
                         }};
  OnCall lookUpAccount_{
      "LookupAccountNameW", &::LookupAccountNameW,
      [this](LPCWSTR system, LPCWSTR name, PSID, const DWORD*, LPCWSTR, const DWORD*, PSID_NAME_USE) {
        Note(std::string("LookupAccountNameW ") + (system != nullptr ? "elsewhere " : "") + ToUtf8(name));
      }};

  OrCommonTests::AnswerEntry activeSession_{"WTSGetActiveConsoleSessionId", [this]() -> DWORD {
                                              Note("WTSGetActiveConsoleSessionId");
                                              return sessionId;
                                            }};
  OrCommonTests::AnswerEntry queryToken_{"WTSQueryUserToken", [this](ULONG session, HANDLE* token) -> BOOL {
                                           Note("WTSQueryUserToken " + std::to_string(session));
                                           const BOOL given = Answer<BOOL(WINAPI*)(ULONG, HANDLE*)>(
                                               tokenError, "wtsapi32.dll", "WTSQueryUserToken", session, token);
                                           GiveOut(given ? *token : nullptr, "token");
                                           return given;
                                         }};
  OrCommonTests::AnswerEntry duplicateToken_{
      "DuplicateTokenEx",
      [this](HANDLE token, DWORD access, SECURITY_ATTRIBUTES* attributes, SECURITY_IMPERSONATION_LEVEL level,
             TOKEN_TYPE type, HANDLE* duplicate) -> BOOL {
        Note("DuplicateTokenEx of the " + NameOf(token));
        const BOOL made = Answer<decltype(&::DuplicateTokenEx)>(ERROR_SUCCESS, "advapi32.dll", "DuplicateTokenEx",
                                                                token, access, attributes, level, type, duplicate);
        GiveOut(*duplicate, "token");
        return made;
      }};
  OrCommonTests::AnswerEntry createBlock_{
      "CreateEnvironmentBlock", [this](void** block, HANDLE token, BOOL inherits) -> BOOL {
        Note("CreateEnvironmentBlock " + NameOf(token) + (inherits ? " and the caller's own" : ""));
        const BOOL made = Answer<BOOL(WINAPI*)(void**, HANDLE, BOOL)>(createBlockError, "userenv.dll",
                                                                      "CreateEnvironmentBlock", block, token, inherits);
        if (made) {
          blocks_.insert(*block);
        }
        return made;
      }};
  OrCommonTests::AnswerEntry destroyBlock_{
      "DestroyEnvironmentBlock", [this](void* block) -> BOOL {
        Note(blocks_.count(block) != 0 ? "DestroyEnvironmentBlock" : "DestroyEnvironmentBlock unknown");
        const BOOL destroyed =
            Answer<BOOL(WINAPI*)(void*)>(destroyBlockError, "userenv.dll", "DestroyEnvironmentBlock", block);
        if (destroyed) {
          blocks_.erase(block);
        }
        return destroyed;
      }};
  OrCommonTests::AnswerEntry nameEx_{
      "GetUserNameExW", [this](int format, wchar_t* name, ULONG* length) -> BOOLEAN {
        constexpr int kNameSamCompatible = 2;
        Note(std::string("GetUserNameExW ") +
             (format == kNameSamCompatible ? "domain and user" : std::to_string(format)) + " " +
             std::to_string(*length) + Identity());
        if (nameExError != ERROR_SUCCESS) {
          *length = 300;  // a buffer that is too small gets the size, which must not be used for the next try
        }
        return static_cast<BOOLEAN>(Answer<BOOLEAN(WINAPI*)(int, wchar_t*, ULONG*)>(
            nameExError, "secur32.dll", "GetUserNameExW", format, name, length));
      }};
  OrCommonTests::AnswerEntry loadProfile_{"LoadUserProfileW", [this](HANDLE token, PROFILEINFOW* profile) -> BOOL {
                                            Note("LoadUserProfileW " + NameOf(token) + " " +
                                                 ToUtf8(profile->lpUserName) + " flags " +
                                                 std::to_string(profile->dwFlags) + Identity());
                                            ::SetLastError(loadProfileError);
                                            if (loadProfileError != ERROR_SUCCESS) {
                                              return FALSE;
                                            }
                                            ++profiles_;
                                            profile->hProfile = reinterpret_cast<HANDLE>(ULONG_PTR{0x5150});
                                            return TRUE;
                                          }};
  OrCommonTests::AnswerEntry unloadProfile_{"UnloadUserProfile", [this](HANDLE token, HANDLE profile) -> BOOL {
                                              const bool known = profile == reinterpret_cast<HANDLE>(ULONG_PTR{0x5150});
                                              Note("UnloadUserProfile " + NameOf(token) + (known ? "" : " unknown"));
                                              --profiles_;
                                              return TRUE;
                                            }};
  // The newest redirection, so it is called before all answers.
  FailWhere missEntry_{"GetProcAddress", &::GetProcAddress, [this](HMODULE, LPCSTR name) -> DWORD {
                         // Functions can also be requested by number, in place of the pointer to the name.
                         const bool byName = reinterpret_cast<ULONG_PTR>(name) > 0xFFFF;
                         return byName && missingEntries.count(name) != 0 ? ERROR_PROC_NOT_FOUND : ERROR_SUCCESS;
                       }};
};

}  // namespace TestSupport
