// Making Outlook load the product's add-in.
#pragma once

#include <string>

#include "cli/RunLog.h"

namespace VELAUtility {

// Outlook's key of the add-in, below HKEY_LOCAL_MACHINE and below every user hive; the trailing backslash belongs to
// it.
inline constexpr wchar_t g_szOLActivateKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\";
inline constexpr wchar_t g_szOLAddinsKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\";
inline constexpr wchar_t g_szOLAddinName[] = L"VELA_OLA.OLAgent";

// Registers Redemption.dll, then VELA_OLA.dll in `clientFolder` (with or without a trailing backslash) and writes the
// add-in key of the machine and of every user; `enable` tells whether Outlook loads the add-in at start-up. True unless
// a module could not be registered, which ends it there; a failed registry write is only logged.
bool RegisterOutlookAddin(const std::wstring& clientFolder, bool enable);

// Makes the add-in key in HKEY_LOCAL_MACHINE and writes its four values, trying each; a failure is logged, that of
// "LoadBehavior" with `loadBehaviorFailure`.
void WriteOutlookAddinKeyForMachine(bool enable, RunLog::Text loadBehaviorFailure);

// Sets "LoadBehavior" of the existing add-in key in HKEY_LOCAL_MACHINE so that Outlook no longer loads the add-in.
// False where there is no such key or it refuses. Not logged.
bool SwitchOffOutlookAddinForMachine();

// Writes the add-in key into every hive that is loaded below HKEY_USERS, those of no person included. A hive that
// refuses is left at the first failure and the next one is tried. False where HKEY_USERS cannot be opened or queried.
// Not logged.
bool WriteOutlookAddinKeyForAllUsers(bool enable);

// Deletes "ADDINS\Redemption.ECF" below Outlook's folder, the registration of an extension that the add-in replaces.
void VELA_RemoveOutlookECF();

}  // namespace VELAUtility
