// Names that ordinary programs cannot handle, and a Windows that refuses plain paths with them: paths of more than 259
// characters, and names that it reads as another name. Wine accepts them all.
#pragma once

#include <doctest/doctest.h>

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/ImportRedirection.h"

namespace OrCommonTests {

inline void MakeHostileFolder(const std::wstring& path) {
  REQUIRE(::CreateDirectoryW((L"\\\\?\\" + path).c_str(), nullptr));
}

inline void MakeHostileFile(const std::wstring& path, DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  const HANDLE file =
      ::CreateFileW((L"\\\\?\\" + path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, attributes, nullptr);
  REQUIRE(file != INVALID_HANDLE_VALUE);
  ::CloseHandle(file);
}

// Nested folders, until the path has at least this length. Returns the path of the last one.
inline std::wstring MakeDeepFolder(std::wstring path, std::size_t length) {
  while (path.size() < length) {
    path += L"\\" + std::wstring(40, L'd');
    MakeHostileFolder(path);
  }
  return path;
}

// Independent of the product's SystemPath: "nul.txt" and similar names are listed here.
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

}  // namespace OrCommonTests
