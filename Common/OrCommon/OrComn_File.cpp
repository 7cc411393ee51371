#include "Common/OrCommon/OrComn_File.h"

#include <cwchar>

#include "Common/OrCommon/OrComn_FolderWalk.h"

namespace OrCommon::Storage::File {
namespace {

// With a separator at its end the system would follow a link and describe its target.
DWORD AttributesOf(const std::wstring& path) {
  return ::GetFileAttributesW(SystemPath(WithoutSeparator(path)).c_str());
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

// Removes one entry with `remove`, or schedules that for the next restart.
void Remove(const std::wstring& entry, BOOL(WINAPI* remove)(const wchar_t*), int& restartNeeded,
            const MayWait& mayWait) {
  const std::wstring path = SystemPath(entry);
  ClearReadOnly(path);
  if (!remove(path.c_str())) {
    // Not for longer paths: a user could create any number of them, all scheduled for the next start of Windows.
    if (entry.size() < MAX_PATH && (!mayWait || mayWait(entry))) {
      ::MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    }
    restartNeeded = 1;
  }
}

// DeleteAllFiles for a full path that is known not to be a link.
bool DeleteBelow(const std::wstring& folder, int& restartNeeded, DWORD* error, const MayWait& mayWait) {
  FolderWalk walk(folder, L"*");
  for (walk.Enter(); walk.Next();) {
    const bool isFolder = walk.IsLeaving() || (walk.Attributes() & FILE_ATTRIBUTE_DIRECTORY) != 0;
    // Every user can write to the tree: a link may lead anywhere and is never entered. The listing may be outdated, so
    // check again. A folder is removed when the walk leaves it.
    if (isFolder && !walk.IsLeaving() && (walk.Attributes() & FILE_ATTRIBUTE_REPARSE_POINT) == 0 &&
        !IsLink(walk.Path()) && walk.Enter()) {
      continue;
    }
    Remove(walk.Path(), isFolder ? ::RemoveDirectoryW : ::DeleteFileW, restartNeeded, mayWait);
  }
  StoreError(error, walk.Error());
  return walk.Succeeded();
}

}  // namespace

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

void GetTemporaryFolder(wchar_t* folder) noexcept {
  constexpr std::wstring_view kSuffix = L"\\Temp";
  constexpr UINT kCapacity = kTemporaryFolderCapacity;
  const UINT length = ::GetWindowsDirectoryW(folder, kCapacity);
  if (length == 0 || length >= kCapacity || length + kSuffix.size() + 1 > kCapacity) {
    std::wcscpy(folder, L"C:\\WINDOWS\\Temp");
    return;
  }
  std::wcscpy(folder + length, kSuffix.data());
}

bool DeleteAllFiles(const std::wstring& folder, int& restartNeeded, DWORD* error, const MayWait& mayWait) {
  if (folder.empty()) {
    StoreError(error, ERROR_BAD_ARGUMENTS);
    return false;
  }
  const std::wstring full = FullPath(folder);  // one path for the check and the deletion
  const DWORD attributes = AttributesOf(full);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD refusal = ::GetLastError();
    if (!IsMissing(refusal)) {  // it could be a link; the listing reports a missing folder
      StoreError(error, refusal);
      return false;
    }
  } else if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    StoreError(error, ERROR_SUCCESS);
    return true;
  }
  return DeleteBelow(full, restartNeeded, error, mayWait);
}

}  // namespace OrCommon::Storage::File
