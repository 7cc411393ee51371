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
  enum class Begin { kNow, kWhenResumed };

  // `program`: full path. `folder`: current folder of the program; empty: the one of this process. Throws
  // std::runtime_error if it cannot be started.
  TestProcess(const std::wstring& program, const std::vector<std::wstring>& arguments, const std::wstring& folder = {},
              Begin begin = Begin::kNow);
  TestProcess(TestProcess&& other) noexcept;
  TestProcess& operator=(TestProcess&&) = delete;
  ~TestProcess();

  // Both only for kWhenResumed. The end of the family ends every program that this one started, too.
  void Resume();
  void EndFamily();

  bool IsRunning() const;
  // Waits for the end; ends the program after `limit` milliseconds.
  ProcessOutcome Finish(DWORD limit);

 private:
  HANDLE process_ = nullptr;
  HANDLE thread_ = nullptr;  // the main thread, of kWhenResumed
  HANDLE family_ = nullptr;  // a job
  DWORD startedAt_ = 0;
};

// The arguments as one command line that Windows programs split into the same arguments.
std::wstring CommandLine(const std::wstring& program, const std::vector<std::wstring>& arguments);

// The exit code of a program that a test has ended.
inline constexpr DWORD kEndedByTest = 0xDEAD;

// Running programs whose file has this name, in any case.
unsigned CountProcesses(const std::wstring& name);

// Ends them, except this process, and waits until they are gone.
void EndProcesses(const std::wstring& name);

}  // namespace TestSupport
