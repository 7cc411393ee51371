// The root of the common library's exceptions.
//
// They are thrown as pointers to objects on the heap, never by value. The catching function owns the object and deletes
// it. Direct callers of the common library catch all of them.
#pragma once

#include <windows.h>

namespace OrCommon::Exception {

class Base {
 public:
  // `code`: a Windows error code, or the kind of the error if the derived class says so. `line`: where in `file` it was
  // raised. `file` is a literal: an exception about an exhausted heap must not need more memory than itself.
  Base(DWORD code, DWORD line, const char* file) noexcept : code_(code), line_(line), file_(file) {}
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;
  virtual ~Base() = default;

  DWORD Code() const noexcept { return code_; }
  DWORD Line() const noexcept { return line_; }
  const char* File() const noexcept { return file_; }

 private:
  DWORD code_;
  DWORD line_;
  const char* file_;
};

}  // namespace OrCommon::Exception
