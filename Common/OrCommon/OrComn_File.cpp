#include "Common/OrCommon/OrComn_File.h"

#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::Storage::File {
namespace {

DWORD AttributesOf(std::wstring path) {
  // With a separator at its end the system would follow a link and tell of what it leads to.
  constexpr std::size_t kDriveRoot = 3;  // "C:\" keeps its backslash: without it, it is another folder
  while (path.size() > kDriveRoot && (path.back() == L'\\' || path.back() == L'/')) {
    path.pop_back();
  }
  return ::GetFileAttributesW(path.c_str());
}

// True for the codes that say that nothing has this name.
bool IsMissing(DWORD error) noexcept {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

void StoreError(DWORD* error, DWORD code) noexcept {
  if (error != nullptr) {
    *error = code;
  }
}

void ClearReadOnly(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES) {
    ::SetFileAttributesW(path.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
  }
}

// Removes one entry with `remove`, or has it removed at the next restart.
void Remove(const std::wstring& path, BOOL(WINAPI* remove)(const wchar_t*), int& restartNeeded) {
  ClearReadOnly(path);
  if (!remove(path.c_str())) {
    ::MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    restartNeeded = 1;
  }
}

// DeleteAllFiles for a folder that is known to be one; `folder` ends in a backslash.
bool DeleteBelow(const std::wstring& folder, int& restartNeeded, DWORD* error) {
  WIN32_FIND_DATAW entry;
  const FindHandle search(::FindFirstFileW((folder + L"*").c_str(), &entry));
  if (!search) {
    StoreError(error, ::GetLastError());
    return false;
  }
  bool succeeded = true;
  do {
    if (IsDotEntry(entry.cFileName)) {
      continue;
    }
    const std::wstring path = folder + entry.cFileName;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      Remove(path, ::DeleteFileW, restartNeeded);
      continue;
    }
    // The tree is writable by every user: a link may lead anywhere and is never entered. The listing may be old by now,
    // so the disk is asked once more.
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0 && !IsLink(path) &&
        !DeleteBelow(path + L'\\', restartNeeded, error)) {
      succeeded = false;
    }
    Remove(path, ::RemoveDirectoryW, restartNeeded);
  } while (::FindNextFileW(search.Get(), &entry));
  if (succeeded) {
    StoreError(error, ERROR_SUCCESS);
  }
  return succeeded;
}

}  // namespace

bool IsDotEntry(std::wstring_view name) noexcept {
  return name == L"." || name == L"..";
}

bool IsLink(const std::wstring& path) {
  const DWORD attributes = AttributesOf(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    return !IsMissing(::GetLastError());
  }
  return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = AttributesOf(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
         (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

void GetTemporaryFolder(std::wstring& folder) {
  constexpr std::wstring_view kSuffix = L"\\Temp";
  constexpr UINT kCapacity = MAX_PATH + 1;  // characters, terminator included
  wchar_t windowsFolder[kCapacity] = {};
  const UINT length = ::GetWindowsDirectoryW(windowsFolder, kCapacity);
  if (length == 0 || length >= kCapacity || length + kSuffix.size() + 1 > kCapacity) {
    folder = L"C:\\WINDOWS\\Temp";
    return;
  }
  folder.assign(windowsFolder, length).append(kSuffix);
}

bool DeleteAllFiles(const std::wstring& folder, int& restartNeeded, DWORD* error) {
  if (folder.empty()) {
    StoreError(error, ERROR_BAD_ARGUMENTS);
    return false;
  }
  const DWORD attributes = AttributesOf(folder);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD refusal = ::GetLastError();
    if (!IsMissing(refusal)) {  // it could be a link; a folder that is missing is reported by the listing
      StoreError(error, refusal);
      return false;
    }
  } else if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    StoreError(error, ERROR_SUCCESS);
    return true;
  }
  return DeleteBelow(folder.back() == L'\\' ? folder : folder + L'\\', restartNeeded, error);
}

}  // namespace OrCommon::Storage::File
