#include "Common/OrCommon/OrComn_File.h"

#include "Common/OrCommon/OrComn_FolderWalk.h"

namespace OrCommon::Storage::File {
namespace {

// With a separator at its end the system would follow a link and tell of what it leads to.
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

// Removes one entry with `remove`, or has it removed at the next restart.
void Remove(const std::wstring& entry, BOOL(WINAPI* remove)(const wchar_t*), int& restartNeeded,
            const MayWait& mayWait) {
  const std::wstring path = SystemPath(entry);
  ClearReadOnly(path);
  if (!remove(path.c_str())) {
    // Too long for a plain path: nobody could bound what a user piles up there for the next start of Windows.
    if (entry.size() < MAX_PATH && (!mayWait || mayWait(entry))) {
      ::MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    }
    restartNeeded = 1;
  }
}

// DeleteAllFiles for a full path that is known to be no link.
bool DeleteBelow(const std::wstring& folder, int& restartNeeded, DWORD* error, const MayWait& mayWait) {
  FolderWalk walk(folder, L"*");
  for (walk.Enter(); walk.Next();) {
    const bool isFolder = walk.IsLeaving() || (walk.Attributes() & FILE_ATTRIBUTE_DIRECTORY) != 0;
    // The tree is writable by every user: a link may lead anywhere and is never entered. The listing may be old by now,
    // so the disk is asked once more. What is entered is removed when the walk leaves it.
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

bool DeleteAllFiles(const std::wstring& folder, int& restartNeeded, DWORD* error, const MayWait& mayWait) {
  if (folder.empty()) {
    StoreError(error, ERROR_BAD_ARGUMENTS);
    return false;
  }
  const std::wstring full = FullPath(folder);  // one text for the look and for what is done
  const DWORD attributes = AttributesOf(full);
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
  return DeleteBelow(full, restartNeeded, error, mayWait);
}

}  // namespace OrCommon::Storage::File
