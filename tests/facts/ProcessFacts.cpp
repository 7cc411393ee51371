// Processes: what the system reports to this one, and what happens to a child.
#include <windows.h>

#include <tlhelp32.h>

#include <iterator>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"
#include "tests/support/TestFiles.h"

namespace Facts {
namespace {

using OrCommon::KernelHandle;

template <DWORD flags>
std::string InheritErrorMode() {
  const UINT before = ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  const DWORD inherited = RunChild({L"error-mode"}, flags);
  ::SetErrorMode(before);
  return Hex(inherited);
}

// Under a debugger, so that no crash report is written. Returns the first exception that is not a breakpoint.
std::string CatchException(const wchar_t* task) {
  const KernelHandle child = Start(nullptr, L"\"" + OwnPath() + L"\" --child " + task, DEBUG_ONLY_THIS_PROCESS);
  if (!child) {
    return Done(false);
  }
  std::string answer = "no exception";
  DEBUG_EVENT event = {};
  constexpr DWORD kLongEnough = 10000;  // milliseconds
  while (::WaitForDebugEvent(&event, kLongEnough)) {
    const DWORD code = event.u.Exception.ExceptionRecord.ExceptionCode;
    if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT) {
      ::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, DBG_CONTINUE);
      break;
    }
    if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT) {
      ::CloseHandle(event.u.CreateProcessInfo.hFile);
    } else if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT) {
      ::CloseHandle(event.u.LoadDll.hFile);
    } else if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT && code != static_cast<DWORD>(EXCEPTION_BREAKPOINT)) {
      answer = Hex(code);
      ::TerminateProcess(child.Get(), 0);
    }
    ::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, DBG_CONTINUE);
  }
  return answer;
}

// A copy of this program in a separate folder.
std::wstring CopyProgram(const wchar_t* name) {
  std::wstring copy = NewFolder() + L"\\" + name;
  TestSupport::CopyTestFile(OwnPath(), copy);
  return copy;
}

// Any module works: a copy of this program, with a name unknown to the system, next to the loading program.
std::string LoadPlanted(const wchar_t* task) {
  const std::wstring loader = CopyProgram(L"loader.exe");
  TestSupport::CopyTestFile(OwnPath(), loader.substr(0, loader.rfind(L'\\')) + L"\\vela-fact.dll");
  return Code(RunChild({task, L"vela-fact.dll"}, 0, loader));
}

constexpr Fact kFacts[] = {
    {"From Windows 8.1 on, GetVersionExW reports 6.2 if the manifest has no compatibility section.",
     []() -> std::string {
       OSVERSIONINFOEXW version = {};
       version.dwOSVersionInfoSize = sizeof version;
       if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) {
         return Done(false);
       }
       return std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion);
     },
     "6.2", "GetVersionExW function", kAsWindows, kWindows81},
    {"GetNativeSystemInfo reports AMD64 to an AMD64 program, also on ARM64.",
     [] {
       SYSTEM_INFO info = {};
       ::GetNativeSystemInfo(&info);
       return std::to_string(info.wProcessorArchitecture);
     },
     "9", "GetNativeSystemInfo function"},
    {"A child process inherits the error mode.", InheritErrorMode<0>, "0x8001", "SetErrorMode function", "0x0"},
    {"With CREATE_DEFAULT_ERROR_MODE, a child process does not inherit the error mode.",
     InheritErrorMode<CREATE_DEFAULT_ERROR_MODE>, "0x0", "Process Creation Flags"},
    {"A fast fail raises the exception STATUS_STACK_BUFFER_OVERRUN.", [] { return CatchException(L"fast-fail"); },
     "0xC0000409", "__fastfail", kAsWindows, kWindows8},
    {"With NoDefaultCurrentDirectoryInExePath, CreateProcessW does not search the current folder.",
     [] {
       // The child's current folder contains the program that it starts by name.
       return Code(RunChild({L"by-name", CopyProgram(L"vela-fact.exe")}));
     },
     "error 2", "NeedCurrentDirectoryForExePathW function", kAsWindows, kVista},
    {"With NoDefaultCurrentDirectoryInExePath, CreateProcessW still searches the folder of the calling program.",
     [] {
       // As above, but the folder of the starting program contains a program of this name, too.
       const std::wstring starter = CopyProgram(L"starter.exe");
       TestSupport::CopyTestFile(OwnPath(), starter.substr(0, starter.rfind(L'\\')) + L"\\vela-fact.exe");
       return Code(RunChild({L"by-name", NewFolder() + L"\\vela-fact.exe"}, 0, starter));
     },
     "done", "CreateProcessW function"},
    {"LoadLibraryW finds a library by its name in the folder of the program.", [] { return LoadPlanted(L"load"); },
     "done", "Dynamic-link library search order"},
    {"After SetDefaultDllDirectories with only System32, LoadLibraryW does not search the folder of the program.",
     [] { return LoadPlanted(L"load-guarded"); }, "error 126", "SetDefaultDllDirectories function", kAsWindows,
     kWindows8},
    {"OpenProcess fails with ERROR_INVALID_PARAMETER for the idle process.",
     [] { return Got(KernelHandle(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, 0))); }, "error 87", "OpenProcess function"},
    {"OpenProcess with all rights fails for the process System.",
     []() -> std::string {
       const OrCommon::FileHandle list(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
       PROCESSENTRY32W entry = {};
       entry.dwSize = sizeof entry;
       for (BOOL more = ::Process32FirstW(list.Get(), &entry); more; more = ::Process32NextW(list.Get(), &entry)) {
         if (std::wstring(entry.szExeFile) == L"System") {
           return Got(KernelHandle(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, entry.th32ProcessID)));
         }
       }
       return "none";
     },
     "error 5", "OpenProcess function", "none"},
    {"CreateProcessW fails with ERROR_EXE_MACHINE_TYPE_MISMATCH for a text file named .exe.",
     [] {
       const std::wstring file = NewFolder() + L"\\text.exe";
       TestSupport::WriteTestFile(file, "no program\n");
       return Got(Start(file.c_str(), L""));
     },
     "error 216", "no page says so; reported of 64-bit Windows", "error 193"},
};
static_assert(AreSound(kFacts));

}  // namespace

const Group kProcessFacts = {"Processes", kFacts, std::size(kFacts)};

}  // namespace Facts
