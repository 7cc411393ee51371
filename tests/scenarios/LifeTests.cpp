// The whole life of the product on a machine, from its installation to the restart after its removal. This test lists
// everything that is on the machine afterwards and was not there before.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <string>

#include "tests/scenarios/PlainRuns.h"
#include "tests/scenarios/WindowsSystems.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/RunVerdict.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestRegistry.h"

using namespace Scenarios;
using Expected::WindowsSystem;
using TestSupport::FileSnapshot;
using TestSupport::LinesWith;
using TestSupport::RegistrySnapshot;
using TestSupport::ToUtf8;
using TestSupport::UsersKey;

namespace {

constexpr wchar_t kNewer[] = L"C:\\VelaTest\\newer";
constexpr wchar_t kOffice[] = L"C:\\VelaTest\\Office14\\";

// Below the user's profile.
constexpr wchar_t kCacheFile[] = L"C:\\users\\root\\Application Data\\Microsoft\\Outlook\\Extend.dat";
constexpr wchar_t kCacheFileOnVista[] = L"C:\\users\\root\\AppData\\Local\\Microsoft\\Outlook\\Extend.dat";

const wchar_t* CacheFileOf(const WindowsSystem& system) {
  return system.isVista ? kCacheFileOnVista : kCacheFile;
}

// Everything on the disk and in the registry. It includes the view of 32-bit programs, "Software\Wow6432Node".
struct Machine {
  RegistrySnapshot registry;
  FileSnapshot files;

