// What stands in parts of the registry, and what changed there.
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
// The number is the view through which it was read; "" is a key's default value. A string is shown as text where it is
// stored the ordinary way, with one terminator; where it is not, its size in bytes follows: REG_SZ "abc" (6 bytes).
// Other types and lone surrogates are shown in hexadecimal.
class RegistrySnapshot {
 public:
  // Adds a key with everything below it. A key that does not exist adds nothing. `view`: KEY_WOW64_32KEY or
  // KEY_WOW64_64KEY. `except`: subkeys of the root, by their names, that are passed over.
  void Add(HKEY hive, const std::wstring& key, REGSAM view, const std::vector<std::wstring>& except = {});

  Lines AsLines() const;

  // What has to be done to `before` to get `after`: "+" a key or value that came, "-" one that went, "~" a value with
  // other data, which shows the new data and then the old behind " <- ". Sorted by key.
  static Lines Changes(const RegistrySnapshot& before, const RegistrySnapshot& after);

 private:
  void AddTree(HKEY key, const std::string& name, const std::string& view, const std::vector<std::wstring>& except);
  void AddValues(HKEY key, const std::string& label);

  std::map<std::string, std::string> entries_;  // a key, or a key and a value's name, with the value's type and data
};

}  // namespace TestSupport
