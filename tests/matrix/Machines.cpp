#include "tests/matrix/Machines.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/TestFiles.h"

using Expected::WindowsSystem;
using TestSupport::EndProcesses;
using TestSupport::kNoAccess;
using TestSupport::kReadOnlyAccess;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::UsersKey;
using TestSupport::World;

namespace Matrix {
namespace {

constexpr wchar_t kUser[] = L"S-1-5-21-0-0-0-1000";  // who is at the console
constexpr wchar_t kOtherUser[] = L"S-1-5-21-1-2-3-1001";
constexpr wchar_t kOffice[] = L"C:\\VelaTest\\Office14\\";
// Where an installation to World::kDestination puts the product: an argument of the switch and the removal.
constexpr wchar_t kInstalled[] = L"C:\\VelaTest\\dest\\Orvane Labs";
constexpr wchar_t kProduct[] = L"C:\\VelaTest\\dest\\Orvane Labs\\VELA";
constexpr wchar_t kAddin[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";
constexpr wchar_t kNoSource[] = L"C:\\VelaTest\\nothing";

std::wstring CacheFile(const WindowsSystem& system) {
  wchar_t profile[MAX_PATH] = {};
  ::GetEnvironmentVariableW(L"USERPROFILE", profile, MAX_PATH);
  return profile + std::wstring(system.isVista ? L"\\AppData\\Local" : L"\\Application Data") +
         L"\\Microsoft\\Outlook\\Extend.dat";
}

// An Outlook that was used, a user with an Outlook Express identity, another user who is logged on, and the settings
// that the maker's products share.
void Prepare(World& world, const WindowsSystem& system) {
  world.OnWindows(system.version).WithSampleSource().WithUserHive(kOtherUser).WatchingFolder(L"C:\\users");
  world.WithOutlook(L"14", kOffice).WithFile(kOffice + std::wstring(L"ADDINS\\Redemption.ECF"), "stale");
  world.WithFile(CacheFile(system), "cache");
  world.WithKey(UsersKey(kUser + std::wstring(L"\\Identities")), {{L"Last User ID", L"{4711}"}});
  world.WithKey(MachineKey64(World::kCoreAgentKey));
}

void MakeSourceNewer(World& world) {
  const std::wstring rules = World::kSource + std::wstring(L"\\rule\\");
  world.WithFile(rules + L"base.rul", "newer rules").WithFile(rules + L"more.rul", "more rules");
}

// Earlier runs have recorded this already. The later runs need it.
void InstallAgain(World& world) {
  REQUIRE(world.Run(L"-I", World::kSource, World::kDestination).exitCode == 0);
  REQUIRE(world.Run(L"-e", World::kSource, kInstalled).exitCode == 0);
  world.EndMonitors(kProduct);
}

// The clients after Outlook and Outlook Express, and Windows Mail, which is Outlook Express on Windows Vista.
struct OtherClients {
  std::vector<std::wstring> programs = {L"winmail.exe"};
  std::string names = "Windows Mail";

  OtherClients() {
    for (std::size_t i = 2; i < TestSupport::Clients().size(); ++i) {
      programs.emplace_back(TestSupport::Clients()[i].process);
      names += std::string(" and ") + TestSupport::Clients()[i].name;
    }
  }
  void Start(World& world) const {
    for (const std::wstring& program : programs) {
      world.WithRunning(program);
    }
  }
  void End() const {
    for (const std::wstring& program : programs) {
      EndProcesses(program);
    }
  }
};

}  // namespace

Chapter Life(const WindowsSystem& system) {
  World world;
  Prepare(world, system);
  Chapter chapter;
  const auto install = [&](const char* title, const wchar_t* command) {
    Tell(chapter, world, title, {command, World::kSource, World::kDestination});
  };
  const auto use = [&](const std::string& title, const wchar_t* command) {
    Tell(chapter, world, title, {command, World::kSource, kInstalled});
  };
  const OtherClients others;

  use("an unknown switch", L"-x");
  Tell(chapter, world, "an argument is missing", {L"-s", World::kSource});
  Tell(chapter, world, "one argument too many", {L"-s", World::kSource, kInstalled, L"-s"});
  use("-s, not installed yet", L"-s");
  use("-r, no client runs", L"-r");
  install("-I, no client runs", L"-I");
  use("-s, installed", L"-s");
  use("-e", L"-e");
  world.EndMonitors(kProduct);
  use("-s, switched on", L"-s");
  install("-p, nothing is newer", L"-p");
  MakeSourceNewer(world);
  install("-p, one file is newer and one is new", L"-p");

  world.WithRunning(L"OUTLOOK.EXE").WithRunning(L"msimn.exe");
  use("-r while Outlook and Outlook Express run", L"-r");
  install("-I while Outlook and Outlook Express run", L"-I");
  for (const TestSupport::Client& client : TestSupport::Clients()) {
    world.WithKey(MachineKey64(World::kCoreAgentKey), {{client.DelayFlag(), 1}});
  }
  use("-e while Outlook and Outlook Express run, all registrations delayed", L"-e");
  world.EndMonitors(kProduct);
  EndProcesses(L"OUTLOOK.EXE");
  EndProcesses(L"msimn.exe");

  others.Start(world);
  use("-r while " + others.names + " run", L"-r");
  use("-d while " + others.names + " run", L"-d");
  others.End();
  use("-d, switched off already", L"-d");
  use("-e, switched off before", L"-e");
  world.EndMonitors(kProduct);
  use("-d, no client runs", L"-d");

  world.WithRunning(L"OUTLOOK.EXE").WithRunning(L"msimn.exe");
  use("-U while Outlook and Outlook Express run, switched off", L"-U");
  EndProcesses(L"OUTLOOK.EXE");
  EndProcesses(L"msimn.exe");
  InstallAgain(world);
  others.Start(world);
  use("-U while " + others.names + " run, switched on", L"-U");
  others.End();
  InstallAgain(world);
  world.WithOpenFile(kProduct + std::wstring(L"\\VELA_OL\\VELA_OLA.dll"), FILE_SHARE_READ);
  use("-U, no client runs, a module is in use", L"-U");
  use("-U, only that module is left", L"-U");
  use("-s, removed", L"-s");
  return chapter;
}

Chapter Outlook2002(const WindowsSystem& system) {
  World world;
  world.OnWindows(system.version).WithOutlook(L"10", L"C:\\VelaTest\\Office10\\").WithStandInRegsvr32();
  Chapter chapter;
  Tell(chapter, world, "-I, Outlook 2002, the source does not exist", {L"-I", kNoSource, World::kDestination});
  return chapter;
}

Chapter ForeignDestinations(const WindowsSystem& system) {
  Chapter chapter;
  {
    const wchar_t* const paragraph = L"C:\\VelaTest\\d\x00A7";
    World world;
    Prepare(world, system);
    Tell(chapter, world, "-I, the destination has a paragraph sign in its name", {L"-I", World::kSource, paragraph});
    MakeSourceNewer(world);
    Tell(chapter, world, "-p, the same destination, one file is newer and one is new",
         {L"-p", World::kSource, paragraph});
    Tell(chapter, world, "-U, the same destination", {L"-U", World::kSource, paragraph});
  }
  const struct {
    const char* title;
    const wchar_t* destination;
  } rows[] = {{"-I, an accented destination, the source does not exist", L"C:\\VelaTest\\Caf\x00E9"},
              {"-I, a Japanese destination, the source does not exist", L"C:\\VelaTest\\\x65E5\x672C"},
              {"-I, a destination in half-width katakana, the source does not exist", L"C:\\VelaTest\\\xFF71"}};
  for (const auto& row : rows) {
    World world;
    world.OnWindows(system.version).WithStandInRegsvr32();
    Tell(chapter, world, row.title, {L"-I", kNoSource, row.destination});
  }
  return chapter;
}

namespace {

// This user may change nothing on the machine: the program's settings, the shared settings, the lists of the mail
// clients, the programs that start at log-on, and the file moves for the restart.
void LockRegistry(World& world) {
  for (const auto& place : {MachineKey32(World::kProductKey), MachineKey64(World::kCoreAgentKey), MachineKey64(kAddin),
                            MachineKey64(L"Software\\Microsoft\\Windows\\CurrentVersion\\Run"),
                            MachineKey64(L"System\\CurrentControlSet\\Control\\Session Manager")}) {
    world.WithAccess(place, kReadOnlyAccess);
  }
  for (const TestSupport::Client& client : TestSupport::Clients()) {
    if (client.pluginList != nullptr) {
      world.WithAccess(MachineKey64(client.pluginList), kReadOnlyAccess);
    }
  }
  // Windows does not let an ordinary user open the list of all hives for writing. Wine does; here the keys refuse it.
  for (const std::wstring& hive : TestSupport::SubkeyNames(UsersKey(L""))) {
    world.WithAccess(UsersKey(hive + L"\\" + kAddin), kNoAccess);
  }
  // The system returns the user's token only to services, and no shell runs.
  world.WithKey({HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\VELAutil.exe\\DllOverrides", KEY_WOW64_64KEY},
                {{L"wtsapi32", L""}});
  // What regsvr32.exe does for this user does not matter: the program only has to start it.
  world.WithStandInRegsvr32();
}

}  // namespace

Chapter OrdinaryUser(const WindowsSystem& system) {
  Chapter chapter;
  {
    World world;
    Prepare(world, system);
    InstallAgain(world);
    world.WithKey(MachineKey64(World::kCoreAgentKey), {{L"WLM_DELAY_INST", 1}});
    LockRegistry(world);
    world.WithLocked(World::kDestination);
    world.WithLocked(L"C:\\VelaTest\\Office14");
    const auto tell = [&](const char* title, const wchar_t* command, const wchar_t* destination) {
      Tell(chapter, world, title, {command, World::kSource, destination});
    };

    tell("an unknown switch", L"-x", kInstalled);
    tell("-s", L"-s", kInstalled);
    tell("-r, no client runs", L"-r", kInstalled);
    tell("-p, nothing is newer", L"-p", World::kDestination);
    MakeSourceNewer(world);
    tell("-p, one file is newer and one is new", L"-p", World::kDestination);
    tell("-I, no client runs", L"-I", World::kDestination);
    world.WithRunning(L"OUTLOOK.EXE");
    tell("-r while Outlook runs", L"-r", kInstalled);
    tell("-I while Outlook runs", L"-I", World::kDestination);
    EndProcesses(L"OUTLOOK.EXE");
    tell("-e", L"-e", kInstalled);
    tell("-d", L"-d", kInstalled);
    // The keys in the hives are removed. For a user who may not list the hives, the result is the same. Wine would let
    // the program open and delete keys that it may not read. The key of the machine stays, because it has a subkey.
    for (const std::wstring& hive : TestSupport::SubkeyNames(UsersKey(L""))) {
      TestSupport::RemoveKey(UsersKey(hive + L"\\" + kAddin));
    }
    world.WithKey(MachineKey64(kAddin + std::wstring(L"\\Settings")));
    tell("-U", L"-U", kInstalled);
  }
  {
    World world;
    world.OnWindows(system.version).WithProductKey().WithFolder(World::kDestination);
    world.WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess);
    world.WithLocked(World::kDestination);
    Tell(chapter, world, "-I, the switch was never stored, the source does not exist",
         {L"-I", kNoSource, World::kDestination});
  }
  return chapter;
}

}  // namespace Matrix
