// The starts of the monitors: the arguments of CreateProcessAsUserW. No process is started. The returned handles are
// real, and the session checks them.
#pragma once

#include <windows.h>

#include <algorithm>
#include <vector>

#include "tests/unit/activation/ConsoleSession.h"

namespace TestSupport {

class MonitorStarts {
 public:
  explicit MonitorStarts(ConsoleSession& session) : session_(session) {}

  void Fail(DWORD error) { error_ = error; }
  const Lines& Starts() const { return starts_; }
  // The error mode of this process at each start, which the monitor inherits.
  const std::vector<UINT>& ErrorModes() const { return errorModes_; }

 private:
  // Everything but its size.
  static bool IsZeroed(const STARTUPINFOW& startup) {
    const auto* const bytes = reinterpret_cast<const char*>(&startup);
    return startup.cb == sizeof startup &&
           std::all_of(bytes + sizeof startup.cb, bytes + sizeof startup, [](char byte) { return byte == 0; });
  }

  HANDLE GiveOut() const { return session_.GiveOut(::CreateEventW(nullptr, TRUE, FALSE, nullptr), "monitor"); }

  ConsoleSession& session_;
  DWORD error_ = ERROR_SUCCESS;
  Lines starts_;
  std::vector<UINT> errorModes_;
  ImportRedirection start_{
      "CreateProcessAsUserW",
      [this](HANDLE token, LPCWSTR application, wchar_t* commandLine, LPSECURITY_ATTRIBUTES process,
             LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR folder,
             LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information) -> BOOL {
        const bool plain = commandLine == nullptr && process == nullptr && thread == nullptr && !inherit &&
                           flags == 0 && environment == nullptr && folder == nullptr && IsZeroed(*startup);
        starts_.push_back(session_.NameOf(token) + " " + ToUtf8(application) + (plain ? " plain" : "") +
                          (ConsoleSession::ThreadActsAsUser() ? " as the user" : " as itself"));
        errorModes_.push_back(::SetErrorMode(0));
        ::SetErrorMode(errorModes_.back());
        ::SetLastError(error_);
        if (error_ != ERROR_SUCCESS) {
          return FALSE;
        }
        *information = {GiveOut(), GiveOut(), 4711, 4712};
        return TRUE;
      }};
};

}  // namespace TestSupport
