#include "plugins/ComModuleRunner.h"

#include <windows.h>

#include <algorithm>

#include "Common/OrCommon/OrComn_Handles.h"
#include "cli/RunLog.h"

namespace VELAUtility {
namespace {

constexpr DWORD kLongestWait = 3000;                    // milliseconds
constexpr std::size_t kCommandLineCapacity = MAX_PATH;  // characters, terminator included

struct Direction {
  const wchar_t* command;  // up to the opening quote of the module path
  RunLog::Text commandLineText;
  RunLog::Text slowText;
  RunLog::Text resultText;
};

constexpr Direction kRegister = {L"regsvr32.exe /s \"", L"RegisterComModule() command line: ",
                                 L"Wait to register COM object more than 3 seconds.",
                                 L"RegisterComModule() execute result: "};
constexpr Direction kUnregister = {L"regsvr32.exe /u /s \"", L"UnregisterComModule() command line: ",
                                   L"Wait to unregister COM object more than 3 seconds.",
                                   L"UnregisterComModule() execute result: "};

// Starts the child process and waits for it. If it did not start, the code is in `error`. `isSlow`: it did not exit in
// time.
BOOL RunChild(wchar_t* commandLine, bool& isSlow, DWORD& error) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESHOWWINDOW;
  startup.wShowWindow = SW_HIDE;
  PROCESS_INFORMATION child = {};
  const BOOL started =
      ::CreateProcessW(nullptr, commandLine, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &child);
  if (!started) {
    error = ::GetLastError();
    return started;
  }
  const OrCommon::KernelHandle process(child.hProcess);
  const OrCommon::KernelHandle thread(child.hThread);
  isSlow = ::WaitForSingleObject(process.Get(), kLongestWait) != WAIT_OBJECT_0;
  return started;
}

bool Run(const Direction& direction, const std::wstring& modulePath, DWORD& error) {
  const std::wstring commandLine = direction.command + modulePath + L"\"";
  // CreateProcessW writes into the command line, and the buffer has the length that the product has always had.
  wchar_t buffer[kCommandLineCapacity] = {};
  const bool fits = commandLine.size() <= kCommandLineCapacity;
  if (fits) {
    std::copy(commandLine.begin(), commandLine.end(), buffer);
    buffer[kCommandLineCapacity - 1] = L'\0';
  }
  RunLog::Info() << direction.commandLineText << (fits ? buffer : commandLine.c_str());
  if (!fits) {
    error = ERROR_FILENAME_EXCED_RANGE;
    return false;
  }
  bool isSlow = false;
  const BOOL started = RunChild(buffer, isSlow, error);
  if (isSlow) {
    RunLog::Warn() << direction.slowText;
  }
  RunLog::Info() << direction.resultText << started;
  return started != FALSE;
}

}  // namespace

bool RegisterComModule(const std::wstring& modulePath, DWORD& error) {
  return Run(kRegister, modulePath, error);
}

bool RegisterComModule(const std::wstring& modulePath) {
  DWORD error = ERROR_SUCCESS;
  return RegisterComModule(modulePath, error);
}

bool UnregisterComModule(const std::wstring& modulePath) {
  DWORD error = ERROR_SUCCESS;
  return Run(kUnregister, modulePath, error);
}

}  // namespace VELAUtility
