// Functions that not every supported Windows has. They are bound by name each time they are used.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstring>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::Library {

// Casts the untyped pointer of GetProcAddress to the type Function. Nothing can check that type.
template <class Function>
Function FunctionCast(FARPROC address) noexcept {
  Function function = nullptr;
  std::memcpy(&function, &address, sizeof function);  // FARPROC is another function type: no cast is portable
  return function;
}

// The argument of LoadLibraryW for the system's library `name`. A Windows without SetDefaultDllDirectories searches the
// program's own folder before the system's: there this is the full path. If the system folder cannot be determined it
// is "?", which is not a valid file name.
class SystemLibrary {
 public:
  explicit SystemLibrary(const wchar_t* name) noexcept;
  const wchar_t* Path() const noexcept { return path_; }

 private:
  static constexpr std::size_t kCapacity = MAX_PATH;  // characters, terminator included
  wchar_t path_[kCapacity] = {};
};

// An entry point of a library that stays loaded for as long as this lives.
class EntryPoint : private boost::noncopyable {
 public:
  // Loads `library` and looks `name` up in it.
  EntryPoint(const wchar_t* library, const wchar_t* name);

  // Null if it could not be bound. Error() is then the code of loading the library or of looking up the name, or
  // ERROR_BAD_ARGUMENTS if the name is missing or cannot be converted.
  template <class Function>
  Function As() const noexcept {
    return FunctionCast<Function>(address_);
  }
  DWORD Error() const noexcept { return error_; }

 private:
  Module library_;
  FARPROC address_ = nullptr;
  DWORD error_ = ERROR_SUCCESS;
};

// The entry point `name` of the loaded `module`, or null and its code in `error` (as above). Throws std::bad_alloc if
// the heap cannot hold a name of 32 characters or more.
FARPROC FindEntryPoint(HMODULE module, const wchar_t* name, DWORD& error);

}  // namespace OrCommon::Library
