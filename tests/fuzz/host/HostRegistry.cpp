// The registry of HostWindows.h.
#include <algorithm>
#include <cstring>

#include "tests/fuzz/host/HostWindows.h"

namespace {

using HostWindows::machine;
using HostWindows::StoredValue;

constexpr unsigned char kScribble = 0xA5;

// The contents of a buffer that was too small are undefined.
void Scribble(void* data, std::size_t size) {
  std::memset(data, kScribble, size);
}

LSTATUS Open(HKEY* key) {
  static int opened = 0;
  ++machine.openHandles;
  *key = reinterpret_cast<HKEY>(&opened);
  return static_cast<LSTATUS>(ERROR_SUCCESS);
}

// `length`: in characters; with the terminator before the call, without it afterwards.
LSTATUS CopyName(const std::wstring& from, wchar_t* name, DWORD& length) {
  if (from.size() + 1 > length) {
    Scribble(name, length * sizeof(wchar_t));
    return static_cast<LSTATUS>(ERROR_MORE_DATA);
  }
  std::copy(from.begin(), from.end(), name);
  name[from.size()] = L'\0';
  length = static_cast<DWORD>(from.size());
  return static_cast<LSTATUS>(ERROR_SUCCESS);
}

}  // namespace

LSTATUS RegOpenKeyW(HKEY, const wchar_t*, HKEY* key) {
  return Open(key);
}

LSTATUS RegOpenKeyExW(HKEY, const wchar_t*, DWORD, REGSAM, HKEY* key) {
  return Open(key);
}

LSTATUS RegCreateKeyExW(HKEY, const wchar_t*, DWORD, wchar_t*, DWORD, REGSAM, void*, HKEY* key, DWORD* disposition) {
  *disposition = REG_CREATED_NEW_KEY;
  return Open(key);
}

LSTATUS RegCloseKey(HKEY) {
  --machine.openHandles;
  return static_cast<LSTATUS>(ERROR_SUCCESS);
}

LSTATUS RegFlushKey(HKEY) {
  return static_cast<LSTATUS>(ERROR_SUCCESS);
}

LSTATUS RegQueryValueExW(HKEY, const wchar_t* name, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
  const std::wstring wanted = name != nullptr ? name : L"";
  const auto found = std::find_if(machine.values.begin(), machine.values.end(),
                                  [&](const StoredValue& value) { return value.name == wanted; });
  if (found == machine.values.end()) {
    return static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND);
  }
  if (type != nullptr) {
    *type = found->type;
  }
  const auto stored = static_cast<DWORD>(found->data.size());
  LSTATUS status = static_cast<LSTATUS>(ERROR_SUCCESS);
  if (data != nullptr && *size < stored) {
    Scribble(data, *size);
    status = static_cast<LSTATUS>(ERROR_MORE_DATA);
  } else if (data != nullptr) {
    std::copy(found->data.begin(), found->data.end(), data);
  }
  *size = stored;
  found->data.resize(found->data.size() + machine.growth, kScribble);
  return status;
}

LSTATUS RegSetValueExW(HKEY, const wchar_t* name, DWORD, DWORD type, const BYTE* data, DWORD size) {
  machine.values.push_back({name, type, size != 0 ? std::vector<BYTE>(data, data + size) : std::vector<BYTE>()});
  return static_cast<LSTATUS>(ERROR_SUCCESS);
}

LSTATUS RegDeleteKeyW(HKEY, const wchar_t*) {
  return static_cast<LSTATUS>(ERROR_SUCCESS);
}

LSTATUS RegDeleteValueW(HKEY, const wchar_t* name) {
  auto& values = machine.values;
  const auto left = std::remove_if(values.begin(), values.end(), [&](const auto& value) { return value.name == name; });
  const bool found = left != values.end();
  values.erase(left, values.end());
  return static_cast<LSTATUS>(found ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
}

LSTATUS RegEnumKeyW(HKEY key, DWORD index, wchar_t* name, DWORD capacity) {
  DWORD length = capacity;
  return RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
}

LSTATUS RegEnumKeyExW(HKEY, DWORD index, wchar_t* name, DWORD* length, DWORD*, wchar_t*, DWORD*, void*) {
  if (index >= machine.subkeys.size()) {
    return static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS);
  }
  return CopyName(machine.subkeys[index], name, *length);
}

LSTATUS RegEnumValueW(HKEY, DWORD index, wchar_t* name, DWORD* length, DWORD*, DWORD*, BYTE*, DWORD*) {
  if (index >= machine.values.size()) {
    return static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS);
  }
  return CopyName(machine.values[index].name, name, *length);
}
