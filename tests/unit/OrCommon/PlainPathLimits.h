// A Windows that takes no plain path of more than 259 characters, and none with a name that it reads as another. Wine
// takes them all.
#pragma once

#include <windows.h>

#include <string>

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
  unsigned Refused() const { return refused_; }

 private:
  bool Refuses(LPCWSTR path) {
    if (!NeedsLongForm(path)) {
      return false;
    }
    ++refused_;
    ::SetLastError(ERROR_PATH_NOT_FOUND);
    return true;
  }

  unsigned refused_ = 0;
  TestSupport::ImportRedirection get_{"GetFileAttributesW", [this](LPCWSTR path) -> DWORD {
                                        return Refuses(path) ? INVALID_FILE_ATTRIBUTES
                                                             : get_.Original<decltype(&::GetFileAttributesW)>()(path);
                                      }};
  TestSupport::ImportRedirection set_{"SetFileAttributesW", [this](LPCWSTR path, DWORD attributes) -> BOOL {
                                        return !Refuses(path) &&
                                               set_.Original<decltype(&::SetFileAttributesW)>()(path, attributes);
                                      }};
  TestSupport::ImportRedirection find_{
      "FindFirstFileW", [this](LPCWSTR path, WIN32_FIND_DATAW* entry) -> HANDLE {
        return Refuses(path) ? INVALID_HANDLE_VALUE : find_.Original<decltype(&::FindFirstFileW)>()(path, entry);
      }};
};

// With the calls that delete.
class PlainDeletionLimits : public PlainPathLimits {
  template <class Function>
  static BOOL Call(const TestSupport::ImportRedirection& redirection, LPCWSTR path) {
    if (NeedsLongForm(path)) {
      ::SetLastError(ERROR_PATH_NOT_FOUND);
      return FALSE;
    }
    return redirection.Original<Function>()(path);
  }

  TestSupport::ImportRedirection delete_{
      "DeleteFileW", [this](LPCWSTR path) -> BOOL { return Call<decltype(&::DeleteFileW)>(delete_, path); }};
  TestSupport::ImportRedirection remove_{
      "RemoveDirectoryW", [this](LPCWSTR path) -> BOOL { return Call<decltype(&::RemoveDirectoryW)>(remove_, path); }};
};

}  // namespace OrCommonTests
