#include "tests/faults/AnsweredCalls.h"

#include <string>

#include "tests/faults/SubjectRun.h"
#include "tests/fixtures/ModuleClasses.h"

namespace Faults {
namespace {

void HandOutEndedProcess(PROCESS_INFORMATION& information) {
  // Signalled, like a process that has ended.
  information.hProcess = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
  information.hThread = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
  information.dwProcessId = information.dwThreadId = 0;
}

// "regsvr32.exe /s "path"" and "regsvr32.exe /u /s "path"": does the work of the module's entry points. A module that
// does not exist changes nothing.
void RunRegistration(const std::wstring& commandLine) {
  const std::size_t first = commandLine.find(L'"');
  const std::size_t last = commandLine.rfind(L'"');
  if (first == std::wstring::npos || last == first) {
    return;
  }
  const std::wstring path = commandLine.substr(first + 1, last - first - 1);
  if (::GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
    return;
  }
  for (const auto& row : Fixtures::ModuleClasses()) {
    const std::wstring key = std::wstring(L"Software\\Classes\\CLSID\\") + row.classId;
    const std::wstring server = key + L"\\InprocServer32";
    if (::_wcsicmp(path.substr(path.rfind(L'\\') + 1).c_str(), row.module.c_str()) != 0) {
      continue;
    }
    if (commandLine.compare(0, first, L"regsvr32.exe /u /s ") == 0) {
      ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, server.c_str());
      ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str());
    } else {
      ::RegSetValueW(HKEY_LOCAL_MACHINE, server.c_str(), REG_SZ, path.c_str(), 0);
    }
  }
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
