// Single steps of the product as a program, to be measured against what does the same on its own:
//
//   Steps delete <folder>     deletes the folder with everything in it
//   Steps stamp <folder>      stamps the access list for existing folders on it and everything below
//   Steps register <folder>   registers all COM modules of the three mail clients, which lie in that folder
//   Steps lookup <times>      looks for a process that does not run, <times> over
//
// Ends with 0 where the step says that it succeeded.
#include <windows.h>

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
  for (const Fixtures::ModuleClass& row : Fixtures::kModuleClasses) {
    if (!VELAUtility::RegisterComModule(folder + L"\\" + row.module)) {
      return 1;
    }
  }
  return 0;
}

int LookUp(const std::wstring& times) {
  const unsigned long count = std::wcstoul(times.c_str(), nullptr, 10);
  for (unsigned long search = 0; search < count; ++search) {
    DWORD processId = 0;
    if (OrCommon::System::FindProcessByName(L"nobody runs this", processId) != 0) {
      return 1;
    }
  }
  return count > 0 ? 0 : 2;
}

struct Step {
  const wchar_t* name;
  int (*run)(const std::wstring& argument);
};

constexpr Step kSteps[] = {{L"delete", Delete}, {L"stamp", Stamp}, {L"register", Register}, {L"lookup", LookUp}};

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
