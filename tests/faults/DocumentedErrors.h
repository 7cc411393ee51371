// How each Windows function that product code calls is made to fail.
#pragma once

#include <windows.h>

#include <cstddef>
#include <vector>

namespace Faults {

// The errors that a function fails with, one run for each, in this order. Empty: the function cannot fail, or not so
// that its caller could tell. Null: the function is in neither table, and the sweep refuses to run.
const std::vector<DWORD>* ErrorsOf(const char* function);

// Answers that are no failures of the call, and no success either: the time of WaitForSingleObject was up; WriteFile
// wrote less than it was to write.
inline constexpr DWORD kTimeIsUp = WAIT_TIMEOUT;
inline constexpr DWORD kWroteNothing = ERROR_HANDLE_DISK_FULL;

}  // namespace Faults
