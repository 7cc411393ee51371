// Registry keys that the tests of the plug-ins write to.
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/Clients.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/TestRegistry.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

inline constexpr wchar_t kOutlookKey[] = L"Software\\Microsoft\\Office\\Outlook";
inline constexpr wchar_t kAddinKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";

// A key for the test, removed with everything below it before and after the test.
class OwnKey {
 public:
  explicit OwnKey(KeyPlace place) : place_(std::move(place)) { RemoveKey(place_); }
  OwnKey(const OwnKey&) = delete;
  OwnKey& operator=(const OwnKey&) = delete;
  ~OwnKey() { RemoveKey(place_); }

  // The key and everything below it, one line each, as in RegistrySnapshot.h.
  Lines Contents() const {
    RegistrySnapshot snapshot;
    snapshot.Add(place_.hive, place_.path, place_.view);
    return snapshot.AsLines();
  }

 private:
  KeyPlace place_;
};

// The monitors' start-up values in the machine's Run key, which exists anyway. Removed before and after the test.
class OwnRunValues {
 public:
  OwnRunValues() { Clear(); }
  OwnRunValues(const OwnRunValues&) = delete;
  OwnRunValues& operator=(const OwnRunValues&) = delete;
  ~OwnRunValues() { Clear(); }

  // All of them, or all but one.
  static Lines All(const std::string& but = "") {
    Lines names;
    for (const Client& client : Clients()) {
      const std::string name = ToUtf8(client.shortName);
      if (client.hasMonitor && name != but) {
        names.push_back(name);
      }
    }
    return names;
  }

  void Set() const {
    for (const Client& client : Clients()) {
      if (client.hasMonitor) {
        MakeKey(place_, {{client.shortName, L"C:\\monitor.exe"}});
      }
    }
  }
  // Those that exist.
  Lines Names() const {
    RegistrySnapshot snapshot;
    snapshot.Add(place_.hive, place_.path, place_.view);
    Lines names;
    for (const std::string& name : All()) {
      names.insert(names.end(), LinesWith(snapshot.AsLines(), "\"" + name + "\"").size(), name);
    }
    return names;
  }

 private:
  void Clear() const {
    for (const Client& client : Clients()) {
      RemoveValue(place_, client.shortName);
    }
  }

  const KeyPlace place_ = MachineKey64(L"Software\\Microsoft\\Windows\\CurrentVersion\\Run");
};

// The hives below HKEY_USERS, with two of the test among them. Before and after the test, none of them has a key of
// Outlook.
class UserHivesWorld {
 public:
  UserHivesWorld() {
    MakeKey(UsersKey(kUser));
    MakeKey(UsersKey(kUserClasses));
    names_ = SubkeyNames(UsersKey(L""));
    Clear();
  }
  UserHivesWorld(const UserHivesWorld&) = delete;
  UserHivesWorld& operator=(const UserHivesWorld&) = delete;
  ~UserHivesWorld() {
    Clear();
    RemoveKey(UsersKey(kUser));
    RemoveKey(UsersKey(kUserClasses));
  }

  static constexpr const wchar_t* kUser = L"S-1-5-21-1-2-3-1001";
  static constexpr const wchar_t* kUserClasses = L"S-1-5-21-1-2-3-1001_Classes";

  // In the order of the registry.
  const std::vector<std::wstring>& Names() const { return names_; }

  void MakeAddinKey(const std::wstring& hive) const {
    MakeKey(UsersKey(hive + L"\\" + kAddinKey), {{L"FriendlyName", L"add-in"}});
  }
  bool HasAddinKey(const std::wstring& hive) const { return KeyExists(UsersKey(hive + L"\\" + kAddinKey)); }

 private:
  void Clear() const {
    for (const std::wstring& name : names_) {
      RemoveKey(UsersKey(name + L"\\" + kOutlookKey));
    }
  }

  std::vector<std::wstring> names_;
};

// A machine without Outlook, on which its add-in was never registered.
struct MachineWithoutOutlook {
  OwnKey outlook{MachineKey64(kOutlookKey)};
  OwnKey registeredProgram{MachineKey64(L"Software\\Classes\\Outlook.Application")};
  UserHivesWorld hives;
  OwnKey addin{MachineKey64(kAddinKey)};
};

}  // namespace TestSupport
