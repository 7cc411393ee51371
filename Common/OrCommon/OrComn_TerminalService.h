// The console session and the user logged on at it.
#pragma once

#include <windows.h>

#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::TerminalService {

inline constexpr DWORD kNoSession = 0xFFFFFFFF;

// The session that is attached to the console. True, and `error` 0, if the system could be queried; `sessionId` is
// kNoSession if no session is attached. False, and kNoSession, on a system older than Windows XP (`error` 0) or if the
// entry point is missing (its code).
bool GetActiveSessionId(DWORD& sessionId, DWORD& error);

// A primary token of the user of `sessionId`, owned by the caller. This requires the rights of the local system. False,
// with the code in `error`, if there is no user or access is denied.
bool QuerySessionUserToken(KernelHandle& token, DWORD sessionId, DWORD& error);

// Impersonates the user of `token` and creates that user's environment block, without the caller's own environment.
// Free it by EndImpersonateLoggedOnUser. False, with the code in `error`, if either fails. If only the block fails, the
// thread still impersonates.
//
// Both functions bind "userenv.dll" while impersonating. Load it beforehand: the user's drive letters must not decide
// which file is loaded.
bool StartImpersonateLoggedOnUser(HANDLE token, void*& environmentBlock, DWORD& error);

// Frees the block, then ends the impersonation even if that failed. False, with the code of the last failure in
// `error`, if either fails.
bool EndImpersonateLoggedOnUser(void* environmentBlock, DWORD& error);

}  // namespace OrCommon::TerminalService
