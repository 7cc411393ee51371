#include "tests/support/RegistrySnapshot.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace TestSupport {
namespace {

std::string HiveName(HKEY hive) {
  if (hive == HKEY_LOCAL_MACHINE) {
    return "HKLM";
  }
  if (hive == HKEY_USERS) {
    return "HKU";
  }
  if (hive == HKEY_CURRENT_USER) {
    return "HKCU";
  }
  if (hive == HKEY_CLASSES_ROOT) {
    return "HKCR";
  }
  throw std::logic_error("RegistrySnapshot.cpp has no short name for this hive");
}

std::string TypeName(DWORD type) {
  static constexpr const char* kNames[] = {
      "REG_NONE", "REG_SZ",       "REG_EXPAND_SZ",     "REG_BINARY",   "REG_DWORD",   "REG_DWORD_BIG_ENDIAN",
      "REG_LINK", "REG_MULTI_SZ", "REG_RESOURCE_LIST", "REG_FULL_RES", "REG_RES_REQ", "REG_QWORD"};
  return type < std::size(kNames) ? kNames[type] : "type " + std::to_string(type);
}

std::string Hexadecimal(const std::vector<BYTE>& data) {
  std::string text;
  char digits[4];
  for (const BYTE byte : data) {
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(byte));
    text += (text.empty() ? "" : " ") + std::string(digits);
  }
  return text;
}

std::wstring AsText(const std::vector<BYTE>& data) {
  std::wstring text(data.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
  return text;
}

std::string StringData(const std::vector<BYTE>& data) {
  std::wstring text = AsText(data);
  const std::size_t length = std::min(text.find(L'\0'), text.size());
  const bool ordinary = data.size() == (length + 1) * sizeof(wchar_t);
  text.resize(length);
  return "\"" + ToUtf8(text) + "\"" + (ordinary ? "" : " (" + std::to_string(data.size()) + " bytes)");
}

std::string StringListData(const std::vector<BYTE>& data) {
  const std::wstring text = AsText(data);
  std::string shown;
  for (std::size_t start = 0; start + 1 < text.size();) {
    const std::size_t end = std::min(text.find(L'\0', start), text.size());
    shown += (shown.empty() ? "\"" : " \"") + ToUtf8(std::wstring_view(text).substr(start, end - start)) + "\"";
    start = end + 1;
  }
  return shown;
}

std::string TypeAndData(DWORD type, const std::vector<BYTE>& data) {
  std::string shown;
  if (type == REG_SZ || type == REG_EXPAND_SZ) {
    shown = StringData(data);
  } else if (type == REG_MULTI_SZ) {
    shown = StringListData(data);
  } else if (type == REG_DWORD && data.size() == sizeof(DWORD)) {
    DWORD number = 0;
    std::memcpy(&number, data.data(), sizeof number);
    shown = std::to_string(number);
  } else {
    shown = Hexadecimal(data);
  }
  return TypeName(type) + (shown.empty() ? "" : " " + shown);
}

}  // namespace

void RegistrySnapshot::Add(HKEY hive, const std::wstring& key, REGSAM view, const std::vector<std::wstring>& except) {
  HKEY opened = nullptr;
  const LSTATUS error = ::RegOpenKeyExW(hive, key.c_str(), 0, KEY_READ | view, &opened);
  if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) {
    return;
  }
  const std::string name = HiveName(hive) + (key.empty() ? "" : "\\" + ToUtf8(key));
  if (error != ERROR_SUCCESS) {
    throw std::runtime_error(name + " cannot be read: error " + std::to_string(error));
  }
  AddTree(opened, name, view == KEY_WOW64_32KEY ? " [32]" : " [64]", except);
  ::RegCloseKey(opened);
}

void RegistrySnapshot::AddTree(HKEY key, const std::string& name, const std::string& view,
                               const std::vector<std::wstring>& except) {
  entries_[name + view] = {};
  AddValues(key, name + view);
  wchar_t subkeyName[256] = {};
  DWORD length = 0;
  for (DWORD i = 0;
       length = 256, ::RegEnumKeyExW(key, i, subkeyName, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++i) {
    if (std::find(except.begin(), except.end(), subkeyName) != except.end()) {
      continue;
    }
    const std::string path = name + "\\" + ToUtf8(subkeyName);
    HKEY subkey = nullptr;
    if (::RegOpenKeyExW(key, subkeyName, 0, KEY_READ, &subkey) == ERROR_SUCCESS) {
      AddTree(subkey, path, view, {});
      ::RegCloseKey(subkey);
    } else {
      entries_[path + view + " (no access)"] = {};
    }
  }
}

void RegistrySnapshot::AddValues(HKEY key, const std::string& label) {
  std::vector<BYTE> data(4096);
  wchar_t valueName[1024] = {};
  for (DWORD i = 0;;) {
    DWORD nameLength = 1024;
    DWORD type = 0;
    auto size = static_cast<DWORD>(data.size());
    const LSTATUS error = ::RegEnumValueW(key, i, valueName, &nameLength, nullptr, &type, data.data(), &size);
    if (error == ERROR_MORE_DATA) {
      data.resize(data.size() * 2);
      continue;
    }
    if (error != ERROR_SUCCESS) {
      return;
    }
    entries_[label + " \"" + ToUtf8(valueName) + "\""] =
        TypeAndData(type, std::vector<BYTE>(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size)));
    ++i;
  }
}

Lines RegistrySnapshot::AsLines() const {
  Lines lines;
  for (const auto& [entry, data] : entries_) {
    lines.push_back(data.empty() ? entry : entry + " " + data);
  }
  return lines;
}

Lines RegistrySnapshot::Changes(const RegistrySnapshot& before, const RegistrySnapshot& after) {
  std::map<std::string, std::string> changes;
  for (const auto& [entry, data] : after.entries_) {
    const std::string shown = entry + (data.empty() ? "" : " " + data);
    const auto old = before.entries_.find(entry);
    if (old == before.entries_.end()) {
      changes[entry] = "+" + shown;
    } else if (old->second != data) {
      changes[entry] = "~" + shown + " <- " + old->second;
    }
  }
  for (const auto& [entry, data] : before.entries_) {
    if (after.entries_.count(entry) == 0) {
      changes[entry] = "-" + entry + (data.empty() ? "" : " " + data);
    }
  }
  Lines lines;
  for (const auto& change : changes) {
    lines.push_back(change.second);
  }
  return lines;
}

}  // namespace TestSupport
