#include <doctest/doctest.h>

#include "plugins/OutlookAddin.h"
#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/plugins/RegistryPlaces.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;
using VELAUtility::LoadBehavior;

namespace {

// The add-in key of a hive after `count` of its values were written; the snapshot sorts them by name.
Lines HiveContents(const std::wstring& hive, unsigned count, int loadBehavior) {
  const std::string outlook = "HKU\\" + ToUtf8(hive) + "\\Software\\Microsoft\\Office\\Outlook";
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
  RegistrySnapshot snapshot;
  snapshot.Add(HKEY_USERS, hive + L"\\" + kOutlookKey, KEY_WOW64_64KEY);
  return snapshot.AsLines();
}

TEST_CASE("every loaded hive gets the key, even if it is no person's; names of up to 259 characters fit") {
  for (const LoadBehavior loadBehavior : {LoadBehavior::kLoadAtStartUp, LoadBehavior::kDoNotLoad}) {
    const UserHivesWorld world;
    REQUIRE(world.Names().size() >= 4);
    const LogCapture log;
    unsigned reads = 0;
    {
      const RegistryCallTrace keys;
      const OnCall read{
          "RegEnumKeyExW", &::RegEnumKeyExW,
          [&](HKEY, DWORD index, LPCWSTR, const DWORD* length, const DWORD*, LPCWSTR, const DWORD*, const FILETIME*) {
            CHECK(index == reads++);
            CHECK(*length == 260);
          }};
      CHECK(VELAUtility::WriteOutlookAddinKeyForAllUsers(loadBehavior));
      CHECK(keys.AllClosed());
      CHECK_LINES(LinesWith(keys.Calls(), "RegOpenKeyExW"), {"RegOpenKeyExW HKU null 000F003F -> 1"});
    }
    CHECK(reads == world.Names().size());
    for (const std::wstring& hive : world.Names()) {
      CHECK_LINES(ContentsOf(hive), (HiveContents(hive, 4, loadBehavior == LoadBehavior::kLoadAtStartUp ? 3 : 2)));
    }
    CHECK(log.Lines().empty());
  }
}

TEST_CASE("if a hive's name cannot be read, or a call for it fails, the rest of it is skipped without a log line") {
  struct Row {
    const char* call;
    unsigned number;  // the first hive is complete, and the second one refuses
    unsigned written;
  };
  for (const Row& row :
       {Row{"RegEnumKeyExW", 2, 0}, Row{"RegCreateKeyExW", 2, 0}, Row{"RegOpenKeyW", 5, 0}, Row{"RegOpenKeyW", 6, 1},
        Row{"RegOpenKeyW", 7, 2}, Row{"RegOpenKeyW", 8, 3}, Row{"RegSetValueExW", 5, 0}, Row{"RegSetValueExW", 6, 1},
        Row{"RegSetValueExW", 7, 2}, Row{"RegSetValueExW", 8, 3}}) {
    CAPTURE(std::string(row.call));
    CAPTURE(row.number);
    const UserHivesWorld world;
    const LogCapture log;
    {
      const RegistryCallTrace keys;
      const FailCall failure{row.call, row.number, ERROR_ACCESS_DENIED};
      CHECK(VELAUtility::WriteOutlookAddinKeyForAllUsers(LoadBehavior::kLoadAtStartUp));
      CHECK(failure.Failed() == 1);
      CHECK(keys.AllClosed());
    }
    for (const std::wstring& hive : world.Names()) {
      const bool refuses = hive == world.Names()[1];
      CHECK_LINES(ContentsOf(hive),
                  (refuses && row.number == 2 ? Lines{} : HiveContents(hive, refuses ? row.written : 4, 3)));
    }
    CHECK(log.Lines().empty());
  }
}

}  // namespace
