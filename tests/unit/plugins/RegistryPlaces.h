// Places of the registry that the tests of the plug-ins write to.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/TestRegistry.h"
#include "tests/support/TextLines.h"

// A key of the test's own: gone with everything below it before and after the test.
class OwnKey {
 public:
  explicit OwnKey(TestSupport::KeyPlace place);
  OwnKey(const OwnKey&) = delete;
  OwnKey& operator=(const OwnKey&) = delete;
  ~OwnKey();

  void Make() const;
  void SetText(const std::wstring& subkey, const wchar_t* name, const std::wstring& text) const;
  // The key and everything below it, line by line as in RegistrySnapshot.h.
  TestSupport::Lines Contents() const;

 private:
  TestSupport::KeyPlace place_;
};

// A value of the machine's Run key, which exists anyway; gone before and after the test.
class OwnRunValue {
 public:
  explicit OwnRunValue(const wchar_t* name);
  OwnRunValue(const OwnRunValue&) = delete;
  OwnRunValue& operator=(const OwnRunValue&) = delete;
  ~OwnRunValue();

  void Set() const;
  bool Exists() const;

 private:
  std::wstring name_;
};

// The hives below HKEY_USERS, with two of the test's own among them; none of them has a key of Outlook's before and
// after the test.
class UserHivesWorld {
 public:
  UserHivesWorld();
  UserHivesWorld(const UserHivesWorld&) = delete;
  UserHivesWorld& operator=(const UserHivesWorld&) = delete;
  ~UserHivesWorld();

  static constexpr const wchar_t* kUser = L"S-1-5-21-1-2-3-1001";
  static constexpr const wchar_t* kUserClasses = L"S-1-5-21-1-2-3-1001_Classes";

  // In the order of the registry.
  const std::vector<std::wstring>& Names() const { return names_; }

  void MakeAddinKey(const std::wstring& hive) const;
  bool HasAddinKey(const std::wstring& hive) const;

 private:
  void Clear() const;
  std::vector<std::wstring> names_;
};
