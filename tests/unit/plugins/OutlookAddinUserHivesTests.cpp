#include <doctest/doctest.h>

#include "plugins/OutlookAddin.h"
#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/unit/plugins/RegistryPlaces.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::Lines;
using TestSupport::LogCapture;
using VELAUtility::LoadBehavior;

namespace {

// The values of the add-in key, in the order in which they are written.
const char* const kValues[] = {"LoadBehavior", "CommandLineSafe", "FriendlyName", "Description"};

// What a hive holds of the add-in key after `count` of its values were written; the snapshot shows them by name.
Lines HiveContents(const std::wstring& hive, unsigned count, int loadBehavior) {
  const std::string outlook = "HKU\\" + TestSupport::ToUtf8(hive) + "\\Software\\Microsoft\\Office\\Outlook";
  const std::string addin = outlook + "\\Addins\\VELA_OLA.OLAgent [64]";
  Lines lines = {outlook + " [64]", outlook + "\\Addins [64]", addin};
  if (count >= 2) {
    lines.push_back(addin + " \"CommandLineSafe\" REG_DWORD 0");
  }
  if (count >= 4) {
    lines.push_back(addin + " \"Description\" REG_SZ \"Orvane Labs Anti-Spam Agent for Outlook\"");
  }
  if (count >= 3) {
    lines.push_back(addin + " \"FriendlyName\" REG_SZ \"Orvane Labs Anti-Spam Addin\"");
  }
  if (count >= 1) {
    lines.push_back(addin + " \"LoadBehavior\" REG_DWORD " + std::to_string(loadBehavior));
  }
  return lines;
}

Lines ContentsOf(const std::wstring& hive) {
  TestSupport::RegistrySnapshot snapshot;
  snapshot.Add(HKEY_USERS, hive + L"\\Software\\Microsoft\\Office\\Outlook", KEY_WOW64_64KEY);
  return snapshot.AsLines();
}

// All hives but `skipped` hold the whole key.
void CheckOthersAreComplete(const UserHivesWorld& world, const std::wstring& skipped) {
  for (const std::wstring& hive : world.Names()) {
    if (hive != skipped) {
      CHECK_LINES(ContentsOf(hive), (HiveContents(hive, 4, 3)));
    }
  }
}

TEST_CASE("every loaded hive gets the key, those of no person included") {
  for (const LoadBehavior loadBehavior : {LoadBehavior::kLoadAtStartUp, LoadBehavior::kDoNotLoad}) {
    const UserHivesWorld world;
    REQUIRE(world.Names().size() >= 4);
    const LogCapture log;
    const TestSupport::RegistryCallTrace keys;
    CHECK(VELAUtility::WriteOutlookAddinKeyForAllUsers(loadBehavior));

    for (const std::wstring& hive : world.Names()) {
      CHECK_LINES(ContentsOf(hive), (HiveContents(hive, 4, loadBehavior == LoadBehavior::kLoadAtStartUp ? 3 : 2)));
    }
    CHECK(log.Lines().empty());
    CHECK(keys.AllClosed());
  }
}

TEST_CASE("HKEY_USERS is opened for everything, and a name of up to 259 characters fits") {
  const UserHivesWorld world;
  unsigned opens = 0;
  unsigned reads = 0;
  ImportRedirection open{"RegOpenKeyExW",
                         [&](HKEY root, LPCWSTR path, DWORD options, REGSAM rights, PHKEY key) -> LSTATUS {
                           ++opens;
                           CHECK(root == HKEY_USERS);
                           CHECK((path == nullptr || *path == L'\0'));
                           CHECK(rights == KEY_ALL_ACCESS);
                           return open.Original<decltype(&::RegOpenKeyExW)>()(root, path, options, rights, key);
                         }};
  ImportRedirection read{"RegEnumKeyExW",
                         [&](HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPWSTR type,
                             LPDWORD typeLength, PFILETIME time) -> LSTATUS {
                           CHECK(index == reads++);
                           CHECK(*length == 260);
                           return read.Original<decltype(&::RegEnumKeyExW)>()(key, index, name, length, reserved, type,
                                                                              typeLength, time);
                         }};
  VELAUtility::WriteOutlookAddinKeyForAllUsers(LoadBehavior::kLoadAtStartUp);
  CHECK(opens == 1);
  CHECK(reads == world.Names().size());
}

TEST_CASE("a hive whose name cannot be read is passed over") {
  const UserHivesWorld reference;
  for (unsigned place = 0; place < reference.Names().size(); ++place) {
    const UserHivesWorld world;
    {
      const FailCall failure{"RegEnumKeyExW", place + 1, ERROR_MORE_DATA};
      CHECK(VELAUtility::WriteOutlookAddinKeyForAllUsers(LoadBehavior::kLoadAtStartUp));
    }
    CHECK(ContentsOf(world.Names()[place]).empty());
    CheckOthersAreComplete(world, world.Names()[place]);
  }
}

TEST_CASE("a hive in which the key cannot be made is left, in silence") {
  const UserHivesWorld world;
  const LogCapture log;
  {
    const FailCall failure{"RegCreateKeyExW", 2, ERROR_ACCESS_DENIED};
    CHECK(VELAUtility::WriteOutlookAddinKeyForAllUsers(LoadBehavior::kLoadAtStartUp));
  }
  CHECK(ContentsOf(world.Names()[1]).empty());
  CheckOthersAreComplete(world, world.Names()[1]);
  CHECK(log.Lines().empty());
}

TEST_CASE("a hive that refuses a value gets none of the later ones, in silence") {
  for (const char* const call : {"RegOpenKeyW", "RegSetValueExW"}) {
    for (unsigned value = 0; value < 4; ++value) {
      CAPTURE(call);
      CAPTURE(kValues[value]);
      const UserHivesWorld world;
      const LogCapture log;
      const TestSupport::RegistryCallTrace keys;
      {
        // The first hive is complete, and the second one refuses.
        const FailCall failure{call, 4 + value + 1, ERROR_ACCESS_DENIED};
        CHECK(VELAUtility::WriteOutlookAddinKeyForAllUsers(LoadBehavior::kLoadAtStartUp));
        CHECK(failure.Failed() == 1);
      }
      CHECK_LINES(ContentsOf(world.Names()[1]), (HiveContents(world.Names()[1], value, 3)));
      CheckOthersAreComplete(world, world.Names()[1]);
      CHECK(log.Lines().empty());
      CHECK(keys.AllClosed());
    }
  }
}

}  // namespace
