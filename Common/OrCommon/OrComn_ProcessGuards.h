// What a process with machine rights does before anything else.
#pragma once

#include <windows.h>

#include <boost/noncopyable.hpp>

namespace OrCommon {

// Narrows what this process can be talked into: libraries are loaded from the system folder only, a corrupted heap ends
// the process, paths made of links that an ordinary user planted are not followed, no error raises a box that would
// make an unattended run hang, and a program that is started by its name alone is not looked for in the current folder.
// Each guard is taken where the running Windows has it; a Windows that lacks one, or refuses it, is left as it is.
// Reports nothing: it runs before the run log is open.
void GuardProcess() noexcept;

// The error mode (SetErrorMode) that this process had before GuardProcess, for as long as this lives: a process that is
// started meanwhile and that a user sees inherits that one. The last-error code is left alone.
class CallersErrorMode : private boost::noncopyable {
 public:
  CallersErrorMode() noexcept;
  ~CallersErrorMode();

 private:
  const UINT ours_;
};

}  // namespace OrCommon
