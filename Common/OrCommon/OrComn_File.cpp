#include "Common/OrCommon/OrComn_File.h"

#include <algorithm>

#include "Common/OrCommon/OrComn_FolderWalk.h"
#include "Common/OrCommon/OrComn_System.h"

namespace OrCommon::Storage::File {
namespace {

constexpr std::size_t kDriveRoot = 3;  // "C:\": without its backslash it is another folder

// With a separator at its end the system would follow a link and tell of what it leads to.
std::wstring WithoutSeparator(std::wstring path) {
  while (path.size() > kDriveRoot && (path.back() == L'\\' || path.back() == L'/')) {
    path.pop_back();
  }
  return path;
}

DWORD AttributesOf(const std::wstring& path) {
  return ::GetFileAttributesW(SystemPath(WithoutSeparator(path)).c_str());
}

// What Windows takes for a device, whatever follows behind a dot.
bool IsDeviceName(std::wstring_view name) {
  name = name.substr(0, name.find_first_of(L".:"));
  name = name.substr(0, name.find_last_not_of(L' ') + 1);
  constexpr std::size_t kPort = 3;  // letters before the number
  if (name.size() == kPort + 1) {
    constexpr std::wstring_view kNumbers = L"0123456789\x00B9\x00B2\x00B3";
    const std::wstring_view port = name.substr(0, kPort);
    return kNumbers.find(name.back()) != std::wstring_view::npos &&
           (System::EqualsIgnoringAsciiCase(port, L"COM") || System::EqualsIgnoringAsciiCase(port, L"LPT"));
  }
  constexpr const wchar_t* kDevices[] = {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"};
  return std::any_of(std::begin(kDevices), std::end(kDevices),
                     [&](const wchar_t* device) { return System::EqualsIgnoringAsciiCase(name, device); });
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
    if (!mayWait || mayWait(entry)) {
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

bool IsDotEntry(std::wstring_view name) noexcept {
  return name == L"." || name == L"..";
}

std::wstring FullPath(const std::wstring& path) {
  std::wstring full(::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  const DWORD length = ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  if (length == 0 || length >= full.size()) {
    return path;
  }
  full.resize(length);
  return WithoutSeparator(full);
}

bool IsSameOrBelow(const std::wstring& path, const std::wstring& folder) {
  return System::EqualsIgnoringAsciiCase(std::wstring_view(path).substr(0, folder.size()), folder) &&
         (path.size() == folder.size() || path[folder.size()] == L'\\');
}

std::wstring SystemPath(const std::wstring& path) {
  const std::wstring_view view = path;
  if (view.size() < kDriveRoot) {
    return path;
  }
  const bool isOnDrive = view.substr(1, 2) == L":\\";
  const bool isOnShare = view.substr(0, 2) == L"\\\\" && view.substr(2, 1).find_first_of(L"?.") != 0;
  if ((!isOnDrive && !isOnShare) || view.find(L'/') != std::wstring_view::npos) {
    return path;
  }
  bool isWanted = path.size() >= MAX_PATH;
  for (std::size_t begin = isOnDrive ? kDriveRoot : 2, end = 0; begin < view.size(); begin = end + 1) {
    end = std::min(view.find(L'\\', begin), view.size());
    const std::wstring_view name = view.substr(begin, end - begin);
    if (name.empty() || IsDotEntry(name)) {
      return path;  // what the long form would take for a name
    }
    isWanted = isWanted || name.back() == L' ' || name.back() == L'.' || IsDeviceName(name);
  }
  if (!isWanted) {
    return path;
  }
  return isOnDrive ? L"\\\\?\\" + path : L"\\\\?\\UNC" + path.substr(1);
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

bool DeleteAllFiles(const std::wstring& folder, int& restartNeeded, DWORD* error, const MayWait& mayWait) {
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
  return DeleteBelow(FullPath(folder), restartNeeded, error, mayWait);
}

}  // namespace OrCommon::Storage::File
