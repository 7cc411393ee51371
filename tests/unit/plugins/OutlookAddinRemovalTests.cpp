#include "plugins/OutlookAddinRemoval.h"

#include <shlobj.h>

#include <doctest/doctest.h>

#include "plugins/OutlookAddin.h"
#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;

namespace {

constexpr char kNoMachineKey[] = "LOG_INFO :  IsRegistryExisted(HKEY_LOCAL_MACHINE, g_szOLActivateKey) = FALSE ";
constexpr char kMachineKeyDeleted[] = "LOG_INFO : Delete VELA_OLA.OLAgent registry Success! ";
constexpr char kBeginRegistry[] = "LOG_INFO : Begin to delete OL relative registry ... ";

// A machine whose users have no profile folders: their caches have separate tests.
struct RegisteredMachine : MachineWithoutOutlook {
  FailCall profiles{"SHGetFolderPathW", Calls::From(1), ERROR_PATH_NOT_FOUND};

  RegisteredMachine() { MakeKey(MachineKey64(kAddinKey), {{L"FriendlyName", L"add-in"}}); }
};

std::string ParentOf(const std::wstring& hive) {
  return ToUtf8(hive) + "\\Software\\Microsoft\\Office\\Outlook\\Addins\\";
}

Lines DeletedHives(const std::vector<std::wstring>& hives) {
  Lines lines;
  for (const std::wstring& hive : hives) {
    lines.push_back("LOG_INFO : Delete VELA_OLA.OLAgent registry:HKEY_USERS," + ParentOf(hive));
  }
  return lines;
}

bool DeleteForAllUsers() {
  return VELAUtility::DeleteOutlookAddinKeyForAllUsers(VELAUtility::g_szOLActivateKey, VELAUtility::g_szOLAddinsKey,
                                                       VELAUtility::g_szOLAddinName);
}

TEST_CASE("unregistering removes both modules, the machine's key and every user's key") {
  const RegisteredMachine machine;
  for (const std::wstring& hive : machine.hives.Names()) {
    machine.hives.MakeAddinKey(hive);
  }
  const KeyPlace other = UsersKey(UserHivesWorld::kUser + std::wstring(L"\\") + kOutlookKey + L"\\Addins\\Other");
  MakeKey(other);
  const RegistrationChild child;
  const LogCapture log;
  const RegistryCallTrace keys;
  CHECK(VELAUtility::UnregisterOutlookAddin(L"C:\\VELA_OL"));
  CHECK(keys.AllClosed());
  CHECK_LINES(log.Lines(), (Joined({{"LOG_INFO : Begin to unregister VELA_OLA.dll ... "},
                                    UnregisteringLines("C:\\VELA_OL\\VELA_OLA.dll"),
                                    {"LOG_INFO : Begin to unregister Redemption.dll ... "},
                                    UnregisteringLines("C:\\VELA_OL\\Redemption.dll"),
                                    {kBeginRegistry, kMachineKeyDeleted},
                                    DeletedHives(machine.hives.Names())})));
  CHECK(machine.addin.Contents().empty());
  for (const std::wstring& hive : machine.hives.Names()) {
    CHECK_FALSE(machine.hives.HasAddinKey(hive));
  }
  CHECK(KeyExists(other));  // only the add-in's own key goes
}

TEST_CASE("a module that cannot be unregistered changes the result and stops nothing") {
  struct Case {
    unsigned failing;
    const char* line;
  };
  for (const Case& failure : {Case{1, "LOG_ERROR: Failed to unregister VELA_OLA.dll !! C:\\VELA_OL\\VELA_OLA.dll"},
                              Case{2, "LOG_ERROR: Failed to unregister Redemption.dll !!"}}) {
    CAPTURE(failure.failing);
    const RegisteredMachine machine;
    RegistrationChild child;
    child.FailStart(failure.failing, ERROR_FILE_NOT_FOUND);
    const LogCapture log;
    CHECK_FALSE(VELAUtility::UnregisterOutlookAddin(L"C:\\VELA_OL"));

    CHECK(child.Starts().size() == 2);
    CHECK_LINES(LinesWith(log.Lines(), "LOG_ERROR"), {failure.line});
    CHECK(machine.addin.Contents().empty());
  }
}

// The result for the machine's key. The users' keys are deleted in any case, and each deletion is logged as done.
struct MachineKey {
  const char* name;
  bool there;
  const char* call;  // that fails
  Calls calls;
  const char* line;
};

TEST_CASE("the users' keys are deleted even if the machine's key is missing or cannot be deleted") {
  for (const MachineKey& row :
       {MachineKey{"missing", false, "RegOpenKeyW", Calls::None(), kNoMachineKey},
        MachineKey{"its parent refused", true, "RegOpenKeyW", Calls::Only(2), "LOG_WARN : Cannot delete registry !!"},
        MachineKey{"not deleted", true, "RegDeleteKeyW", Calls::Only(1), kMachineKeyDeleted}}) {
    CAPTURE(std::string(row.name));
    const RegisteredMachine machine;
    if (!row.there) {
      ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, VELAUtility::g_szOLActivateKey);
    }
    machine.hives.MakeAddinKey(UserHivesWorld::kUser);
    RegistrationChild child;
    const LogCapture log;
    {
      const FailCall failing{row.call, row.calls, ERROR_ACCESS_DENIED};
      CHECK(VELAUtility::UnregisterOutlookAddin(L"C:\\VELA_OL"));
    }
    const Lines lines = log.Lines();
    CHECK_LINES((Lines{lines.begin() + 6, lines.end()}),  // after three lines for each module
                (Joined({{kBeginRegistry, row.line}, DeletedHives({UserHivesWorld::kUser})})));
    CHECK(machine.addin.Contents().empty() == !row.there);
    CHECK_FALSE(machine.hives.HasAddinKey(UserHivesWorld::kUser));
  }
}

