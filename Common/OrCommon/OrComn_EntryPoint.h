// A typed GetProcAddress, for functions that not every supported Windows has.
#pragma once

#include <windows.h>

#include <cstring>

namespace OrCommon {

// The entry point `name` of `module` as a pointer of type Function, or null with the last-error code of GetProcAddress.
// The caller says the function's true type; nothing can check it.
template <class Function>
Function FindEntryPoint(HMODULE module, const char* name) noexcept {
  const FARPROC address = ::GetProcAddress(module, name);
  Function function = nullptr;
  static_assert(sizeof function == sizeof address);
  std::memcpy(&function, &address, sizeof function);  // FARPROC is a function type of its own: no cast is portable
  return function;
}

}  // namespace OrCommon
