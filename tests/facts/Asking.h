// What the questions share: a separate folder and key, child processes, and answers as texts.
#pragma once

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_Handles.h"

namespace Facts {

// Folder and registry key of this run, below the temporary folder and HKEY_CURRENT_USER. Nothing else is changed.
class Place {
 public:
  Place();
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;
  ~Place() {
    if (!tried_) {
      Remove();
    }
  }
  // Removes both. If something is left, prints that and returns false.
  bool Remove() noexcept;

 private:
  bool tried_ = false;
};

// A new, empty folder in this run's folder; no trailing backslash.
std::wstring NewFolder();

// A new, empty key in this run's key: its path below HKEY_CURRENT_USER.
std::wstring NewKey();

// "done", or "error 5".
std::string Code(DWORD error);
// The result of a call that sets the last error.
std::string Done(bool succeeded);
std::string Hex(DWORD number);
// Tells if a folder can be listed.
std::string List(const std::wstring& folder);
// Tells if something could be opened or created.
template <class Owner>
std::string Got(const Owner& owner) {
  return Done(static_cast<bool>(owner));
}
// Sets the attributes of a file or folder and returns its path.
std::wstring Marked(const std::wstring& path, DWORD attributes);

// A function that older systems or headers lack. Throws if this system has none.
template <class Function>
Function Find(const wchar_t* library, const char* name) {
  const FARPROC found = ::GetProcAddress(::LoadLibraryW(library), name);
  if (found == nullptr) {
    throw std::runtime_error(std::string("there is no ") + name);
  }
  Function function = nullptr;
  static_assert(sizeof function == sizeof found);
  std::memcpy(&function, &found, sizeof function);
  return function;
}

// The path of this program.
std::wstring OwnPath();

// Starts a program; empty, with the last error set, if that fails. `program`: null if the line names the program.
OrCommon::KernelHandle Start(const wchar_t* program, std::wstring line, DWORD flags = 0);

// Runs this program, or its copy `program`, as a child. It does a task (DoChildTask) and answers by its exit code.
DWORD RunChild(const std::vector<std::wstring>& task, DWORD flags = 0, const std::wstring& program = OwnPath());

// The child's part.
DWORD DoChildTask(const std::wstring& task, const std::wstring& argument);

// A security descriptor from its text form.
class Descriptor {
 public:
  explicit Descriptor(const std::wstring& text);
  void* Get() const noexcept { return memory_.Get(); }

 private:
  OrCommon::LocalMemory<void> memory_;
};

}  // namespace Facts
