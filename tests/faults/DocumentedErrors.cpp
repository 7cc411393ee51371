#include "tests/faults/DocumentedErrors.h"

#include <string_view>

namespace Faults {
namespace {

struct Row {
  std::string_view function;
  std::vector<DWORD> errors;
};

// More than one where the product, or the documentation, tells them apart. A function, because the first calls come
// before the static objects of this file are made.
const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = {
      {"AddAccessAllowedAceEx", {ERROR_ALLOTTED_SPACE_EXCEEDED}},
      {"AdjustTokenPrivileges", {ERROR_INVALID_HANDLE}},
      {"AllocateAndInitializeSid", {ERROR_OUTOFMEMORY}},
      {"CloseHandle", {ERROR_INVALID_HANDLE}},
      {"ConvertSidToStringSidW", {ERROR_INVALID_SID}},
      {"CreateDirectoryW", {ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND}},
      {"CreateEnvironmentBlock", {ERROR_ACCESS_DENIED}},
      {"CreateEventW", {ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE}},
      {"CreateFileW", {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION}},
      {"CreateProcessAsUserW", {ERROR_PRIVILEGE_NOT_HELD}},
      {"CreateProcessW", {ERROR_FILE_NOT_FOUND}},
      {"CreateToolhelp32Snapshot", {ERROR_BAD_LENGTH}},
      {"DeleteFileW", {ERROR_ACCESS_DENIED}},
      {"DestroyEnvironmentBlock", {ERROR_INVALID_PARAMETER}},
      {"DuplicateTokenEx", {ERROR_ACCESS_DENIED}},
      {"EnumProcessModules", {ERROR_PARTIAL_COPY}},
      {"EnumProcesses", {ERROR_NOT_ENOUGH_MEMORY}},
      {"FindClose", {ERROR_INVALID_HANDLE}},
      {"FindFirstFileW", {ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND}},
      {"FindNextFileW", {ERROR_ACCESS_DENIED}},
      {"FreeLibrary", {ERROR_MOD_NOT_FOUND}},
      {"GetFileAttributesW", {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}},
      {"GetFileInformationByHandle", {ERROR_INVALID_HANDLE}},
      {"GetFileTime", {ERROR_INVALID_HANDLE}},
      {"GetFinalPathNameByHandleW", {ERROR_PATH_NOT_FOUND}},
      {"GetFullPathNameW", {ERROR_FILENAME_EXCED_RANGE}},
      {"GetModuleBaseNameW", {ERROR_INVALID_HANDLE}},
      {"GetModuleHandleW", {ERROR_MOD_NOT_FOUND}},
      {"GetProcAddress", {ERROR_PROC_NOT_FOUND}},
      {"GetSystemDirectoryW", {ERROR_NOT_ENOUGH_MEMORY}},
      {"GetUserNameExW", {ERROR_NONE_MAPPED}},
      {"GetUserNameW", {ERROR_INSUFFICIENT_BUFFER}},
      {"GetVersionExW", {ERROR_INVALID_PARAMETER}},
      {"GetWindowsDirectoryW", {ERROR_NOT_ENOUGH_MEMORY}},
      {"HeapSetInformation", {ERROR_INVALID_PARAMETER}},
      {"ImpersonateLoggedOnUser", {ERROR_PRIVILEGE_NOT_HELD}},
      {"InitializeAcl", {ERROR_INVALID_PARAMETER}},
      {"InitializeSecurityDescriptor", {ERROR_UNKNOWN_REVISION}},
      {"InitializeSid", {ERROR_INVALID_PARAMETER}},
      {"LoadLibraryW", {ERROR_MOD_NOT_FOUND}},
      {"LoadUserProfileW", {ERROR_ACCESS_DENIED}},
      {"LocalAlloc", {ERROR_NOT_ENOUGH_MEMORY}},
      {"LocalFree", {ERROR_INVALID_HANDLE}},
      {"LookupAccountNameW", {ERROR_NONE_MAPPED}},
      {"LookupPrivilegeValueW", {ERROR_NO_SUCH_PRIVILEGE}},
      {"MoveFileExW", {ERROR_ACCESS_DENIED}},
      {"MultiByteToWideChar", {ERROR_NO_UNICODE_TRANSLATION}},
      {"OpenProcess", {ERROR_ACCESS_DENIED}},
      {"OpenProcessToken", {ERROR_ACCESS_DENIED}},
      {"PathAppendW", {ERROR_FILENAME_EXCED_RANGE}},
      {"PathFileExistsW", {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}},
      {"PathRemoveFileSpecW", {ERROR_PATH_NOT_FOUND}},
      {"Process32FirstW", {ERROR_NO_MORE_FILES}},
      {"Process32NextW", {ERROR_NO_MORE_FILES}},
      {"ReadFile", {ERROR_READ_FAULT}},
      {"RegCloseKey", {ERROR_INVALID_HANDLE}},
      {"RegCreateKeyExW", {ERROR_ACCESS_DENIED}},
      {"RegDeleteKeyW", {ERROR_ACCESS_DENIED}},
      {"RegDeleteValueW", {ERROR_ACCESS_DENIED}},
      {"RegEnumKeyExW", {ERROR_ACCESS_DENIED, ERROR_MORE_DATA}},
      {"RegEnumKeyW", {ERROR_ACCESS_DENIED}},
      {"RegEnumValueW", {ERROR_ACCESS_DENIED}},
      {"RegFlushKey", {ERROR_REGISTRY_IO_FAILED}},
      {"RegOpenKeyExW", {ERROR_ACCESS_DENIED}},
      {"RegOpenKeyW", {ERROR_ACCESS_DENIED}},
      {"RegQueryInfoKeyW", {ERROR_ACCESS_DENIED}},
      {"RegQueryValueExW", {ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA}},
      {"RegSetValueExW", {ERROR_ACCESS_DENIED}},
      {"RemoveDirectoryW", {ERROR_DIR_NOT_EMPTY}},
      {"ResetEvent", {ERROR_INVALID_HANDLE}},
      {"RevertToSelf", {ERROR_ACCESS_DENIED}},
      {"SHCreateDirectoryExW", {ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND}},
      {"SHGetFolderPathW", {ERROR_PATH_NOT_FOUND}},
      {"SHGetSpecialFolderPathW", {ERROR_PATH_NOT_FOUND}},
      {"SetDefaultDllDirectories", {ERROR_INVALID_PARAMETER}},
      {"SetEntriesInAclW", {ERROR_NOT_ENOUGH_MEMORY}},
      {"SetEnvironmentVariableW", {ERROR_NOT_ENOUGH_MEMORY}},
      {"SetEvent", {ERROR_INVALID_HANDLE}},
      {"SetFileAttributesW", {ERROR_ACCESS_DENIED}},
      {"SetFileInformationByHandle", {ERROR_ACCESS_DENIED}},
      {"SetFileSecurityW", {ERROR_ACCESS_DENIED}},
      {"SetFileTime", {ERROR_ACCESS_DENIED}},
      {"SetKernelObjectSecurity", {ERROR_ACCESS_DENIED}},
      {"SetProcessMitigationPolicy", {ERROR_INVALID_PARAMETER}},
      {"SetSecurityDescriptorControl", {ERROR_INVALID_PARAMETER}},
      {"SetSecurityDescriptorDacl", {ERROR_UNKNOWN_REVISION}},
      {"SetSecurityDescriptorOwner", {ERROR_UNKNOWN_REVISION}},
      {"UnloadUserProfile", {ERROR_ACCESS_DENIED}},
      {"WTSGetActiveConsoleSessionId", {ERROR_NO_TOKEN}},  // how it says that no session is attached; it sets no code
      {"WTSQueryUserToken", {ERROR_NO_TOKEN}},
      {"WaitForSingleObject", {ERROR_INVALID_HANDLE, kTimeIsUp}},
      {"WideCharToMultiByte", {ERROR_NO_UNICODE_TRANSLATION}},
      {"WriteFile", {ERROR_DISK_FULL, kWroteNothing}},
  };
  return rows;
}

// They return nothing, or only what was asked of their arguments.
constexpr std::string_view kCannotFail[] = {
    "CompareFileTime",
    "DeleteCriticalSection",
    "EnterCriticalSection",
    "FreeSid",
    "GetCurrentProcess",
    "GetCurrentProcessId",
    "GetCurrentThreadId",
    "GetLastError",
    "GetLengthSid",
    "GetLocalTime",
    "GetNativeSystemInfo",
    "GetSidSubAuthority",
    "InitializeCriticalSection",
    "IsDBCSLeadByte",
    "LeaveCriticalSection",
    "PathFindFileNameA",
    "SetErrorMode",
    "SetLastError",
    "Sleep",
};

}  // namespace

const std::vector<DWORD>* ErrorsOf(const char* function) {
  for (const Row& row : Rows()) {
    if (row.function == function) {
      return &row.errors;
    }
  }
  static const std::vector<DWORD> none;
  for (const std::string_view name : kCannotFail) {
    if (name == function) {
      return &none;
    }
  }
  return nullptr;
}

}  // namespace Faults
