// How each Windows function that product code calls is made to fail.
#pragma once

#include <windows.h>

#include <cstddef>
#include <vector>

namespace Faults {

// The errors that a function fails with, one run for each, in this order. Empty: the function cannot fail, or not so
// that its caller could tell. Null: the function is in neither table, and the sweep refuses to run.
const std::vector<DWORD>* ErrorsOf(const char* function);

// Counted as the answer of WaitForSingleObject that is no failure: the time was up.
inline constexpr DWORD kTimeIsUp = WAIT_TIMEOUT;

}  // namespace Faults
