// Processes: what the system tells this one, and what becomes of a child.
#include <windows.h>

#include <tlhelp32.h>

#include <iterator>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"
#include "tests/support/TestFiles.h"

namespace Facts {
namespace {

using OrCommon::KernelHandle;

std::string TellVersion() {
  OSVERSIONINFOEXW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) {
    return Done(false);
  }
  return std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion);
}

std::string TellArchitecture() {
  SYSTEM_INFO info = {};
  ::GetNativeSystemInfo(&info);
  return std::to_string(info.wProcessorArchitecture);
}

template <DWORD flags>
std::string InheritErrorMode() {
  const UINT before = ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  const DWORD inherited = RunChild({L"error-mode"}, flags);
  ::SetErrorMode(before);
  return Hex(inherited);
}

// Under a debugger, so that no crash report is written: the first exception that is no breakpoint.
std::string CatchException(const wchar_t* task) {
  std::wstring line = L"\"" + OwnPath() + L"\" --child " + task;
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, DEBUG_ONLY_THIS_PROCESS, nullptr, nullptr,
                        &startup, &process)) {
    return Done(false);
  }
  const KernelHandle child(process.hProcess);
  const KernelHandle thread(process.hThread);
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

std::string FastFail() {
  return CatchException(L"fast-fail");
}

// A copy of this program in a folder of its own.
std::wstring CopyProgram(const wchar_t* name) {
  std::wstring copy = NewFolder() + L"\\" + name;
  TestSupport::CopyTestFile(OwnPath(), copy);
  return copy;
}

// The child stands in the folder of a program that it starts by name.
std::string StartFromCurrentFolder() {
  return Code(RunChild({L"by-name", CopyProgram(L"vela-fact.exe")}));
}

// As above, with the same name in the folder of the starting program itself.
std::string StartFromProgramFolder() {
  const std::wstring starter = CopyProgram(L"starter.exe");
  TestSupport::CopyTestFile(OwnPath(), starter.substr(0, starter.rfind(L'\\')) + L"\\vela-fact.exe");
  return Code(RunChild({L"by-name", NewFolder() + L"\\vela-fact.exe"}, 0, starter));
}

// Any module will do: a copy of this program under a name that the system has not, beside the program that loads it.
std::string LoadPlanted(const wchar_t* task) {
  const std::wstring loader = CopyProgram(L"loader.exe");
  TestSupport::CopyTestFile(OwnPath(), loader.substr(0, loader.rfind(L'\\')) + L"\\vela-fact.dll");
  return Code(RunChild({task, L"vela-fact.dll"}, 0, loader));
}

std::string LoadBeside() {
  return LoadPlanted(L"load");
}

std::string LoadBesideGuarded() {
  return LoadPlanted(L"load-guarded");
}

std::string OpenIdleProcess() {
  return Done(static_cast<bool>(KernelHandle(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, 0))));
}

std::string OpenSystemProcess() {
  const OrCommon::FileHandle list(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Process32FirstW(list.Get(), &entry); more; more = ::Process32NextW(list.Get(), &entry)) {
    if (std::wstring(entry.szExeFile) == L"System") {
      return Done(static_cast<bool>(KernelHandle(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, entry.th32ProcessID))));
    }
  }
  return "none";
}

std::string StartText() {
  const std::wstring file = NewFolder() + L"\\text.exe";
  TestSupport::WriteTestFile(file, "no program\n");
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  return Done(
      ::CreateProcessW(file.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process));
}

constexpr Fact kFacts[] = {
    {"A program without a compatibility section is told 6.2 from Windows 8.1 on.", TellVersion, "6.2",
     "GetVersionExW function", kAsWindows, kAsWindows, Need::kNothing, kWindows81},
    {"A 64-bit Intel program is told AMD64, on ARM64 too.", TellArchitecture, "9", "GetNativeSystemInfo function",
     kAsWindows, kAsWindows},
    {"A child inherits the error mode.", InheritErrorMode<0>, "0x8001", "SetErrorMode function", "0x0", "0x0"},
    {"With CREATE_DEFAULT_ERROR_MODE a child does not inherit the error mode.",
     InheritErrorMode<CREATE_DEFAULT_ERROR_MODE>, "0x0", "Process Creation Flags", kAsWindows, kAsWindows},
    {"A fast fail raises STATUS_STACK_BUFFER_OVERRUN.", FastFail, "0xC0000409", "__fastfail", kAsWindows, kAsWindows,
     Need::kNothing, kWindows8},
    {"With NoDefaultCurrentDirectoryInExePath a program is not looked for in the current folder.",
     StartFromCurrentFolder, "error 2", "NeedCurrentDirectoryForExePathW function", kAsWindows, kAsWindows,
     Need::kNothing, kVista},
    {"With NoDefaultCurrentDirectoryInExePath a program is looked for in the folder of the one that starts it.",
     StartFromProgramFolder, "done", "CreateProcessW function", kAsWindows, kAsWindows},
    {"A library is found by its name in the folder of the program.", LoadBeside, "done",
     "Dynamic-link library search order", kAsWindows, kAsWindows},
    {"After SetDefaultDllDirectories for System32 alone no library is found in the folder of the program.",
     LoadBesideGuarded, "error 126", "SetDefaultDllDirectories function", kAsWindows, kAsWindows, Need::kNothing,
     kWindows8},
    {"The idle process answers OpenProcess with ERROR_INVALID_PARAMETER.", OpenIdleProcess, "error 87",
     "OpenProcess function", kAsWindows, kAsWindows},
    {"The process System cannot be opened with all rights.", OpenSystemProcess, "error 5", "OpenProcess function",
     "none", "none"},
    {"A text named .exe is no program: ERROR_EXE_MACHINE_TYPE_MISMATCH.", StartText, "error 216",
     "no page says so; reported of 64-bit Windows", "error 193", "error 193"},
};
static_assert(AreSound(kFacts));

}  // namespace

const Group kProcessFacts = {"Processes", kFacts, std::size(kFacts)};

}  // namespace Facts
