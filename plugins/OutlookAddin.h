// Making Outlook load the product's add-in.
#pragma once

#include <windows.h>

#include <string>

namespace VELAUtility {

// Outlook's key of the add-in, below HKEY_LOCAL_MACHINE and below every user hive, including the trailing backslash.
inline constexpr wchar_t g_szOLActivateKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\";
inline constexpr wchar_t g_szOLAddinsKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\";
inline constexpr wchar_t g_szOLAddinName[] = L"VELA_OLA.OLAgent";

// The number in "LoadBehavior", by which Outlook decides whether it loads an add-in at start-up.
enum class LoadBehavior : DWORD { kDoNotLoad = 2, kLoadAtStartUp = 3 };

constexpr LoadBehavior LoadBehaviorOf(bool enable) noexcept {
  return enable ? LoadBehavior::kLoadAtStartUp : LoadBehavior::kDoNotLoad;
}

// Registers Redemption.dll, then VELA_OLA.dll in `clientFolder` (with or without a trailing backslash) and writes the
// add-in key of the machine and of every user; `enable`: Outlook loads the add-in at start-up. Ends, and returns false,
// if a module could not be registered; a failed registry write is only logged.
bool RegisterOutlookAddin(const std::wstring& clientFolder, bool enable);

// The machine's add-in key is written in these three steps, in this order. Creates the key if it is missing. After a
// failure, which is logged, write no values.
bool EnsureOutlookAddinKeyForMachine();
// False if there is no key or the write fails. Not logged: the callers' texts differ.
bool WriteOutlookLoadBehaviorForMachine(LoadBehavior loadBehavior);
// Writes the other three values, trying each. A failure is logged.
void WriteOutlookAddinValuesForMachine();

// Writes the add-in key into every hive that is loaded below HKEY_USERS, even those of service accounts. A hive
// is left at its first failure, and the next one is tried. False if HKEY_USERS cannot be opened or queried. Not logged.
bool WriteOutlookAddinKeyForAllUsers(LoadBehavior loadBehavior);

// Deletes "ADDINS\Redemption.ECF" below Outlook's folder, the registration of an extension that the add-in replaces.
void VELA_RemoveOutlookECF();

}  // namespace VELAUtility
