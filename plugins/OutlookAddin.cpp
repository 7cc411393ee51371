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

constexpr wchar_t kLoadBehaviorValue[] = L"LoadBehavior";

// The other values, in the order in which they are written.
struct AddinValue {
  const wchar_t* name;
  DWORD type;  // REG_DWORD: the number 0
  const wchar_t* text;
  RunLog::Text failure;  // says "Int" for the texts too
};

constexpr AddinValue kAddinValues[] = {
    {L"CommandLineSafe", REG_DWORD, L"", L"Failed to WriteRegIntValue of CommandLineSafe !!"},
    {L"FriendlyName", REG_SZ, L"Orvane Labs Anti-Spam Addin", L"Failed to WriteRegIntValue of FriendlyName !!"},
    {L"Description", REG_SZ, L"Orvane Labs Anti-Spam Agent for Outlook",
     L"Failed to WriteRegIntValue of Description !!"},
};

bool WriteLoadBehavior(HKEY root, const std::wstring& key, LoadBehavior loadBehavior) {
  return WriteNumberValue(root, key, kLoadBehaviorValue, static_cast<DWORD>(loadBehavior));
}

bool WriteAddinValue(HKEY root, const std::wstring& key, const AddinValue& value) {
  if (value.type == REG_DWORD) {
    return WriteNumberValue(root, key, value.name, 0);
  }
  return WriteStringValue(root, key, value.name, value.text);
}

// Creates the key if it is missing.
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
  DWORD error = ERROR_SUCCESS;
  if (!RegisterComModule(Join(clientFolder, L"VELA_OLA.dll"), error)) {
    // The placeholder is part of the text; the number follows it.
    RunLog::Error() << L"Failed to register VELA_OLA.dll !! GetLastError()=[%d]" << error;
    return false;
  }
  const LoadBehavior loadBehavior = LoadBehaviorOf(enable);
  if (EnsureOutlookAddinKeyForMachine()) {
    if (!WriteOutlookLoadBehaviorForMachine(loadBehavior)) {
      RunLog::Error() << L"Failed to WriteRegIntValue of LoadBehavior !!";
    }
    WriteOutlookAddinValuesForMachine();
  }
  WriteOutlookAddinKeyForAllUsers(loadBehavior);
  return true;
}

bool EnsureOutlookAddinKeyForMachine() {
  const bool isThere = EnsureKey(HKEY_LOCAL_MACHINE, g_szOLActivateKey);
  if (!isThere) {
    RunLog::Error() << L"Failed to CreateRegKey of g_szOLActivateKey : " << g_szOLActivateKey;
  }
  return isThere;
}

bool WriteOutlookLoadBehaviorForMachine(LoadBehavior loadBehavior) {
  return WriteLoadBehavior(HKEY_LOCAL_MACHINE, g_szOLActivateKey, loadBehavior);
}

void WriteOutlookAddinValuesForMachine() {
  for (const AddinValue& value : kAddinValues) {
    if (!WriteAddinValue(HKEY_LOCAL_MACHINE, g_szOLActivateKey, value)) {
      RunLog::Error() << value.failure;
    }
  }
}

bool WriteOutlookAddinKeyForAllUsers(LoadBehavior loadBehavior) {
  return ForEachUserHive([loadBehavior](const std::wstring& hive) {
    const std::wstring key = hive + L"\\" + g_szOLActivateKey;
    if (EnsureKey(HKEY_USERS, key) && WriteLoadBehavior(HKEY_USERS, key, loadBehavior)) {
      for (const AddinValue& value : kAddinValues) {
        if (!WriteAddinValue(HKEY_USERS, key, value)) {
          break;  // if one value fails, all fail
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
