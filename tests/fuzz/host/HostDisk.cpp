// The disk of HostWindows.h. A link is a folder with a link's attribute. The contents of its target appear below it.
#include <algorithm>
#include <cwchar>

#include "tests/fuzz/host/HostWindows.h"

namespace HostWindows {

std::wstring Plain(const std::wstring& given) {
  constexpr std::size_t kLongForm = 4;
  const std::wstring path = given.compare(0, kLongForm, L"\\\\?\\") == 0 ? given.substr(kLongForm) : given;
  std::wstring plain;
  for (const wchar_t character : path) {
    if (character != L'\\' || plain.empty() || plain.back() != L'\\') {
      plain += character;
    }
  }
  if (!plain.empty() && plain.back() == L'\\') {
    plain.pop_back();
  }
  return plain;
}

}  // namespace HostWindows

namespace {

using HostWindows::machine;
using HostWindows::Plain;

BOOL Fail(DWORD error) {
  ::SetLastError(error);
  return FALSE;
}

bool Exists(const std::wstring& path) {
  return machine.disk.count(path) != 0;
}

// The names directly below a folder.
std::vector<std::wstring> NamesBelow(const std::wstring& folder) {
  const std::wstring start = folder + L"\\";
  std::vector<std::wstring> names = {L".", L".."};
  for (const auto& [path, attributes] : machine.disk) {
    if (path.compare(0, start.size(), start) == 0 && path.find(L'\\', start.size()) == std::wstring::npos) {
      names.push_back(path.substr(start.size()));
    }
  }
  return names;
}

struct Search {
  std::wstring folder;
  std::vector<std::wstring> names;
  std::size_t next = 0;
};

}  // namespace

DWORD GetFileAttributesW(const wchar_t* path) {
  const auto found = machine.disk.find(Plain(path));
  if (found == machine.disk.end()) {
    ::SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_FILE_ATTRIBUTES;
  }
  return found->second;
}

BOOL SetFileAttributesW(const wchar_t* given, DWORD attributes) {
  const std::wstring path = Plain(given);
  if (!Exists(path)) {
    return Fail(ERROR_FILE_NOT_FOUND);
  }
  machine.disk[path] = attributes;
  return TRUE;
}

BOOL CreateDirectoryW(const wchar_t* path, SECURITY_ATTRIBUTES*) {
  if (!machine.foldersCanBeMade) {
    return Fail(ERROR_ACCESS_DENIED);
  }
  if (Exists(Plain(path))) {
    return Fail(ERROR_ALREADY_EXISTS);
  }
  machine.madeFolders.emplace_back(path);
  machine.disk[Plain(path)] = FILE_ATTRIBUTE_DIRECTORY;
  return TRUE;
}

BOOL DeleteFileW(const wchar_t* given) {
  const std::wstring path = Plain(given);
  if (!Exists(path)) {
    return Fail(ERROR_FILE_NOT_FOUND);
  }
  if (machine.held.count(path) != 0 ||
      (machine.disk[path] & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY)) != 0) {
    return Fail(ERROR_ACCESS_DENIED);
  }
  machine.disk.erase(path);
  return TRUE;
}

// Of a link, only the link is deleted: the entries below it belong to the target.
BOOL RemoveDirectoryW(const wchar_t* given) {
  const std::wstring path = Plain(given);
  if (!Exists(path)) {
    return Fail(ERROR_FILE_NOT_FOUND);
  }
  const DWORD attributes = machine.disk[path];
  if (machine.held.count(path) != 0 || (attributes & FILE_ATTRIBUTE_READONLY) != 0 ||
      (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    return Fail(ERROR_ACCESS_DENIED);
  }
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0 && NamesBelow(path).size() > 2) {
    return Fail(ERROR_DIR_NOT_EMPTY);
  }
  machine.disk.erase(path);
  return TRUE;
}

BOOL MoveFileExW(const wchar_t* from, const wchar_t*, DWORD) {
  machine.putOff.push_back(Plain(from));
  return TRUE;
}

HANDLE FindFirstFileW(const wchar_t* pattern, WIN32_FIND_DATAW* entry) {
  const std::wstring text = pattern;
  const std::wstring folder = Plain(text.substr(0, text.rfind(L'\\')));
  const auto found = machine.disk.find(folder);
  if (found == machine.disk.end() || (found->second & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    ::SetLastError(ERROR_PATH_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  auto* const search = new Search{folder, NamesBelow(folder)};
  ++machine.openHandles;
  FindNextFileW(search, entry);
  return search;
}

BOOL FindNextFileW(HANDLE handle, WIN32_FIND_DATAW* entry) {
  auto* const search = static_cast<Search*>(handle);
  if (search->next == search->names.size()) {
    return Fail(ERROR_NO_MORE_FILES);
  }
  const std::wstring& name = search->names[search->next++];
  const auto found = machine.disk.find(search->folder + L"\\" + name);
  entry->dwFileAttributes = found != machine.disk.end() ? found->second : FILE_ATTRIBUTE_DIRECTORY;
  const std::size_t length = std::min<std::size_t>(name.size(), MAX_PATH - 1);
  std::copy_n(name.begin(), length, entry->cFileName);
  entry->cFileName[length] = L'\0';
  return TRUE;
}

BOOL FindClose(HANDLE handle) {
  delete static_cast<Search*>(handle);
  --machine.openHandles;
  return TRUE;
}

DWORD GetFullPathNameW(const wchar_t* path, DWORD capacity, wchar_t* full, wchar_t**) {
  const std::wstring plain = Plain(path);
  if (plain.size() >= capacity) {
    return static_cast<DWORD>(plain.size() + 1);
  }
  std::copy_n(plain.c_str(), plain.size() + 1, full);
  return static_cast<DWORD>(plain.size());
}

UINT GetWindowsDirectoryW(wchar_t* folder, UINT) {
  constexpr wchar_t kFolder[] = L"C:\\WINDOWS";
  std::copy(std::begin(kFolder), std::end(kFolder), folder);
  return sizeof kFolder / sizeof(wchar_t) - 1;
}

UINT GetSystemDirectoryW(wchar_t* folder, UINT capacity) {
  const UINT length = GetWindowsDirectoryW(folder, capacity);
  std::wcscpy(folder + length, L"\\system32");
  return static_cast<UINT>(std::wcslen(folder));
}
