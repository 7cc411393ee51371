#include "plugins/OutlookAddinRemoval.h"

#include <windows.h>

#include <shlobj.h>

#include <algorithm>
#include <vector>

#include "Common/OrCommon/OrComn_FileBelow.h"
#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_Shell.h"
#include "Common/OrCommon/OrComn_System.h"
#include "cli/RunLog.h"
#include "install/FolderListing.h"
#include "plugins/ComModuleRunner.h"
#include "plugins/OutlookAddin.h"
#include "plugins/UserHives.h"
#include "settings/ProductSettings.h"

namespace VELAUtility {
namespace {

using OrCommon::RegistryKey;

struct AddinModule {
  const wchar_t* name;
  RunLog::Text begin;
  RunLog::Text failure;
  bool failureNamesPath;
};

constexpr AddinModule kModules[] = {
    {L"VELA_OLA.dll", L"Begin to unregister VELA_OLA.dll ... ", L"Failed to unregister VELA_OLA.dll !! ", true},
    {L"Redemption.dll", L"Begin to unregister Redemption.dll ... ", L"Failed to unregister Redemption.dll !!", false},
};

bool Exists(HKEY root, const std::wstring& path) {
  RegistryKey key;
  return OpenKey(root, path, key);
}

void DeleteMachineAddinKey() {
  if (!Exists(HKEY_LOCAL_MACHINE, g_szOLActivateKey)) {
    RunLog::Info() << L" IsRegistryExisted(HKEY_LOCAL_MACHINE, g_szOLActivateKey) = FALSE ";
    return;
  }
  RegistryKey parent;
  if (!OpenKey(HKEY_LOCAL_MACHINE, g_szOLAddinsKey, parent)) {
    RunLog::Warn() << L"Cannot delete registry !!";
    return;
  }
  ::RegDeleteKeyW(parent.Get(), g_szOLAddinName);
  parent.Reset();
  RunLog::Info() << L"Delete VELA_OLA.OLAgent registry Success! ";  // written even if the deletion failed
}

}  // namespace

bool UnregisterOutlookAddin(const std::wstring& clientFolder) {
  bool succeeded = true;
  for (const AddinModule& module : kModules) {
    RunLog::Info() << module.begin;
    const std::wstring path = clientFolder + L"\\" + module.name;  // a doubled backslash is harmless
    if (!UnregisterComModule(path)) {
      RunLog::Error() << module.failure << (module.failureNamesPath ? path.c_str() : L"");
      succeeded = false;
    }
  }
  RunLog::Info() << L"Begin to delete OL relative registry ... ";
  DeleteMachineAddinKey();
  DeleteOutlookAddinKeyForAllUsers(g_szOLActivateKey, g_szOLAddinsKey, g_szOLAddinName);
  return succeeded;
}

bool DeleteOutlookAddinKeyForAllUsers(const std::wstring& addinKey, const std::wstring& parentKey,
                                      const std::wstring& name) {
  DeleteOutlookExtendDat();
  return ForEachUserHive([&](const std::wstring& hive) {
    if (!Exists(HKEY_USERS, hive + L"\\" + addinKey)) {
      return;
    }
    const std::wstring parentPath = hive + L"\\" + parentKey;
    RegistryKey parent;
    if (!OpenKey(HKEY_USERS, parentPath, parent)) {
      RunLog::Error() << L"Failed to delete VELA_OLA.OLAgent registry::HKEY_USERS, " << parentPath;
      return;
    }
    ::RegDeleteKeyW(parent.Get(), name.c_str());
    parent.Reset();
    RunLog::Info() << L"Delete VELA_OLA.OLAgent registry:HKEY_USERS," << parentPath;  // even if the deletion failed
  });
}

void DeleteOutlookExtendDat() {
  // The target of the system's own junction "Application Data".
  constexpr const wchar_t* kJunctionTarget = L"AppData\\Roaming\\Microsoft\\Outlook\\Extend.dat";
  // The newer path on version 6.0 exactly. Later versions use the older one too, by design.
  const wchar_t* const cacheFile = OrCommon::System::IsWindowsVersion(OrCommon::System::kWindows60)
                                       ? L"AppData\\Local\\Microsoft\\Outlook\\Extend.dat"
                                       : L"Application Data\\Microsoft\\Outlook\\Extend.dat";
  wchar_t profiles[MAX_PATH] = {};
  if (FAILED(OrCommon::Shell::SHGetFolderPathW(nullptr, CSIDL_PROFILE, nullptr, 0, profiles))) {
    return;
  }
  OrCommon::Shell::PathRemoveFileSpecW(profiles);
  std::vector<std::wstring> users;
  ListSubfolders(profiles, users);
  for (const std::wstring& user : users) {
    wchar_t path[MAX_PATH] = {};
    std::copy(std::begin(profiles), std::end(profiles), path);
    if (!OrCommon::Shell::PathAppendW(path, user.c_str()) || !OrCommon::Shell::PathAppendW(path, cacheFile)) {
      continue;  // does not fit into a path, so there is no such file
    }
    RunLog::Info() << L"Begin to delete the file: " << path;
    OrCommon::Storage::File::DeleteFileBelow(profiles, user + L"\\" + cacheFile, user + L"\\" + kJunctionTarget);
  }
}

}  // namespace VELAUtility
