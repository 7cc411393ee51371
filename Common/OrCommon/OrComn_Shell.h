// The functions of shell32 and shlwapi that are called here, by their own names.
//
// Each is bound by name at its first call, and its library stays loaded until the process ends: loading them at
// start-up would double the start-up time of commands that do not need them. A function that cannot be bound fails as
// documented, with the code of that failure; its next call tries again. Never make the first call of one while
// impersonating the console user: the user's drive letters must not decide which library is loaded.
#pragma once

#include <windows.h>

namespace OrCommon::Shell {

// They return the code.
int WINAPI SHCreateDirectoryExW(HWND window, const wchar_t* path, const SECURITY_ATTRIBUTES* security);
HRESULT WINAPI SHGetFolderPathW(HWND window, int folder, HANDLE token, DWORD flags, wchar_t* path);

// They return FALSE and leave the code to GetLastError.
BOOL WINAPI SHGetSpecialFolderPathW(HWND window, wchar_t* path, int folder, BOOL create);
BOOL WINAPI PathAppendW(wchar_t* path, const wchar_t* more);
BOOL WINAPI PathFileExistsW(const wchar_t* path);
BOOL WINAPI PathRemoveFileSpecW(wchar_t* path);

// Cannot fail: without a file name it returns the whole path.
const char* WINAPI PathFindFileNameA(const char* path);

}  // namespace OrCommon::Shell
