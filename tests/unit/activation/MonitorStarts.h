// The starts of the monitors: what CreateProcessAsUserW is asked for. No process is started; the handles given out are
// real, and so is their end.
#pragma once

#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"
#include "tests/unit/activation/ConsoleSession.h"

namespace TestSupport {

class MonitorStarts {
 public:
  explicit MonitorStarts(const ConsoleSession& session)
      : start_("CreateProcessAsUserW",
               [this, &session](HANDLE token, LPCWSTR application, wchar_t* commandLine, LPSECURITY_ATTRIBUTES process,
                                LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                                LPCWSTR folder, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information) -> BOOL {
                 const bool plain = commandLine == nullptr && process == nullptr && thread == nullptr && !inherit &&
                                    flags == 0 && environment == nullptr && folder == nullptr && IsZeroed(*startup);
                 starts_.push_back(session.NameOf(token) + " " + ToUtf8(application) + (plain ? " plain" : "") +
                                   (ConsoleSession::ThreadActsAsUser() ? " as the user" : " as itself"));
                 const UINT errorMode = ::SetErrorMode(0);
                 ::SetErrorMode(errorMode);
                 errorModes_.push_back(errorMode);
                 if (error_ != ERROR_SUCCESS) {
                   ::SetLastError(error_);
                   return FALSE;
                 }
                 *information = {GiveOut(), GiveOut(), 4711, 4712};
                 return TRUE;
               }),
        close_("CloseHandle", [this](HANDLE handle) -> BOOL {
          for (HANDLE& open : open_) {
            if (open == handle) {
              open = nullptr;
              ++closed_;
            }
          }
          return close_.Original<decltype(&::CloseHandle)>()(handle);
        }) {}

  void Fail(DWORD error) { error_ = error; }
  const Lines& Starts() const { return starts_; }
  // The error mode of this process at each start, which the monitor inherits.
  const std::vector<UINT>& ErrorModes() const { return errorModes_; }
  unsigned GivenOut() const { return static_cast<unsigned>(open_.size()); }
  unsigned Closed() const { return closed_; }

 private:
  // All but its size.
  static bool IsZeroed(const STARTUPINFOW& startup) {
    const auto* const bytes = reinterpret_cast<const char*>(&startup);
    return startup.cb == sizeof startup &&
           std::all_of(bytes + sizeof startup.cb, bytes + sizeof startup, [](char byte) { return byte == 0; });
  }

  HANDLE GiveOut() {
    open_.push_back(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    return open_.back();
  }

  DWORD error_ = ERROR_SUCCESS;
  Lines starts_;
  std::vector<UINT> errorModes_;
  std::vector<HANDLE> open_;
  unsigned closed_ = 0;
  ImportRedirection start_;
  ImportRedirection close_;
};

}  // namespace TestSupport
