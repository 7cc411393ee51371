// Filtering switched on: on each Windows, for each kind of user, and with things missing or in the way.
#include <doctest/doctest.h>

#include "tests/scenarios/ExpectedSwitch.h"
#include "tests/scenarios/ShellProgram.h"
#include "tests/scenarios/WindowsSystems.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"
#include "tests/support/FolderLink.h"

using namespace Expected;
using TestSupport::KeyPlace;
using TestSupport::kNoAccess;
using TestSupport::kReadOnlyAccess;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::NamedValue;
using TestSupport::Outcome;
using TestSupport::ToUtf8;
using TestSupport::UsersKey;
using TestSupport::WindowsVersion;

namespace {

KeyPlace IdentitiesOf(const std::wstring& user) {
  return UsersKey(user + L"\\Identities");
}

// A machine with the product installed, off, no registration put off, and a user with an identity.
World& Installed(World& world) {
  world.WithSampleSource()
      .WithProductKey({{L"VELAEnable", 0}})
      .WithKey(MachineKey64(World::kCoreAgentKey))
      .WithKey(IdentitiesOf(kConsoleUser), {{L"Last User ID", L"{ID-1}"}, {L"Default User ID", L"{ID-2}"}});
  PlaceMonitors();
  return world;
}

// Libraries that the program does not find on this machine.
World& WithoutLibraries(World& world, const std::vector<const wchar_t*>& libraries) {
  std::vector<NamedValue> values;
  for (const wchar_t* const library : libraries) {
    values.emplace_back(library, L"");
  }
  return world.WithKey({HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\VELAutil.exe\\DllOverrides", KEY_WOW64_64KEY},
                       values);
}

Outcome Enable(World& world, const std::wstring& installPath = kInstallPath) {
  return world.Run(L"-e", World::kSource, installPath);
}

TEST_CASE("switching on activates every client for the user, starts the monitors and is stored") {
  for (const WindowsSystem& system : kTypicalSystems) {
    CAPTURE(system.name);
    World world;
    Installed(world).OnWindows(system.version).WithUserHive(L"S-1-5-21-1-2-3-1001");

    const Outcome outcome = Enable(world);

    CHECK(outcome.exitCode == 0);
    CHECK_LINES(outcome.log, (Joined({EnableBegins(), DelayFlags("0", "0", "0"), SessionFound(),
                                      ClientsActivated(system.outlookExpress, "{ID-1}"),
                                      MonitorsStarted(system.outlookExpress), SwitchStored("Enable")})));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFirstEnable(system.outlookExpress)));
    CHECK_LINES(Sorted(outcome.fileDiff), (UserFolders(system.outlookExpress, "{ID-1}")));
    CHECK(outcome.moduleDiff.empty());
    CHECK(outcome.pending.empty());

    const std::wstring liveMail = MonitorPath(L"VELA_WLM", L"VELA_WLMMon.exe");
    CHECK_LINES(world.MonitorStart(liveMail), {"root", ToUtf8(liveMail), "1", "\"" + ToUtf8(liveMail) + "\""});
    const std::wstring express = MonitorPath(L"VELA_OE", L"VELA_OEMon.exe");
    if (system.outlookExpress == OutlookExpress::kStaged) {
      CHECK_LINES(world.MonitorStart(express), {"root", ToUtf8(express), "1", "\"" + ToUtf8(express) + "\""});
    } else {
      CHECK_FALSE(TestSupport::Exists(express.substr(0, express.rfind(L'.')) + L".trace"));
    }
  }
}

TEST_CASE("switching on again changes nothing and says the same") {
  World world;
  Installed(world);
  const Outcome first = Enable(world);
  const Outcome second = Enable(world);
  CHECK_LINES(second.log, (first.log));
  CHECK(second.registryDiff.empty());
  CHECK(second.fileDiff.empty());
}

