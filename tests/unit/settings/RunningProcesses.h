// The processes that the product finds.
#pragma once

#include <windows.h>

#include <tlhelp32.h>

#include <cwchar>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ImportRedirection.h"

namespace TestSupport {

// Replaces the real list. The snapshot itself is real, so its handle is worth counting.
class RunningProcesses {
 public:
  explicit RunningProcesses(std::vector<std::wstring> names = {})
      : names_(std::move(names)),
        first_("Process32FirstW",
               [this](HANDLE, LPPROCESSENTRY32W entry) -> BOOL {
                 next_ = 0;
                 return Next(entry);
               }),
        following_("Process32NextW", [this](HANDLE, LPPROCESSENTRY32W entry) -> BOOL { return Next(entry); }) {}

  void Become(std::vector<std::wstring> names) { names_ = std::move(names); }

 private:
  BOOL Next(LPPROCESSENTRY32W entry) {
    if (next_ >= names_.size()) {
      ::SetLastError(ERROR_NO_MORE_FILES);
      return FALSE;
    }
    std::wcsncpy(entry->szExeFile, names_[next_].c_str(), MAX_PATH - 1);
    entry->szExeFile[MAX_PATH - 1] = L'\0';
    entry->th32ProcessID = static_cast<DWORD>(1000 + next_);
    ++next_;
    return TRUE;
  }

  std::vector<std::wstring> names_;
  std::size_t next_ = 0;
  ImportRedirection first_;
  ImportRedirection following_;
};

}  // namespace TestSupport
