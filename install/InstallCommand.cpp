#include "install/InstallCommand.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

#include "Common/OrCommon/OrComn_Handles.h"
#include "cli/RunLog.h"
#include "install/DataFolder.h"
#include "install/OutlookDetection.h"
#include "install/Staging.h"
#include "plugins/ClientRegistration.h"
#include "settings/CommandLineFolders.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"
#include "settings/ProductSettings.h"

namespace VELAWrapper {
namespace {

using namespace VELAUtility;

// The settings open the key themselves; here it only has to be created first.
OrCommon::RegistryKey EnsureProductKey() {
  OrCommon::RegistryKey key;
  if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_ALL_ACCESS | KEY_WOW64_32KEY, nullptr, key.Receive(), nullptr) != ERROR_SUCCESS) {
    RunLog::Error() << L"Fail to create VELA Section " << kProductKey;
  }
  return key;
}

// Decides whether filtering may stay on; false if the switch can be neither read nor written.
bool SettleSwitch(DWORD& enabled) {
  if (!GetVELAEnable(enabled)) {
    enabled = 0;
    if (!SetVELAEnable(0)) {
      RunLog::Error() << L"Fail to set VELA enable/disable status to reg !!";
      return false;
    }
    return true;
  }
  if (enabled == 0) {
    return true;
  }
  const bool anyRunning = std::any_of(std::begin(kMailClients), std::end(kMailClients),
                                      [](const auto& facts) { return IsMailClientRunning(facts.client); });
  if (!anyRunning) {
    RunLog::Info() << L"There is no any Mail Client Running.";
    return true;
  }
  RunLog::Info() << L"There is a Mail Client Running.";
  if (SetVELAEnable(0)) {
    enabled = 0;
  } else {
    // The stored switch is still on, and this value is deliberately returned.
    RunLog::Error() << L"Fail to set REG_ZENTA_VELA_ENABLE_KEY value !!";
  }
  return true;
}

}  // namespace

int Install() {
  const OrCommon::RegistryKey productKey = EnsureProductKey();
  const std::wstring baseFolder = ChooseBaseFolder(DestPath);
  SetVELAInstallPath(baseFolder);
  StageAll(SrcPath, baseFolder, StepResults::kNotLogged);

  DWORD enabled = 0;
  if (!SettleSwitch(enabled)) {
    return kSwitchNotStored;
  }
  if (!IsOutlookSupported()) {
    RunLog::Info() << L"MS Office Outlook is not installed !";  // but its plug-in is installed anyway
  }
  for (const MailClientFacts& facts : kMailClients) {
    RegisterClient(facts.client, ProductFolders::ClientFolder(baseFolder, facts.client), enabled != 0);
  }
  return 0;
}

}  // namespace VELAWrapper
