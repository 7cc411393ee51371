// Making Outlook load the product's add-in.
#pragma once

#include <windows.h>

#include <string>

namespace VELAUtility {

// Outlook's key of the add-in, below HKEY_LOCAL_MACHINE and below every user hive; the trailing backslash belongs to
// it.
inline constexpr wchar_t g_szOLActivateKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\";
inline constexpr wchar_t g_szOLAddinsKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\";
inline constexpr wchar_t g_szOLAddinName[] = L"VELA_OLA.OLAgent";

// The number in "LoadBehavior", by which Outlook decides whether it loads an add-in at start-up.
enum class LoadBehavior : DWORD { kDoNotLoad = 2, kLoadAtStartUp = 3 };

constexpr LoadBehavior LoadBehaviorOf(bool enable) noexcept {
  return enable ? LoadBehavior::kLoadAtStartUp : LoadBehavior::kDoNotLoad;
}

// Registers Redemption.dll, then VELA_OLA.dll in `clientFolder` (with or without a trailing backslash) and writes the
// add-in key of the machine and of every user; `enable` tells whether Outlook loads the add-in at start-up. True unless
// a module could not be registered, which ends it there; a failed registry write is only logged.
bool RegisterOutlookAddin(const std::wstring& clientFolder, bool enable);

// The machine's add-in key is written in these three steps, in this order.
// Makes the key where it is missing. A failure is logged, and no value is to be written then.
bool EnsureOutlookAddinKeyForMachine();
// False where there is no key or it refuses. Not logged: the callers' texts differ.
bool WriteOutlookLoadBehaviorForMachine(LoadBehavior loadBehavior);
// Writes the other three values, trying each. A failure is logged.
void WriteOutlookAddinValuesForMachine();

// Writes the add-in key into every hive that is loaded below HKEY_USERS, those of no person included. A hive that
// refuses is left at the first failure and the next one is tried. False where HKEY_USERS cannot be opened or queried.
// Not logged.
bool WriteOutlookAddinKeyForAllUsers(LoadBehavior loadBehavior);

// Deletes "ADDINS\Redemption.ECF" below Outlook's folder, the registration of an extension that the add-in replaces.
void VELA_RemoveOutlookECF();

}  // namespace VELAUtility
