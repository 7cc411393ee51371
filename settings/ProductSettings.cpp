#include "settings/ProductSettings.h"

#include "Common/FrwkCommon/Frwk_CoreAgentRegistry.h"
#include "cli/RunLog.h"

namespace VELAUtility {
namespace {

using OrCommon::RegistryKey;

constexpr wchar_t kInstallPathValue[] = L"VELAInstallPath";

bool OpenProductKey(REGSAM rights, RegistryKey& key) {
  const LSTATUS status = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, rights | KEY_WOW64_32KEY, key.Receive());
  if (status != ERROR_SUCCESS) {
    RunLog::Info() << L"REG Open Fail, path:" << kProductKey << L", nError:" << static_cast<DWORD>(status);
  }
  return status == ERROR_SUCCESS;
}

// The size that a string value has with its terminator, in bytes.
DWORD StoredSize(const std::wstring& text) noexcept {
  return static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
}

// `shown` is the value as the log shows it.
template <class Shown>
bool SetProductValue(const wchar_t* name, DWORD type, const void* data, DWORD size, const Shown& shown) {
  RegistryKey key;
  if (!OpenProductKey(KEY_ALL_ACCESS, key)) {
    return false;
  }
  const LSTATUS status = ::RegSetValueExW(key.Get(), name, 0, type, static_cast<const BYTE*>(data), size);
  if (status != ERROR_SUCCESS) {
    RunLog::Info() << L"SetKeyvalue Fail, keyName:" << name << L", keyValue:" << shown << L", nError:"
                   << static_cast<DWORD>(status);
  }
  return status == ERROR_SUCCESS;
}

bool WriteValue(HKEY root, const std::wstring& subKey, const std::wstring& name, DWORD type, const void* data,
                DWORD size) {
  RegistryKey key;
  return OpenKey(root, subKey, key) &&
         ::RegSetValueExW(key.Get(), name.c_str(), 0, type, static_cast<const BYTE*>(data), size) == ERROR_SUCCESS;
}

}  // namespace

// cppcheck-suppress passedByValue
// NOLINTNEXTLINE(performance-unnecessary-value-param): the contract is a text of its own
bool SetVELAInstallPath(std::wstring installFolder) {
  return SetProductValue(kInstallPathValue, REG_SZ, installFolder.c_str(), StoredSize(installFolder), installFolder);
}

bool SetVELAEnable(DWORD value) {
  return SetProductValue(kEnableValue, REG_DWORD, &value, sizeof value, value);
}

bool GetVELAEnable(DWORD& enabled) {
  enabled = 0;
  RegistryKey key;
  if (!OpenProductKey(KEY_READ, key)) {
    return false;
  }
  DWORD stored = 0;
  DWORD size = sizeof stored;
  const LSTATUS status =
      ::RegQueryValueExW(key.Get(), kEnableValue, nullptr, nullptr, reinterpret_cast<BYTE*>(&stored), &size);
  if (status != ERROR_SUCCESS) {
    // The value is a number; the message says "String" all the same and is kept.
    RunLog::Info() << L"QueryStringValue Fail, keyName:" << kEnableValue << L", nError:" << static_cast<DWORD>(status);
    return false;
  }
  enabled = stored == 1 ? 1 : 0;
  return true;
}

bool ReadUserStringValue(const std::wstring& subKey, const std::wstring& name, std::wstring& text) {
  constexpr DWORD kBufferBytes = 4096;
  constexpr DWORD kLongestBytes = 2048;
  text.clear();
  RegistryKey key;
  if (!OpenKey(HKEY_USERS, subKey, key)) {
    return false;
  }
  // Zero-filled and longer than the requested size, so a value stored without a terminator is still terminated.
  wchar_t buffer[kBufferBytes / sizeof(wchar_t) + 1] = {};
  DWORD size = kLongestBytes;
  if (::RegQueryValueExW(key.Get(), name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size) !=
      ERROR_SUCCESS) {
    return false;
  }
  text = buffer;
  return true;
}

bool OpenKey(HKEY root, const std::wstring& subKey, RegistryKey& key) {
  return ::RegOpenKeyW(root, subKey.c_str(), key.Receive()) == ERROR_SUCCESS;
}

bool WriteStringValue(HKEY root, const std::wstring& subKey, const std::wstring& name, const std::wstring& text) {
  return WriteValue(root, subKey, name, REG_SZ, text.c_str(), StoredSize(text));
}

bool WriteNumberValue(HKEY root, const std::wstring& subKey, const std::wstring& name, DWORD number) {
  return WriteValue(root, subKey, name, REG_DWORD, &number, sizeof number);
}

bool WriteRunValue(const std::wstring& name, const std::wstring& command) {
  return WriteStringValue(HKEY_LOCAL_MACHINE, g_szCURunKey, name, command);
}

bool DeleteRunValue(const std::wstring& name) {
  RegistryKey key;
  return OpenKey(HKEY_LOCAL_MACHINE, g_szCURunKey, key) && ::RegDeleteValueW(key.Get(), name.c_str()) == ERROR_SUCCESS;
}

bool StoreProductValue(const std::wstring& name) {
  Frwk::Storage::CoreAgentRegistry settings(kSharedSettingsNumber);
  if (!settings.OpenForWriting(kSharedSettingsEntry)) {
    RunLog::Error() << L"Fail to open for store !!";
    return false;
  }
  if (!settings.StoreNumber(name, 0)) {
    RunLog::Error() << L"Fail to store value !!";
    return false;
  }
  settings.Close();
  return true;
}

}  // namespace VELAUtility
