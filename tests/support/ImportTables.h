// The import tables of a program in memory, the ordinary one and the delay-loaded one.
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
  // A delay-loaded function's slot points into the program itself until the first call binds it.
  bool delayed;
};

// All of them, ordinary ones first, in the order of the tables. `program`: a program or library that is mapped the way
// it runs; LoadLibraryExW with DONT_RESOLVE_DLL_REFERENCES does that for another program's file.
std::vector<ImportSlot> ReadImports(HMODULE program);

// Those of the running program. They do not change while it runs.
const std::vector<ImportSlot>& ProgramImports();

// Whether the address lies in the program itself, not in a library: a delay-loaded slot that is not bound yet does.
bool LiesInProgram(const void* address);

}  // namespace TestSupport
