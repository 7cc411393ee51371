// The user hives that are loaded below HKEY_USERS.
#pragma once

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_Handles.h"

namespace VELAUtility {

// Calls `visit(name)` for every subkey of HKEY_USERS in the registry's order: users, service accounts, the default user
// and the classes hives. Skips a name that cannot be read. False, without any visit, if HKEY_USERS cannot be opened or
// its subkeys cannot be counted.
template <class Visit>
bool ForEachUserHive(const Visit& visit) {
  OrCommon::RegistryKey users;
  DWORD count = 0;
  if (::RegOpenKeyExW(HKEY_USERS, nullptr, 0, KEY_ALL_ACCESS, users.Receive()) != ERROR_SUCCESS ||
      ::RegQueryInfoKeyW(users.Get(), nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  for (DWORD index = 0; index < count; ++index) {
    wchar_t name[MAX_PATH];
    DWORD length = MAX_PATH;
    if (::RegEnumKeyExW(users.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
      visit(std::wstring(name, length));
    }
  }
  return true;
}

}  // namespace VELAUtility
