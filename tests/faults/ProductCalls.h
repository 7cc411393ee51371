// The Windows functions that product code calls, with their numbers, and the ways to make each fail.
#pragma once

#include <windows.h>

#include <vector>

namespace Faults {

// Results that are neither failure nor success: the timeout of WaitForSingleObject expired; WriteFile wrote fewer bytes
// than requested.
inline constexpr DWORD kTimeIsUp = WAIT_TIMEOUT;
inline constexpr DWORD kWroteNothing = ERROR_HANDLE_DISK_FULL;

// A row: the function, its errors, and what is recorded about a call (CallBooks.h). There is one run for each error. A
// row has several if the product or the documentation distinguishes them. It has none if the function cannot fail, or
// if the caller cannot see a failure (if no session is attached, WTSGetActiveConsoleSessionId sets no error code).

// Imported. list_calls.py compares this list with the product's object files.
#define FAULTS_IMPORTED_CALLS(CALL)                                                                  \
  CALL(AddAccessAllowedAceEx, (ERROR_ALLOTTED_SPACE_EXCEEDED), (NoBook))                             \
  CALL(AdjustTokenPrivileges, (ERROR_INVALID_HANDLE), (PrivilegeBook))                               \
  CALL(AllocateAndInitializeSid, (ERROR_OUTOFMEMORY), (OutBook<Owned::kSid, 10, Success::kNotZero>)) \
  CALL(CloseHandle, (ERROR_INVALID_HANDLE), (GivingBook<Owned::kHandle>))                            \
  CALL(CompareFileTime, (), (NoBook))                                                                \
  CALL(ConvertSidToStringSidW, (ERROR_INVALID_SID), (OutBook<Owned::kMemory, 1, Success::kNotZero>)) \
  CALL(CreateDirectoryW, (ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND), (PathBook<>))                  \
  CALL(CreateEventW, (ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE), (ResultBook<Owned::kHandle>))      \
  CALL(CreateFileW, (ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION), (OpenFileBook))                  \
  CALL(CreateProcessAsUserW, (ERROR_PRIVILEGE_NOT_HELD), (ProcessBook<10>))                          \
  CALL(CreateProcessW, (ERROR_FILE_NOT_FOUND), (ProcessBook<9>))                                     \
  CALL(CreateToolhelp32Snapshot, (ERROR_BAD_LENGTH), (ResultBook<Owned::kHandle>))                   \
  CALL(DeleteCriticalSection, (), (GivingBook<Owned::kSection>))                                     \
  CALL(DeleteFileW, (ERROR_ACCESS_DENIED), (PathBook<>))                                             \
  CALL(EnterCriticalSection, (), (NoBook))                                                           \
  CALL(FindClose, (ERROR_INVALID_HANDLE), (GivingBook<Owned::kSearch>))                              \
  CALL(FindFirstFileW, (ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND), (ResultBook<Owned::kSearch>))    \
  CALL(FindNextFileW, (ERROR_ACCESS_DENIED), (NoBook))                                               \
  CALL(FreeLibrary, (ERROR_MOD_NOT_FOUND), (GivingBook<Owned::kModule>))                             \
  CALL(FreeSid, (), (GivingBook<Owned::kSid>))                                                       \
  CALL(GetCurrentProcess, (), (NoBook))                                                              \
  CALL(GetCurrentProcessId, (), (NoBook))                                                            \
  CALL(GetCurrentThreadId, (), (NoBook))                                                             \
  CALL(GetFileAttributesW, (ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED), (NoBook))                    \
  CALL(GetFileInformationByHandle, (ERROR_INVALID_HANDLE), (NoBook))                                 \
  CALL(GetFileTime, (ERROR_INVALID_HANDLE), (NoBook))                                                \
  CALL(GetFullPathNameW, (ERROR_FILENAME_EXCED_RANGE), (NoBook))                                     \
  CALL(GetLastError, (), (NoBook))                                                                   \
  CALL(GetLengthSid, (), (NoBook))                                                                   \
  CALL(GetLocalTime, (), (NoBook))                                                                   \
  CALL(GetModuleHandleW, (ERROR_MOD_NOT_FOUND), (NoBook))                                            \
  CALL(GetProcAddress, (ERROR_PROC_NOT_FOUND), (NoBook))                                             \
  CALL(GetSidSubAuthority, (), (NoBook))                                                             \
  CALL(GetSystemDirectoryW, (ERROR_NOT_ENOUGH_MEMORY), (NoBook))                                     \
  CALL(GetUserNameW, (ERROR_INSUFFICIENT_BUFFER), (NoBook))                                          \
  CALL(GetVersionExW, (ERROR_INVALID_PARAMETER), (NoBook))                                           \
  CALL(GetWindowsDirectoryW, (ERROR_NOT_ENOUGH_MEMORY), (NoBook))                                    \
  CALL(ImpersonateLoggedOnUser, (ERROR_PRIVILEGE_NOT_HELD), (ActAsUserBook))                         \
  CALL(InitializeAcl, (ERROR_INVALID_PARAMETER), (NoBook))                                           \
  CALL(InitializeCriticalSection, (), (InitialiseSectionBook))                                       \
  CALL(InitializeSecurityDescriptor, (ERROR_UNKNOWN_REVISION), (NoBook))                             \
  CALL(InitializeSid, (ERROR_INVALID_PARAMETER), (NoBook))                                           \
  CALL(IsDBCSLeadByte, (), (NoBook))                                                                 \
  CALL(LeaveCriticalSection, (), (NoBook))                                                           \
  CALL(LoadLibraryW, (ERROR_MOD_NOT_FOUND), (ResultBook<Owned::kModule>))                            \
  CALL(LocalAlloc, (ERROR_NOT_ENOUGH_MEMORY), (ResultBook<Owned::kMemory>))                          \
  CALL(LocalFree, (ERROR_INVALID_HANDLE), (GivingBook<Owned::kMemory>))                              \
  CALL(LookupAccountNameW, (ERROR_NONE_MAPPED), (NoBook))                                            \
  CALL(LookupPrivilegeValueW, (ERROR_NO_SUCH_PRIVILEGE), (NoBook))                                   \
  CALL(MoveFileExW, (ERROR_ACCESS_DENIED), (MoveBook))                                               \
  CALL(MultiByteToWideChar, (ERROR_NO_UNICODE_TRANSLATION), (NoBook))                                \
  CALL(OpenProcess, (ERROR_ACCESS_DENIED), (ResultBook<Owned::kHandle>))                             \
  CALL(OpenProcessToken, (ERROR_ACCESS_DENIED), (OutBook<Owned::kHandle, 2, Success::kNotZero>))     \
  CALL(Process32FirstW, (ERROR_NO_MORE_FILES), (NoBook))                                             \
  CALL(Process32NextW, (ERROR_NO_MORE_FILES), (NoBook))                                              \
  CALL(ReadFile, (ERROR_READ_FAULT), (NoBook))                                                       \
  CALL(RegCloseKey, (ERROR_INVALID_HANDLE), (GivingBook<Owned::kKey>))                               \
  CALL(RegCreateKeyExW, (ERROR_ACCESS_DENIED), (MakeKeyBook))                                        \
  CALL(RegDeleteKeyW, (ERROR_ACCESS_DENIED), (ChangeBook))                                           \
  CALL(RegDeleteValueW, (ERROR_ACCESS_DENIED), (ChangeBook))                                         \
  CALL(RegEnumKeyExW, (ERROR_ACCESS_DENIED, ERROR_MORE_DATA), (NoBook))                              \
  CALL(RegEnumKeyW, (ERROR_ACCESS_DENIED), (NoBook))                                                 \
  CALL(RegEnumValueW, (ERROR_ACCESS_DENIED), (NoBook))                                               \
  CALL(RegFlushKey, (ERROR_REGISTRY_IO_FAILED), (NoBook))                                            \
  CALL(RegOpenKeyExW, (ERROR_ACCESS_DENIED), (OutBook<Owned::kKey, 4, Success::kZero>))              \
  CALL(RegOpenKeyW, (ERROR_ACCESS_DENIED), (OutBook<Owned::kKey, 2, Success::kZero>))                \
  CALL(RegQueryInfoKeyW, (ERROR_ACCESS_DENIED), (NoBook))                                            \
  CALL(RegQueryValueExW, (ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA), (NoBook))                          \
  CALL(RegSetValueExW, (ERROR_ACCESS_DENIED), (ChangeBook))                                          \
  CALL(RemoveDirectoryW, (ERROR_DIR_NOT_EMPTY), (PathBook<>))                                        \
  CALL(ResetEvent, (ERROR_INVALID_HANDLE), (ChangeBook))                                             \
  CALL(RevertToSelf, (ERROR_ACCESS_DENIED), (RevertBook))                                            \
  CALL(SetEntriesInAclW, (ERROR_NOT_ENOUGH_MEMORY), (OutBook<Owned::kMemory, 3, Success::kZero>))    \
  CALL(SetEnvironmentVariableW, (ERROR_NOT_ENOUGH_MEMORY), (NoBook))                                 \
  CALL(SetErrorMode, (), (NoBook))                                                                   \
  CALL(SetEvent, (ERROR_INVALID_HANDLE), (SetEventBook))                                             \
  CALL(SetFileAttributesW, (ERROR_ACCESS_DENIED), (PathBook<>))                                      \
  CALL(SetFileSecurityW, (ERROR_ACCESS_DENIED), (PathBook<>))                                        \
  CALL(SetFileTime, (ERROR_ACCESS_DENIED), (ChangeBook))                                             \
  CALL(SetKernelObjectSecurity, (ERROR_ACCESS_DENIED), (ChangeBook))                                 \
  CALL(SetLastError, (), (NoBook))                                                                   \
  CALL(SetSecurityDescriptorControl, (ERROR_INVALID_PARAMETER), (NoBook))                            \
  CALL(SetSecurityDescriptorDacl, (ERROR_UNKNOWN_REVISION), (NoBook))                                \
  CALL(SetSecurityDescriptorOwner, (ERROR_UNKNOWN_REVISION), (NoBook))                               \
  CALL(Sleep, (), (NoBook))                                                                          \
  CALL(WaitForSingleObject, (ERROR_INVALID_HANDLE, kTimeIsUp), (NoBook))                             \
  CALL(WideCharToMultiByte, (ERROR_NO_UNICODE_TRANSLATION), (NoBook))                                \
  CALL(WriteFile, (ERROR_DISK_FULL, kWroteNothing), (ChangeBook))

// Bound by name; the types follow. The subject reports a function that is missing here when it is bound. Then the sweep
// fails.
#define FAULTS_BOUND_CALLS(CALL)                                                                                      \
  CALL(CreateEnvironmentBlock, (ERROR_ACCESS_DENIED), (OutBook<Owned::kEnvironment, 0, Success::kNotZero>), BOOL,     \
       void**, HANDLE, BOOL)                                                                                          \
  CALL(DestroyEnvironmentBlock, (ERROR_INVALID_PARAMETER), (GivingBook<Owned::kEnvironment>), BOOL, void*)            \
  CALL(DuplicateTokenEx, (ERROR_ACCESS_DENIED), (OutBook<Owned::kHandle, 5, Success::kNotZero>), BOOL, HANDLE, DWORD, \
       void*, int, int, HANDLE*)                                                                                      \
  CALL(EnumProcessModules, (ERROR_PARTIAL_COPY), (NoBook), BOOL, HANDLE, HMODULE*, DWORD, DWORD*)                     \
  CALL(EnumProcesses, (ERROR_NOT_ENOUGH_MEMORY), (NoBook), BOOL, DWORD*, DWORD, DWORD*)                               \
  CALL(GetFinalPathNameByHandleW, (ERROR_PATH_NOT_FOUND), (NoBook), DWORD, HANDLE, wchar_t*, DWORD, DWORD)            \
  CALL(GetModuleBaseNameW, (ERROR_INVALID_HANDLE), (NoBook), DWORD, HANDLE, HMODULE, wchar_t*, DWORD)                 \
  CALL(GetNativeSystemInfo, (), (NoBook), void, SYSTEM_INFO*)                                                         \
  CALL(GetUserNameExW, (ERROR_NONE_MAPPED), (NoBook), BOOLEAN, int, wchar_t*, ULONG*)                                 \
  CALL(HeapSetInformation, (ERROR_INVALID_PARAMETER), (NoBook), BOOL, HANDLE, int, void*, SIZE_T)                     \
  CALL(LoadUserProfileW, (ERROR_ACCESS_DENIED), (LoadProfileBook), BOOL, HANDLE, void*)                               \
  CALL(PathAppendW, (ERROR_FILENAME_EXCED_RANGE), (NoBook), BOOL, wchar_t*, const wchar_t*)                           \
  CALL(PathFileExistsW, (ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED), (NoBook), BOOL, const wchar_t*)                  \
  CALL(PathFindFileNameA, (), (NoBook), const char*, const char*)                                                     \
  CALL(PathRemoveFileSpecW, (ERROR_PATH_NOT_FOUND), (NoBook), BOOL, wchar_t*)                                         \
  CALL(SHCreateDirectoryExW, (ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND), (PathBook<1>), int, HWND, const wchar_t*,   \
       const SECURITY_ATTRIBUTES*)                                                                                    \
  CALL(SHGetFolderPathW, (ERROR_PATH_NOT_FOUND), (NoBook), HRESULT, HWND, int, HANDLE, DWORD, wchar_t*)               \
  CALL(SHGetSpecialFolderPathW, (ERROR_PATH_NOT_FOUND), (NoBook), BOOL, HWND, wchar_t*, int, BOOL)                    \
  CALL(SetDefaultDllDirectories, (ERROR_INVALID_PARAMETER), (NoBook), BOOL, DWORD)                                    \
  CALL(SetFileInformationByHandle, (ERROR_ACCESS_DENIED), (ChangeBook), BOOL, HANDLE, int, void*, DWORD)              \
  CALL(SetProcessMitigationPolicy, (ERROR_INVALID_PARAMETER), (NoBook), BOOL, int, void*, SIZE_T)                     \
  CALL(UnloadUserProfile, (ERROR_ACCESS_DENIED), (UnloadProfileBook), BOOL, HANDLE, HANDLE)                           \
  CALL(WTSGetActiveConsoleSessionId, (ERROR_NO_TOKEN), (NoBook), DWORD, void)                                         \
  CALL(WTSQueryUserToken, (ERROR_NO_TOKEN), (OutBook<Owned::kHandle, 1, Success::kNotZero>), BOOL, ULONG, HANDLE*)

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

// The errors of its row, in this order; null if no row has this function.
const std::vector<DWORD>* ErrorsOf(const char* function);

}  // namespace Faults
