#include "plugins/OutlookAddin.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_Handles.h"
#include "cli/RunLog.h"
#include "install/OutlookDetection.h"
#include "plugins/ComModuleRunner.h"
#include "plugins/UserHives.h"
#include "settings/ProductFolders.h"
#include "settings/ProductSettings.h"

namespace VELAUtility {
namespace {

using ProductFolders::Join;

constexpr DWORD kLoadAtStartUp = 3;
constexpr DWORD kDoNotLoad = 2;

// A value of the add-in key: a text, or a number where there is none.
struct AddinValue {
  const wchar_t* name;
  const wchar_t* text;
  RunLog::Text failure;  // says "Int" for the texts too
};

// Written in this order. LoadBehavior, whose number and failure text depend on the caller, comes first.
constexpr AddinValue kAddinValues[] = {
    {L"LoadBehavior", nullptr, nullptr},
    {L"CommandLineSafe", nullptr, L"Failed to WriteRegIntValue of CommandLineSafe !!"},
    {L"FriendlyName", L"Orvane Labs Anti-Spam Addin", L"Failed to WriteRegIntValue of FriendlyName !!"},
    {L"Description", L"Orvane Labs Anti-Spam Agent for Outlook", L"Failed to WriteRegIntValue of Description !!"},
};

constexpr const AddinValue& kLoadBehavior = kAddinValues[0];

constexpr bool IsLoadBehavior(const AddinValue& value) noexcept {
  return &value == &kLoadBehavior;
}

bool WriteAddinValue(HKEY root, const std::wstring& key, const AddinValue& value, bool enable) {
  if (value.text != nullptr) {
    return WriteStringValue(root, key, value.name, value.text);
  }
  return WriteNumberValue(root, key, value.name, IsLoadBehavior(value) ? (enable ? kLoadAtStartUp : kDoNotLoad) : 0);
}

// Makes the key where it is missing.
bool EnsureKey(HKEY root, const std::wstring& path) {
  OrCommon::RegistryKey key;
  return ::RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, key.Receive(),
                           nullptr) == ERROR_SUCCESS;
}

}  // namespace

bool RegisterOutlookAddin(const std::wstring& clientFolder, bool enable) {
  const std::wstring redemption = Join(clientFolder, L"Redemption.dll");
  if (!RegisterComModule(redemption)) {
    RunLog::Error() << L"Failed to register Redemption.dll !! " << redemption;
    return false;
  }
  VELA_RemoveOutlookECF();
  if (!RegisterComModule(Join(clientFolder, L"VELA_OLA.dll"))) {
    // The placeholder is part of the text; the number follows it.
    RunLog::Error() << L"Failed to register VELA_OLA.dll !! GetLastError()=[%d]" << ::GetLastError();
    return false;
  }
  WriteOutlookAddinKeyForMachine(enable, L"Failed to WriteRegIntValue of LoadBehavior !!");
  WriteOutlookAddinKeyForAllUsers(enable);
  return true;
}

void WriteOutlookAddinKeyForMachine(bool enable, RunLog::Text loadBehaviorFailure) {
  if (!EnsureKey(HKEY_LOCAL_MACHINE, g_szOLActivateKey)) {
    RunLog::Error() << L"Failed to CreateRegKey of g_szOLActivateKey : " << g_szOLActivateKey;
    return;
  }
  for (const AddinValue& value : kAddinValues) {
    if (!WriteAddinValue(HKEY_LOCAL_MACHINE, g_szOLActivateKey, value, enable)) {
      RunLog::Error() << (IsLoadBehavior(value) ? loadBehaviorFailure : value.failure);
    }
  }
}

bool SwitchOffOutlookAddinForMachine() {
  return WriteAddinValue(HKEY_LOCAL_MACHINE, g_szOLActivateKey, kLoadBehavior, false);
}

bool WriteOutlookAddinKeyForAllUsers(bool enable) {
  return ForEachUserHive([enable](const std::wstring& hive) {
    const std::wstring key = hive + L"\\" + g_szOLActivateKey;
    if (EnsureKey(HKEY_USERS, key)) {
      for (const AddinValue& value : kAddinValues) {
        if (!WriteAddinValue(HKEY_USERS, key, value, enable)) {
          break;  // a hive that refuses one value refuses all
        }
      }
    }
  });
}

void VELA_RemoveOutlookECF() {
  std::wstring folder;
  GetOutlookInstallPath(folder);
  if (folder.empty()) {
    RunLog::Info() << L"VELAUtility::VELA_RemoveOutlookECF(), OL Install Path is empty, it maybe not install.";
    return;
  }
  const std::wstring file = Join(folder, L"ADDINS\\Redemption.ECF");
  RunLog::Info() << L"VELAUtility::VELA_RemoveOutlookECF(), Try to delete the file : " << file;
  ::DeleteFileW(file.c_str());
}

}  // namespace VELAUtility
