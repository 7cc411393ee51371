#include "tests/support/FileAccess.h"

#include <windows.h>

#include <sddl.h>

#include <stdexcept>

#include "tests/support/TextLines.h"

namespace TestSupport {
namespace {

void SetAccess(const std::wstring& path, const wchar_t* accessList) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(accessList, SDDL_REVISION_1, &descriptor, nullptr)) {
    throw std::logic_error("not an access list");
  }
  const BOOL set = ::SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor);
  const DWORD error = ::GetLastError();
  ::LocalFree(descriptor);
  if (!set) {
    throw std::runtime_error("cannot set the access list of " + ToUtf8(path) + ": error " + std::to_string(error));
  }
}

// A folder is unlocked before what lies in it, and locked behind it.
void SetTreeAccess(const std::wstring& folder, bool lock, Locked locked) {
  if (!lock) {
    SetAccess(folder, kFullFileAccess);
  }
  WIN32_FIND_DATAW found = {};
  const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot list " + ToUtf8(folder));
  }
  do {
    const std::wstring name = found.cFileName;
    const bool isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (name == L"." || name == L".." || (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
      continue;
    }
    if (isFolder) {
      SetTreeAccess(folder + L"\\" + name, lock, locked);
    } else if (!lock || locked == Locked::kFoldersAndFiles) {
      SetAccess(folder + L"\\" + name, lock ? kReadOnlyFileAccess : kFullFileAccess);
    }
  } while (::FindNextFileW(search, &found));
  ::FindClose(search);
  if (lock) {
    SetAccess(folder, kReadOnlyFileAccess);
  }
}

}  // namespace

void LockTree(const std::wstring& path, Locked locked) {
  SetTreeAccess(path, true, locked);
  const std::wstring probe = path + L"\\probe";
  const HANDLE file = ::CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  const DWORD error = ::GetLastError();
  if (file != INVALID_HANDLE_VALUE) {
    ::CloseHandle(file);
    ::DeleteFileW(probe.c_str());
    throw std::runtime_error("this program may write everywhere: it cannot show what an ordinary user meets");
  }
  if (error != ERROR_ACCESS_DENIED) {
    throw std::runtime_error("a locked folder refuses with error " + std::to_string(error));
  }
}

void UnlockTree(const std::wstring& path) {
  SetTreeAccess(path, false, Locked::kFoldersAndFiles);
}

}  // namespace TestSupport
