// Filtering is switched on: for each kind of user, and with missing or conflicting objects.
#include <doctest/doctest.h>

#include "tests/scenarios/PlainRuns.h"
#include "tests/scenarios/ShellProgram.h"
#include "tests/support/FolderLink.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::KeyPlace;
using TestSupport::kNoAccess;
using TestSupport::kReadOnlyAccess;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::NamedValue;
using TestSupport::RemoveKey;
using TestSupport::RemoveTree;
using TestSupport::ToUtf8;
using TestSupport::UsersKey;

namespace {

KeyPlace IdentitiesOf(const std::wstring& user) {
  return UsersKey(user + L"\\Identities");
}

// Libraries that the program does not find on this machine.
void WithoutLibraries(World& world, const std::vector<const wchar_t*>& libraries) {
  std::vector<NamedValue> values;
  for (const wchar_t* const library : libraries) {
    values.emplace_back(library, L"");
  }
  world.WithKey({HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\VELAutil.exe\\DllOverrides", KEY_WOW64_64KEY},
                values);
}

TEST_CASE("each monitor is started by its full path alone, for the user, if this Windows has its client") {
  for (const WindowsVersion version : {WindowsVersion::kXp64, WindowsVersion::kVista, WindowsVersion::kWindows8}) {
    World world;
    Enable(SetUp(world, version));
    for (const Client& client : Clients()) {
      const std::wstring monitor = MonitorPath(client);
      if (client.hasMonitor && world.Handles(client)) {
        CHECK_LINES(world.MonitorStart(monitor), {"root", ToUtf8(monitor), "1", "\"" + ToUtf8(monitor) + "\""});
      } else {
        CHECK_FALSE(TestSupport::Exists(monitor.substr(0, monitor.rfind(L'.')) + L".trace"));
      }
    }
  }
}

TEST_CASE("switching on again changes nothing and logs the same") {
  CheckEnable("switched on again", [](World& world) { Enable(world); });
}

Outcome EnableWithIdentities(World& world, const std::vector<NamedValue>& values) {
  SetUp(world);
  RemoveKey(IdentitiesOf(kConsoleUser));
  // A monitor of another user does not count.
  const std::wstring other = L"S-1-5-21-1-2-3-1001";
  world.WithUserHive(other).WithKey(IdentitiesOf(other), {{L"Last User ID", L"{OTHER}"}});
  return Enable(world.WithKey(IdentitiesOf(kConsoleUser), values));
}

TEST_CASE("the user's folders contain the identity that the user's hive names, or none") {
  const Lines& plain = PlainEnable();
  Lines first;
  {
    World world;
    first = Told(EnableWithIdentities(world, {{L"Last User ID", L"{ID-1}"}}));
  }
  {
    World world;
    const Outcome outcome = EnableWithIdentities(world, {{L"Default User ID", L"{ID-2}"}});
    CHECK_LINES(TestSupport::RunText(
                    outcome, {{World::kDestination, "[dest]"}, {World::kSource, "[source]"}, {L"{ID-2}", "{ID-1}"}}),
                (first));
  }
  CheckRun("another user", plain, first);
  World world;
  CheckRun("no identity", first,
           Told(EnableWithIdentities(world, {{L"Last User ID", L""}, {L"Default User ID", L"{ID-2}"}})));
  World none;
  CheckRun("no identity", first, Told(EnableWithIdentities(none, {})));
}

TEST_CASE("the add-in is switched on again in every hive where it was switched off") {
  CheckEnable("switched off before", [](World& world) {
    Enable(world.WithUserHive(L"S-1-5-21-1-2-3-1001"));
    Disable(world);
  });
}

TEST_CASE("if the product's key is missing or not writable, everything is switched on, but nothing is stored") {
  CheckEnable("nothing can be stored", [](World& world) {
    RemoveKey(MachineKey32(World::kProductKey));
    world.WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 0}});
  });
  for (const wchar_t* const access : {kReadOnlyAccess, kNoAccess}) {
    CheckEnable("nothing can be stored",
                [&](World& world) { world.WithAccess(MachineKey32(World::kProductKey), access); });
  }
}

