// The product's settings in the registry, and simple registry writes of the commands.
//
// The settings key is HKEY_LOCAL_MACHINE\SOFTWARE\OrvaneLabs\BastionNTCorp\CurrentVersion\VELA in the 32-bit view on
// every system and for every client's plug-in. Nothing here creates it.
#pragma once

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_Handles.h"

namespace VELAUtility {

inline constexpr wchar_t kProductKey[] = L"SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";
// The product's entry in the settings that the client programs share, and its number.
inline constexpr wchar_t kSharedSettingsEntry[] = L"VELA";
inline constexpr DWORD kSharedSettingsNumber = 1700;

inline constexpr wchar_t kEnableValue[] = L"VELAEnable";
inline constexpr wchar_t g_szCURunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run\\";

// These three return true if the value was written or read; a failure is logged.
bool SetVELAInstallPath(std::wstring installFolder);  // "VELAInstallPath", REG_SZ
bool SetVELAEnable(DWORD value);                      // "VELAEnable", REG_DWORD
// `enabled`: 1 if "VELAEnable" is 1; otherwise 0, even if it could not be read. The type is not checked.
bool GetVELAEnable(DWORD& enabled);

// Reads the string `name` of HKEY_USERS\`subKey` in the process's view, without checking its type. False, and `text`
// empty, if it cannot be read or is longer than 2,048 bytes. Not logged.
bool ReadUserStringValue(const std::wstring& subKey, const std::wstring& name, std::wstring& text);

// These write one value of an existing key in the process's view. Each opens and closes the key. True if it was
// written. Not logged.
bool WriteStringValue(HKEY root, const std::wstring& subKey, const std::wstring& name, const std::wstring& text);
bool WriteNumberValue(HKEY root, const std::wstring& subKey, const std::wstring& name, DWORD number);
// The command that Windows runs at every log-on under `name`.
bool WriteRunValue(const std::wstring& name, const std::wstring& command);
// Deletes such a command; false also if there is none. Not logged.
bool DeleteRunValue(const std::wstring& name);

// Opens an existing key in the process's view with all the rights that the caller can get; false if it cannot be
// opened.
bool OpenKey(HKEY root, const std::wstring& subKey, OrCommon::RegistryKey& key);

// Stores the number 0 under `name` in the product's entry of the settings that the client programs share. A failure is
// logged.
bool StoreProductValue(const std::wstring& name);

}  // namespace VELAUtility
