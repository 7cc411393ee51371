// The import table of a program in memory, and other functions that are redirected in the same way.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace TestSupport {

// One imported function. Every call that the program's own code makes to it goes through `slot`.
struct ImportSlot {
  std::string dll;       // as the import table spells it: "ADVAPI32.dll"
  std::string function;  // "RegSetValueExW"; imports by number have no name and are left out
  void** slot;
  // A function that the product binds by name and keeps is not an import. The product gets this jump through the slot
  // instead. The slot is empty until then. Null for an import.
  FARPROC jump;
};

// All imports, in the order of the table. `program`: a program or library that is mapped as an image. For another
// program's file, use LoadLibraryExW with DONT_RESOLVE_DLL_REFERENCES.
std::vector<ImportSlot> ReadImports(HMODULE program);

// The imports of the running program, then what it may bind and keep. They do not change while it runs.
const std::vector<ImportSlot>& ProgramImports();

// True for a library of those functions, which the product loads and never releases.
bool StaysLoaded(HMODULE library);

}  // namespace TestSupport
