// What an installation makes of the anti-spam switch: as it is stored, as it may be read and written, and with mail
// clients running.
#include <doctest/doctest.h>

#include <optional>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"

using namespace Expected;
using TestSupport::kNoAccess;
using TestSupport::kReadOnlyAccess;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

constexpr char kProductKeyShown[] = "HKLM\\Software\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [32]";
constexpr char kSwitchNotStored[] = "LOG_ERROR: Fail to set VELA enable/disable status to reg !!";
constexpr DWORD kSwitchNotStoredCode = 0xE0FF0001;

// The log of an installation that staged without trouble and registered every client.
Lines InstallLog(OutlookExpress outlookExpress, const Lines& switchSettled) {
  return Joined(
      {InstallBegins(), FilesStaged(outlookExpress), switchSettled, OutlookMissing(), ClientsRegistered(), RunEnds(0)});
}

// The registry after an installation that left the switch alone.
Lines RegistryWithSwitchKept(int loadBehavior) {
  return Sorted(
      Joined({SettingsWritten(ProductKey::kThere, std::nullopt), AddinKeysWritten(loadBehavior), PluginListed()}));
}

// The registry after an installation that changed the stored switch.
Lines RegistryWithSwitchTurnedOff(const std::string& stored) {
  return Sorted(Joined({SettingsWritten(ProductKey::kThere, std::nullopt),
                        {std::string("~") + kProductKeyShown + " \"VELAEnable\" REG_DWORD 0 <- " + stored},
                        AddinKeysWritten(2),
                        PluginListed()}));
}

TEST_CASE("a switch that is on stays on where no client runs, and the add-in is loaded") {
  World world;
  world.WithSampleSource().WithProductKey({{L"VELAEnable", 1}});

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, (InstallLog(OutlookExpress::kLeftOut, NoClientRuns())));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithSwitchKept(3)));
}

TEST_CASE("a switch that is off, or neither on nor off, stays as it is, and the clients are not looked at") {
  for (const int stored : {0, 2, -1}) {
    CAPTURE(stored);
    World world;
    world.WithSampleSource().WithProductKey({{L"VELAEnable", stored}});

    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

    CHECK_LINES(outcome.log, (InstallLog(OutlookExpress::kLeftOut, {})));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithSwitchKept(2)));
  }
}

TEST_CASE("a switch that is missing becomes off") {
  World world;
  world.WithSampleSource().WithProductKey();

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log, (InstallLog(OutlookExpress::kLeftOut, SwitchUnreadable(2))));
  CHECK_LINES(Sorted(outcome.registryDiff),
              (Sorted(Joined({SettingsWritten(ProductKey::kThere, 0), AddinKeysWritten(2), PluginListed()}))));
}

TEST_CASE("a switch that only 64-bit programs see is missing") {
  World world;
  world.WithSampleSource().WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 1}});

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log, (InstallLog(OutlookExpress::kLeftOut, SwitchUnreadable(2))));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFreshInstall()));
}

TEST_CASE("a switch of another type is read by its first four bytes") {
  World world;
  const DWORD on = 1;
  world.WithSampleSource().WithProductKey();
  TestSupport::SetRawValue(MachineKey32(World::kProductKey), L"VELAEnable", REG_BINARY, &on, sizeof on);
  CHECK_LINES(world.Run(L"-I", World::kSource, World::kDestination).log,
              (InstallLog(OutlookExpress::kLeftOut, NoClientRuns())));

  World other;
  other.WithSampleSource().WithProductKey({{L"VELAEnable", L"1"}});
  const Outcome outcome = other.Run(L"-I", World::kSource, World::kDestination);
  CHECK_LINES(outcome.log, (InstallLog(OutlookExpress::kLeftOut, {})));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithSwitchKept(2)));
}

TEST_CASE("a switch of more than four bytes cannot be read and becomes off") {
  World world;
  world.WithSampleSource().WithProductKey({{L"VELAEnable", L"on"}});

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log, (InstallLog(OutlookExpress::kLeftOut, SwitchUnreadable(ERROR_MORE_DATA))));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithSwitchTurnedOff("REG_SZ \"on\"")));
}

struct Client {
  const wchar_t* program;
  WindowsVersion version;
  OutlookExpress outlookExpress;
  const char* runningLine;
};

constexpr char kOutlookRuns[] = "MS Office Outlook is running during installing !";
constexpr char kOutlookExpressRuns[] = "Outlook Express is running during installing !";
constexpr char kWindowsLiveMailRuns[] = "Windows Live Mail is running during installing !";

constexpr Client kClients[] = {
    {L"OUTLOOK.EXE", WindowsVersion::kWindows10, OutlookExpress::kLeftOut, kOutlookRuns},
    {L"msimn.exe", WindowsVersion::kXp64, OutlookExpress::kStaged, kOutlookExpressRuns},
    {L"msimn.exe", WindowsVersion::kWindows10, OutlookExpress::kLeftOut, kOutlookExpressRuns},
    {L"winmail.exe", WindowsVersion::kVista, OutlookExpress::kStaged, kOutlookExpressRuns},
    {L"WLMAIL.exe", WindowsVersion::kWindows10, OutlookExpress::kLeftOut, kWindowsLiveMailRuns},
};

// The log of an installation while one client runs; its line stands before its registration.
Lines LogWhileRunning(const Client& client, const Lines& switchSettled) {
  const auto told = [&](const char* line) { return client.runningLine == line ? Info(line) : Lines{}; };
  return Joined({InstallBegins(), FilesStaged(client.outlookExpress), switchSettled, OutlookMissing(),
                 told(kOutlookRuns), OutlookRegistered(NoExtensionFile()), told(kOutlookExpressRuns),
                 OutlookExpressRegistered(), told(kWindowsLiveMailRuns), WindowsLiveMailRegistered(), RunEnds(0)});
}

