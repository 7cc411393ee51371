// A Windows that takes no plain path of more than 259 characters, and none with a name that it reads as another. Wine
// takes them all.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/ImportRedirection.h"

namespace OrCommonTests {

// Written apart from the product's SystemPath: "nul.txt" and the like stand here by name.
inline bool NeedsLongForm(const std::wstring& path) {
  if (path.compare(0, 4, L"\\\\?\\") == 0) {
    return false;
  }
  for (const wchar_t* const part : {L". ", L".\\", L" \\", L"\\nul.", L"\\CON", L"\\com1", L"\\aux", L"\\lpt\x00B2"}) {
    if ((path + L"\\").find(part) != std::wstring::npos) {
      return true;
    }
  }
  return path.size() >= MAX_PATH;
}

class PlainPathLimits {
 public:
  PlainPathLimits() {
    Limit("GetFileAttributesW", &::GetFileAttributesW, INVALID_FILE_ATTRIBUTES);
    Limit("SetFileAttributesW", &::SetFileAttributesW, FALSE);
    Limit("FindFirstFileW", &::FindFirstFileW, INVALID_HANDLE_VALUE);
  }
  unsigned Refused() const { return refused_; }

 protected:
  template <class Result, class... More>
  void Limit(const char* name, Result(WINAPI* /*type*/)(LPCWSTR, More...), Result refusal) {
    const std::size_t place = limits_.size();
    limits_.push_back(std::make_unique<TestSupport::ImportRedirection>(
        name, [this, place, refusal](LPCWSTR path, More... more) -> Result {
          if (NeedsLongForm(path)) {
            ++refused_;
            ::SetLastError(ERROR_PATH_NOT_FOUND);
            return refusal;
          }
          return limits_[place]->Original<Result(WINAPI*)(LPCWSTR, More...)>()(path, more...);
        }));
  }

 private:
  unsigned refused_ = 0;
  std::vector<std::unique_ptr<TestSupport::ImportRedirection>> limits_;
};

// With the calls that delete.
class PlainDeletionLimits : public PlainPathLimits {
 public:
  PlainDeletionLimits() {
    Limit("DeleteFileW", &::DeleteFileW, FALSE);
    Limit("RemoveDirectoryW", &::RemoveDirectoryW, FALSE);
  }
};

}  // namespace OrCommonTests
