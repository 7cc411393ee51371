// The Windows functions that product code calls, by number, and how each is made to fail.
#pragma once

#include <windows.h>

#include <vector>

namespace Faults {

// Answers that are no failures of the call, and no success either: the time of WaitForSingleObject was up; WriteFile
// wrote less than it was to write.
inline constexpr DWORD kTimeIsUp = WAIT_TIMEOUT;
inline constexpr DWORD kWroteNothing = ERROR_HANDLE_DISK_FULL;

// The function and the errors that it fails with, one run for each: more than one where the product, or the
// documentation, tells them apart, and none where it cannot fail, or not so that its caller could tell. (What
// WTSGetActiveConsoleSessionId answers where no session is attached comes without a code.)

// Imported. Held against the product's object files by list_calls.py.
#define FAULTS_IMPORTED_CALLS(CALL)                                     \
  CALL(AddAccessAllowedAceEx, (ERROR_ALLOTTED_SPACE_EXCEEDED))          \
  CALL(AdjustTokenPrivileges, (ERROR_INVALID_HANDLE))                   \
  CALL(AllocateAndInitializeSid, (ERROR_OUTOFMEMORY))                   \
  CALL(CloseHandle, (ERROR_INVALID_HANDLE))                             \
  CALL(CompareFileTime, ())                                             \
  CALL(ConvertSidToStringSidW, (ERROR_INVALID_SID))                     \
  CALL(CreateDirectoryW, (ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND))   \
  CALL(CreateEventW, (ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE))       \
  CALL(CreateFileW, (ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION))     \
  CALL(CreateProcessAsUserW, (ERROR_PRIVILEGE_NOT_HELD))                \
  CALL(CreateProcessW, (ERROR_FILE_NOT_FOUND))                          \
  CALL(CreateToolhelp32Snapshot, (ERROR_BAD_LENGTH))                    \
  CALL(DeleteCriticalSection, ())                                       \
  CALL(DeleteFileW, (ERROR_ACCESS_DENIED))                              \
  CALL(EnterCriticalSection, ())                                        \
  CALL(FindClose, (ERROR_INVALID_HANDLE))                               \
  CALL(FindFirstFileW, (ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND))     \
  CALL(FindNextFileW, (ERROR_ACCESS_DENIED))                            \
  CALL(FreeLibrary, (ERROR_MOD_NOT_FOUND))                              \
  CALL(FreeSid, ())                                                     \
  CALL(GetCurrentProcess, ())                                           \
  CALL(GetCurrentProcessId, ())                                         \
  CALL(GetCurrentThreadId, ())                                          \
  CALL(GetFileAttributesW, (ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED)) \
  CALL(GetFileInformationByHandle, (ERROR_INVALID_HANDLE))              \
  CALL(GetFileTime, (ERROR_INVALID_HANDLE))                             \
  CALL(GetFullPathNameW, (ERROR_FILENAME_EXCED_RANGE))                  \
  CALL(GetLastError, ())                                                \
  CALL(GetLengthSid, ())                                                \
  CALL(GetLocalTime, ())                                                \
  CALL(GetModuleHandleW, (ERROR_MOD_NOT_FOUND))                         \
  CALL(GetProcAddress, (ERROR_PROC_NOT_FOUND))                          \
  CALL(GetSidSubAuthority, ())                                          \
  CALL(GetSystemDirectoryW, (ERROR_NOT_ENOUGH_MEMORY))                  \
  CALL(GetUserNameW, (ERROR_INSUFFICIENT_BUFFER))                       \
  CALL(GetVersionExW, (ERROR_INVALID_PARAMETER))                        \
  CALL(GetWindowsDirectoryW, (ERROR_NOT_ENOUGH_MEMORY))                 \
  CALL(ImpersonateLoggedOnUser, (ERROR_PRIVILEGE_NOT_HELD))             \
  CALL(InitializeAcl, (ERROR_INVALID_PARAMETER))                        \
  CALL(InitializeCriticalSection, ())                                   \
  CALL(InitializeSecurityDescriptor, (ERROR_UNKNOWN_REVISION))          \
  CALL(InitializeSid, (ERROR_INVALID_PARAMETER))                        \
  CALL(IsDBCSLeadByte, ())                                              \
  CALL(LeaveCriticalSection, ())                                        \
  CALL(LoadLibraryW, (ERROR_MOD_NOT_FOUND))                             \
  CALL(LocalAlloc, (ERROR_NOT_ENOUGH_MEMORY))                           \
  CALL(LocalFree, (ERROR_INVALID_HANDLE))                               \
  CALL(LookupAccountNameW, (ERROR_NONE_MAPPED))                         \
  CALL(LookupPrivilegeValueW, (ERROR_NO_SUCH_PRIVILEGE))                \
  CALL(MoveFileExW, (ERROR_ACCESS_DENIED))                              \
  CALL(MultiByteToWideChar, (ERROR_NO_UNICODE_TRANSLATION))             \
  CALL(OpenProcess, (ERROR_ACCESS_DENIED))                              \
  CALL(OpenProcessToken, (ERROR_ACCESS_DENIED))                         \
  CALL(Process32FirstW, (ERROR_NO_MORE_FILES))                          \
  CALL(Process32NextW, (ERROR_NO_MORE_FILES))                           \
  CALL(ReadFile, (ERROR_READ_FAULT))                                    \
  CALL(RegCloseKey, (ERROR_INVALID_HANDLE))                             \
  CALL(RegCreateKeyExW, (ERROR_ACCESS_DENIED))                          \
  CALL(RegDeleteKeyW, (ERROR_ACCESS_DENIED))                            \
  CALL(RegDeleteValueW, (ERROR_ACCESS_DENIED))                          \
  CALL(RegEnumKeyExW, (ERROR_ACCESS_DENIED, ERROR_MORE_DATA))           \
  CALL(RegEnumKeyW, (ERROR_ACCESS_DENIED))                              \
  CALL(RegEnumValueW, (ERROR_ACCESS_DENIED))                            \
  CALL(RegFlushKey, (ERROR_REGISTRY_IO_FAILED))                         \
  CALL(RegOpenKeyExW, (ERROR_ACCESS_DENIED))                            \
  CALL(RegOpenKeyW, (ERROR_ACCESS_DENIED))                              \
  CALL(RegQueryInfoKeyW, (ERROR_ACCESS_DENIED))                         \
  CALL(RegQueryValueExW, (ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA))       \
  CALL(RegSetValueExW, (ERROR_ACCESS_DENIED))                           \
  CALL(RemoveDirectoryW, (ERROR_DIR_NOT_EMPTY))                         \
  CALL(ResetEvent, (ERROR_INVALID_HANDLE))                              \
  CALL(RevertToSelf, (ERROR_ACCESS_DENIED))                             \
  CALL(SetEntriesInAclW, (ERROR_NOT_ENOUGH_MEMORY))                     \
  CALL(SetEnvironmentVariableW, (ERROR_NOT_ENOUGH_MEMORY))              \
  CALL(SetErrorMode, ())                                                \
  CALL(SetEvent, (ERROR_INVALID_HANDLE))                                \
  CALL(SetFileAttributesW, (ERROR_ACCESS_DENIED))                       \
  CALL(SetFileSecurityW, (ERROR_ACCESS_DENIED))                         \
  CALL(SetFileTime, (ERROR_ACCESS_DENIED))                              \
  CALL(SetKernelObjectSecurity, (ERROR_ACCESS_DENIED))                  \
  CALL(SetLastError, ())                                                \
  CALL(SetSecurityDescriptorControl, (ERROR_INVALID_PARAMETER))         \
  CALL(SetSecurityDescriptorDacl, (ERROR_UNKNOWN_REVISION))             \
  CALL(SetSecurityDescriptorOwner, (ERROR_UNKNOWN_REVISION))            \
  CALL(Sleep, ())                                                       \
  CALL(WaitForSingleObject, (ERROR_INVALID_HANDLE, kTimeIsUp))          \
  CALL(WideCharToMultiByte, (ERROR_NO_UNICODE_TRANSLATION))             \
  CALL(WriteFile, (ERROR_DISK_FULL, kWroteNothing))

// Bound by name, with their types behind the errors. One that is missing here is reported by the subject when it is
// bound, and fails the sweep.
#define FAULTS_BOUND_CALLS(CALL)                                                                     \
  CALL(CreateEnvironmentBlock, (ERROR_ACCESS_DENIED), BOOL, void**, HANDLE, BOOL)                    \
  CALL(DestroyEnvironmentBlock, (ERROR_INVALID_PARAMETER), BOOL, void*)                              \
  CALL(DuplicateTokenEx, (ERROR_ACCESS_DENIED), BOOL, HANDLE, DWORD, void*, int, int, HANDLE*)       \
  CALL(EnumProcessModules, (ERROR_PARTIAL_COPY), BOOL, HANDLE, HMODULE*, DWORD, DWORD*)              \
  CALL(EnumProcesses, (ERROR_NOT_ENOUGH_MEMORY), BOOL, DWORD*, DWORD, DWORD*)                        \
  CALL(GetFinalPathNameByHandleW, (ERROR_PATH_NOT_FOUND), DWORD, HANDLE, wchar_t*, DWORD, DWORD)     \
  CALL(GetModuleBaseNameW, (ERROR_INVALID_HANDLE), DWORD, HANDLE, HMODULE, wchar_t*, DWORD)          \
  CALL(GetNativeSystemInfo, (), void, SYSTEM_INFO*)                                                  \
  CALL(GetUserNameExW, (ERROR_NONE_MAPPED), BOOLEAN, int, wchar_t*, ULONG*)                          \
  CALL(HeapSetInformation, (ERROR_INVALID_PARAMETER), BOOL, HANDLE, int, void*, SIZE_T)              \
  CALL(LoadUserProfileW, (ERROR_ACCESS_DENIED), BOOL, HANDLE, void*)                                 \
  CALL(PathAppendW, (ERROR_FILENAME_EXCED_RANGE), BOOL, wchar_t*, const wchar_t*)                    \
  CALL(PathFileExistsW, (ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED), BOOL, const wchar_t*)           \
  CALL(PathFindFileNameA, (), const char*, const char*)                                              \
  CALL(PathRemoveFileSpecW, (ERROR_PATH_NOT_FOUND), BOOL, wchar_t*)                                  \
  CALL(SHCreateDirectoryExW, (ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND), int, HWND, const wchar_t*, \
       const SECURITY_ATTRIBUTES*)                                                                   \
  CALL(SHGetFolderPathW, (ERROR_PATH_NOT_FOUND), HRESULT, HWND, int, HANDLE, DWORD, wchar_t*)        \
  CALL(SHGetSpecialFolderPathW, (ERROR_PATH_NOT_FOUND), BOOL, HWND, wchar_t*, int, BOOL)             \
  CALL(SetDefaultDllDirectories, (ERROR_INVALID_PARAMETER), BOOL, DWORD)                             \
  CALL(SetFileInformationByHandle, (ERROR_ACCESS_DENIED), BOOL, HANDLE, int, void*, DWORD)           \
  CALL(SetProcessMitigationPolicy, (ERROR_INVALID_PARAMETER), BOOL, int, void*, SIZE_T)              \
  CALL(UnloadUserProfile, (ERROR_ACCESS_DENIED), BOOL, HANDLE, HANDLE)                               \
  CALL(WTSGetActiveConsoleSessionId, (ERROR_NO_TOKEN), DWORD, void)                                  \
  CALL(WTSQueryUserToken, (ERROR_NO_TOKEN), BOOL, ULONG, HANDLE*)

enum class ProductCall : int {
#define FAULTS_NUMBER(name, ...) k##name,
  // clang-format off
  FAULTS_IMPORTED_CALLS(FAULTS_NUMBER)
  FAULTS_BOUND_CALLS(FAULTS_NUMBER)
// clang-format on
#undef FAULTS_NUMBER
      kCount
};

inline constexpr int kCallCount = static_cast<int>(ProductCall::kCount);

const char* NameOf(ProductCall call);

// The errors of its row, in this order; null where no row has this function.
const std::vector<DWORD>* ErrorsOf(const char* function);

}  // namespace Faults
