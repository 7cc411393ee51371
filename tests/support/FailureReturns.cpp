#include "tests/support/FailureReturns.h"

#include <iterator>
#include <sstream>
#include <stdexcept>

namespace TestSupport {
namespace {

// The ways to fail, each with its functions, separated by blanks.
enum class Way { kValue, kErrorCode, kHresult };
struct Row {
  Way way;
  ULONG_PTR value;
  bool setsLastError;
  const char* functions;
};
constexpr ULONG_PTR kAllOnes = 0xFFFFFFFF;  // of a DWORD
constexpr Row kRows[] = {
    // FALSE, null or 0
    {Way::kValue, 0, true,
     "AddAccessAllowedAce AddAccessAllowedAceEx AdjustTokenPrivileges AllocateAndInitializeSid CloseHandle "
     "ConvertSidToStringSidW CopySid CreateDirectoryW CreateEnvironmentBlock CreateEventW "
     "CreateProcessAsUserW CreateProcessW DeleteFileW DestroyEnvironmentBlock DuplicateTokenEx "
     "EnumProcessModules EnumProcesses FindClose FindNextFileW FreeLibrary GetExitCodeProcess "
     "GetFileInformationByHandle GetFileTime GetFinalPathNameByHandleW GetFullPathNameW GetModuleBaseNameW "
     "GetModuleHandleA GetModuleHandleW GetProcAddress GetSystemDirectoryW GetTokenInformation "
     "GetUserNameExW GetUserNameW GetVersionExW GetWindowsDirectoryW HeapSetInformation "
     "ImpersonateLoggedOnUser InitializeAcl InitializeSecurityDescriptor InitializeSid LoadLibraryA "
     "LoadLibraryExW LoadLibraryW LoadUserProfileW LocalAlloc LookupAccountNameW LookupPrivilegeValueW "
     "MoveFileExW MultiByteToWideChar OpenProcess OpenProcessToken PathFileExistsW Process32FirstW "
     "Process32NextW ReadFile RemoveDirectoryW ResetEvent RevertToSelf SetDefaultDllDirectories "
     "SetEnvironmentVariableW SetEvent SetFileAttributesW SetFileInformationByHandle SetFileSecurityW "
     "SetFileTime SetKernelObjectSecurity SetProcessMitigationPolicy SetSecurityDescriptorControl "
     "SetSecurityDescriptorDacl SetSecurityDescriptorOwner UnloadUserProfile WTSQueryUserToken "
     "WideCharToMultiByte WriteFile"},
    {Way::kValue, 0, false, "PathAppendW PathRemoveFileSpecW SHGetSpecialFolderPathW SystemFunction036"},
    // INVALID_HANDLE_VALUE
    {Way::kValue, ~ULONG_PTR{0}, true, "CreateFileW CreateToolhelp32Snapshot FindFirstFileW"},
    {Way::kValue, kAllOnes, true, "GetFileAttributesW WaitForSingleObject"},
    {Way::kValue, kAllOnes, false, "WTSGetActiveConsoleSessionId"},
    // The function returns what it could not free: anything but null.
    {Way::kValue, 1, true, "LocalFree"},
    // The code itself, or an HRESULT made from it. The last-error code does not change.
    {Way::kErrorCode, 0, false,
     "RegCloseKey RegCreateKeyExW RegDeleteKeyW RegDeleteValueW RegEnumKeyExW RegEnumKeyW RegEnumValueW "
     "RegFlushKey RegOpenKeyExW RegOpenKeyW RegQueryInfoKeyW RegQueryValueExW RegSetValueExW "
     "SHCreateDirectoryExW SetEntriesInAclW"},
    {Way::kHresult, 0, false, "SHGetFolderPathW"},
};

}  // namespace

FailureReturn FailureReturn::Of(const char* function, DWORD error) {
  for (const Row& row : kRows) {
    if ((std::string(" ") + row.functions + " ").find(std::string(" ") + function + " ") != std::string::npos) {
      const ULONG_PTR value = row.way == Way::kValue       ? row.value
                              : row.way == Way::kErrorCode ? error
                                                           : static_cast<DWORD>(HRESULT_FROM_WIN32(error));
      return {value, error, row.setsLastError};
    }
  }
  throw std::logic_error(std::string("FailureReturns.cpp does not know how ") + function + " reports a failure");
}

std::vector<std::string> FunctionsThatMayFail() {
  std::vector<std::string> names;
  for (const Row& row : kRows) {
    std::istringstream functions(row.functions);
    names.insert(names.end(), std::istream_iterator<std::string>(functions), {});
  }
  return names;
}

}  // namespace TestSupport
