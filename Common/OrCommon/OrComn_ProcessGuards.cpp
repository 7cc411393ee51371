#include "Common/OrCommon/OrComn_ProcessGuards.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_Library.h"

namespace OrCommon {
namespace {

// From winnt.h and libloaderapi.h of newer SDKs; the headers that this program is built with stop at Windows 5.2.
constexpr DWORD kSearchSystem32Only = 0x00000800;   // LOAD_LIBRARY_SEARCH_SYSTEM32
constexpr int kHeapTerminationOnCorruption = 1;     // HeapEnableTerminationOnCorruption
constexpr int kProcessRedirectionTrustPolicy = 16;  // PROCESS_MITIGATION_POLICY
struct RedirectionTrustPolicy {                     // PROCESS_MITIGATION_REDIRECTION_TRUST_POLICY
  DWORD flags;                                      // bit 0: EnforceRedirectionTrust
};

// No message box for a missing medium, a crash or a missing file: in an unattended run nobody can answer it.
constexpr UINT kNoBoxes = SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX;

UINT g_callersErrorMode = 0;

using SetDefaultDllDirectoriesFunction = BOOL(WINAPI*)(DWORD);
using HeapSetInformationFunction = BOOL(WINAPI*)(HANDLE, int, void*, SIZE_T);
using SetProcessMitigationPolicyFunction = BOOL(WINAPI*)(int, void*, SIZE_T);

}  // namespace

void GuardProcess() noexcept {
  // kernel32 is always loaded; it is not loaded here and need not be released.
  const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
  if (const auto setDllDirectories = Library::FunctionCast<SetDefaultDllDirectoriesFunction>(
          ::GetProcAddress(kernel, "SetDefaultDllDirectories"))) {
    setDllDirectories(kSearchSystem32Only);
  }
  if (const auto setHeapInformation =
          Library::FunctionCast<HeapSetInformationFunction>(::GetProcAddress(kernel, "HeapSetInformation"))) {
    setHeapInformation(nullptr, kHeapTerminationOnCorruption, nullptr, 0);
  }
  if (const auto setMitigation = Library::FunctionCast<SetProcessMitigationPolicyFunction>(
          ::GetProcAddress(kernel, "SetProcessMitigationPolicy"))) {
    RedirectionTrustPolicy policy{1};
    setMitigation(kProcessRedirectionTrustPolicy, &policy, sizeof policy);
  }
  g_callersErrorMode = ::SetErrorMode(kNoBoxes);
  ::SetErrorMode(g_callersErrorMode | kNoBoxes);
  // regsvr32.exe is started by name. Without this, a file of that name in the current folder, which any user may
  // control, could run instead. Child processes, monitors included, inherit the variable.
  ::SetEnvironmentVariableW(L"NoDefaultCurrentDirectoryInExePath", L"1");
}

CallersErrorMode::CallersErrorMode() noexcept : ours_(::SetErrorMode(g_callersErrorMode)) {}

CallersErrorMode::~CallersErrorMode() {
  const LastErrorKeeper keeper;
  ::SetErrorMode(ours_);
}

}  // namespace OrCommon
