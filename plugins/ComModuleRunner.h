// Registering COM modules through the system's regsvr32.exe, never by loading them here.
#pragma once

#include <windows.h>

#include <string>

namespace VELAUtility {

// Start regsvr32.exe silently for `modulePath` (full path) and wait for it, 3000 ms at most. A child that takes longer
// is left running. True where regsvr32.exe was started: whether the module's own entry point succeeded is not looked
// at. False where it was not, with the code of CreateProcessW in `error`; ERROR_FILENAME_EXCED_RANGE where the command
// line, quotes and switches included, has more than 260 characters. At exactly 260 the last one, the closing quote, is
// lost. Logged in all cases.
bool RegisterComModule(const std::wstring& modulePath, DWORD& error);
bool RegisterComModule(const std::wstring& modulePath);
bool UnregisterComModule(const std::wstring& modulePath);

}  // namespace VELAUtility
