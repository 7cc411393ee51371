#include "tests/support/FailureReturns.h"

#include <cstring>
#include <stdexcept>

namespace TestSupport {
namespace {

enum class Way {
  kFalse,            // FALSE, null or 0, and the last-error code
  kMinusOne,         // INVALID_HANDLE_VALUE, and the last-error code
  kAllOnes,          // 0xFFFFFFFF as a DWORD, and the last-error code
  kErrorCode,        // the code itself; the last-error code is left alone
  kHresult,          // an HRESULT made of the code; the last-error code is left alone
  kFalseSilently,    // FALSE; the last-error code is left alone
  kAllOnesSilently,  // 0xFFFFFFFF as a DWORD; the last-error code is left alone
  kNotNull,          // what was to be freed, so anything but null, and the last-error code
};

struct Row {
  const char* function;
  Way way;
};

constexpr Row kRows[] = {
    // kernel32: files
    {"CopyFileW", Way::kFalse},
    {"CreateDirectoryW", Way::kFalse},
    {"CreateFileW", Way::kMinusOne},
    {"DeleteFileW", Way::kFalse},
    {"FindClose", Way::kFalse},
    {"FindFirstFileW", Way::kMinusOne},
    {"FindNextFileW", Way::kFalse},
    {"GetFileAttributesExW", Way::kFalse},
    {"GetFileAttributesW", Way::kAllOnes},
    {"GetFileInformationByHandle", Way::kFalse},
    {"GetFileSize", Way::kAllOnes},
    {"GetFileSizeEx", Way::kFalse},
    {"GetFileTime", Way::kFalse},
    {"GetFinalPathNameByHandleW", Way::kFalse},
    {"GetFullPathNameW", Way::kFalse},
    {"GetSystemDirectoryW", Way::kFalse},
    {"GetTempFileNameW", Way::kFalse},
    {"GetTempPathW", Way::kFalse},
    {"GetWindowsDirectoryW", Way::kFalse},
    {"MoveFileExW", Way::kFalse},
    {"MoveFileW", Way::kFalse},
    {"ReadFile", Way::kFalse},
    {"RemoveDirectoryW", Way::kFalse},
    {"SetEndOfFile", Way::kFalse},
    {"SetFileAttributesW", Way::kFalse},
    {"SetFileInformationByHandle", Way::kFalse},
    {"SetFilePointer", Way::kAllOnes},
    {"SetFileTime", Way::kFalse},
    {"WriteFile", Way::kFalse},
    // kernel32: processes, libraries, events, text
    {"CloseHandle", Way::kFalse},
    {"CreateEventW", Way::kFalse},
    {"CreateProcessW", Way::kFalse},
    {"CreateToolhelp32Snapshot", Way::kMinusOne},
    {"FreeLibrary", Way::kFalse},
    {"GetExitCodeProcess", Way::kFalse},
    {"GetModuleFileNameW", Way::kFalse},
    {"GetModuleHandleA", Way::kFalse},
    {"GetModuleHandleW", Way::kFalse},
    {"GetProcAddress", Way::kFalse},
    {"GetVersionExW", Way::kFalse},
    {"HeapSetInformation", Way::kFalse},
    {"LoadLibraryA", Way::kFalse},
    {"LoadLibraryExW", Way::kFalse},
    {"LoadLibraryW", Way::kFalse},
    {"LocalAlloc", Way::kFalse},
    {"LocalFree", Way::kNotNull},
    {"MultiByteToWideChar", Way::kFalse},
    {"OpenProcess", Way::kFalse},
    {"Process32FirstW", Way::kFalse},
    {"Process32NextW", Way::kFalse},
    {"ResetEvent", Way::kFalse},
    {"SetDefaultDllDirectories", Way::kFalse},
    {"SetEnvironmentVariableW", Way::kFalse},
    {"SetEvent", Way::kFalse},
    {"SetProcessMitigationPolicy", Way::kFalse},
    {"WTSGetActiveConsoleSessionId", Way::kAllOnesSilently},
    {"WaitForSingleObject", Way::kAllOnes},
    {"WideCharToMultiByte", Way::kFalse},
    // advapi32: registry
    {"RegCloseKey", Way::kErrorCode},
    {"RegCreateKeyExW", Way::kErrorCode},
    {"RegCreateKeyW", Way::kErrorCode},
    {"RegDeleteKeyW", Way::kErrorCode},
    {"RegDeleteValueW", Way::kErrorCode},
    {"RegEnumKeyExW", Way::kErrorCode},
    {"RegEnumKeyW", Way::kErrorCode},
    {"RegEnumValueW", Way::kErrorCode},
    {"RegFlushKey", Way::kErrorCode},
    {"RegOpenKeyExW", Way::kErrorCode},
    {"RegOpenKeyW", Way::kErrorCode},
    {"RegQueryInfoKeyW", Way::kErrorCode},
    {"RegQueryValueExW", Way::kErrorCode},
    {"RegSetValueExW", Way::kErrorCode},
    // advapi32: security and sessions
    {"AddAccessAllowedAce", Way::kFalse},
    {"AddAccessAllowedAceEx", Way::kFalse},
    {"AdjustTokenPrivileges", Way::kFalse},
    {"AllocateAndInitializeSid", Way::kFalse},
    {"ConvertSidToStringSidW", Way::kFalse},
    {"CopySid", Way::kFalse},
    {"CreateProcessAsUserW", Way::kFalse},
    {"CreateWellKnownSid", Way::kFalse},
    {"DuplicateTokenEx", Way::kFalse},
    {"GetTokenInformation", Way::kFalse},
    {"GetUserNameW", Way::kFalse},
    {"ImpersonateLoggedOnUser", Way::kFalse},
    {"InitializeAcl", Way::kFalse},
    {"InitializeSecurityDescriptor", Way::kFalse},
    {"InitializeSid", Way::kFalse},
    {"LookupAccountNameW", Way::kFalse},
    {"LookupPrivilegeValueW", Way::kFalse},
    {"OpenProcessToken", Way::kFalse},
    {"RevertToSelf", Way::kFalse},
    {"SetEntriesInAclW", Way::kErrorCode},
    {"SetFileSecurityW", Way::kFalse},
    {"SetKernelObjectSecurity", Way::kFalse},
    {"SetNamedSecurityInfoW", Way::kErrorCode},
    {"SetSecurityDescriptorControl", Way::kFalse},
    {"SetSecurityDescriptorDacl", Way::kFalse},
    {"SetSecurityDescriptorOwner", Way::kFalse},
    {"SystemFunction036", Way::kFalseSilently},
    // psapi, userenv, wtsapi32
    {"CreateEnvironmentBlock", Way::kFalse},
    {"DestroyEnvironmentBlock", Way::kFalse},
    {"EnumProcessModules", Way::kFalse},
    {"EnumProcesses", Way::kFalse},
    {"GetModuleBaseNameW", Way::kFalse},
    {"LoadUserProfileW", Way::kFalse},
    {"UnloadUserProfile", Way::kFalse},
    {"WTSQueryUserToken", Way::kFalse},
    // shell32, shlwapi, secur32
    {"GetUserNameExW", Way::kFalse},
    {"PathAppendW", Way::kFalseSilently},
    {"PathFileExistsW", Way::kFalse},
    {"PathRemoveFileSpecW", Way::kFalseSilently},
    {"SHCreateDirectoryExW", Way::kErrorCode},
    {"SHGetFolderPathW", Way::kHresult},
    {"SHGetSpecialFolderPathW", Way::kFalseSilently},
};

}  // namespace

FailureReturn FailureReturn::Of(const char* function, DWORD error) {
  for (const Row& row : kRows) {
    if (std::strcmp(row.function, function) == 0) {
      switch (row.way) {
        case Way::kFalse:
          return {0, error, true};
        case Way::kMinusOne:
          return {~ULONG_PTR{0}, error, true};
        case Way::kAllOnes:
          return {0xFFFFFFFFU, error, true};
        case Way::kErrorCode:
          return {error, error, false};
        case Way::kHresult:
          return {static_cast<DWORD>(HRESULT_FROM_WIN32(error)), error, false};
        case Way::kFalseSilently:
          return {0, error, false};
        case Way::kAllOnesSilently:
          return {0xFFFFFFFFU, error, false};
        case Way::kNotNull:
          return {1, error, true};
      }
    }
  }
  throw std::logic_error(std::string("FailureReturns.cpp does not know how ") + function + " reports a failure");
}

std::vector<std::string> FunctionsThatMayFail() {
  std::vector<std::string> names;
  for (const Row& row : kRows) {
    names.emplace_back(row.function);
  }
  return names;
}

}  // namespace TestSupport
