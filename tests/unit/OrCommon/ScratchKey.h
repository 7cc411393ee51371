// A registry key for one test, empty before it and removed after it, and plain calls to read it.
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/TestRegistry.h"

namespace OrCommonTests {

// "HKEY_LOCAL_MACHINE\Software\<name>", in both views.
class ScratchKey {
 public:
  explicit ScratchKey(std::wstring name) : name_(std::move(name)) { Clear(); }
  ScratchKey(const ScratchKey&) = delete;
  ScratchKey& operator=(const ScratchKey&) = delete;
  ~ScratchKey() { Clear(); }

  std::wstring Path() const { return L"Software\\" + name_; }
  // Its path in the 32-bit view. This path works without a view flag.
  std::wstring Path32() const { return L"Software\\Wow6432Node\\" + name_; }

 private:
  void Clear() const {
    TestSupport::RemoveKey(TestSupport::MachineKey64(Path()));
    TestSupport::RemoveKey(TestSupport::MachineKey64(Path32()));
  }

  std::wstring name_;
};

// The raw contents of a value; type REG_NONE and no data if it does not exist.
struct StoredValue {
  LSTATUS status = ERROR_SUCCESS;
  DWORD type = REG_NONE;
  std::vector<BYTE> data = {};
};

inline StoredValue ReadStored(const std::wstring& path, const std::wstring& name) {
  StoredValue value;
  HKEY key = nullptr;
  value.status = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key);
  if (value.status == ERROR_SUCCESS) {
    DWORD size = 1 << 16;
    value.data.resize(size);
    value.status = ::RegQueryValueExW(key, name.c_str(), nullptr, &value.type, value.data.data(), &size);
    value.data.resize(value.status == ERROR_SUCCESS ? size : 0);
    ::RegCloseKey(key);
  }
  return value;
}

inline LSTATUS Store(const std::wstring& path, const std::wstring& name, DWORD type, const std::vector<BYTE>& data) {
  HKEY key = nullptr;
  LSTATUS status = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                     KEY_ALL_ACCESS, nullptr, &key, nullptr);
  if (status == ERROR_SUCCESS) {
    status = ::RegSetValueExW(key, name.c_str(), 0, type, data.data(), static_cast<DWORD>(data.size()));
    ::RegCloseKey(key);
  }
  return status;
}

inline bool KeyExists(const std::wstring& path) {
  return TestSupport::KeyExists(TestSupport::MachineKey64(path));
}

// The bytes of a text as they would be stored. Terminators are stored only if `text` contains them.
inline std::vector<BYTE> BytesOf(const std::wstring& text) {
  std::vector<BYTE> bytes;
  for (const wchar_t character : text) {
    bytes.push_back(static_cast<BYTE>(character & 0xFF));
    bytes.push_back(static_cast<BYTE>(character >> 8));
  }
  return bytes;
}

}  // namespace OrCommonTests
