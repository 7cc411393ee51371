#include "tests/unit/plugins/RegistryPlaces.h"

#include <utility>

#include "tests/support/RegistrySnapshot.h"

using TestSupport::KeyPlace;
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