  Machine() {
    registry.Add(HKEY_LOCAL_MACHINE, L"", KEY_WOW64_64KEY);
    registry.Add(HKEY_USERS, L"", KEY_WOW64_64KEY);
    files.Add(L"C:", "C:");
  }
};

// A machine with an Outlook that was used, a user with an Outlook Express identity, and another user.
void Prepare(World& world, const WindowsSystem& system) {
  world.OnWindows(system.version).WithSampleSource().WithUserHive(L"S-1-5-21-1-2-3-1001");
  world.WithOutlook(L"14", kOffice).WithFile(kOffice + std::wstring(L"ADDINS\\Redemption.ECF"), "stale");
  world.WithKey(UsersKey(kConsoleUser + std::wstring(L"\\Identities")), {{L"Last User ID", L"{4711}"}});
  world.WithFile(CacheFileOf(system), "cache");
  TestSupport::CopyTree(World::kSource, kNewer);
  world.WithFile(kNewer + std::wstring(L"\\rule\\base.rul"), "newer rules");
  world.WithFile(kNewer + std::wstring(L"\\rule\\more.rul"), "more rules");
  // The common client settings, which contain an entry of this product.
  world.WithKey(TestSupport::MachineKey64(World::kCoreAgentKey));
  // Makes the changes that a restart and the first run of a program cause themselves, before the comparison begins.
  // This run registers nothing, but the system configures its display.
  world.RunWithArguments({});
  CHECK(TestSupport::TestProcess(L"C:\\windows\\system32\\regsvr32.exe", {L"/s", L"C:\\none.dll"})
            .Finish(20000)
            .exitCode == 3);
  world.CarryOutPendingRenames();
}

// One command of the product. Its log must contain this line once, and no failure. Its verdict must be that it is done,
// also if the removal left files in use to the restart: the log does not say so.
void Live(World& world, const std::wstring& command, const std::wstring& source, const std::wstring& destination,
          DWORD exitCode, const std::string& line) {
  CAPTURE(ToUtf8(command));
  const Outcome outcome = world.Run(command, source, destination);
  CHECK(outcome.exitCode == exitCode);
  CHECK_FALSE(outcome.timedOut);
  CHECK(LinesWith(outcome.log, line).size() == 1);
  CHECK_MESSAGE(TestSupport::LastVerdict(world.Log()).outcome == LogReader::Outcome::kDone,
                TestSupport::LastVerdictText(world.Log()));
  if (command != L"-U") {
    CHECK_LINES(LinesWith(outcome.log, "LOG_ERROR"), {});
    CHECK_LINES(LinesWith(outcome.log, "LOG_WARN"), {});
    CHECK_LINES(LinesWith(outcome.log, "LOG_EVENT"), {});
    CHECK(outcome.pending.empty());
  }
}

void InstallAndUse(World& world) {
  Live(world, L"-I", World::kSource, World::kDestination, 0, "GetOutlookVersion return=6");
  Live(world, L"-s", World::kSource, kInstalledFolder, 0, "GetStatus!!!!! 0");
  Live(world, L"-e", World::kSource, kInstalledFolder, 0, "VELA Enable OK");
  Live(world, L"-s", World::kSource, kInstalledFolder, 0, "GetStatus!!!!! 1");
  world.EndMonitors(kProduct);
  // The data that plug-ins and monitors keep for their user, and for all users.
  for (const std::wstring& folder : DataFolders()) {
    world.WithFile(kCommonBase + folder + L"\\Users\\{4711}\\log\\plugin.log", "log");
  }
  Live(world, L"-r", World::kSource, kInstalledFolder, 1, "Leave VELAUtility::NotifyReloadVELAEngine()");
  Live(world, L"-p", kNewer, World::kDestination, 1, "VELAWrapper::Upgrade() RetrunCode : 1");
  CHECK(TestSupport::FileContent(kProduct + L"\\VELA_OL\\rule\\base.rul") == "newer rules");
  Live(world, L"-p", kNewer, World::kDestination, 1, "VELAWrapper::NotifyReloadVELAEngine() RetrunCode : 1");
}

// What the product has changed on the machine. Its settings stay for its next installation. Keys that others may use
// stay, empty. The two folders of the maker stay as well.
Lines Left(const Machine& before, const WindowsSystem& system) {
  const Machine after;
  Lines left = RegistrySnapshot::Changes(before.registry, after.registry);
  for (std::string change : FileSnapshot::Changes(before.files, after.files)) {
    const std::size_t cache = change.find(ToUtf8(CacheFileOf(system)));
    left.push_back(cache == std::string::npos ? change : change.substr(0, cache) + "[Outlook's cache]");
  }
  return left;
}

TEST_CASE("what is left after install, use, switch-off and uninstall; a second time leaves no more than the first") {
  for (const WindowsSystem& system : {Expected::kXp64System, Expected::kVistaSystem, Expected::kWindows10System}) {
    CAPTURE(std::string(system.name));
    World world;
    Prepare(world, system);
    const Machine before;
    for (int lives = system.isVista ? 2 : 1; lives > 0; --lives) {
      InstallAndUse(world);
      Live(world, L"-d", World::kSource, kInstalledFolder, 0, "VELA Disable OK");
      Live(world, L"-s", World::kSource, kInstalledFolder, 0, "GetStatus!!!!! 0");
      Live(world, L"-U", World::kSource, kInstalledFolder, 0, "Success to delete folder");
      world.CarryOutPendingRenames();
    }
    CheckApproved("left after the uninstall", Left(before, system));
  }
}

TEST_CASE("uninstalled while switched on and with files in use, the product leaves the same after the restart") {
  const WindowsSystem& system = Expected::kVistaSystem;
  World world;
  Prepare(world, system);
  const Machine before;

  InstallAndUse(world);
  {
    // A mail client that has loaded a module of the product, in a program that shares it for reading.
    const std::wstring module = kBase + L"VELA\\VELA_OL\\VELA_OLA.dll";
    const TestSupport::HeldFile loaded(module, FILE_SHARE_READ);
    Live(world, L"-U", World::kSource, kInstalledFolder, 0, "Success to delete folder");
    CHECK(TestSupport::Exists(module));
  }
  world.CarryOutPendingRenames();

  // The removal switches the clients off, and keeps the settings.
  Lines left = Left(before, system);
  const std::string enabled =
      "+HKLM\\Software\\Wow6432Node\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [64] \"VELAEnable\" REG_DWORD ";
  CHECK(std::count(left.begin(), left.end(), enabled + "1") == 1);
  std::replace(left.begin(), left.end(), enabled + "1", enabled + "0");
  CheckApproved("left after the uninstall", left);
}

}  // namespace
