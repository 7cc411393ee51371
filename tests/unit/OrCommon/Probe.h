// The probe: the common library in a process of its own (ProbeProgram.cpp), for what a process asks Windows only once
// and for what changes a process for good.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/ScratchFolder.h"
#include "tests/support/TestProcess.h"

namespace OrCommonTests {

// Names the file that the probe writes its answers to.
inline constexpr wchar_t kAnswersVariable[] = L"VELA_PROBE_ANSWERS";

// Its place, beside this program.
std::wstring ProbeFile();

// Copies it into a folder; the copy's path.
std::wstring CopyProbe(const TestSupport::ScratchFolder& folder, const std::wstring& name);

struct ProbeAnswers {
  DWORD exitCode = 0;
  std::map<std::string, std::string> answers;  // what it printed, "name: answer" a line
};

// Runs the probe, or a copy of it, in `folder` (empty: the current one) and waits. Throws std::runtime_error where it
// cannot be started or does not end.
ProbeAnswers RunProbe(const std::vector<std::wstring>& arguments, const std::wstring& program = ProbeFile(),
                      const std::wstring& folder = {});

}  // namespace OrCommonTests
