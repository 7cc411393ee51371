// Questions about the running system: its version, its processor, its processes.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace OrCommon::System {

// The input of the version tests, as GetVersionExW reports it (OSVERSIONINFOEXW).
struct WindowsFacts {
  DWORD major = 0;
  DWORD minor = 0;
  DWORD build = 0;
  DWORD platform = 0;  // VER_PLATFORM_WIN32_WINDOWS (1) or VER_PLATFORM_WIN32_NT (2)
  WORD servicePackMajor = 0;
  BYTE productType = 0;  // VER_NT_WORKSTATION (1) or VER_NT_SERVER (3); 2 is a domain controller
  bool is64Bit = false;  // the native processor is a 64-bit one
};

// The version tests that this program names. The whole family is listed at MatchesWindowsVersion.
enum WindowsVersionCode : DWORD {
  kWindowsXpX64Workstation = 6,  // NT 5.2, workstation
  kWindows60 = 10,               // NT 6.0: Windows Vista, Windows Server 2008
  kWindowsXpOrLater = 103,       // NT 5.1 or later
  // NT with major version 6 or more and a minor version of 1 or more. Deliberately not "6.1 or later": a system that
  // reports 10.0 fails it.
  kNt6WithMinorVersion = 109,
};

// Answers one version test about `facts`:
//     1  9x 4.90               9  NT 6.0, 64-bit        101  NT                    108  NT 6.0 SP2 or later
//     2  9x                   10  NT 6.0                102  NT 5 or later         109  NT 6 or more, minor 1 or more
//     3  NT 5.0               11  NT 6.1, not 64-bit    103  NT 5.1 or later       110  NT 6.1 SP1 or later
//     4  NT 5.2 server        12  NT 6.1, 64-bit        104  NT 5.1 SP2 or later   111  NT above 6, or 6.2 or later
//     5  NT 5.1 workstation   13  NT 6.1                105  NT 5.1 SP3 or later   112  NT server
//     6  NT 5.2 workstation   14  NT 6.2, not 64-bit    106  NT 6 or later
//     7  test 5 or 6          15  NT 6.2, 64-bit        107  NT 6.0 SP1 or later
//     8  NT 6.0, not 64-bit   16  NT 6.2
// Any other code answers false. The family is a contract of the common library; the program uses those named above.
bool MatchesWindowsVersion(DWORD code, const WindowsFacts& facts) noexcept;

// The same for the running system, which is queried once per process. If that fails, every test is false, and
// GetWindowsVersionError says why.
bool IsWindowsVersion(DWORD code) noexcept;

// The error of the one version query of this process, 0 if it succeeded. Contract of the common library; no command
// calls it.
DWORD GetWindowsVersionError() noexcept;

// The native processor architecture (PROCESSOR_ARCHITECTURE_...), regardless of what this process was built for;
// PROCESSOR_ARCHITECTURE_INTEL if the system cannot report it. Queried once per process.
WORD GetNativeArchitecture() noexcept;

// True on any 64-bit processor: this decides between the registry views and in the version tests.
bool Is64BitSystem() noexcept;

// True only on an AMD64 processor: this decides which files are staged, since those are AMD64 files.
bool IsAmd64System() noexcept;

// The name part of an executable's path, without folder and without the extension after its last dot.
std::wstring_view GetProcessBaseName(std::wstring_view executable) noexcept;

// Searches for a running process by its base name (without folder and extension). Ignores ASCII case. 1 if one runs,
// with the id of the first in `processId`; 0 if none runs; -1 if the process list cannot be taken. `processId` is 0
// without a match.
int FindProcessByName(std::wstring_view baseName, DWORD& processId) noexcept;

// True if FindProcessByName finds one. False also if the process list cannot be taken.
bool IsProcessRunning(std::wstring_view baseName) noexcept;

}  // namespace OrCommon::System
