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
#include "plugins/OutlookAddinRemoval.h"
#include "plugins/OutlookExpressPlugin.h"
#include "plugins/WindowsLiveMailPlugin.h"
#include "settings/CommandLineFolders.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"
#include "uninstall/FolderRemoval.h"

namespace {

using namespace VELAUtility;

struct Removal {
  MailClient client;
  RunLog::Text running;  // null: the removal looks for itself
  bool skippedWhileRunning;
  bool (*remove)(const std::wstring& clientFolder);
  RunLog::Text failure;
};

// In this order. Outlook's add-in goes also while Outlook runs; the modules of Outlook Express must not.
constexpr Removal kRemovals[] = {
    {MailClient::kOutlook, L"plugVELA_Uninstall(), OL is still running!.", false, UnregisterOutlookAddin,
     L"VELA OL UnInstall Fail !!"},
    {MailClient::kOutlookExpress, L"plugVELA_Uninstall(), OE is still running!.", true, UnregisterOEPlugin,
     L"VELA OE UnInstall Fail !!"},
    {MailClient::kWindowsLiveMail, nullptr, false, UnregisterWLMPlugin, L"VELA WLM UnInstall Fail !!"},
};
static_assert(HasEveryClient(kRemovals));

// With a trailing backslash. Not the base folder of install: without a double-byte character it is the destination
// itself, with no folder of the maker below it.
std::wstring UninstallBaseFolder() {
  if (HasDoubleByteCharacters()) {
    return ProductFolders::GetBaseFolder(GetCommonDataFolder());
  }
  return ProductFolders::Join(DestPath, L"");
}

// Whether the console user's profile could be loaded, which tells the log how the product runs here.
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

void Remove(const Removal& removal, const std::wstring& baseFolder) {
  if (removal.running != nullptr && IsMailClientRunning(removal.client)) {
    RunLog::Warn() << removal.running;
    if (removal.skippedWhileRunning) {
      return;
    }
  }
  if (!removal.remove(baseFolder + FactsOf(removal.client).folder)) {
    RunLog::Error() << removal.failure;
  }
}

void DeleteProductFolder(const std::wstring& folder) {
  int restartNeeded = 0;  // collected; nobody asks for it here
  if (DeleteFolderFiles(folder, restartNeeded, nullptr)) {
    RunLog::Info() << L"VELAUtility::DeleteFolderFiles(), Success to delete folder: " << folder;
  } else {
    // The number is always 0; the code stands in the line before.
    RunLog::Error() << L"VELAUtility::DeleteFolderFiles(), Failed to delete folder: " << folder << L" dwRtnValue:" << 0;
  }
}

}  // namespace

int plugVELA_Uninstall() {
  const std::wstring baseFolder = UninstallBaseFolder();
  const std::wstring productFolder = baseFolder + L"VELA";
  SwitchOff(productFolder);
  for (const Removal& removal : kRemovals) {
    Remove(removal, baseFolder);
  }
  // What users have made in the product's folders may list only themselves.
  const OrCommon::AccessControl::BackupPrivileges privileges;
  DeleteProductFolder(productFolder);
  RemoveVELAProgramData();
  return 0;
}
