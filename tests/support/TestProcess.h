// Starting and ending programs.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace TestSupport {

struct ProcessOutcome {
  DWORD exitCode = 0;
  DWORD milliseconds = 0;
  bool timedOut = false;  // it was ended because its time was used up
};

// A program that was started. The destructor ends it where it still runs.
class TestProcess {
 public:
  // `program`: full path. `folder`: current folder of the program, empty: this one's. Throws std::runtime_error where
  // it cannot be started.
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

// The arguments as one command line that Windows programs take apart into the same arguments.
std::wstring CommandLine(const std::wstring& program, const std::vector<std::wstring>& arguments);

// Running programs whose file has this name, in any case.
unsigned CountProcesses(const std::wstring& name);

// Ends them and waits until they are gone; itself not included.
void EndProcesses(const std::wstring& name);

}  // namespace TestSupport
