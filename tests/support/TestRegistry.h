// Creates and removes registry keys for tests. Every failure throws std::runtime_error: a test on a wrongly prepared
// machine would prove nothing.
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace TestSupport {

// The location of a key. The view must always be given.
struct KeyPlace {
  HKEY hive;
  std::wstring path;
  REGSAM view;  // KEY_WOW64_32KEY or KEY_WOW64_64KEY
};

inline KeyPlace MachineKey32(const std::wstring& path) {
  return {HKEY_LOCAL_MACHINE, path, KEY_WOW64_32KEY};
}
inline KeyPlace MachineKey64(const std::wstring& path) {
  return {HKEY_LOCAL_MACHINE, path, KEY_WOW64_64KEY};
}
inline KeyPlace UsersKey(const std::wstring& path) {
  return {HKEY_USERS, path, KEY_WOW64_64KEY};
}

// A number is stored as REG_DWORD, a text as REG_SZ.
struct NamedValue {
  std::wstring name;
  std::variant<DWORD, std::wstring> data;

  NamedValue(std::wstring valueName, DWORD number) : name(std::move(valueName)), data(number) {}
  NamedValue(std::wstring valueName, int number) : NamedValue(std::move(valueName), static_cast<DWORD>(number)) {}
  NamedValue(std::wstring valueName, const wchar_t* text) : name(std::move(valueName)), data(std::wstring(text)) {}
  NamedValue(std::wstring valueName, std::wstring text) : name(std::move(valueName)), data(std::move(text)) {}
};

bool KeyExists(const KeyPlace& place);
void MakeKey(const KeyPlace& place, const std::vector<NamedValue>& values = {});
// For types that NamedValue does not support.
void SetRawValue(const KeyPlace& place, const std::wstring& name, DWORD type, const void* data, DWORD size);
// It is no error if the value does not exist.
void RemoveValue(const KeyPlace& place, const std::wstring& name);
// With everything below it, also if its access control lists deny it. It is no error if the key does not exist.
void RemoveKey(const KeyPlace& place);

std::vector<std::wstring> SubkeyNames(const KeyPlace& place);

// The access control list of a key, in the security descriptor definition language.
inline constexpr wchar_t kFullAccess[] = L"D:(A;;KA;;;WD)";
inline constexpr wchar_t kReadOnlyAccess[] = L"D:(A;;KR;;;WD)";
inline constexpr wchar_t kNoAccess[] = L"D:(D;;KA;;;WD)";
void SetKeyAccess(const KeyPlace& place, const wchar_t* accessList);

// The file moves for the next restart of the system, in order: a file and its new name. The new name is empty if the
// file is to be deleted. As stored: "\??\C:\a", "!\??\C:\b" ("!": replaces an existing file).
std::vector<std::pair<std::wstring, std::wstring>> PendingRenames();
void ClearPendingRenames();

}  // namespace TestSupport
