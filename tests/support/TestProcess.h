// Starting and ending programs.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace TestSupport {

struct ProcessOutcome {
  DWORD exitCode = 0;
  DWORD milliseconds = 0;
  bool timedOut = false;  // it was ended because of the time limit
};

// A program that was started. The destructor ends it if it still runs.
class TestProcess {
 public:
  // `program`: full path. `folder`: current folder of the program; empty: the one of this process. Throws
  // std::runtime_error if it cannot be started.
  TestProcess(const std::wstring& program, const std::vector<std::wstring>& arguments, const std::wstring& folder = {});
  TestProcess(TestProcess&& other) noexcept;
  TestProcess& operator=(TestProcess&&) = delete;
  ~TestProcess();

  bool IsRunning() const;
  // Waits for the end; ends the program after `limit` milliseconds.
  ProcessOutcome Finish(DWORD limit);

 private:
  HANDLE process_ = nullptr;
  DWORD startedAt_ = 0;
};

// The arguments as one command line that Windows programs split into the same arguments.
std::wstring CommandLine(const std::wstring& program, const std::vector<std::wstring>& arguments);

// Running programs whose file has this name, in any case.
unsigned CountProcesses(const std::wstring& name);

// Ends them, except this process, and waits until they are gone.
void EndProcesses(const std::wstring& name);

}  // namespace TestSupport
