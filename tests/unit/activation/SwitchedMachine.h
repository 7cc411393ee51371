// A machine on which filtering is switched. Before and after a test, its registry contains nothing of the product. The
// test has a separate common data folder.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "tests/support/ImportRedirection.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/TestRegistry.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

class SwitchedMachine {
 public:
  static constexpr wchar_t kData[] = L"C:\\VelaTest\\Switch\\data";
  static constexpr wchar_t kCoreAgentKey[] = L"Software\\OrvaneLabs\\CoreAgent\\VELA";
  static constexpr wchar_t kAddinKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";
  static constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
  // A user who is logged on, but not the user of the test.
  static constexpr wchar_t kUser[] = L"S-1-5-21-1-2-3-1001";

  SwitchedMachine();
  SwitchedMachine(const SwitchedMachine&) = delete;
  SwitchedMachine& operator=(const SwitchedMachine&) = delete;
  ~SwitchedMachine();

  // Everything below the common data folder, and everything on the disk below C:\VelaTest\Switch.
  Lines Data() const;
  // The registry where the switch writes: the add-in keys of the machine and of all hives, the Run key, the shared
  // settings.
  RegistrySnapshot Registry() const;
  // "LoadBehavior" of a hive's add-in key; -1 if it does not exist. No hive: the machine's key.
  int LoadBehavior(const std::wstring& hive = {}) const;
  static std::wstring RunValue(const wchar_t* name);

  // The machine's flags of delayed registrations.
  void ClearFlags() const;  // 0 for every client
  void SetFlag(const wchar_t* client, DWORD value) const;
  Lines Flags() const;

 private:
  static void ForgetEverything();
  std::optional<ImportRedirection> commonData_;
};

}  // namespace TestSupport
