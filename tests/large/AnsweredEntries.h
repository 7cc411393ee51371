// The entries of a folder, as Windows would answer for them. They exist nowhere else.
#pragma once

#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <memory>
#include <optional>
#include <vector>

#include "tests/support/ImportRedirection.h"

namespace Large {

// Every folder of the name "large" contains them; the folder itself is real. A file can be listed, opened, read,
// replaced, deleted, and given other times, attributes and access lists. Each has one byte and the same time.
class AnsweredEntries {
 public:
  AnsweredEntries() {
    Redirect("FindFirstFileW", &::FindFirstFileW, [this](LPCWSTR pattern, WIN32_FIND_DATAW* entry) {
      next_ = 0;
      return IsLarge(pattern) && Next(*entry) ? std::optional<HANDLE>(Handle()) : std::nullopt;
    });
    Redirect("FindNextFileW", &::FindNextFileW, [this](HANDLE search, WIN32_FIND_DATAW* entry) {
      return search == Handle() ? std::optional<BOOL>(Next(*entry)) : std::nullopt;
    });
    Redirect("CreateFileW", &::CreateFileW, [this](LPCWSTR path, DWORD access, auto...) {
      return IsLarge(path) ? std::optional<HANDLE>(Open(path, access)) : std::nullopt;
    });
    Redirect("GetFileTime", &::GetFileTime, [](HANDLE file, FILETIME*, FILETIME*, FILETIME* written) {
      if (file == Handle()) {
        *written = {0x12340000, 0x01D5C000};
      }
      return TrueIf(file == Handle());
    });
    Redirect("ReadFile", &::ReadFile, [this](HANDLE file, void* bytes, DWORD, DWORD* read, auto...) {
      if (file == Handle()) {
        *static_cast<char*>(bytes) = 'x';
        *read = isUnread_ ? 1 : 0;
        isUnread_ = false;
      }
      return TrueIf(file == Handle());
    });
    Redirect("WriteFile", &::WriteFile, [](HANDLE file, const void*, DWORD size, DWORD* written, auto...) {
      if (file == Handle()) {
        *written = size;
      }
      return TrueIf(file == Handle());
    });
    Redirect("GetFileAttributesW", &::GetFileAttributesW,
             [this](LPCWSTR path) { return IsLarge(path) ? std::optional<DWORD>(attributes) : std::nullopt; });
    Redirect("FindClose", &::FindClose, [](HANDLE search) { return TrueIf(search == Handle()); });
    Redirect("CloseHandle", &::CloseHandle, [](HANDLE file) { return TrueIf(file == Handle()); });
    Redirect("SetFileTime", &::SetFileTime, [](HANDLE file, auto...) { return TrueIf(file == Handle()); });
    Redirect("SetFileAttributesW", &::SetFileAttributesW, [](LPCWSTR path, DWORD) { return TrueIf(IsLarge(path)); });
    Redirect("SetFileSecurityW", &::SetFileSecurityW, [](LPCWSTR path, auto...) { return TrueIf(IsLarge(path)); });
    Redirect("DeleteFileW", &::DeleteFileW, [](LPCWSTR path) { return TrueIf(IsLarge(path)); });
  }
  AnsweredEntries(const AnsweredEntries&) = delete;
  AnsweredEntries& operator=(const AnsweredEntries&) = delete;

  unsigned count = 0;
  DWORD attributes = FILE_ATTRIBUTE_NORMAL;  // or FILE_ATTRIBUTE_DIRECTORY
  bool areCopied = false;                    // they exist outside of the source, "src", as well

 private:
  // Of the listing and of every file. A number that no real handle has.
  static HANDLE Handle() { return reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(0x71000001)); }
  static bool IsLarge(const wchar_t* path) { return std::wcsstr(path, L"\\large\\") != nullptr; }
  static std::optional<BOOL> TrueIf(bool isAnswered) { return isAnswered ? std::optional<BOOL>(TRUE) : std::nullopt; }

  // `answer` returns the result, or nothing if Windows is to be asked.
  template <class Result, class... Arguments, class Answer>
  void Redirect(const char* name, Result(WINAPI* /*type*/)(Arguments...), Answer answer) {
    const std::size_t place = redirections_.size();
    redirections_.push_back(
        std::make_unique<TestSupport::ImportRedirection>(name, [this, place, answer](Arguments... arguments) -> Result {
          const std::optional<Result> own = answer(arguments...);
          return own ? *own : redirections_[place]->Original<Result(WINAPI*)(Arguments...)>()(arguments...);
        }));
  }

  bool Next(WIN32_FIND_DATAW& entry) {
    if (next_ > count) {
      ::SetLastError(ERROR_NO_MORE_FILES);
      return false;
    }
    entry.dwFileAttributes = next_ == 0 ? FILE_ATTRIBUTE_DIRECTORY : attributes;
    ::_snwprintf(entry.cFileName, MAX_PATH, next_ == 0 ? L"." : L"entry-%06u.dat", next_);
    ++next_;
    return true;
  }

  HANDLE Open(const wchar_t* path, DWORD access) {
    if ((access & GENERIC_WRITE) == 0 && !areCopied && std::wcsstr(path, L"\\src\\") == nullptr) {
      ::SetLastError(ERROR_FILE_NOT_FOUND);
      return INVALID_HANDLE_VALUE;
    }
    isUnread_ = true;
    return Handle();
  }

  bool isUnread_ = false;
  unsigned next_ = 0;  // 0 is the folder's own entry, "."
  std::vector<std::unique_ptr<TestSupport::ImportRedirection>> redirections_;
};

}  // namespace Large
