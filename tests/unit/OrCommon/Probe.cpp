#include "tests/unit/OrCommon/Probe.h"

#include <sstream>
#include <stdexcept>

#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"

namespace OrCommonTests {

std::wstring ProbeFile() {
  return TestSupport::BuildFolder() + L"\\tests\\unit.OrCommon.probe.exe";
}

std::wstring CopyProbe(const TestSupport::ScratchFolder& folder, const std::wstring& name) {
  TestSupport::CopyTestFile(ProbeFile(), folder.Path(name));
  return folder.Path(name);
}

ProbeAnswers RunProbe(const std::vector<std::wstring>& arguments, const std::wstring& program,
                      const std::wstring& folder) {
  const TestSupport::ScratchFolder scratch(L"probe");
  const std::wstring file = scratch.MakeFile(L"answers", "");
  ::SetEnvironmentVariableW(kAnswersVariable, file.c_str());
  TestSupport::TestProcess process(program, arguments, folder);
  ::SetEnvironmentVariableW(kAnswersVariable, nullptr);
  const TestSupport::ProcessOutcome outcome = process.Finish(30000);
  if (outcome.timedOut) {
    throw std::runtime_error("the probe does not end");
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
