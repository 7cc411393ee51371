#include "plugins/WindowsLiveMailPlugin.h"

#include "Common/OrCommon/OrComn_Registry.h"
#include "cli/RunLog.h"
#include "plugins/ComModuleRunner.h"
#include "settings/MailClients.h"
#include "settings/ProductSettings.h"

namespace VELAUtility {
namespace {

using OrCommon::Storage::Key;
using OrCommon::Storage::StringKind;

constexpr wchar_t kPluginListKey[] = L"Software\\Nektra\\WLMailAPi\\Plugins";
constexpr wchar_t VELA_REG_3RD_PARTY_NEKTRA[] = L"WLMAilApiCppDllClient";  // spelling mistake kept
constexpr wchar_t kPluginModule[] = L"VELA_WLMA.dll";

constexpr auto kUnexpectedFailure = static_cast<DWORD>(STG_E_UNKNOWN);

struct ComModule {
  const wchar_t* name;
  RunLog::Text registerFailure;
  RunLog::Text unregisterFailure;
};

constexpr ComModule kModules[] = {
    {L"WLMailApiInit.dll", L"Failed to register WLMailApiInit.dll !!", L"Failed to unregister WLMailApiInit.dll !!"},
    {L"WLMailApiCom.dll", L"Failed to register WLMailApiCom.dll !!", L"Failed to unregister WLMailApiCom.dll !!"},
    {L"WLMailApiStore.dll", L"Failed to register WLMailApiStore.dll !!", L"Failed to unregister WLMailApiStore.dll !!"},
    {L"WLMailApiContacts.dll", L"Failed to register WLMailApiContacts.dll !!",
     L"Failed to unregister WLMailApiContacts.dll !!"},
};

// Runs every module through `run`; false if it failed for any.
bool RunModules(const std::wstring& clientFolder, bool (*run)(const std::wstring&),
                const RunLog::Text ComModule::*failure) {
  bool succeeded = true;
  for (const ComModule& module : kModules) {
    if (!run(clientFolder + L"\\" + module.name)) {  // a doubled backslash is harmless
      RunLog::Event() << module.*failure;
      succeeded = false;
    }
  }
  return succeeded;
}

// Opens the key and changes it. False if anything was thrown, with its code in `error`.
template <class Change>
bool ChangeKey(HKEY hive, const std::wstring& path, KeyMode mode, DWORD& error, const Change& change) {
  try {
    Key key;
    if (mode == KeyMode::kCreate) {
      key.Create(hive, path, OrCommon::Storage::GetSystemView());
    } else {
      key.OpenForWriting(hive, path, OrCommon::Storage::GetSystemView());
    }
    change(key);
    error = ERROR_SUCCESS;
    return true;
  } catch (OrCommon::Storage::Exception* failure) {
    error = failure->Code();
    delete failure;
  } catch (...) {
    error = kUnexpectedFailure;
  }
  return false;
}

}  // namespace

bool RegisterWLMPlugin(const std::wstring& clientFolder, bool /*enable*/) {
  if (!RegisterWLMailApiModules(clientFolder)) {
    RunLog::Error() << L"Fatal Error, Registry WLM COM object false";
    return false;
  }
  DWORD error = ERROR_SUCCESS;
  if (!SetNektraPluginValue(HKEY_LOCAL_MACHINE, kPluginListKey, VELA_REG_3RD_PARTY_NEKTRA, kPluginModule,
                            KeyMode::kCreate, error)) {
    RunLog::Event() << L"store registry key VELA_REG_3RD_PARTY_NEKTRA error: " << error;
    return false;
  }
  return true;
}

bool RegisterWLMailApiModules(const std::wstring& clientFolder) {
  return RunModules(clientFolder, RegisterComModule, &ComModule::registerFailure);
}

bool UnregisterWLMailApiModules(const std::wstring& clientFolder) {
  return RunModules(clientFolder, UnregisterComModule, &ComModule::unregisterFailure);
}

bool UnregisterWLMPlugin(const std::wstring& clientFolder) {
  bool succeeded = true;
  if (!DeleteNektraPluginValue(HKEY_LOCAL_MACHINE, kPluginListKey, VELA_REG_3RD_PARTY_NEKTRA, KeyMode::kOpen)) {
    RunLog::Warn() << L"Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\" << VELA_REG_3RD_PARTY_NEKTRA << L" !!";
  }
  // Unlike those of Outlook Express, these modules stay registered while the client runs; the entry is already deleted.
  if (IsMailClientRunning(MailClient::kWindowsLiveMail)) {
    RunLog::Warn() << L"WLM is still running. Do not unregister WLM COM objects.";
  } else if (!UnregisterWLMailApiModules(clientFolder)) {
    RunLog::Error() << L"Unregistry WLM COM objects failed";
    succeeded = false;
  }
  if (!DeleteRunValue(g_szWLM_OEM)) {
    RunLog::Warn() << L"Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szWLM_OEM !!";
  }
  return succeeded;
}

bool SetNektraPluginValue(HKEY hive, const std::wstring& key, const std::wstring& name, const std::wstring& data,
                          KeyMode mode, DWORD& error) {
  return ChangeKey(hive, key, mode, error, [&](Key& opened) { opened.SetString({name, data}, StringKind::kPlain); });
}

bool DeleteNektraPluginValue(HKEY hive, const std::wstring& key, const std::wstring& name, KeyMode mode) {
  DWORD error = ERROR_SUCCESS;
  return ChangeKey(hive, key, mode, error, [&](Key& opened) { opened.DeleteValue(name); });
}

}  // namespace VELAUtility
