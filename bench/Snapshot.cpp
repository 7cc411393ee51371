// Snapshot <times>: a snapshot of the system and a walk through its processes, <times> over, with nothing looked for.
// What a look-up of a process is measured against. Ends with 0 where every walk saw at least this process.
//
// A snapshot of everything lists the libraries of its own process too, so this one loads what the program loads.
#include <windows.h>

#include <tlhelp32.h>

#include <cwchar>

namespace {

unsigned CountProcesses() {
  unsigned count = 0;
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPALL, 0);
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Process32FirstW(snapshot, &entry); more; more = ::Process32NextW(snapshot, &entry)) {
    ++count;
  }
  ::CloseHandle(snapshot);
  return count;
}

}  // namespace

int wmain(int count, wchar_t* arguments[]);  // no header of the toolchain declares it

int wmain(int count, wchar_t* arguments[]) {
  if (::LoadLibraryW(L"advapi32.dll") == nullptr) {
    return 3;
  }
  const unsigned long times = count > 1 ? std::wcstoul(arguments[1], nullptr, 10) : 0;
  for (unsigned long walk = 0; walk < times; ++walk) {
    if (CountProcesses() == 0) {
      return 1;
    }
  }
  return times > 0 ? 0 : 2;
}
