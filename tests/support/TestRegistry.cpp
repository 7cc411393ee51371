#include "tests/support/TestRegistry.h"

#include <sddl.h>

#include <stdexcept>

#include "tests/support/TextLines.h"

namespace TestSupport {
namespace {

const KeyPlace& SessionManager() {
  static const KeyPlace place = MachineKey64(L"System\\CurrentControlSet\\Control\\Session Manager");
  return place;
}
constexpr wchar_t kPendingValue[] = L"PendingFileRenameOperations";

void Require(LSTATUS error, const char* what, const KeyPlace& place) {
  if (error != ERROR_SUCCESS) {
    throw std::runtime_error(std::string(what) + " " + ToUtf8(place.path) + ": error " + std::to_string(error));
  }
}

// A key that is open until the end of the scope.
class OpenedKey {
 public:
  OpenedKey(const KeyPlace& place, REGSAM access)
      : error_(::RegOpenKeyExW(place.hive, place.path.c_str(), 0, access | place.view, &key_)) {}
  OpenedKey(const OpenedKey&) = delete;
  OpenedKey& operator=(const OpenedKey&) = delete;
  ~OpenedKey() {
    if (error_ == ERROR_SUCCESS) {
      ::RegCloseKey(key_);
    }
  }
  LSTATUS Error() const { return error_; }
  HKEY Get() const { return key_; }

 private:
  HKEY key_ = nullptr;
  LSTATUS error_;
};

}  // namespace

bool KeyExists(const KeyPlace& place) {
  return OpenedKey(place, 0).Error() != ERROR_FILE_NOT_FOUND;
}

void MakeKey(const KeyPlace& place, const std::vector<NamedValue>& values) {
  HKEY key = nullptr;
  Require(
      ::RegCreateKeyExW(place.hive, place.path.c_str(), 0, nullptr, 0, KEY_READ | place.view, nullptr, &key, nullptr),
      "cannot create", place);
  ::RegCloseKey(key);
  for (const NamedValue& value : values) {
    if (const auto* number = std::get_if<DWORD>(&value.data)) {
      SetRawValue(place, value.name, REG_DWORD, number, sizeof *number);
    } else {
      const auto& text = std::get<std::wstring>(value.data);
      SetRawValue(place, value.name, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
  }
}

void SetRawValue(const KeyPlace& place, const std::wstring& name, DWORD type, const void* data, DWORD size) {
  const OpenedKey key(place, KEY_SET_VALUE);
  Require(key.Error(), "cannot open", place);
  Require(::RegSetValueExW(key.Get(), name.c_str(), 0, type, static_cast<const BYTE*>(data), size),
          "cannot set a value of", place);
}

void RemoveValue(const KeyPlace& place, const std::wstring& name) {
  const OpenedKey key(place, KEY_SET_VALUE);
  if (key.Error() == ERROR_SUCCESS) {
    const LSTATUS error = ::RegDeleteValueW(key.Get(), name.c_str());
    Require(error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error, "cannot delete a value of", place);
  }
}

std::vector<std::wstring> SubkeyNames(const KeyPlace& place) {
  std::vector<std::wstring> names;
  const OpenedKey key(place, KEY_READ);
  wchar_t name[256] = {};
  if (key.Error() == ERROR_SUCCESS) {
    for (DWORD i = 0; ::RegEnumKeyW(key.Get(), i, name, 256) == ERROR_SUCCESS; ++i) {
      names.emplace_back(name);
    }
  }
  return names;
}

void RemoveKey(const KeyPlace& place) {
  if (!KeyExists(place)) {
    return;
  }
  if (OpenedKey(place, KEY_ALL_ACCESS).Error() == ERROR_ACCESS_DENIED) {
    SetKeyAccess(place, kFullAccess);
  }
  for (const std::wstring& name : SubkeyNames(place)) {
    RemoveKey({place.hive, place.path + L"\\" + name, place.view});
  }
  const OpenedKey key(place, KEY_ALL_ACCESS);
  Require(key.Error(), "cannot open", place);
  Require(::RegDeleteKeyW(key.Get(), L""), "cannot delete", place);
}

void SetKeyAccess(const KeyPlace& place, const wchar_t* accessList) {
  const OpenedKey key(place, WRITE_DAC);  // the owner always has this right
  Require(key.Error(), "cannot open", place);
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(accessList, SDDL_REVISION_1, &descriptor, nullptr)) {
    throw std::logic_error("invalid access control list: " + ToUtf8(accessList));
  }
  const LSTATUS error = ::RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, descriptor);
  ::LocalFree(descriptor);
  Require(error, "cannot set the access control list of", place);
}

std::vector<std::pair<std::wstring, std::wstring>> PendingRenames() {
  const OpenedKey key(SessionManager(), KEY_READ);
  Require(key.Error(), "cannot open", SessionManager());
  DWORD size = 0;
  if (::RegQueryValueExW(key.Get(), kPendingValue, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) {
    return {};
  }
  std::wstring text(size / sizeof(wchar_t), L'\0');
  Require(::RegQueryValueExW(key.Get(), kPendingValue, nullptr, nullptr, reinterpret_cast<BYTE*>(text.data()), &size),
          "cannot read the pending renames of", SessionManager());
  // An ordinary list of strings would end at the first empty string; here an empty string means "delete".
  std::vector<std::pair<std::wstring, std::wstring>> pairs;
  for (std::size_t position = 0; position < text.size() && text[position] != L'\0';) {
    std::wstring parts[2];
    for (std::wstring& part : parts) {
      part = text.c_str() + position;
      position += part.size() + 1;
    }
    pairs.emplace_back(parts[0], parts[1]);
  }
  return pairs;
}

void ClearPendingRenames() {
  RemoveValue(SessionManager(), kPendingValue);
}

}  // namespace TestSupport