TEST_CASE("the folders carry the identity that the user's hive names, or none") {
  struct Case {
    std::vector<NamedValue> values;
    const char* userId;
  };
  for (const Case& identity : {Case{{{L"Default User ID", L"{ID-2}"}}, "{ID-2}"},
                               Case{{{L"Last User ID", L""}, {L"Default User ID", L"{ID-2}"}}, ""}, Case{{}, ""}}) {
    World world;
    world.WithSampleSource().WithProductKey().WithKey(MachineKey64(World::kCoreAgentKey));
    world.WithKey(IdentitiesOf(kConsoleUser), identity.values);
    // Another user's is nobody's here.
    world.WithUserHive(L"S-1-5-21-1-2-3-1001")
        .WithKey(IdentitiesOf(L"S-1-5-21-1-2-3-1001"), {{L"Last User ID", L"{OTHER}"}});
    PlaceMonitors();

    const Outcome outcome = Enable(world);

    CHECK_LINES(outcome.log, (Joined({EnableBegins(), DelayFlags("0", "0", "0"), SessionFound(),
                                      ClientsActivated(OutlookExpress::kLeftOut, identity.userId),
                                      MonitorsStarted(OutlookExpress::kLeftOut), SwitchStored("Enable")})));
    CHECK_LINES(Sorted(outcome.fileDiff), (UserFolders(OutlookExpress::kLeftOut, identity.userId)));
  }
}

TEST_CASE("the add-in is given back to Outlook in every hive where it was switched off") {
  World world;
  Installed(world).WithUserHive(L"S-1-5-21-1-2-3-1001");
  Enable(world);
  world.Run(L"-d", World::kSource, kInstallPath);
  const Outcome outcome = Enable(world);
  CHECK(TestSupport::LinesWith(outcome.registryDiff, "\"LoadBehavior\" REG_DWORD 3 <- REG_DWORD 2").size() ==
        TestSupport::SubkeyNames(UsersKey(L"")).size() + 1);
}

TEST_CASE("without the product's key everything is switched on and nothing stored") {
  World world;
  Installed(world);
  TestSupport::RemoveKey(MachineKey32(World::kProductKey));
  world.WithKey(MachineKey64(World::kProductKey), {{L"VELAEnable", 0}});

  const Outcome outcome = Enable(world);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log,
              (Joined({EnableBegins(), DelayFlags("0", "0", "0"), SessionFound(),
                       ClientsActivated(OutlookExpress::kLeftOut, "{ID-1}"), MonitorsStarted(OutlookExpress::kLeftOut),
                       Info("Enable OK"), Info("REG Open Fail"), RunEnds(0)})));
  CHECK_LINES(Sorted(outcome.registryDiff),
              (Sorted(Joined({AddinKeysWritten(3), RunValues('+', OutlookExpress::kLeftOut)}))));
}

TEST_CASE("a product's key that may not be written, or not even be opened, keeps what it holds") {
  for (const wchar_t* const access : {kReadOnlyAccess, kNoAccess}) {
    World world;
    Installed(world).WithAccess(MachineKey32(World::kProductKey), access);
    const Outcome outcome = Enable(world);
    REQUIRE(outcome.log.size() > 3);
    CHECK_LINES(Lines(outcome.log.end() - 3, outcome.log.end()),
                (Joined({Info("Enable OK"), Info("REG Open Fail"), RunEnds(0)})));
    CHECK(TestSupport::LinesWith(outcome.registryDiff, "OrvaneLabs").empty());
  }
}

TEST_CASE("shared settings that are missing or closed put no registration off, and are told") {
  for (const bool there : {false, true}) {
    World world;
    Installed(world);
    if (there) {
      world.WithKey(MachineKey64(World::kCoreAgentKey), {{L"WLM_DELAY_INST", 1}})
          .WithAccess(MachineKey64(World::kCoreAgentKey), kNoAccess);
    } else {
      TestSupport::RemoveKey(MachineKey64(World::kCoreAgentKey));
    }
    const Outcome outcome = Enable(world);
    CHECK_LINES(outcome.log, (Joined({EnableBegins(), NoDelayFlags(), SessionFound(),
                                      ClientsActivated(OutlookExpress::kLeftOut, "{ID-1}"),
                                      MonitorsStarted(OutlookExpress::kLeftOut), SwitchStored("Enable")})));
    CHECK(outcome.moduleDiff.empty());
  }
}

TEST_CASE("monitors that are missing are told, and filtering is on all the same") {
  for (const auto& [version, outlookExpress] : {std::pair{WindowsVersion::kVista, OutlookExpress::kStaged},
                                                {WindowsVersion::kWindows10, OutlookExpress::kLeftOut}}) {
    World world;
    Installed(world).OnWindows(version);
    TestSupport::RemoveTree(kInstallPath + std::wstring(L"\\VELA"));

    const Outcome outcome = Enable(world);

    CHECK_LINES(outcome.log, (Joined({EnableBegins(), DelayFlags("0", "0", "0"), SessionFound(),
                                      ClientsActivated(outlookExpress, "{ID-1}"),
                                      MonitorsMissing(outlookExpress, ERROR_PATH_NOT_FOUND), SwitchStored("Enable")})));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFirstEnable(outlookExpress)));
  }
}

