// The guards that a process with machine rights enables before it does anything else.
#pragma once

#include <windows.h>

#include <boost/noncopyable.hpp>

namespace OrCommon {

// Enables each guard that the running Windows has and ignores failures:
//   - libraries are loaded from the system folder only;
//   - a corrupted heap ends the process;
//   - reparse points that an ordinary user made are not followed;
//   - no error shows a message box, which would block an unattended run;
//   - a program that is started by its bare name is not searched for in the current folder.
// Reports nothing: the run log is not open yet.
void GuardProcess() noexcept;

// Restores, for its lifetime, the error mode (SetErrorMode) that the process had before GuardProcess. A process that is
// started meanwhile, and that a user sees, inherits it. Keeps the last-error code.
class CallersErrorMode : private boost::noncopyable {
 public:
  CallersErrorMode() noexcept;
  ~CallersErrorMode();

 private:
  const UINT ours_;
};

}  // namespace OrCommon
