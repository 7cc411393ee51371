// How Windows functions report that they failed.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace TestSupport {

struct FailureReturn {
  ULONG_PTR value = 0;
  DWORD error = 0;
  bool setsLastError = false;

  // A failure of `function` with the Windows error `error`. Throws std::logic_error if the function is not in the
  // table. With a guess, a test would check the product against something that never happens.
  static FailureReturn Of(const char* function, DWORD error);
};

// Every function in the table: the list for a sweep.
std::vector<std::string> FunctionsThatMayFail();

}  // namespace TestSupport
