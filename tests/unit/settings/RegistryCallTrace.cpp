#include "tests/unit/settings/RegistryCallTrace.h"

#include <cstdio>

namespace TestSupport {

std::string RegistryCallTrace::Hex(DWORD number) {
  char text[16] = {};
  std::snprintf(text, sizeof text, "%08lX", number);
  return text;
}

std::string RegistryCallTrace::TypeName(DWORD type) {
  return type == REG_SZ ? "REG_SZ" : type == REG_DWORD ? "REG_DWORD" : Hex(type);
}

std::string RegistryCallTrace::NameOf(HKEY key) const {
  if (key == HKEY_LOCAL_MACHINE || key == HKEY_USERS) {
    return key == HKEY_USERS ? "HKU" : "HKLM";
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

void RegistryCallTrace::Note(const std::string& call, HKEY key, LPCWSTR name, const std::string& more) {
  calls_.push_back(call + " " + NameOf(key) + " " + (name == nullptr ? "default" : "\"" + ToUtf8(name) + "\"") + more);
}

}  // namespace TestSupport
