// The folders of HostWindows.h.
#pragma once

#include "tests/fuzz/host/windows.h"

inline constexpr int CSIDL_COMMON_APPDATA = 0x23;
inline constexpr int CSIDL_WINDOWS = 0x24;

BOOL SHGetSpecialFolderPathW(HWND window, wchar_t* path, int folder, BOOL create);
HRESULT SHGetFolderPathW(HWND window, int folder, HANDLE token, DWORD flags, wchar_t* path);
