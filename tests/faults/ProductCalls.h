// The Windows functions that product code calls, by number.
#pragma once

#include <windows.h>

namespace Faults {

// Imported. Held against the product's object files by list_calls.py.
#define FAULTS_IMPORTED_CALLS(CALL)  \
  CALL(AddAccessAllowedAceEx)        \
  CALL(AdjustTokenPrivileges)        \
  CALL(AllocateAndInitializeSid)     \
  CALL(CloseHandle)                  \
  CALL(CompareFileTime)              \
  CALL(ConvertSidToStringSidW)       \
  CALL(CreateDirectoryW)             \
  CALL(CreateEventW)                 \
  CALL(CreateFileW)                  \
  CALL(CreateProcessAsUserW)         \
  CALL(CreateProcessW)               \
  CALL(CreateToolhelp32Snapshot)     \
  CALL(DeleteCriticalSection)        \
  CALL(DeleteFileW)                  \
  CALL(EnterCriticalSection)         \
  CALL(FindClose)                    \
  CALL(FindFirstFileW)               \
  CALL(FindNextFileW)                \
  CALL(FreeLibrary)                  \
  CALL(FreeSid)                      \
  CALL(GetCurrentProcess)            \
  CALL(GetCurrentProcessId)          \
  CALL(GetCurrentThreadId)           \
  CALL(GetFileAttributesW)           \
  CALL(GetFileInformationByHandle)   \
  CALL(GetFileTime)                  \
  CALL(GetFullPathNameW)             \
  CALL(GetLastError)                 \
  CALL(GetLengthSid)                 \
  CALL(GetLocalTime)                 \
  CALL(GetModuleHandleW)             \
  CALL(GetProcAddress)               \
  CALL(GetSidSubAuthority)           \
  CALL(GetSystemDirectoryW)          \
  CALL(GetUserNameW)                 \
  CALL(GetVersionExW)                \
  CALL(GetWindowsDirectoryW)         \
  CALL(ImpersonateLoggedOnUser)      \
  CALL(InitializeAcl)                \
  CALL(InitializeCriticalSection)    \
  CALL(InitializeSecurityDescriptor) \
  CALL(InitializeSid)                \
  CALL(IsDBCSLeadByte)               \
  CALL(LeaveCriticalSection)         \
  CALL(LoadLibraryW)                 \
  CALL(LocalAlloc)                   \
  CALL(LocalFree)                    \
  CALL(LookupAccountNameW)           \
  CALL(LookupPrivilegeValueW)        \
  CALL(MoveFileExW)                  \
  CALL(MultiByteToWideChar)          \
  CALL(OpenProcess)                  \
  CALL(OpenProcessToken)             \
  CALL(Process32FirstW)              \
  CALL(Process32NextW)               \
  CALL(ReadFile)                     \
  CALL(RegCloseKey)                  \
  CALL(RegCreateKeyExW)              \
  CALL(RegDeleteKeyW)                \
  CALL(RegDeleteValueW)              \
  CALL(RegEnumKeyExW)                \
  CALL(RegEnumKeyW)                  \
  CALL(RegEnumValueW)                \
  CALL(RegFlushKey)                  \
  CALL(RegOpenKeyExW)                \
  CALL(RegOpenKeyW)                  \
  CALL(RegQueryInfoKeyW)             \
  CALL(RegQueryValueExW)             \
  CALL(RegSetValueExW)               \
  CALL(RemoveDirectoryW)             \
  CALL(ResetEvent)                   \
  CALL(RevertToSelf)                 \
  CALL(SetEntriesInAclW)             \
  CALL(SetEnvironmentVariableW)      \
  CALL(SetErrorMode)                 \
  CALL(SetEvent)                     \
  CALL(SetFileAttributesW)           \
  CALL(SetFileSecurityW)             \
  CALL(SetFileTime)                  \
  CALL(SetKernelObjectSecurity)      \
  CALL(SetLastError)                 \
  CALL(SetSecurityDescriptorControl) \
  CALL(SetSecurityDescriptorDacl)    \
  CALL(SetSecurityDescriptorOwner)   \
  CALL(Sleep)                        \
  CALL(WaitForSingleObject)          \
  CALL(WideCharToMultiByte)          \
  CALL(WriteFile)

// Bound by name. One that is missing here is reported by the subject when it is bound, and fails the sweep.
#define FAULTS_BOUND_CALLS(CALL)                                                    \
  CALL(CreateEnvironmentBlock, BOOL, void**, HANDLE, BOOL)                          \
  CALL(DestroyEnvironmentBlock, BOOL, void*)                                        \
  CALL(DuplicateTokenEx, BOOL, HANDLE, DWORD, void*, int, int, HANDLE*)             \
  CALL(EnumProcessModules, BOOL, HANDLE, HMODULE*, DWORD, DWORD*)                   \
  CALL(EnumProcesses, BOOL, DWORD*, DWORD, DWORD*)                                  \
  CALL(GetFinalPathNameByHandleW, DWORD, HANDLE, wchar_t*, DWORD, DWORD)            \
  CALL(GetModuleBaseNameW, DWORD, HANDLE, HMODULE, wchar_t*, DWORD)                 \
  CALL(GetNativeSystemInfo, void, SYSTEM_INFO*)                                     \
  CALL(GetUserNameExW, BOOLEAN, int, wchar_t*, ULONG*)                              \
  CALL(HeapSetInformation, BOOL, HANDLE, int, void*, SIZE_T)                        \
  CALL(LoadUserProfileW, BOOL, HANDLE, void*)                                       \
  CALL(PathAppendW, BOOL, wchar_t*, const wchar_t*)                                 \
  CALL(PathFileExistsW, BOOL, const wchar_t*)                                       \
  CALL(PathFindFileNameA, const char*, const char*)                                 \
  CALL(PathRemoveFileSpecW, BOOL, wchar_t*)                                         \
  CALL(SHCreateDirectoryExW, int, HWND, const wchar_t*, const SECURITY_ATTRIBUTES*) \
  CALL(SHGetFolderPathW, HRESULT, HWND, int, HANDLE, DWORD, wchar_t*)               \
  CALL(SHGetSpecialFolderPathW, BOOL, HWND, wchar_t*, int, BOOL)                    \
  CALL(SetDefaultDllDirectories, BOOL, DWORD)                                       \
  CALL(SetFileInformationByHandle, BOOL, HANDLE, int, void*, DWORD)                 \
  CALL(SetProcessMitigationPolicy, BOOL, int, void*, SIZE_T)                        \
  CALL(UnloadUserProfile, BOOL, HANDLE, HANDLE)                                     \
  CALL(WTSGetActiveConsoleSessionId, DWORD, void)                                   \
  CALL(WTSQueryUserToken, BOOL, ULONG, HANDLE*)

enum class ProductCall : int {
#define FAULTS_NUMBER(name) k##name,
#define FAULTS_BOUND_NUMBER(name, ...) k##name,
  // clang-format off
  FAULTS_IMPORTED_CALLS(FAULTS_NUMBER)
  FAULTS_BOUND_CALLS(FAULTS_BOUND_NUMBER)
// clang-format on
#undef FAULTS_NUMBER
#undef FAULTS_BOUND_NUMBER
      kCount
};

inline constexpr int kCallCount = static_cast<int>(ProductCall::kCount);

const char* NameOf(ProductCall call);

}  // namespace Faults