TEST_CASE("one monitor that cannot be started does not keep the other from being started") {
  World world;
  Installed(world).OnWindows(WindowsVersion::kVista);
  const std::wstring express = MonitorPath(L"VELA_OE", L"VELA_OEMon.exe");
  TestSupport::WriteTestFile(express, "this is no program");

  const Outcome outcome = Enable(world);

  CHECK_LINES(outcome.log,
              (Joined({EnableBegins(), DelayFlags("0", "0", "0"), SessionFound(),
                       ClientsActivated(OutlookExpress::kStaged, "{ID-1}"),
                       Info("ImpersonateLoggedOnUser() : " + ToUtf8(express)),
                       Error("Failed to call CreateProcessAsUser() to launch VELA_OEMon.exe 193 " + ToUtf8(express)),
                       MonitorsStarted(OutlookExpress::kLeftOut),
                       Error("!!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()"), SwitchStored("Enable")})));
  CHECK(world.MonitorStart(MonitorPath(L"VELA_WLM", L"VELA_WLMMon.exe")).size() == 4);
}

TEST_CASE("a monitor is started by its whole path, blanks included, and not by what a part of it names") {
  const std::wstring installPath = L"C:\\VelaTest\\My Mail Guard";
  World world;
  Installed(world);
  PlaceMonitors(installPath);
  TestSupport::CopyTestFile(World::kSource + std::wstring(L"\\WLM\\VELA_WLMMon.exe"), L"C:\\VelaTest\\My.exe");

  const Outcome outcome = Enable(world, installPath);

  CHECK_LINES(outcome.log, (Joined({EnableBegins(installPath), DelayFlags("0", "0", "0"), SessionFound(),
                                    ClientsActivated(OutlookExpress::kLeftOut, "{ID-1}"),
                                    MonitorsStarted(OutlookExpress::kLeftOut, installPath), SwitchStored("Enable")})));
  const std::wstring monitor = MonitorPath(L"VELA_WLM", L"VELA_WLMMon.exe", installPath);
  CHECK(world.MonitorStart(monitor)[1] == ToUtf8(monitor));
  CHECK_FALSE(TestSupport::Exists(L"C:\\VelaTest\\My.trace"));
  CHECK_LINES(TestSupport::LinesWith(outcome.registryDiff, "\\Run "),
              (RunValues('+', OutlookExpress::kLeftOut, installPath)));
}

TEST_CASE("without a user at the console the clients are switched on for nobody in particular") {
  World world;
  WithoutLibraries(Installed(world), {L"wtsapi32"});

  const Outcome outcome = Enable(world);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log,
              (Joined({EnableBegins(), DelayFlags("0", "0", "0"),
                       Error("Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()"), SessionFound(""),
                       ClientsActivated(OutlookExpress::kLeftOut, "", ""), SwitchStored("Enable")})));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFirstEnable(OutlookExpress::kLeftOut)));
  CHECK_LINES(Sorted(outcome.fileDiff), (UserFolders(OutlookExpress::kLeftOut, "")));
}

TEST_CASE("where the shell's process cannot be found either, there is no user; without the name service there is one") {
  {
    World world;
    WithoutLibraries(Installed(world), {L"wtsapi32", L"psapi"});
    CHECK_LINES(TestSupport::LinesWith(Enable(world).log, "LOG_ERROR"),
                (Error("Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()")));
  }
  World world;
  WithoutLibraries(Installed(world), {L"secur32"});
  CHECK_LINES(Enable(world).log, (Joined({EnableBegins(), DelayFlags("0", "0", "0"), SessionFound(),
                                          ClientsActivated(OutlookExpress::kLeftOut, "{ID-1}"),
                                          MonitorsStarted(OutlookExpress::kLeftOut), SwitchStored("Enable")})));
}

TEST_CASE("a session without a token is stood in for by who runs Explorer.exe") {
  World world;
  WithoutLibraries(Installed(world), {L"wtsapi32"});
  const TestSupport::ShellProgram shell;

  const Outcome outcome = Enable(world);

  CHECK_LINES(outcome.log, (Joined({EnableBegins(), DelayFlags("0", "0", "0"), SessionFound(),
                                    ClientsActivated(OutlookExpress::kLeftOut, "{ID-1}"),
                                    MonitorsStarted(OutlookExpress::kLeftOut), SwitchStored("Enable")})));
  CHECK(world.MonitorStart(MonitorPath(L"VELA_WLM", L"VELA_WLMMon.exe"))[0] == "root");
}

