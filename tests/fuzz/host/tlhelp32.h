// The process list of HostWindows.h.
#pragma once

#include "tests/fuzz/host/windows.h"

inline constexpr DWORD TH32CS_SNAPALL = 0xF;

struct PROCESSENTRY32W {
  DWORD dwSize;
  DWORD th32ProcessID;
  wchar_t szExeFile[MAX_PATH];
};

HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD process);
BOOL Process32FirstW(HANDLE snapshot, PROCESSENTRY32W* entry);
BOOL Process32NextW(HANDLE snapshot, PROCESSENTRY32W* entry);
