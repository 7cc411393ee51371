// Processes, libraries, known folders and the code page of HostWindows.h.
#include <algorithm>
#include <cstring>

#include "Common/OrCommon/OrComn_SecurityAttributes.h"
#include "Common/OrCommon/OrComn_Shell.h"
#include "tests/fuzz/host/HostWindows.h"
#include "tests/fuzz/host/tlhelp32.h"

namespace HostWindows {

Machine machine;

void Reset() {
  machine = Machine();
  ::SetLastError(ERROR_SUCCESS);
}

}  // namespace HostWindows

namespace {

using HostWindows::machine;

DWORD g_lastError = ERROR_SUCCESS;
int g_anything = 0;  // what handles point to

constexpr int kFirstDoubleByte = 0x80;  // from here on, a character has two bytes in this machine's code page
constexpr BYTE kLeadByte = 0x81;

HANDLE OpenHandle() {
  ++machine.openHandles;
  return &g_anything;
}

void GetNativeSystemInfo(SYSTEM_INFO* info) {
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_AMD64;
}

}  // namespace

DWORD GetLastError() {
  return g_lastError;
}

void SetLastError(DWORD error) {
  g_lastError = error;
}

BOOL CloseHandle(HANDLE) {
  --machine.openHandles;
  return TRUE;
}

BOOL FreeLibrary(HMODULE) {
  --machine.openHandles;
  return TRUE;
}

// Needed only for look-ups here.
HMODULE GetModuleHandleW(const wchar_t*) {
  return nullptr;
}

HMODULE LoadLibraryW(const wchar_t*) {
  return static_cast<HMODULE>(OpenHandle());
}

FARPROC GetProcAddress(HMODULE, const char* name) {
  if (std::strcmp(name, "GetNativeSystemInfo") == 0) {
    return reinterpret_cast<FARPROC>(&GetNativeSystemInfo);
  }
  g_lastError = ERROR_PROC_NOT_FOUND;
  return nullptr;
}

// Only the length -1 is used (up to the terminator, which is included).
int WideCharToMultiByte(UINT, DWORD, const wchar_t* wide, int, char* narrow, int size, const char*, BOOL*) {
  std::string converted;
  for (const wchar_t* character = wide; *character != L'\0'; ++character) {
    if (*character >= kFirstDoubleByte) {
      converted += static_cast<char>(kLeadByte);
    }
    converted += static_cast<char>(*character >= kFirstDoubleByte ? '@' : *character);
  }
  const int needed = static_cast<int>(converted.size()) + 1;
  if (size == 0) {
    return needed;
  }
  std::memset(narrow, '#', static_cast<std::size_t>(size));  // used to the last byte
  if (size < needed) {
    return 0;
  }
  std::memcpy(narrow, converted.c_str(), static_cast<std::size_t>(needed));
  return needed;
}

BOOL IsDBCSLeadByte(BYTE byte) {
  return byte >= kLeadByte ? TRUE : FALSE;
}

BOOL GetVersionExW(OSVERSIONINFOW* version) {
  auto* const facts = reinterpret_cast<OSVERSIONINFOEXW*>(version);
  facts->dwMajorVersion = 6;
  facts->dwMinorVersion = 0;
  facts->dwPlatformId = VER_PLATFORM_WIN32_NT;
  facts->wProductType = VER_NT_WORKSTATION;
  return TRUE;
}

// No fuzzer looks for processes.
HANDLE CreateToolhelp32Snapshot(DWORD, DWORD) {
  return INVALID_HANDLE_VALUE;
}

BOOL Process32FirstW(HANDLE, PROCESSENTRY32W*) {
  return FALSE;
}

BOOL Process32NextW(HANDLE, PROCESSENTRY32W*) {
  return FALSE;
}

BOOL InitializeSecurityDescriptor(SECURITY_DESCRIPTOR* descriptor, DWORD) {
  descriptor->list = nullptr;
  return TRUE;
}

namespace OrCommon::Shell {

BOOL SHGetSpecialFolderPathW(HWND, wchar_t* path, int, BOOL) {
  if (machine.commonData.empty() || machine.commonData.size() >= MAX_PATH) {
    return FALSE;
  }
  std::copy_n(machine.commonData.c_str(), machine.commonData.size() + 1, path);
  return TRUE;
}

HRESULT SHGetFolderPathW(HWND, int, HANDLE, DWORD, wchar_t*) {
  return -1;
}

}  // namespace OrCommon::Shell

// The fuzzers do not check the access control lists themselves, only the folder that they are set on.
namespace OrCommon::AccessControl {

SecurityAttributes::SecurityAttributes() = default;

int ApplyFolderAccessRules(const std::wstring& path) {
  machine.stampedFolders.push_back(path);
  return 1;
}

}  // namespace OrCommon::AccessControl
