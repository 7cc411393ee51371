#include "Common/OrCommon/OrComn_AccessControl.h"

#include <sddl.h>

#include <vector>

#include "Common/OrCommon/OrComn_Library.h"
#include "Common/OrCommon/OrComn_String.h"

namespace OrCommon::AccessControl {
namespace {

using Library::EntryPoint;

using EnumProcessesFunction = BOOL(WINAPI*)(DWORD*, DWORD, DWORD*);
using EnumProcessModulesFunction = BOOL(WINAPI*)(HANDLE, HMODULE*, DWORD, DWORD*);
using GetModuleBaseNameFunction = DWORD(WINAPI*)(HANDLE, HMODULE, wchar_t*, DWORD);

// The process-status functions: kernel32 has them only on newer Windows, psapi on every Windows.
struct ProcessStatus {
  const EntryPoint enumProcesses{L"psapi.dll", L"EnumProcesses"};
  const EntryPoint enumProcessModules{L"psapi.dll", L"EnumProcessModules"};
  const EntryPoint getModuleBaseName{L"psapi.dll", L"GetModuleBaseNameW"};

  // The code of the first that is missing; 0 if none is.
  DWORD Error() const noexcept {
    for (const EntryPoint* entry : {&enumProcesses, &enumProcessModules, &getModuleBaseName}) {
      if (entry->Error() != ERROR_SUCCESS) {
        return entry->Error();
      }
    }
    return ERROR_SUCCESS;
  }
};

bool ListProcesses(const ProcessStatus& status, std::vector<DWORD>& processes) {
  constexpr std::size_t kStep = 1024;
  for (std::size_t capacity = kStep;; capacity += kStep) {
    processes.resize(capacity);
    const auto size = static_cast<DWORD>(capacity * sizeof(DWORD));
    DWORD used = 0;
    if (!status.enumProcesses.As<EnumProcessesFunction>()(processes.data(), size, &used)) {
      return false;
    }
    if (used < size) {  // a full list may be truncated
      processes.resize(used / sizeof(DWORD));
      return true;
    }
  }
}

bool HasMainModule(const ProcessStatus& status, DWORD processId, const std::wstring& moduleName) {
  const KernelHandle process(::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
  if (!process) {
    return false;
  }
  HMODULE module = nullptr;
  DWORD needed = 0;
  wchar_t name[MAX_PATH] = {};
  return status.enumProcessModules.As<EnumProcessModulesFunction>()(process.Get(), &module, sizeof module, &needed) &&
         status.getModuleBaseName.As<GetModuleBaseNameFunction>()(process.Get(), module, name, MAX_PATH) != 0 &&
         String::EqualsIgnoringAsciiCase(name, moduleName);
}

bool DuplicatePrimary(HANDLE processToken, KernelHandle& token, DWORD& error) {
  const EntryPoint entry(L"advapi32.dll", L"DuplicateTokenEx");
  using DuplicateTokenExFunction =
      BOOL(WINAPI*)(HANDLE, DWORD, SECURITY_ATTRIBUTES*, SECURITY_IMPERSONATION_LEVEL, TOKEN_TYPE, HANDLE*);
  const auto duplicateTokenEx = entry.As<DuplicateTokenExFunction>();
  if (duplicateTokenEx == nullptr) {
    error = entry.Error();
    return false;
  }
  HANDLE duplicate = nullptr;
  if (!duplicateTokenEx(processToken, TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation, TokenPrimary, &duplicate)) {
    error = ::GetLastError();
    return false;
  }
  if (duplicate == nullptr || duplicate == INVALID_HANDLE_VALUE) {
    error = ERROR_INVALID_HANDLE;
    return false;
  }
  token.Reset(duplicate);
  return true;
}

bool TakeTokenOf(DWORD processId, KernelHandle& token, DWORD& error) {
  const KernelHandle process(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, processId));
  KernelHandle processToken;
  if (!process || !::OpenProcessToken(process.Get(), TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY | READ_CONTROL,
                                      processToken.Receive())) {
    error = ::GetLastError();
    return false;
  }
  return DuplicatePrimary(processToken.Get(), token, error);
}

}  // namespace

bool QueryUserToken(KernelHandle& token, const std::wstring& moduleName, DWORD& error) {
  token.Reset();
  const ProcessStatus status;
  error = status.Error();
  if (error != ERROR_SUCCESS) {
    return false;
  }
  std::vector<DWORD> processes;
  if (!ListProcesses(status, processes)) {
    error = ::GetLastError();
    return false;
  }
  for (const DWORD processId : processes) {
    if (HasMainModule(status, processId, moduleName)) {
      return TakeTokenOf(processId, token, error);
    }
  }
  error = ERROR_INVALID_HANDLE;
  return false;
}

std::wstring GetAccountSid(const std::wstring& account) {
  DWORD sidSize = 0;
  DWORD domainLength = 0;
  SID_NAME_USE use = SidTypeUnknown;
  ::LookupAccountNameW(nullptr, account.c_str(), nullptr, &sidSize, nullptr, &domainLength, &use);  // asks for sizes
  if (sidSize == 0) {
    return {};
  }
  std::vector<BYTE> sid(sidSize);
  std::vector<wchar_t> domain(domainLength + 1);  // in characters; some systems count the terminator, some do not
  if (!::LookupAccountNameW(nullptr, account.c_str(), sid.data(), &sidSize, domain.data(), &domainLength, &use)) {
    return {};
  }
  LocalMemory<wchar_t> text;
  if (!::ConvertSidToStringSidW(sid.data(), text.Receive())) {
    return {};
  }
  return text.Get();
}

}  // namespace OrCommon::AccessControl