TEST_CASE("without the library of environments nobody is acted for, and no monitor is started") {
  World world;
  WithoutLibraries(Installed(world), {L"userenv"});
  const Outcome outcome = Enable(world);
  CHECK_LINES(outcome.log,
              (Joined({EnableBegins(), DelayFlags("0", "0", "0"),
                       Error("Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()"), SessionFound(""),
                       ClientsActivated(OutlookExpress::kLeftOut, "", ""), SwitchStored("Enable")})));
}

TEST_CASE("keys that may only be read are told value by value, and do not keep filtering from being on") {
  World world;
  Installed(world).OnWindows(WindowsVersion::kVista);
  const KeyPlace addin = MachineKey64(L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent");
  world.WithKey(addin).WithAccess(addin, kReadOnlyAccess);
  world.WithAccess(MachineKey64(L"Software\\Microsoft\\Windows\\CurrentVersion\\Run"), kReadOnlyAccess);

  const Outcome outcome = Enable(world);

  CHECK_LINES(TestSupport::LinesWith(outcome.log, "LOG_ERROR"),
              (Joined({Error("Failed to CreateRegKey of g_szOLActivateKey : "
                             "Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\"),
                       Error("Failed to WriteRegStringValue of Run Key for OEMon !!"),
                       Error("Failed to WriteRegStringValue of Run Key for WLMMon !!")})));
  CHECK_LINES(TestSupport::LinesWith(outcome.registryDiff, "HKLM"), (SwitchChanged(1, "REG_DWORD 0")));
  CHECK(TestSupport::LinesWith(outcome.registryDiff, "\"LoadBehavior\" REG_DWORD 3").size() ==
        TestSupport::SubkeyNames(UsersKey(L"")).size());
}

TEST_CASE("a link that somebody put among the user's folders leads nowhere") {
  const std::wstring target = L"C:\\VelaTest\\precious";
  World world;
  Installed(world).WithFile(target + L"\\Users\\secret.txt", "secret").WithFolder(L"C:\\ProgramData\\Orvane Labs");
  world.WatchingFolder(L"C:\\ProgramData\\Users");
  const OrCommonTests::FolderLink planted(kCommonBase + std::wstring(L"OL"), target);

  const Outcome outcome = Enable(world);

  REQUIRE(outcome.log.size() > 3);
  CHECK_LINES(Lines(outcome.log.end() - 3, outcome.log.end()), (SwitchStored("Enable")));
  CHECK_LINES(TestSupport::LinesWith(outcome.fileDiff, "precious"), {});
  CHECK_LINES(TestSupport::LinesWith(outcome.fileDiff, "\\OL\\"), {});
  CHECK_LINES(TestSupport::LinesWith(outcome.fileDiff, "C:\\ProgramData\\Users"),
              {"+C:\\ProgramData\\Users\\{ID-1}\\", "+C:\\ProgramData\\Users\\{ID-1}\\log\\"});
  TestSupport::RemoveTree(L"C:\\ProgramData\\Users");
}

TEST_CASE("a file in the place of the user's folders sends the rest to the common data folder itself, untold") {
  World world;
  Installed(world).WithFile(std::wstring(kCommonBase) + L"OL", "a file");
  world.WatchingFolder(L"C:\\ProgramData\\Users");

  const Outcome outcome = Enable(world);

  CHECK_LINES(outcome.log, (Joined({EnableBegins(), DelayFlags("0", "0", "0"), SessionFound(),
                                    ClientsActivated(OutlookExpress::kLeftOut, "{ID-1}"),
                                    MonitorsStarted(OutlookExpress::kLeftOut), SwitchStored("Enable")})));
  const std::string liveMail = "+" + ToUtf8(kCommonBase) + "WLM\\";
  CHECK_LINES(Sorted(outcome.fileDiff),
              {liveMail, liveMail + "Users\\", liveMail + "Users\\{ID-1}\\", liveMail + "Users\\{ID-1}\\log\\",
               "+C:\\ProgramData\\Users\\{ID-1}\\", "+C:\\ProgramData\\Users\\{ID-1}\\log\\"});
  TestSupport::RemoveTree(L"C:\\ProgramData\\Users");
}

}  // namespace