TEST_CASE("missing or inaccessible shared settings start no registration and are logged; so are missing monitors") {
  CheckEnable("no shared settings", [](World&) { RemoveKey(MachineKey64(World::kCoreAgentKey)); });
  CheckEnable("no shared settings", [](World& world) {
    world.WithKey(MachineKey64(World::kCoreAgentKey), {{L"WLM_DELAY_INST", 1}})
        .WithAccess(MachineKey64(World::kCoreAgentKey), kNoAccess);
  });
  CheckEnable("no monitors", [](World&) { RemoveTree(kProduct + L"\\VELA"); });
}

TEST_CASE("one monitor that cannot be started does not keep the other from being started") {
  const Lines& plain = PlainEnable();
  World world;
  SetUp(world);
  const Client& broken = Clients()[1];
  const Client& other = Clients().back();
  TestSupport::WriteTestFile(MonitorPath(broken), "this is no program");
  CheckRun("a monitor that is no program", plain, Told(Enable(world)));
  CHECK(world.MonitorStart(MonitorPath(other)).size() == 4);
}

TEST_CASE("a monitor is started by its full path with blanks, not a program whose path is the first part of it") {
  const Lines& plain = PlainEnable();
  const std::wstring folder = L"C:\\VelaTest\\My Mail Guard";
  const Client& client = Clients().back();
  World world;
  SetUp(world);
  PlaceMonitors(folder);
  TestSupport::CopyTestFile(MonitorPath(client), L"C:\\VelaTest\\My.exe");
  const Outcome outcome = Enable(world, folder);
  CheckRun("a folder with blanks", plain,
           TestSupport::RunText(outcome, {{folder, "[dest]\\Orvane Labs\\VELA"}, {World::kSource, "[source]"}}));
  CHECK(world.MonitorStart(MonitorPath(client, folder))[1] == ToUtf8(MonitorPath(client, folder)));
  CHECK_FALSE(TestSupport::Exists(L"C:\\VelaTest\\My.trace"));
}

TEST_CASE("without a user at the console, clients are switched on, without monitors and a user's identity") {
  // It makes no difference if the shell's process cannot be found, or if no environment can be created.
  for (const std::vector<const wchar_t*>& libraries :
       std::vector<std::vector<const wchar_t*>>{{L"wtsapi32"}, {L"wtsapi32", L"psapi"}, {L"userenv"}}) {
    CheckEnable("nobody at the console", [&](World& world) { WithoutLibraries(world, libraries); });
  }
}

TEST_CASE("if the session has no token, that of the user of Explorer.exe is used; secur32.dll is not needed") {
  const Lines& plain = PlainEnable();
  {
    World world;
    WithoutLibraries(SetUp(world), {L"secur32"});
    CHECK_LINES(Told(Enable(world)), (plain));
  }
  World world;
  WithoutLibraries(SetUp(world), {L"wtsapi32"});
  const TestSupport::ShellProgram shell;
  CHECK_LINES(Told(Enable(world)), (plain));
  CHECK(world.MonitorStart(MonitorPath(Clients().back()))[0] == "root");
}

TEST_CASE("a link among the user's folders is not followed") {
  const Lines& plain = PlainEnable();
  const std::wstring target = L"C:\\VelaTest\\precious";
  World world;
  SetUp(world).WithFile(target + L"\\Users\\secret.txt", "secret").WithFolder(L"C:\\ProgramData\\Orvane Labs");
  world.WatchingFolder(L"C:\\ProgramData\\Users");
  const TestSupport::FolderLink planted(kCommonBase + L"OL", target);
  CheckRun("a link among the user's folders", plain, Told(Enable(world)));
  RemoveTree(L"C:\\ProgramData\\Users");
}

TEST_CASE("if a file blocks the user's folders, the rest is created in the common data folder, without a log line") {
  CheckEnable("a file among the user's folders", [](World& world) {
    world.WithFile(kCommonBase + L"OL", "a file").WatchingFolder(L"C:\\ProgramData\\Users");
  });
  RemoveTree(L"C:\\ProgramData\\Users");
}

}  // namespace
