#include "tests/unit/plugins/RegistryPlaces.h"

#include <utility>

#include "tests/support/RegistrySnapshot.h"

using TestSupport::KeyPlace;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::UsersKey;

namespace {

constexpr wchar_t kOutlookKey[] = L"\\Software\\Microsoft\\Office\\Outlook";
constexpr wchar_t kAddinKey[] = L"\\Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";

KeyPlace RunKey() {
  return MachineKey64(L"Software\\Microsoft\\Windows\\CurrentVersion\\Run");
}

}  // namespace

OwnKey::OwnKey(KeyPlace place) : place_(std::move(place)) {
  TestSupport::RemoveKey(place_);
}

OwnKey::~OwnKey() {
  TestSupport::RemoveKey(place_);
}

void OwnKey::Make() const {
  TestSupport::MakeKey(place_);
}

void OwnKey::SetText(const std::wstring& subkey, const wchar_t* name, const std::wstring& text) const {
  const std::wstring path = subkey.empty() ? place_.path : place_.path + L"\\" + subkey;
  TestSupport::MakeKey({place_.hive, path, place_.view}, {{name, text}});
}

TestSupport::Lines OwnKey::Contents() const {
  TestSupport::RegistrySnapshot snapshot;
  snapshot.Add(place_.hive, place_.path, place_.view);
  return snapshot.AsLines();
}

OwnRunValue::OwnRunValue(const wchar_t* name) : name_(name) {
  TestSupport::RemoveValue(RunKey(), name_);
}

OwnRunValue::~OwnRunValue() {
  TestSupport::RemoveValue(RunKey(), name_);
}

void OwnRunValue::Set() const {
  TestSupport::MakeKey(RunKey(), {{name_, L"C:\\monitor.exe"}});
}

bool OwnRunValue::Exists() const {
  TestSupport::RegistrySnapshot snapshot;
  snapshot.Add(RunKey().hive, RunKey().path, RunKey().view);
  return !TestSupport::LinesWith(snapshot.AsLines(), "\"" + TestSupport::ToUtf8(name_) + "\"").empty();
}

UserHivesWorld::UserHivesWorld() {
  TestSupport::MakeKey(UsersKey(kUser));
  TestSupport::MakeKey(UsersKey(kUserClasses));
  names_ = TestSupport::SubkeyNames(UsersKey(L""));
  Clear();
}

UserHivesWorld::~UserHivesWorld() {
  Clear();
  TestSupport::RemoveKey(UsersKey(kUser));
  TestSupport::RemoveKey(UsersKey(kUserClasses));
}

void UserHivesWorld::MakeAddinKey(const std::wstring& hive) const {
  TestSupport::MakeKey(UsersKey(hive + kAddinKey), {{L"FriendlyName", L"add-in"}});
}

bool UserHivesWorld::HasAddinKey(const std::wstring& hive) const {
  return TestSupport::KeyExists(UsersKey(hive + kAddinKey));
}

void UserHivesWorld::Clear() const {
  for (const std::wstring& name : names_) {
    TestSupport::RemoveKey(UsersKey(name + kOutlookKey));
  }
}

RegisteredOutlook::RegisteredOutlook(const std::wstring& folder)
    : program_(MachineKey64(L"Software\\Classes\\Outlook.Application")),
      office_(MachineKey32(L"SOFTWARE\\Microsoft\\Office\\14.0")) {
  program_.SetText(L"CurVer", L"", L"Outlook.Application.14");
  office_.SetText(L"Outlook\\InstallRoot", L"Path", folder);
}

OpenKeysWatch::OpenKeysWatch()
    : open_("RegOpenKeyW",
            [this](HKEY root, LPCWSTR path, PHKEY key) -> LSTATUS {
              return Count(open_.Original<decltype(&::RegOpenKeyW)>()(root, path, key));
            }),
      openExtended_(
          "RegOpenKeyExW",
          [this](HKEY root, LPCWSTR path, DWORD options, REGSAM rights, PHKEY key) -> LSTATUS {
            return Count(openExtended_.Original<decltype(&::RegOpenKeyExW)>()(root, path, options, rights, key));
          }),
      create_("RegCreateKeyExW",
              [this](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM rights,
                     LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) -> LSTATUS {
                return Count(create_.Original<decltype(&::RegCreateKeyExW)>()(root, path, reserved, type, options,
                                                                              rights, security, key, disposition));
              }),
      close_("RegCloseKey", [this](HKEY key) -> LSTATUS {
        --stillOpen_;
        return close_.Original<decltype(&::RegCloseKey)>()(key);
      }) {}
