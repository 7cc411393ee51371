// The contents of parts of the registry, and their changes.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/TextLines.h"

namespace TestSupport {

// Each key and each value is one line:
//
//   HKLM\Software\X [32]
//   HKLM\Software\X [32] "Path" REG_SZ "C:\Office\"
//   HKLM\Software\X [64] "" REG_DWORD 3
//
// The number is the view that was read; "" is a key's default value. A string is shown as text. If it is not stored
// with exactly one terminator, its size in bytes follows: REG_SZ "abc" (6 bytes). Other types and lone surrogates are
// shown in hexadecimal.
class RegistrySnapshot {
 public:
  // Adds a key with everything below it. A key that does not exist adds nothing. `view`: KEY_WOW64_32KEY or
  // KEY_WOW64_64KEY. `except`: names of subkeys of the root that are skipped.
  void Add(HKEY hive, const std::wstring& key, REGSAM view, const std::vector<std::wstring>& except = {});

  Lines AsLines() const;

  // The changes from `before` to `after`: "+" for a new key or value, "-" for a removed one, "~" for a value with other
  // data, which shows the new data, " <- " and the old data. Sorted by key.
  static Lines Changes(const RegistrySnapshot& before, const RegistrySnapshot& after);

 private:
  void AddTree(HKEY key, const std::string& name, const std::string& view, const std::vector<std::wstring>& except);
  void AddValues(HKEY key, const std::string& label);

  std::map<std::string, std::string> entries_;  // a key, or a key and a value's name; then the value's type and data
};

}  // namespace TestSupport
