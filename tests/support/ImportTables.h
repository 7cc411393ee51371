// The import table of a program in memory, and what has to be redirected like it.
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
  // A function that the product binds by name and keeps is no import. The product is given this jump through the slot
  // in its place; the slot is empty until then. Null for an import.
  FARPROC jump;
};

// All imports, in the order of the table. `program`: a program or library that is mapped the way it runs;
// LoadLibraryExW with DONT_RESOLVE_DLL_REFERENCES does that for another program's file.
std::vector<ImportSlot> ReadImports(HMODULE program);

// Those of the running program, and behind them what it may bind and keep. They do not change while it runs.
const std::vector<ImportSlot>& ProgramImports();

// Whether it is a library of those functions, which the product loads and never releases.
bool StaysLoaded(HMODULE library);

}  // namespace TestSupport
