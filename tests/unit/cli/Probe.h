// Runs ProbeProgram.cpp.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"

namespace TestSupport {

// A variable in the environment of started programs; removed at the end.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const wchar_t* name, const std::wstring& value) : name_(name) {
    ::SetEnvironmentVariableW(name_, value.c_str());
  }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable() { ::SetEnvironmentVariableW(name_, nullptr); }

 private:
  const wchar_t* name_;
};

// Its exit code; 0xFFFFFFFF if it did not end.
inline DWORD RunProbe(const std::vector<std::wstring>& arguments) {
  TestProcess probe(BuildFolder() + L"\\tests\\unit.cli.probe.exe", arguments);
  const ProcessOutcome outcome = probe.Finish(20000);
  return outcome.timedOut ? 0xFFFFFFFFU : outcome.exitCode;
}

}  // namespace TestSupport
