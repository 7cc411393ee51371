// The machine that the fuzzed sources meet: it exists in memory, a fuzzer fills it with whatever its input says, and it
// answers as hostile as Windows may. Buffers are used up to the size that the caller named, what is stored lacks its
// terminator where the input says so, and a value may grow between the question for its size and the one for its data.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/fuzz/host/windows.h"

namespace HostWindows {

struct StoredValue {
  std::wstring name;
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
};

struct Machine {
  // Every key shows the same subkeys and values: what is fuzzed here is what comes back, not where it is looked for.
  std::vector<std::wstring> subkeys;
  std::vector<StoredValue> values;
  std::size_t growth = 0;  // bytes by which a value has grown whenever it is asked for again

  std::wstring commonData;             // empty: Windows cannot tell
  std::map<std::wstring, DWORD> disk;  // what exists, by its plain path, and its attributes
  std::set<std::wstring> held;         // what is in use and cannot be deleted
  std::vector<std::wstring> putOff;    // what is deleted at the next restart
  bool foldersCanBeMade = true;
  std::vector<std::wstring> madeFolders;  // what was created
  std::vector<std::wstring> stampedFolders;

  int openHandles = 0;
};

extern Machine machine;

// A machine with nothing on it.
void Reset();

// A path as Windows takes it: repeated separators are one, and none counts at the end.
std::wstring Plain(const std::wstring& path);

}  // namespace HostWindows
