// SaveRegistry.exe <folder>
//
// Writes what stands in HKEY_LOCAL_MACHINE and HKEY_USERS to machine.txt and users.txt in a folder, so that the demo
// can compare before and after. Wine saves a branch inside its server, in milliseconds; an export with regedit asks key
// by key and takes seconds.
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

bool EnablePrivilege(HANDLE token, const wchar_t* name) {
  TOKEN_PRIVILEGES wanted{};
  wanted.PrivilegeCount = 1;
  wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  return ::LookupPrivilegeValueW(nullptr, name, &wanted.Privileges[0].Luid) != FALSE &&
         ::AdjustTokenPrivileges(token, FALSE, &wanted, 0, nullptr, nullptr) != FALSE &&
         ::GetLastError() == ERROR_SUCCESS;
}

bool Save(HKEY root, const std::wstring& file) {
  ::DeleteFileW(file.c_str());  // RegSaveKeyW refuses one that exists
  const LSTATUS status = ::RegSaveKeyW(root, file.c_str(), nullptr);
  if (status != ERROR_SUCCESS) {
    std::fprintf(stderr, "SaveRegistry: cannot save to %ls, error %ld\n", file.c_str(), status);
  }
  return status == ERROR_SUCCESS;
}

}  // namespace

int wmain(int argc, wchar_t** argv);

int wmain(int argc, wchar_t** argv) {
  if (argc != 2) {
    std::fputs("usage: SaveRegistry.exe <folder>\n", stderr);
    return 2;
  }
  HANDLE token = nullptr;
  if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token) == FALSE ||
      !EnablePrivilege(token, SE_BACKUP_NAME)) {
    std::fputs("SaveRegistry: the backup privilege cannot be had\n", stderr);
    return 1;
  }
  ::CloseHandle(token);
  const std::wstring folder = std::wstring(argv[1]) + L'\\';
  return Save(HKEY_LOCAL_MACHINE, folder + L"machine.txt") && Save(HKEY_USERS, folder + L"users.txt") ? 0 : 1;
}
