#include "tests/support/RegistrationChild.h"

#include <algorithm>

using TestSupport::Lines;

namespace {

// The last-error code that closing a handle leaves here. Code that prints the error of a failed start must not print
// this one.
constexpr DWORD kErrorOfClosing = 0xC105;

bool IsZeroed(const PROCESS_INFORMATION& information) {
  return information.hProcess == nullptr && information.hThread == nullptr && information.dwProcessId == 0 &&
         information.dwThreadId == 0;
}

Lines LinesOfStart(const std::string& operation, const std::string& command, const std::string& module, int result) {
  return {"LOG_INFO : " + operation + "() command line: " + command + " \"" + module + "\"",
          "LOG_INFO : " + operation + "() execute result: " + std::to_string(result)};
}

}  // namespace

RegistrationChild::RegistrationChild()
    : createProcess_("CreateProcessW",
                     [this](LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                            LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR folder,
                            LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information) -> BOOL {
                       ChildStart start = {};
                       start.commandLine = commandLine;
                       // Windows writes into the command line; a constant string would crash the process here.
                       commandLine[0] = L'\0';
                       commandLine[0] = start.commandLine.empty() ? L'\0' : start.commandLine.front();
                       start.hasApplicationName = application != nullptr;
                       start.hasSecurityAttributes = process != nullptr || thread != nullptr;
                       start.hasEnvironment = environment != nullptr;
                       start.hasCurrentFolder = folder != nullptr;
                       start.inheritHandles = inherit;
                       start.flags = flags;
                       start.startup = *startup;
                       start.processInformationZeroed = IsZeroed(*information);
                       return Start(start, information);
                     }),
      waitForSingleObject_("WaitForSingleObject",
                           [this](HANDLE, DWORD milliseconds) -> DWORD {
                             waits_.push_back(milliseconds);
                             return waitResult_;
                           }),
      closeHandle_("CloseHandle", [this](HANDLE handle) -> BOOL {
        const auto found = std::find(openHandles_.begin(), openHandles_.end(), handle);
        if (found == openHandles_.end()) {
          return closeHandle_.Original<decltype(&::CloseHandle)>()(handle);
        }
        openHandles_.erase(found);
        ::SetLastError(kErrorOfClosing);
        return TRUE;
      }) {}

BOOL RegistrationChild::Start(const ChildStart& start, PROCESS_INFORMATION* information) {
  starts_.push_back(start);
  const auto failure = failures_.find(static_cast<unsigned>(starts_.size()));
  const DWORD error = failure != failures_.end() ? failure->second : everyFailure_;
  if (error != ERROR_SUCCESS) {
    ::SetLastError(error);
    return FALSE;
  }
  *information = {GiveOut(), GiveOut(), 4711, 4712};
  return success_;
}

// A number that no real handle has.
HANDLE RegistrationChild::GiveOut() {
  const auto number = static_cast<ULONG_PTR>(0x70000000U + 4 * (starts_.size() * 2 + openHandles_.size()));
  openHandles_.push_back(reinterpret_cast<HANDLE>(number));
  return openHandles_.back();
}

Lines RegistrationChild::CommandLines() const {
  Lines lines;
  for (const ChildStart& start : starts_) {
    lines.push_back(TestSupport::ToUtf8(start.commandLine));
  }
  return lines;
}

Lines RegisteringLines(const std::string& module, int result) {
  return LinesOfStart("RegisterComModule", "regsvr32.exe /s", module, result);
}

Lines UnregisteringLines(const std::string& module, int result) {
  return LinesOfStart("UnregisterComModule", "regsvr32.exe /u /s", module, result);
}

Lines Joined(const std::vector<Lines>& lists) {
  Lines joined;
  for (const Lines& list : lists) {
    joined.insert(joined.end(), list.begin(), list.end());
  }
  return joined;
}
