// The messages that the rules and the sentences name, without those of single mail clients (Clients.h). A test checks
// that the catalogue has each of them.
#pragma once

#include <string_view>

namespace LogReader::Texts {

// Copying.
inline constexpr std::string_view kCopied = "CopyFile(\1, \1) successed.";
inline constexpr std::string_view kCopyFailed = "::CopyFile() failed: err(\1), src(\1), dst(\1)";
inline constexpr std::string_view kCopyWaits = "RebootMove('\1', '\1') succeeded";
inline constexpr std::string_view kWaitingCopyFailed = "CoreAgentUtility::File::copyFileEx(\1,\1) failed, err=\1";
inline constexpr std::string_view kMoveFailed = "MoveFileEx(\1,\1) failed, err=\1";
inline constexpr std::string_view kResourcesDone = "VELAUtility::PreInstallVELA_MUI(), Ret: \1";
inline constexpr std::string_view kUpgradeDone = "VELAWrapper::Upgrade() RetrunCode : \1";

// The switch at an installation.
inline constexpr std::string_view kSwitchNotStored = "Fail to set VELA enable/disable status to reg !!";
inline constexpr std::string_view kClientRuns = "There is a Mail Client Running.";
inline constexpr std::string_view kSwitchNotReset = "Fail to set REG_ZENTA_VELA_ENABLE_KEY value !!";
inline constexpr std::string_view kSwitchStaysOn = "There is no any Mail Client Running.";
inline constexpr std::string_view kSwitchNotRead = "QueryStringValue Fail, keyName:VELAEnable, nError:\1";

// Finding Outlook.
inline constexpr std::string_view kRelease = "GetOutlookVersion return=\1";
inline constexpr std::string_view kLaterRelease = "GetOutlookVersion return OL_LATER_THAN_2010 !";
inline constexpr std::string_view kRelease2000 = "GetOutlookVersion return OL_2000 !";
inline constexpr std::string_view kNoOutlook = "MS Office Outlook is not installed !";

// Registering and unregistering modules.
inline constexpr std::string_view kOutlookRuns = "MS Office Outlook is running during installing !";
inline constexpr std::string_view kRegister = "RegisterComModule() command line: \1";
inline constexpr std::string_view kRegisterResult = "RegisterComModule() execute result: \1";
inline constexpr std::string_view kRegisterSlow = "Wait to register COM object more than 3 seconds.";
inline constexpr std::string_view kUnregister = "UnregisterComModule() command line: \1";
inline constexpr std::string_view kUnregisterResult = "UnregisterComModule() execute result: \1";
inline constexpr std::string_view kUnregisterSlow = "Wait to unregister COM object more than 3 seconds.";
inline constexpr std::string_view kNoRedemption = "Failed to register Redemption.dll !! \1";
inline constexpr std::string_view kNoOeInit = "Failed to register oeapiinitcom.dll !!  \1";
inline constexpr std::string_view kNoOeCom = "Failed to register oecom.dll !! \1";
inline constexpr std::string_view kNoOeStore = "Failed to register oestore.dll !!";

// Switching on and off.
inline constexpr std::string_view kNoSession =
    "*** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=\1";
inline constexpr std::string_view kUser = "CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:\1, szSID: \1";
inline constexpr std::string_view kSwitchFailed =
    "HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! strVELAInstallPath = \1";
inline constexpr std::string_view kMonitorStart = "ImpersonateLoggedOnUser() : \1";
inline constexpr std::string_view kMonitorsFailed = "!!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()";
inline constexpr std::string_view kEnabled = "Enable OK";
inline constexpr std::string_view kEnableStored = "VELA Enable OK";
inline constexpr std::string_view kEnableNotStored = "VELA Enable Fail \1";
inline constexpr std::string_view kNoKey = "REG Open Fail";
inline constexpr std::string_view kAddinNotOff = "Failed to WriteRegIntValue of LoadBehavior to 2!!";
inline constexpr std::string_view kMonitorsNext = "Check if need VELA_DISABLE_NOTIFY_EVENT";
inline constexpr std::string_view kMonitorsLeft = "Not Send VELA_DISABLE_NOTIFY_EVENT";
inline constexpr std::string_view kDisabled = "Disable OK";
inline constexpr std::string_view kDisableStored = "VELA Disable OK";
inline constexpr std::string_view kDisableNotStored = "VELA Disable Fail";

// The state.
inline constexpr std::string_view kState = "GetStatus!!!!! \1";
inline constexpr std::string_view kNoState = "GetStatus!!!!! FAIL!!";

// Notifying.
inline constexpr std::string_view kNotifyBegins = "Enter VELAUtility::NotifyReloadVELAEngine()";
inline constexpr std::string_view kNotifyEnds = "Leave VELAUtility::NotifyReloadVELAEngine()";
inline constexpr std::string_view kUpgradeNotified = "VELAWrapper::NotifyReloadVELAEngine() RetrunCode : \1";

// Uninstalling.
inline constexpr std::string_view kRemovalBegins = "VELA is still Activated. Set VELA to disable!, bServiceMode=\1";
inline constexpr std::string_view kNoAddinKey = " IsRegistryExisted(HKEY_LOCAL_MACHINE, g_szOLActivateKey) = FALSE ";
inline constexpr std::string_view kAddinKeyDeleted = "Delete VELA_OLA.OLAgent registry Success! ";
inline constexpr std::string_view kAddinKeyStays = "Cannot delete registry !!";
inline constexpr std::string_view kFolderEmptied = "OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:\1";
inline constexpr std::string_view kFolderNotEmptied = "OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:\1";
inline constexpr std::string_view kProductRemoved = "VELAUtility::DeleteFolderFiles(), Success to delete folder: \1";
inline constexpr std::string_view kProductStays =
    "VELAUtility::DeleteFolderFiles(), Failed to delete folder: \1 dwRtnValue:0";
inline constexpr std::string_view kDataStays = "VELAUtility::RemoveVELAProgramData(), Failed to delete folder: \1";

// clang-format off
inline constexpr std::string_view kAll[] = {
    kCopied, kCopyFailed, kCopyWaits, kWaitingCopyFailed, kMoveFailed, kResourcesDone, kUpgradeDone,
    kSwitchNotStored, kClientRuns, kSwitchNotReset, kSwitchStaysOn, kSwitchNotRead, kRelease, kLaterRelease,
    kRelease2000, kNoOutlook, kOutlookRuns, kRegister, kRegisterResult, kRegisterSlow, kUnregister,
    kUnregisterResult, kUnregisterSlow, kNoRedemption, kNoOeInit, kNoOeCom, kNoOeStore, kNoSession, kUser,
    kSwitchFailed, kMonitorStart, kMonitorsFailed, kEnabled, kEnableStored, kEnableNotStored, kNoKey, kAddinNotOff,
    kMonitorsNext, kMonitorsLeft, kDisabled, kDisableStored, kDisableNotStored, kState, kNoState, kNotifyBegins,
    kNotifyEnds, kUpgradeNotified, kRemovalBegins, kNoAddinKey, kAddinKeyDeleted, kAddinKeyStays,
    kFolderEmptied, kFolderNotEmptied, kProductRemoved, kProductStays, kDataStays};
// clang-format on

}  // namespace LogReader::Texts
