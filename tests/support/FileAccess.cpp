#include "tests/support/FileAccess.h"

#include <windows.h>

#include <sddl.h>

#include <stdexcept>

#include "tests/support/TextLines.h"

namespace TestSupport {
namespace {

void SetAccess(const std::wstring& path, const std::wstring& accessList) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(accessList.c_str(), SDDL_REVISION_1, &descriptor,
                                                              nullptr)) {
    throw std::logic_error("invalid access control list");
  }
  const BOOL set = ::SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor);
  const DWORD error = ::GetLastError();
  ::LocalFree(descriptor);
  if (!set) {
    throw std::runtime_error("cannot set the access control list of " + ToUtf8(path) + ": error " +
                             std::to_string(error));
  }
}

// A folder is unlocked before its contents, and locked after them.
void SetTreeAccess(const std::wstring& folder, const std::wstring& accessList, bool folderFirst) {
  if (folderFirst) {
    SetAccess(folder, accessList);
  }
  WIN32_FIND_DATAW found = {};
  const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot list " + ToUtf8(folder));
  }
  do {
    const std::wstring name = found.cFileName;
    if (name == L"." || name == L".." || (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
      continue;
    }
    const std::wstring path = folder + L"\\" + name;
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      SetTreeAccess(path, accessList, folderFirst);
    } else {
      SetAccess(path, accessList);
    }
  } while (::FindNextFileW(search, &found));
  ::FindClose(search);
  if (!folderFirst) {
    SetAccess(folder, accessList);
  }
}

std::wstring CurrentUser() {
  HANDLE token = nullptr;
  BYTE user[256] = {};
  DWORD size = sizeof user;
  wchar_t* sid = nullptr;
  const bool known = ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token) != FALSE &&
                     ::GetTokenInformation(token, TokenUser, user, size, &size) != FALSE &&
                     ::ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid, &sid) != FALSE;
  if (token != nullptr) {
    ::CloseHandle(token);
  }
  if (!known) {
    throw std::runtime_error("cannot read the SID of the current user");
  }
  const std::wstring text = sid;
  ::LocalFree(sid);
  return text;
}

}  // namespace

void LockTree(const std::wstring& folder) {
  // Denies: write, append, change attributes and extended attributes, delete, delete children. All else stays allowed:
  // Wine would report a file that nobody at all may write to as read-only.
  SetTreeAccess(folder, L"D:(D;;0x10156;;;" + CurrentUser() + L")(A;;FA;;;WD)", false);
  const std::wstring probe = folder + L"\\probe";
  const HANDLE file = ::CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  const DWORD error = ::GetLastError();
  if (file != INVALID_HANDLE_VALUE) {
    ::CloseHandle(file);
    ::DeleteFileW(probe.c_str());
    throw std::runtime_error("this process can write to a locked folder: it cannot test an ordinary user");
  }
  if (error != ERROR_ACCESS_DENIED) {
    throw std::runtime_error("access to a locked folder fails with error " + std::to_string(error) + ", not 5");
  }
}

void UnlockTree(const std::wstring& folder) {
  SetTreeAccess(folder, L"D:(A;;FA;;;WD)", true);
}

}  // namespace TestSupport
