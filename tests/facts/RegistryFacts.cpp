// The registry: views, hives and rights.
#include <windows.h>

#include <iterator>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"
#include "tests/support/TestRegistry.h"

namespace Facts {
namespace {

using OrCommon::RegistryKey;
using TestSupport::KeyPlace;

std::string Status(LSTATUS status) {
  return Code(static_cast<DWORD>(status));
}

KeyPlace Own(const std::wstring& key) {
  return {HKEY_CURRENT_USER, key, KEY_WOW64_64KEY};
}

// A key of this run with a changed access control list. At the end it can be deleted again.
class Restricted {
 public:
  explicit Restricted(const wchar_t* list) { TestSupport::SetKeyAccess(Own(path_), list); }
  Restricted(const Restricted&) = delete;
  Restricted& operator=(const Restricted&) = delete;
  ~Restricted() { TestSupport::SetKeyAccess(Own(path_), TestSupport::kFullAccess); }
  const std::wstring& Path() const noexcept { return path_; }

 private:
  const std::wstring path_ = NewKey();
};

// Rights to read, and to change the list.
constexpr wchar_t kReadOnly[] = L"D:P(A;;0x60019;;;WD)";

std::string OpenHives() {
  HKEY users = nullptr;
  const LSTATUS status = ::RegOpenKeyExW(HKEY_USERS, nullptr, 0, KEY_ALL_ACCESS, &users);
  if (status != ERROR_SUCCESS) {
    return Status(status);
  }
  if (users == HKEY_USERS) {
    return "HKEY_USERS itself";
  }
  ::RegCloseKey(users);
  return "another handle";
}

std::string DeleteReadOnlyKey() {
  const std::wstring parent = NewKey();
  const KeyPlace child = Own(parent + L"\\child");
  TestSupport::MakeKey(child);
  TestSupport::SetKeyAccess(child, kReadOnly);
  RegistryKey opened;
  ::RegOpenKeyExW(HKEY_CURRENT_USER, parent.c_str(), 0, KEY_ALL_ACCESS, opened.Receive());
  const std::string answer = Status(::RegDeleteKeyW(opened.Get(), L"child"));
  if (TestSupport::KeyExists(child)) {
    TestSupport::SetKeyAccess(child, TestSupport::kFullAccess);
  }
  return answer;
}

constexpr Fact kFacts[] = {
    {"RegOpenKeyExW on HKEY_USERS without a subkey returns HKEY_USERS itself, whatever rights are requested.",
     OpenHives, "HKEY_USERS itself", "RegOpenKeyExW function"},
    {"RegOpenKeyW opens a read-only key; only writing to the key fails.",
     [] {
       const Restricted key(kReadOnly);
       RegistryKey opened;
       const LSTATUS open = ::RegOpenKeyW(HKEY_CURRENT_USER, key.Path().c_str(), opened.Receive());
       const DWORD number = 1;
       const LSTATUS set = ::RegSetValueExW(opened.Get(), L"value", 0, REG_DWORD,
                                            reinterpret_cast<const BYTE*>(&number), sizeof number);
       return "open: " + Status(open) + ", set: " + Status(set);
     },
     "open: done, set: error 5", kReliedOn},
    {"RegCreateKeyExW with a path fails below a key whose access control list does not allow subkeys.",
     [] {
       const Restricted key(kReadOnly);
       RegistryKey made;
       return Status(::RegCreateKeyExW(HKEY_CURRENT_USER, (key.Path() + L"\\new").c_str(), 0, nullptr, 0, KEY_READ,
                                       nullptr, made.Receive(), nullptr));
     },
     "error 5", "RegCreateKeyExW function", "done"},
    {"RegDeleteKeyW fails if the key's access control list does not allow it, even with all rights to its parent.",
     DeleteReadOnlyKey, "error 5", "Registry Key Security and Access Rights", "done"},
    {"RegDeleteKeyW fails for a key that has subkeys.",
     [] {
       const std::wstring parent = NewKey();
       TestSupport::MakeKey(Own(parent + L"\\child\\grandchild"));
       RegistryKey opened;
       ::RegOpenKeyExW(HKEY_CURRENT_USER, parent.c_str(), 0, KEY_ALL_ACCESS, opened.Receive());
       return Status(::RegDeleteKeyW(opened.Get(), L"child"));
     },
     "error 5", "RegDeleteKeyW function"},
    {"RegOpenKeyW accepts a backslash at the end of a key's path.",
     [] {
       RegistryKey opened;
       return Status(::RegOpenKeyW(HKEY_CURRENT_USER, (NewKey() + L"\\").c_str(), opened.Receive()));
     },
     "done", kReliedOn},
    {"Below HKEY_CURRENT_USER\\Software, the 32-bit view and the 64-bit view are the same.",
     [] {
       const std::wstring path = NewKey();
       TestSupport::MakeKey({HKEY_CURRENT_USER, path, KEY_WOW64_32KEY}, {{L"value", 7}});
       RegistryKey opened;
       ::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, opened.Receive());
       return Status(::RegQueryValueExW(opened.Get(), L"value", nullptr, nullptr, nullptr, nullptr));
     },
     "done", "Registry Keys Affected by WOW64"},
    {"A program identifier below HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes is visible in the 32-bit view.",
     [] {
       RegistryKey opened;
       return Status(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes\\exefile", 0, KEY_READ | KEY_WOW64_32KEY,
                                     opened.Receive()));
     },
     "done", "Registry Keys Affected by WOW64", "error 2", kWindows7, kNothing, kAsWindows},
    {"RegOpenKeyW uses the 64-bit view in a 64-bit program.",
     [] {
       RegistryKey opened;
       return Status(::RegOpenKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node", opened.Receive()));
     },
     "done", "Registry Redirector"},
    {"An ordinary user cannot open HKEY_LOCAL_MACHINE\\SOFTWARE for writing.",
     [] {
       // Opens and writes nothing.
       RegistryKey opened;
       return Status(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE", 0, KEY_ALL_ACCESS, opened.Receive()));
     },
     "error 5", "Registry Key Security and Access Rights", kNotAsked, kNoElevation},
    {"RegQueryValueExW reports the stored size of a string that has no terminator.",
     [] {
       // No terminator is stored: the system may count one that is stored.
       const KeyPlace place = Own(NewKey());
       TestSupport::SetRawValue(place, L"text", REG_SZ, L"abcdef", 6);
       RegistryKey opened;
       ::RegOpenKeyExW(place.hive, place.path.c_str(), 0, KEY_READ, opened.Receive());
       DWORD size = 0;
       ::RegQueryValueExW(opened.Get(), L"text", nullptr, nullptr, nullptr, &size);
       return std::to_string(size) + " bytes";
     },
     "6 bytes", "RegQueryValueExW function"},
};
static_assert(AreSound(kFacts));

}  // namespace

const Group kRegistryFacts = {"Registry", kFacts, std::size(kFacts)};

}  // namespace Facts
