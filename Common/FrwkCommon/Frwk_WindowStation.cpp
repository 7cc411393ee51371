#include "Common/FrwkCommon/Frwk_WindowStation.h"

#include "Common/OrCommon/OrComn_AccessControl.h"
#include "Common/OrCommon/OrComn_DebugLog.h"
#include "Common/OrCommon/OrComn_Library.h"
#include "Common/OrCommon/OrComn_TerminalService.h"

namespace Frwk::WindowStation {
namespace {

using OrCommon::DebugLog;
using OrCommon::AccessControl::kShellProgram;

constexpr char kSourceFile[] = "..\\..\\Common\\FrwkCommon\\Frwk_WindowStation";

// The line number of a trace identifies it. It is not the line in this file.
template <class... Arguments>
void TraceProgress(DWORD line, const wchar_t* format, Arguments... arguments) {
  OrCommon::g_debugLog.Trace(kSourceFile, line, DebugLog::kProgress, format, arguments...);
}

template <class... Arguments>
void TraceError(DWORD line, const wchar_t* format, Arguments... arguments) {
  OrCommon::g_debugLog.Trace(kSourceFile, line, DebugLog::kError, format, arguments...);
}

// The token of the session's user, or of the user who runs the shell.
bool FindUserToken(DWORD sessionId, OrCommon::KernelHandle& token, DWORD& error) {
  if (OrCommon::TerminalService::QuerySessionUserToken(token, sessionId, error)) {
    return true;
  }
  TraceError(164,
             L"*** StartImpersonateLoggedOnCurrentUser() - OrCommon::TerminalService::QuerySessionUserToken() failed. "
             L"[0x%08x], Session Id[%d]",
             error, sessionId);
  if (OrCommon::AccessControl::QueryUserToken(token, kShellProgram, error)) {
    return true;
  }
  TraceError(169,
             L"*** StartImpersonateLoggedOnCurrentUser() - OrCommon::AccessControl::QueryUserToken() failed. "
             L"[0x%08x], Module name[%s]",
             error, kShellProgram);
  return false;
}

}  // namespace

bool StartImpersonateLoggedOnCurrentUser(OrCommon::KernelHandle& token, void** environmentBlock, DWORD& error) {
  TraceProgress(143, L"[Enter] StartImpersonateLoggedOnCurrentUser()...");
  if (environmentBlock == nullptr) {
    TraceError(145, L"*** StartImpersonateLoggedOnCurrentUser() - _pEnvironmentBlock was invalid.");
    error = ERROR_INVALID_PARAMETER;
    return false;
  }
  DWORD sessionId = OrCommon::TerminalService::kNoSession;
  if (!OrCommon::TerminalService::GetActiveSessionId(sessionId, error)) {
    TraceError(155,
               L"*** StartImpersonateLoggedOnCurrentUser() - OrCommon::TerminalService::GetActiveSessionId() failed. "
               L"[0x%08x]",
               error);
    return false;
  }
  if (!FindUserToken(sessionId, token, error)) {
    return false;
  }
  if (!token || token.Get() == INVALID_HANDLE_VALUE) {
    TraceError(175, L"*** StartImpersonateLoggedOnCurrentUser() - _hUserToken was invalid. [%d]", sessionId);
    error = ERROR_INVALID_HANDLE;
    return false;
  }
  if (!OrCommon::TerminalService::StartImpersonateLoggedOnUser(token.Get(), *environmentBlock, error)) {
    TraceError(183,
               L"*** StartImpersonateLoggedOnCurrentUser() - "
               L"OrCommon::TerminalService::StartImpersonateLoggedOnUser() failed. [0x%08x], Session Id[%d]",
               error, sessionId);
    return false;
  }
  error = ERROR_SUCCESS;
  TraceProgress(188, L"[Leave] StartImpersonateLoggedOnCurrentUser()...");
  return true;
}

bool EndImpersonateLoggedOnCurrentUser(HANDLE /*token*/, void* environmentBlock) {
  TraceProgress(196, L"[Enter] EndImpersonateLoggedOnCurrentUser()...");
  DWORD error = ERROR_SUCCESS;
  if (!OrCommon::TerminalService::EndImpersonateLoggedOnUser(environmentBlock, error)) {
    TraceError(202,
               L"*** EndImpersonateLoggedOnCurrentUser() - OrCommon::TerminalService::EndImpersonateLoggedOnUser() "
               L"failed. [0x%08x]",
               error);
    return false;
  }
  TraceProgress(207, L"[Leave] EndImpersonateLoggedOnCurrentUser()...");
  return true;
}

ConsoleUserScope::~ConsoleUserScope() {
  End();
}

bool ConsoleUserScope::Start() {
  End();
  environmentLibrary_.Reset(::LoadLibraryW(OrCommon::Library::SystemLibrary(L"userenv.dll").Path()));
  if (!environmentLibrary_) {
    return false;  // needed for the environment block; must not be loaded while impersonating
  }
  DWORD error = ERROR_SUCCESS;
  active_ = StartImpersonateLoggedOnCurrentUser(token_, &environmentBlock_, error);
  if (!active_ && token_) {
    ::RevertToSelf();  // a start that failed half-way leaves the thread impersonating
  }
  return active_;
}

bool ConsoleUserScope::End() {
  if (!active_) {
    return true;
  }
  active_ = false;
  return EndImpersonateLoggedOnCurrentUser(token_.Get(), environmentBlock_);
}

}  // namespace Frwk::WindowStation
