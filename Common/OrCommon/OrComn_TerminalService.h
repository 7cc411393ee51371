// The console session and the user logged on at it.
#pragma once

#include <windows.h>

#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::TerminalService {

inline constexpr DWORD kNoSession = 0xFFFFFFFF;

// The session that is attached to the console. True, and `error` 0, where the system could be asked; `sessionId` is
// kNoSession where no session is attached. False, and kNoSession, on a system older than Windows XP (`error` 0) or
// where the entry point is missing (its code).
bool GetActiveSessionId(DWORD& sessionId, DWORD& error);

// A primary token of the user of `sessionId`, owned by the caller. It takes the rights of the local system. False, with
// the code in `error`, where there is no user or no right.
bool QuerySessionUserToken(KernelHandle& token, DWORD sessionId, DWORD& error);

// Makes the calling thread act as the user of `token` and gives that user's environment block, made without the
// caller's own environment; EndImpersonateLoggedOnUser gives it back. False, with the code in `error`, where either
// fails; where it was the block, the thread goes on impersonating. "userenv.dll" is bound while impersonating, here and
// in the end: the caller keeps it loaded from before, so that the user's view of the drive letters never decides which
// file is loaded.
bool StartImpersonateLoggedOnUser(HANDLE token, void*& environmentBlock, DWORD& error);

// Gives the block back and makes the thread act as the process again, whether or not the first succeeded. False, with
// the code of what failed (the latter where both did) in `error`.
bool EndImpersonateLoggedOnUser(void* environmentBlock, DWORD& error);

}  // namespace OrCommon::TerminalService
