// The registry calls of the product, in order, as lines:
//
//   RegOpenKeyExW HKLM SOFTWARE\X 00020219 -> 1
//   RegQueryValueExW 1 "VELAEnable" 4 bytes
//   RegSetValueExW 1 "VELAEnable" REG_DWORD 4 bytes
//   RegCloseKey 1
//
// Keys are numbered in the order in which they are opened; a failed open shows "error 2". RegCreateKeyExW shows its
// options and "plain" where class, security and disposition are left out.
#pragma once

#include <windows.h>

#include <map>
#include <memory>

#include "tests/support/CallWatch.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

class RegistryCallTrace {
 public:
  const Lines& Calls() const { return calls_; }
  bool AllClosed() const { return open_.empty(); }

 private:
  static std::string Hex(DWORD number);
  static std::string TypeName(DWORD type);
  std::string NameOf(HKEY key) const;
  void Opened(const std::string& call, LSTATUS status, const HKEY* key);
  // A call for a value; `more` stands behind its name.
  void Note(const std::string& call, HKEY key, LPCWSTR name, const std::string& more);

  Lines calls_;
  int opened_ = 0;
  std::map<HKEY, int> open_;

  AfterCall openKey_{"RegOpenKeyW", &::RegOpenKeyW, [this](LSTATUS status, HKEY root, LPCWSTR path, const HKEY* key) {
                       Opened("RegOpenKeyW " + NameOf(root) + " " + ToUtf8(path), status, key);
                     }};
  AfterCall openKeyEx_{"RegOpenKeyExW", &::RegOpenKeyExW,
                       [this](LSTATUS status, HKEY root, LPCWSTR path, DWORD options, REGSAM rights, const HKEY* key) {
                         Opened("RegOpenKeyExW " + NameOf(root) + " " + (path == nullptr ? "null" : ToUtf8(path)) +
                                    " " + Hex(rights) + (options != 0 ? " options " + Hex(options) : ""),
                                status, key);
                       }};
  AfterCall createKeyEx_{
      "RegCreateKeyExW", &::RegCreateKeyExW,
      [this](LSTATUS status, HKEY root, LPCWSTR path, DWORD reserved, LPCWSTR className, DWORD options, REGSAM rights,
             const SECURITY_ATTRIBUTES* security, const HKEY* key, const DWORD* disposition) {
        const bool plain = reserved == 0 && className == nullptr && security == nullptr && disposition == nullptr;
        Opened("RegCreateKeyExW " + NameOf(root) + " " + ToUtf8(path) + " " + Hex(rights) + " options " +
                   std::to_string(options) + (plain ? " plain" : ""),
               status, key);
      }};
  OnCall queryValue_{"RegQueryValueExW", &::RegQueryValueExW,
                     [this](HKEY key, LPCWSTR name, const DWORD*, const DWORD*, const BYTE*, const DWORD* size) {
                       Note("RegQueryValueExW", key, name,
                            " " + (size == nullptr ? "no" : std::to_string(*size)) + " bytes");
                     }};
  OnCall setValue_{"RegSetValueExW", &::RegSetValueExW,
                   [this](HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE*, DWORD size) {
                     Note("RegSetValueExW", key, name, " " + TypeName(type) + " " + std::to_string(size) + " bytes");
                   }};
  OnCall deleteValue_{"RegDeleteValueW", &::RegDeleteValueW,
                      [this](HKEY key, LPCWSTR name) { Note("RegDeleteValueW", key, name, ""); }};
  OnCall closeKey_{"RegCloseKey", &::RegCloseKey, [this](HKEY key) {
                     calls_.push_back("RegCloseKey " + NameOf(key));
                     open_.erase(key);
                   }};
  // Not every test program has it.
  std::unique_ptr<OnCall> enumKey_ =
      !IsImported("RegEnumKeyW")
          ? nullptr
          : std::make_unique<OnCall>("RegEnumKeyW", &::RegEnumKeyW, [this](HKEY key, DWORD index, LPCWSTR, DWORD room) {
              calls_.push_back("RegEnumKeyW " + NameOf(key) + " index " + std::to_string(index) + " " +
                               std::to_string(room) + " characters");
            });
};

}  // namespace TestSupport
