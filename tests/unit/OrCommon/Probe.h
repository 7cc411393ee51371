// The probe: the common library in a separate process (ProbeProgram.cpp). It is for answers of Windows that a process
// keeps, and for permanent changes to a process.
#pragma once

#include <windows.h>

#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/FileSnapshot.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"

namespace OrCommonTests {

// The file that the probe writes its answers to.
inline constexpr wchar_t kAnswersVariable[] = L"VELA_PROBE_ANSWERS";

// Its path, in the folder of this program.
inline std::wstring ProbeFile() {
  return TestSupport::BuildFolder() + L"\\tests\\unit.OrCommon.probe.exe";
}

// Copies it into a folder; returns the copy's path.
inline std::wstring CopyProbe(const TestSupport::ScratchFolder& folder, const std::wstring& name) {
  TestSupport::CopyTestFile(ProbeFile(), folder.Path(name));
  return folder.Path(name);
}

struct ProbeAnswers {
  DWORD exitCode = 0;
  std::map<std::string, std::string> answers;  // what it printed, one line "name: answer" each
};

// Runs the probe, or a copy of it, in `folder` (empty: the current one) and waits. Throws std::runtime_error if it
// cannot be started or does not end.
inline ProbeAnswers RunProbe(const std::vector<std::wstring>& arguments, const std::wstring& program = ProbeFile(),
                             const std::wstring& folder = {}) {
  const TestSupport::ScratchFolder scratch(L"probe");
  const std::wstring file = scratch.MakeFile(L"answers", "");
  ::SetEnvironmentVariableW(kAnswersVariable, file.c_str());
  TestSupport::TestProcess process(program, arguments, folder);
  ::SetEnvironmentVariableW(kAnswersVariable, nullptr);
  const TestSupport::ProcessOutcome outcome = process.Finish(30000);
  if (outcome.timedOut) {
    throw std::runtime_error("the probe program did not end in time");
  }
  ProbeAnswers result;
  result.exitCode = outcome.exitCode;
  std::istringstream lines(TestSupport::FileContent(file));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t colon = line.find(": ");
    if (colon != std::string::npos) {
      result.answers[line.substr(0, colon)] = line.substr(colon + 2);
    }
  }
  return result;
}

}  // namespace OrCommonTests
