#include "tests/faults/AnsweredCalls.h"

#include <cstring>
#include <string>

#include "tests/faults/SubjectRun.h"

namespace Faults {
namespace {

void HandOutEndedProcess(PROCESS_INFORMATION& information) {
  // Signalled, as a process that has ended is.
  information.hProcess = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
  information.hThread = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
  information.dwProcessId = information.dwThreadId = 0;
}

// "regsvr32.exe /s "path"" and "regsvr32.exe /u /s "path"".
void RunRegistration(const std::wstring& commandLine) {
  const std::size_t first = commandLine.find(L'"');
  const std::size_t last = commandLine.rfind(L'"');
  if (first == std::wstring::npos || last == first) {
    return;
  }
  const HMODULE module =
      ::LoadLibraryExW(commandLine.substr(first + 1, last - first - 1).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (module == nullptr) {
    return;
  }
  const bool unregister = commandLine.compare(0, first, L"regsvr32.exe /u /s ") == 0;
  const FARPROC address = ::GetProcAddress(module, unregister ? "DllUnregisterServer" : "DllRegisterServer");
  if (address != nullptr) {
    HRESULT(WINAPI * entry)() = nullptr;
    std::memcpy(&entry, &address, sizeof entry);
    entry();
  }
  ::FreeLibrary(module);
}

}  // namespace

BOOL WINAPI AnswerCreateProcess(LPCWSTR, LPWSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD,
                                LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION information) {
  if (SubjectRun::Get().Registers()) {
    RunRegistration(commandLine);
  }
  HandOutEndedProcess(*information);
  return TRUE;
}

BOOL WINAPI AnswerCreateProcessAsUser(HANDLE, LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                                      DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION information) {
  HandOutEndedProcess(*information);
  return TRUE;
}

void WINAPI AnswerSleep(DWORD) {}

}  // namespace Faults
