// The common library in a separate process. Its arguments are the question, and it prints the result (see Probe.h).
//
//   windows <version> <processor>   the version tests and the processor queries on a machine that answers
//     <version>                     fail:<error> | <major>.<minor>,<platform>,<service pack>,<product type>
//     <processor>                   <PROCESSOR_ARCHITECTURE_...> | noentry | nolibrary
// start guarded|unguarded         starts regsvr32.exe by name
// load guarded|unguarded          loads libraries by name
// guard                           prints the value that guards its stack
// overrun <bytes>                 writes this many bytes into a buffer of eight on its stack
//   uncaught                        throws an exception that nobody catches
//
// With the name regsvr32.exe, it does nothing and exits with 77.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <optional>
#include <stdexcept>
#include <string>

#include "Common/OrCommon/OrComn_ProcessGuards.h"
#include "Common/OrCommon/OrComn_Registry.h"
#include "Common/OrCommon/OrComn_System.h"
#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"

namespace {

using TestSupport::ImportRedirection;

std::string TrueCodes() {
  std::string codes;
  for (DWORD code = 0xFFFFFFFF; code != 300; ++code) {
    if (OrCommon::System::IsWindowsVersion(code)) {
      codes += (codes.empty() ? "" : " ") + std::to_string(code);
    }
  }
  return codes.empty() ? "none" : codes;
}

int ReportWindows(const std::wstring& version, const std::wstring& processor) {
  std::wstring answer = version;
  unsigned versionCalls = 0;
  DWORD recordSize = 0;
  const ImportRedirection getVersion{"GetVersionExW", [&](OSVERSIONINFOW* record) -> BOOL {
                                       ++versionCalls;
                                       recordSize = record->dwOSVersionInfoSize;
                                       unsigned long error = 0;
                                       if (std::swscanf(answer.c_str(), L"fail:%lu", &error) == 1) {
                                         ::SetLastError(error);
                                         return FALSE;
                                       }
                                       auto* const extended = reinterpret_cast<OSVERSIONINFOEXW*>(record);
                                       unsigned pack = 0;
                                       unsigned type = 0;
                                       std::swscanf(answer.c_str(), L"%lu.%lu,%lu,%u,%u", &extended->dwMajorVersion,
                                                    &extended->dwMinorVersion, &extended->dwPlatformId, &pack, &type);
                                       extended->wServicePackMajor = static_cast<WORD>(pack);
                                       extended->wProductType = static_cast<BYTE>(type);
                                       return TRUE;
                                     }};
  std::optional<TestSupport::MissingEntry> noEntry;
  std::optional<TestSupport::MissingLibrary> noLibrary;
  std::optional<TestSupport::AnswerProcAddress> architecture;
  if (processor == L"noentry") {
    noEntry.emplace("GetNativeSystemInfo");
  } else if (processor == L"nolibrary") {
    noLibrary.emplace(L"kernel32.dll");
  } else {
    architecture.emplace("GetNativeSystemInfo", [&](SYSTEM_INFO* info) {
      info->wProcessorArchitecture = static_cast<WORD>(std::stoul(processor));
    });
  }
  const TestSupport::CountCalls loads{"LoadLibraryW"};
  const TestSupport::CountCalls frees{"FreeLibrary"};

  std::printf("codes: %s\n", TrueCodes().c_str());
  std::printf("error: %lu\n", OrCommon::System::GetWindowsVersionError());
  std::printf("version calls: %u\n", versionCalls);
  std::printf("record size: %lu\n", recordSize);
  std::printf("architecture: %u\n", OrCommon::System::GetNativeArchitecture());
  std::printf("64-bit: %d\n", OrCommon::System::Is64BitSystem());
  std::printf("AMD64: %d\n", OrCommon::System::IsAmd64System());
  std::printf("view: %lu\n", static_cast<DWORD>(OrCommon::Storage::GetSystemView()));
  std::printf("loads: %u\n", loads.Calls());
  std::printf("frees: %u\n", frees.Calls());

  answer = L"4.10,1,0,0";  // Windows would answer otherwise now, but nobody asks it again.
  std::printf("later codes: %s\n", TrueCodes().c_str());
  return 0;
}

int StartByName() {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  wchar_t commandLine[] = L"regsvr32.exe /s \"C:\\no such module.dll\"";
  if (!::CreateProcessW(nullptr, commandLine, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
    std::printf("child exit code: not started, error %lu\n", ::GetLastError());
    return 0;
  }
  DWORD exitCode = STILL_ACTIVE;
  ::WaitForSingleObject(process.hProcess, 20000);
  ::GetExitCodeProcess(process.hProcess, &exitCode);
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  std::printf("child exit code: %lu\n", exitCode);
  return 0;
}

int LoadByName() {
  for (const wchar_t* const library : {L"velabeside.dll", L"velacurrent.dll", L"psapi.dll"}) {
    const HMODULE module = ::LoadLibraryW(library);
    const DWORD error = ::GetLastError();
    std::printf("%ls: %s\n", library, module != nullptr ? "loaded" : std::to_string(error).c_str());
  }
  return 0;
}

#if defined(__MINGW32__)
// Returns through the check of the guard. The place is volatile, because the compiler would see the overrun otherwise.
__attribute__((noinline)) int Overrun(int bytes) {
  volatile char place[8] = {};
  volatile char* next = place;
  for (int written = 0; written < bytes; ++written) {
    *next++ = 'x';
  }
  return place[0] == 'x' ? 0 : 1;
}
#endif

}  // namespace

#if defined(__MINGW32__)
extern "C" std::uintptr_t __stack_chk_guard;
#endif

int wmain(int argumentCount, wchar_t* arguments[]);  // no header of the toolchain declares it

int wmain(int argumentCount, wchar_t* arguments[]) {
  wchar_t own[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, own, MAX_PATH);
  const wchar_t* const name = std::wcsrchr(own, L'\\');
  if (name != nullptr && ::_wcsicmp(name, L"\\regsvr32.exe") == 0) {
    return 77;
  }
  const wchar_t* const answers = ::_wgetenv(L"VELA_PROBE_ANSWERS");  // a file; Probe.h sets it
  if (answers != nullptr &&
      (::_wfreopen(answers, L"wb", stdout) == nullptr || ::_wfreopen(answers, L"ab", stderr) == nullptr)) {
    return 1;
  }
  const std::wstring task = argumentCount > 1 ? arguments[1] : L"";
  const std::wstring first = argumentCount > 2 ? arguments[2] : L"";
  const std::wstring second = argumentCount > 3 ? arguments[3] : L"";
  if (first == L"guarded") {
    OrCommon::GuardProcess();
  }
  if (task == L"windows") {
    return ReportWindows(first, second);
  }
  if (task == L"start") {
    return StartByName();
  }
  if (task == L"load") {
    return LoadByName();
  }
#if defined(__MINGW32__)
  if (task == L"guard") {
    std::printf("guard: %llu\n", static_cast<unsigned long long>(__stack_chk_guard));
    return 0;
  }
  if (task == L"overrun") {
    return Overrun(std::stoi(first));
  }
  if (task == L"uncaught") {
    throw std::runtime_error("nobody catches this");
  }
#endif
  return 1;
}
