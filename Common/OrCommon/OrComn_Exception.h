// The root of the common library's exceptions.
//
// They are thrown as pointers to objects on the heap, never by value. Who catches one owns it and deletes it through
// the virtual destructor once its code is read. They never leave the common library's callers.
#pragma once

#include <windows.h>

#include <string>
#include <utility>

namespace OrCommon::Exception {

class Base {
 public:
  // `code`: a Windows error code, or the kind of the error where the deriving class says so. `line`: where in `file` it
  // was raised.
  Base(DWORD code, DWORD line, std::string file) : code_(code), line_(line), file_(std::move(file)) {}
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;
  virtual ~Base() = default;

  DWORD Code() const noexcept { return code_; }
  DWORD Line() const noexcept { return line_; }
  const std::string& File() const noexcept { return file_; }

 private:
  DWORD code_;
  DWORD line_;
  std::string file_;
};

}  // namespace OrCommon::Exception
