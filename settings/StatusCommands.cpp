#include "settings/StatusCommands.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_Handles.h"
#include "activation/AntiSpamSwitch.h"
#include "cli/RunLog.h"
#include "settings/CommandLineFolders.h"
#include "settings/ProductSettings.h"

namespace {

using OrCommon::RegistryKey;
using VELAUtility::kEnableValue;
using VELAUtility::kProductKey;

struct SwitchTexts {
  bool enable;
  RunLog::Text switched;
  RunLog::Text stored;
};

constexpr SwitchTexts kEnableTexts = {true, L"Enable OK", L"VELA Enable OK"};
constexpr SwitchTexts kDisableTexts = {false, L"Disable OK", L"VELA Disable OK"};

bool OpenProductKey(REGSAM rights, RegistryKey& key) {
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, rights | KEY_WOW64_32KEY, key.Receive()) != ERROR_SUCCESS) {
    RunLog::Info() << L"REG Open Fail";
    return false;
  }
  return true;
}

void StoreSwitch(HKEY key, const SwitchTexts& texts) {
  const DWORD value = texts.enable ? 1 : 0;
  const LSTATUS status =
      ::RegSetValueExW(key, kEnableValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
  if (status == ERROR_SUCCESS) {
    RunLog::Info() << texts.stored;
  } else if (texts.enable) {
    RunLog::Info() << L"VELA Enable Fail " << static_cast<DWORD>(status);
  } else {
    RunLog::Info() << L"VELA Disable Fail";  // deliberately without the code
  }
}

int Switch(const SwitchTexts& texts) {
  if (!CProviderAntiSpam().SetAntiSpamEnable(texts.enable, DestPath, 0)) {
    // The message names the enable handler in both directions.
    RunLog::Error() << L"HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! strVELAInstallPath = "
                    << DestPath;
    return 0;
  }
  RunLog::Info() << texts.switched;
  RegistryKey key;
  if (OpenProductKey(KEY_READ | KEY_WRITE, key)) {
    StoreSwitch(key.Get(), texts);
  }
  ::RegFlushKey(key.Get());  // also without a key, which is harmless
  return 0;
}

}  // namespace

int GetStatus() {
  RegistryKey key;
  if (!OpenProductKey(KEY_READ, key)) {
    return 0;
  }
  DWORD value = 0;
  DWORD size = sizeof value;
  DWORD type = REG_NONE;
  const LSTATUS status =
      ::RegQueryValueExW(key.Get(), kEnableValue, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  if (status != ERROR_SUCCESS || type != REG_DWORD) {
    RunLog::Info() << L"GetStatus!!!!! FAIL!!";
  } else {
    RunLog::Info() << L"GetStatus!!!!! " << value;
  }
  return 0;
}

int Enable() {
  return Switch(kEnableTexts);
}

int Disable() {
  return Switch(kDisableTexts);
}