TEST_CASE("a user's parent key that cannot be opened is logged as an error, and the next user follows") {
  const RegisteredMachine machine;
  machine.hives.MakeAddinKey(UserHivesWorld::kUser);
  machine.hives.MakeAddinKey(UserHivesWorld::kUserClasses);
  // One call for each hive asks for its key, and one more opens the parent of the first hive that has it.
  unsigned before = 0;
  while (machine.hives.Names()[before] != UserHivesWorld::kUser) {
    ++before;
  }
  const LogCapture log;
  const RegistryCallTrace keys;
  {
    const FailCall open{"RegOpenKeyW", before + 2, ERROR_ACCESS_DENIED};
    CHECK(DeleteForAllUsers());
  }
  CHECK_LINES(log.Lines(), (Joined({{"LOG_ERROR: Failed to delete VELA_OLA.OLAgent registry::HKEY_USERS, " +
                                     ParentOf(UserHivesWorld::kUser)},
                                    DeletedHives({UserHivesWorld::kUserClasses})})));
  CHECK(machine.hives.HasAddinKey(UserHivesWorld::kUser));
  CHECK_FALSE(machine.hives.HasAddinKey(UserHivesWorld::kUserClasses));
  CHECK(keys.AllClosed());
}

TEST_CASE("if HKEY_USERS cannot be opened or counted, the caches are still deleted, but no hive is changed") {
  for (const char* const call : {"RegOpenKeyExW", "RegQueryInfoKeyW"}) {
    CAPTURE(std::string(call));
    const RegisteredMachine machine;
    machine.hives.MakeAddinKey(UserHivesWorld::kUser);
    const LogCapture log;
    {
      const FailCall failure{call, 1, ERROR_ACCESS_DENIED};
      CHECK_FALSE(DeleteForAllUsers());
    }
    CHECK(machine.profiles.Failed() == 1);
    CHECK(machine.hives.HasAddinKey(UserHivesWorld::kUser));
    CHECK(log.Lines().empty());
  }
}

}  // namespace
