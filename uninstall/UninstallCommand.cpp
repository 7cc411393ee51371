#include "uninstall/UninstallCommand.h"

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_Privileges.h"
#include "Common/OrCommon/OrComn_TerminalService.h"
#include "activation/AntiSpamSwitch.h"
#include "activation/ConsoleUser.h"
#include "cli/RunLog.h"
#include "install/DataFolder.h"
#include "plugins/ClientRegistration.h"
#include "settings/CommandLineFolders.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"
#include "uninstall/FolderRemoval.h"

namespace {

using namespace VELAUtility;

// With a trailing backslash. Not the base folder of install: without a double-byte character it is the destination
// itself, without "Orvane Labs" appended.
std::wstring UninstallBaseFolder() {
  if (HasDoubleByteCharacters()) {
    return ProductFolders::GetBaseFolder(GetCommonDataFolder());
  }
  return ProductFolders::WithBackslash(DestPath);
}

// Whether the console user's profile could be loaded. Only for the log.
bool IsServiceMode() {
  DWORD sessionId = OrCommon::TerminalService::kNoSession;
  DWORD error = ERROR_SUCCESS;
  OrCommon::TerminalService::GetActiveSessionId(sessionId, error);
  UserProfile profile;
  OrCommon::KernelHandle token;
  const bool loaded = LoadLoggedOnUserProfile(sessionId, profile, token);
  UnloadLoggedOnUserProfile(profile, token);
  return loaded;
}

void SwitchOff(const std::wstring& productFolder) {
  const bool isServiceMode = IsServiceMode();
  RunLog::Info() << L"VELA is still Activated. Set VELA to disable!, bServiceMode=" << isServiceMode;
  if (!CProviderAntiSpam().SetAntiSpamEnable(false, productFolder, 0)) {
    RunLog::Warn() << L"VELAUtility::SetAntiSpamEnable(), Failed.";
  }
}

void DeleteProductFolder(const std::wstring& folder) {
  int restartNeeded = 0;  // set by the deletion, not used here
  if (DeleteFolderFiles(folder, restartNeeded, nullptr)) {
    RunLog::Info() << L"VELAUtility::DeleteFolderFiles(), Success to delete folder: " << folder;
  } else {
    // The number is always 0; the code is in the line before.
    RunLog::Error() << L"VELAUtility::DeleteFolderFiles(), Failed to delete folder: " << folder << L" dwRtnValue:" << 0;
  }
}

}  // namespace

int plugVELA_Uninstall() {
  const std::wstring baseFolder = UninstallBaseFolder();
  const std::wstring productFolder = baseFolder + L"VELA";
  SwitchOff(productFolder);
  for (const MailClientFacts& facts : kMailClients) {
    UnregisterClient(facts.client, ProductFolders::ClientFolder(baseFolder, facts.client));
  }
  // Files that users created in the product's folders may allow access only to themselves.
  const OrCommon::AccessControl::BackupPrivileges privileges;
  DeleteProductFolder(productFolder);
  RemoveVELAProgramData();
  return 0;
}
