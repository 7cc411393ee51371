// The functions of shell32 and shlwapi that are called here, by their own names.
//
// Each is bound by name at its first call: loading the shell's libraries doubles the start-up of a command that never
// needs them. What was bound is kept, and its library stays loaded, until the process ends. A function that cannot be
// had fails as it is documented to, with the code of that failure; its next call tries to bind it again. No command
// calls one while it acts as the console user, through whose drive letters a library must not be looked for.
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

// It cannot fail: where it sees no file name it gives the whole path back.
const char* WINAPI PathFindFileNameA(const char* path);

}  // namespace OrCommon::Shell
