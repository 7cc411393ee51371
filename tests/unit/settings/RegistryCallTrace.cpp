#include "tests/unit/settings/RegistryCallTrace.h"

#include <cstdio>

namespace TestSupport {
namespace {

std::string Hex(DWORD number) {
  char text[16] = {};
  std::snprintf(text, sizeof text, "%08lX", number);
  return text;
}

std::string Quoted(LPCWSTR text) {
  return text == nullptr ? "default" : "\"" + ToUtf8(text) + "\"";
}

std::string TypeName(DWORD type) {
  return type == REG_SZ ? "REG_SZ" : type == REG_DWORD ? "REG_DWORD" : Hex(type);
}

}  // namespace

RegistryCallTrace::RegistryCallTrace()
    : openKey_("RegOpenKeyW",
               [this](HKEY root, LPCWSTR path, PHKEY key) -> LSTATUS {
                 const LSTATUS status = openKey_.Original<decltype(&::RegOpenKeyW)>()(root, path, key);
                 Opened("RegOpenKeyW " + NameOf(root) + " " + ToUtf8(path), status, key);
                 return status;
               }),
      openKeyEx_("RegOpenKeyExW",
                 [this](HKEY root, LPCWSTR path, DWORD options, REGSAM rights, PHKEY key) -> LSTATUS {
                   const LSTATUS status =
                       openKeyEx_.Original<decltype(&::RegOpenKeyExW)>()(root, path, options, rights, key);
                   Opened("RegOpenKeyExW " + NameOf(root) + " " + (path == nullptr ? "null" : ToUtf8(path)) + " " +
                              Hex(rights) + (options != 0 ? " options " + Hex(options) : ""),
                          status, key);
                   return status;
                 }),
      createKeyEx_("RegCreateKeyExW",
                   [this](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR className, DWORD options, REGSAM rights,
                          LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) -> LSTATUS {
                     const LSTATUS status = createKeyEx_.Original<decltype(&::RegCreateKeyExW)>()(
                         root, path, reserved, className, options, rights, security, key, disposition);
                     const bool plain =
                         reserved == 0 && className == nullptr && security == nullptr && disposition == nullptr;
                     Opened("RegCreateKeyExW " + NameOf(root) + " " + ToUtf8(path) + " " + Hex(rights) + " options " +
                                std::to_string(options) + (plain ? " plain" : ""),
                            status, key);
                     return status;
                   }),
      queryValue_("RegQueryValueExW",
                  [this](HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) -> LSTATUS {
                    calls_.push_back("RegQueryValueExW " + NameOf(key) + " " + Quoted(name) + " " +
                                     (size == nullptr ? "no" : std::to_string(*size)) + " bytes");
                    return queryValue_.Original<decltype(&::RegQueryValueExW)>()(key, name, reserved, type, data, size);
                  }),
      setValue_("RegSetValueExW",
                [this](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
                  calls_.push_back("RegSetValueExW " + NameOf(key) + " " + Quoted(name) + " " + TypeName(type) + " " +
                                   std::to_string(size) + " bytes");
                  return setValue_.Original<decltype(&::RegSetValueExW)>()(key, name, reserved, type, data, size);
                }),
      deleteValue_("RegDeleteValueW",
                   [this](HKEY key, LPCWSTR name) -> LSTATUS {
                     calls_.push_back("RegDeleteValueW " + NameOf(key) + " " + Quoted(name));
                     return deleteValue_.Original<decltype(&::RegDeleteValueW)>()(key, name);
                   }),
      closeKey_("RegCloseKey", [this](HKEY key) -> LSTATUS {
        calls_.push_back("RegCloseKey " + NameOf(key));
        open_.erase(key);
        return closeKey_.Original<decltype(&::RegCloseKey)>()(key);
      }) {
  if (IsImported("RegEnumKeyW")) {
    enumKey_.emplace("RegEnumKeyW", [this](HKEY key, DWORD index, LPWSTR name, DWORD capacity) -> LSTATUS {
      calls_.push_back("RegEnumKeyW " + NameOf(key) + " index " + std::to_string(index) + " " +
                       std::to_string(capacity) + " characters");
      return enumKey_->Original<decltype(&::RegEnumKeyW)>()(key, index, name, capacity);
    });
  }
}

std::string RegistryCallTrace::NameOf(HKEY key) const {
  if (key == HKEY_LOCAL_MACHINE) {
    return "HKLM";
  }
  if (key == HKEY_USERS) {
    return "HKU";
  }
  const auto found = open_.find(key);
  return found != open_.end() ? std::to_string(found->second) : key == nullptr ? "null" : "unknown";
}

void RegistryCallTrace::Opened(const std::string& call, LSTATUS status, const HKEY* key) {
  if (status != ERROR_SUCCESS) {
    calls_.push_back(call + " -> error " + std::to_string(status));
    return;
  }
  open_[*key] = ++opened_;
  calls_.push_back(call + " -> " + std::to_string(opened_));
}

}  // namespace TestSupport
