// The machine of the fuzzed sources. It exists in memory, and a fuzzer fills it from its input. It answers in the worst
// way that Windows may: it writes buffers up to the given size, a stored value may have no terminator, and a value may
// grow between the query of its size and the query of its data.
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
  // Every key has the same subkeys and values: the fuzzers test the returned data, not the place of the search.
  std::vector<std::wstring> subkeys;
  std::vector<StoredValue> values;
  std::size_t growth = 0;  // bytes by which a value grows between two queries

  std::wstring commonData;             // empty: Windows does not know it
  std::map<std::wstring, DWORD> disk;  // what exists: its plain path and its attributes
  std::set<std::wstring> held;         // what is in use and cannot be deleted
  std::vector<std::wstring> putOff;    // what is deleted at the next restart
  bool foldersCanBeMade = true;
  std::vector<std::wstring> madeFolders;  // what was created
  std::vector<std::wstring> stampedFolders;

  int openHandles = 0;
};

extern Machine machine;

// An empty machine.
void Reset();

// A path as Windows reads it: repeated separators count as one, and those at the end do not count.
std::wstring Plain(const std::wstring& path);

}  // namespace HostWindows
