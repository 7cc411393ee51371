// The probe: the common library in a process of its own (ProbeProgram.cpp), for what a process asks Windows only once,
// for what changes a process for good, and as a process to be found by its name.
#pragma once

#include <windows.h>

#include <map>
#include <string>

#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommonTests {

// Its place, beside this program.
std::wstring ProbeFile();

struct ProbeAnswers {
  DWORD exitCode = 0;
  std::map<std::string, std::string> answers;  // what it printed, "name: answer" a line
};

// Runs the probe, or a copy of it, in `folder` (empty: the current one) and waits. Throws std::runtime_error where it
// cannot be started or does not end.
ProbeAnswers RunProbe(const std::wstring& arguments, const std::wstring& program = ProbeFile(),
                      const std::wstring& folder = {});

// A copy of the probe that does nothing while this lives.
class SleepingProbe {
 public:
  explicit SleepingProbe(const std::wstring& program);
  ~SleepingProbe();
  DWORD Id() const { return id_; }

 private:
  OrCommon::KernelHandle process_;
  DWORD id_ = 0;
};

}  // namespace OrCommonTests