TEST_CASE("a running client turns the switch off, and no client's plug-in is loaded") {
  for (const Client& client : kClients) {
    CAPTURE(client.program);
    World world;
    world.OnWindows(client.version).WithSampleSource().WithProductKey({{L"VELAEnable", 1}}).WithRunning(client.program);

    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

    CHECK(outcome.exitCode == 0);
    CHECK_LINES(outcome.log, (LogWhileRunning(client, AClientRuns())));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithSwitchTurnedOff("REG_DWORD 1")));
  }
}

TEST_CASE("with the switch off a running client is told at its registration only") {
  for (const Client& client : kClients) {
    CAPTURE(client.program);
    World world;
    world.OnWindows(client.version).WithSampleSource().WithProductKey({{L"VELAEnable", 0}}).WithRunning(client.program);

    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

    CHECK_LINES(outcome.log, (LogWhileRunning(client, {})));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithSwitchKept(2)));
  }
}

TEST_CASE("Windows Mail counts on Vista only, Outlook Express everywhere else") {
  struct Case {
    const wchar_t* program;
    WindowsVersion version;
    OutlookExpress outlookExpress;
  };
  for (const Case& other : {Case{L"winmail.exe", WindowsVersion::kXp64, OutlookExpress::kStaged},
                            Case{L"winmail.exe", WindowsVersion::kWindows7, OutlookExpress::kLeftOut},
                            Case{L"msimn.exe", WindowsVersion::kVista, OutlookExpress::kStaged},
                            Case{L"outlook2.exe", WindowsVersion::kWindows10, OutlookExpress::kLeftOut}}) {
    CAPTURE(other.program);
    World world;
    world.OnWindows(other.version).WithSampleSource().WithProductKey({{L"VELAEnable", 1}}).WithRunning(other.program);

    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

    CHECK_LINES(outcome.log, (InstallLog(other.outlookExpress, NoClientRuns())));
  }
}

TEST_CASE("all clients running are each told") {
  World world;
  world.WithSampleSource()
      .WithProductKey({{L"VELAEnable", 1}})
      .WithRunning(L"outlook.exe")
      .WithRunning(L"MSIMN.EXE")
      .WithRunning(L"wlmail.exe");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log, (Joined({InstallBegins(), FilesStaged(OutlookExpress::kLeftOut), AClientRuns(),
                                    OutlookMissing(), Info(kOutlookRuns), OutlookRegistered(NoExtensionFile()),
                                    Info(kOutlookExpressRuns), OutlookExpressRegistered(), Info(kWindowsLiveMailRuns),
                                    WindowsLiveMailRegistered(), RunEnds(0)})));
}

// Every settings operation is refused; `reading`: what the look at the switch says.
Lines StagingWithLockedSettings() {
  return Joined({InstallBegins(),
                 Error("Fail to create VELA Section SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA"),
                 ProductKeyRefused(5), FilesStaged(OutlookExpress::kLeftOut)});
}

TEST_CASE("a product key that nobody may touch ends the installation before the registrations") {
  World world;
  world.WithSampleSource().WithProductKey({{L"VELAEnable", 1}}).WithAccess(MachineKey32(World::kProductKey), kNoAccess);

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == kSwitchNotStoredCode);
  CHECK_LINES(outcome.log, (Joined({StagingWithLockedSettings(),
                                    ProductKeyRefused(5),
                                    ProductKeyRefused(5),
                                    {kSwitchNotStored},
                                    RunEnds(-520159231)})));
  CHECK(outcome.registryDiff.empty());
  CHECK(outcome.moduleDiff.empty());
  CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(OutlookExpress::kLeftOut)));
}

TEST_CASE("a missing switch in a product key that may only be read ends the installation likewise") {
  World world;
  world.WithSampleSource().WithProductKey().WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess);

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == kSwitchNotStoredCode);
  CHECK_LINES(outcome.log, (Joined({StagingWithLockedSettings(),
                                    SwitchUnreadable(2),
                                    ProductKeyRefused(5),
                                    {kSwitchNotStored},
                                    RunEnds(-520159231)})));
  CHECK(outcome.registryDiff.empty());
}

TEST_CASE("a switch that cannot be turned off while a client runs is handed on as it is") {
  World world;
  world.WithSampleSource()
      .WithProductKey({{L"VELAEnable", 1}})
      .WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess)
      .WithRunning(L"wlmail.exe");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, (Joined({StagingWithLockedSettings(), AClientRuns(), ProductKeyRefused(5),
                                    Error("Fail to set REG_ZENTA_VELA_ENABLE_KEY value !!"), OutlookMissing(),
                                    OutlookRegistered(NoExtensionFile()), OutlookExpressRegistered(),
                                    Info(kWindowsLiveMailRuns), WindowsLiveMailRegistered(), RunEnds(0)})));
  CHECK_LINES(Sorted(outcome.registryDiff), (Sorted(Joined({AddinKeysWritten(3), PluginListed()}))));
}

TEST_CASE("a running Outlook is not told to load its add-in, even where the switch could not be turned off") {
  World world;
  world.WithSampleSource()
      .WithProductKey({{L"VELAEnable", 1}})
      .WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess)
      .WithRunning(L"OUTLOOK.EXE");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(Sorted(outcome.registryDiff), (Sorted(Joined({AddinKeysWritten(2), PluginListed()}))));
}

}  // namespace
