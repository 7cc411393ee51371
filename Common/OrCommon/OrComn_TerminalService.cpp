#include "Common/OrCommon/OrComn_TerminalService.h"

#include "Common/OrCommon/OrComn_Library.h"
#include "Common/OrCommon/OrComn_System.h"

namespace OrCommon::TerminalService {

using Library::EntryPoint;

bool GetActiveSessionId(DWORD& sessionId, DWORD& error) {
  sessionId = kNoSession;
  error = ERROR_SUCCESS;
  if (!System::IsWindowsVersion(System::kWindowsXpOrLater)) {
    return false;
  }
  const EntryPoint entry(L"kernel32.dll", L"WTSGetActiveConsoleSessionId");
  const auto getActiveConsoleSessionId = entry.As<DWORD(WINAPI*)()>();
  if (getActiveConsoleSessionId == nullptr) {
    error = entry.Error();
    return false;
  }
  sessionId = getActiveConsoleSessionId();
  return true;
}

bool QuerySessionUserToken(KernelHandle& token, DWORD sessionId, DWORD& error) {
  token.Reset();
  const EntryPoint entry(L"wtsapi32.dll", L"WTSQueryUserToken");
  const auto queryUserToken = entry.As<BOOL(WINAPI*)(ULONG, HANDLE*)>();
  if (queryUserToken == nullptr) {
    error = entry.Error();
    return false;
  }
  const BOOL succeeded = queryUserToken(sessionId, token.Receive());
  error = ::GetLastError();
  return succeeded != FALSE;
}

bool StartImpersonateLoggedOnUser(HANDLE token, void*& environmentBlock, DWORD& error) {
  environmentBlock = nullptr;
  if (!::ImpersonateLoggedOnUser(token)) {
    error = ::GetLastError();
    return false;
  }
  const EntryPoint entry(L"userenv.dll", L"CreateEnvironmentBlock");
  const auto createEnvironmentBlock = entry.As<BOOL(WINAPI*)(void**, HANDLE, BOOL)>();
  if (createEnvironmentBlock == nullptr) {
    error = entry.Error();
    return false;
  }
  if (!createEnvironmentBlock(&environmentBlock, token, FALSE)) {
    error = ::GetLastError();
    environmentBlock = nullptr;
    return false;
  }
  error = ERROR_SUCCESS;
  return true;
}

bool EndImpersonateLoggedOnUser(void* environmentBlock, DWORD& error) {
  error = ERROR_SUCCESS;
  bool succeeded = true;
  {
    const EntryPoint entry(L"userenv.dll", L"DestroyEnvironmentBlock");
    const auto destroyEnvironmentBlock = entry.As<BOOL(WINAPI*)(void*)>();
    if (destroyEnvironmentBlock == nullptr) {
      error = entry.Error();
      succeeded = false;
    } else if (!destroyEnvironmentBlock(environmentBlock)) {
      error = ::GetLastError();
      succeeded = false;
    }
  }
  if (!::RevertToSelf()) {
    error = ::GetLastError();
    succeeded = false;
  }
  return succeeded;
}

}  // namespace OrCommon::TerminalService
