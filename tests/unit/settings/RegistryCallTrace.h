// The registry calls of the product, in order, as lines:
//
//   RegOpenKeyExW HKLM SOFTWARE\X 00020219 -> 1
//   RegQueryValueExW 1 "VELAEnable" 4 bytes
//   RegSetValueExW 1 "VELAEnable" REG_DWORD 4 bytes
//   RegCloseKey 1
//
// Keys are numbered in the order in which they are opened; a failed open shows "error 2". RegCreateKeyExW shows its
// options and "plain" where class, security and disposition are left out.
#pragma once

#include <windows.h>

#include <map>
#include <optional>

#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

class RegistryCallTrace {
 public:
  RegistryCallTrace();
  const Lines& Calls() const { return calls_; }
  bool AllClosed() const { return open_.empty(); }

 private:
  std::string NameOf(HKEY key) const;
  void Opened(const std::string& call, LSTATUS status, const HKEY* key);

  Lines calls_;
  int opened_ = 0;
  std::map<HKEY, int> open_;

  ImportRedirection openKey_;
  ImportRedirection openKeyEx_;
  ImportRedirection createKeyEx_;
  ImportRedirection queryValue_;
  ImportRedirection setValue_;
  ImportRedirection deleteValue_;
  ImportRedirection closeKey_;
  std::optional<ImportRedirection> enumKey_;  // not every test program has it
};

}  // namespace TestSupport
