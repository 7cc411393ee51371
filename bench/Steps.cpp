// Single steps of the product as a program, for comparison with other programs that do the same:
//
//   Steps delete <folder>     deletes the folder with everything in it
//   Steps stamp <folder>      sets the access control list for existing folders on it and everything below
//   Steps register <folder>   registers all COM modules of the mail clients, which are in that folder
//   Steps lookup <times>      looks for a process that does not run, <times> times
//   Steps snapshot <times>    only takes the snapshot of a look-up and walks through it, <times> times
//
// Exits with 0 if the step succeeds.
#include <windows.h>

#include <tlhelp32.h>

#include <cwchar>
#include <string>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_SecurityAttributes.h"
#include "Common/OrCommon/OrComn_System.h"
#include "plugins/ComModuleRunner.h"
#include "tests/fixtures/ModuleClasses.h"

namespace {

int Delete(const std::wstring& folder) {
  int restartNeeded = 0;
  return OrCommon::Storage::File::DeleteAllFiles(folder, restartNeeded, nullptr) && restartNeeded == 0 &&
                 ::RemoveDirectoryW(folder.c_str())
             ? 0
             : 1;
}

int Stamp(const std::wstring& folder) {
  return OrCommon::AccessControl::ApplyFolderAccessRules(folder) == 1 ? 0 : 1;
}

int Register(const std::wstring& folder) {
  for (const Fixtures::ModuleClass& row : Fixtures::ModuleClasses()) {
    if (!VELAUtility::RegisterComModule(folder + L"\\" + row.module)) {
      return 1;
    }
  }
  return 0;
}

bool FindNobody() {
  DWORD processId = 0;
  return OrCommon::System::FindProcessByName(L"nobody runs this", processId) == 0;
}

bool WalkSnapshot() {
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPALL, 0);
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  const BOOL first = ::Process32FirstW(snapshot, &entry);
  while (::Process32NextW(snapshot, &entry)) {
  }
  ::CloseHandle(snapshot);
  return first != FALSE;
}

template <bool (*once)()>
int Repeat(const std::wstring& times) {
  for (unsigned long left = std::wcstoul(times.c_str(), nullptr, 10); left > 0; --left) {
    if (!once()) {
      return 1;
    }
  }
  return 0;
}

struct Step {
  const wchar_t* name;
  int (*run)(const std::wstring& argument);
};

constexpr Step kSteps[] = {{L"delete", Delete},
                           {L"stamp", Stamp},
                           {L"register", Register},
                           {L"lookup", Repeat<FindNobody>},
                           {L"snapshot", Repeat<WalkSnapshot>}};

}  // namespace

int wmain(int count, wchar_t* arguments[]);  // no header of the toolchain declares it

int wmain(int count, wchar_t* arguments[]) {
  for (const Step& step : kSteps) {
    if (count == 3 && std::wcscmp(arguments[1], step.name) == 0) {
      return step.run(arguments[2]);
    }
  }
  return 2;
}
