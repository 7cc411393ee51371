// Registering COM modules through the system's regsvr32.exe, never by loading them here.
#pragma once

#include <windows.h>

#include <string>

namespace VELAUtility {

// Start regsvr32.exe silently for `modulePath` (full path) and wait for it, 3000 ms at most. A child process that takes
// longer is left running. True if regsvr32.exe was started: its exit code is not checked. False if it was not, with the
// code of CreateProcessW in `error`, or ERROR_FILENAME_EXCED_RANGE if the command line, quotes and switches included,
// has more than 260 characters. At exactly 260 the last one, the closing quote, is lost. Always logged.
bool RegisterComModule(const std::wstring& modulePath, DWORD& error);
bool RegisterComModule(const std::wstring& modulePath);
bool UnregisterComModule(const std::wstring& modulePath);

}  // namespace VELAUtility
