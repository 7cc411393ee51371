// Taking the product off, with each mail client running, a second time, and where it never was.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/scenarios/ExpectedRemoval.h"
#include "tests/scenarios/WindowsSystems.h"
#include "tests/support/TestFiles.h"

using namespace Expected;
using TestSupport::Exists;
using TestSupport::KeyPlace;
using TestSupport::LinesWith;
using TestSupport::MachineKey64;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

// Installed to World::kDestination and switched on; the monitors have started and ended.
void InstallAndEnable(World& world, OutlookExpress outlookExpress) {
  REQUIRE(world.Run(L"-I", World::kSource, World::kDestination).exitCode == 0);
  REQUIRE(world.Run(L"-e", World::kSource, kInstalledFolder).exitCode == 0);
  world.MonitorStart(kBase + std::wstring(L"VELA\\VELA_WLM\\VELA_WLMMon.exe"));
  if (outlookExpress == OutlookExpress::kStaged) {
    world.MonitorStart(kBase + std::wstring(L"VELA\\VELA_OE\\VELA_OEMon.exe"));
  }
  TestSupport::EndProcesses(L"VELA_OEMon.exe");
  TestSupport::EndProcesses(L"VELA_WLMMon.exe");
}

Outcome Uninstall(World& world) {
  const Outcome outcome = world.Run(L"-U", World::kSource, kInstalledFolder);
  CHECK(outcome.exitCode == 0);
  CHECK_FALSE(outcome.timedOut);
  return outcome;
}

// Windows Live Mail and the folders, after what was said about Outlook and Outlook Express.
Lines RestOfUninstall(OutlookExpress outlookExpress) {
  return Joined({WindowsLiveMailUnregistered(), NoRunValue("WLM"), ProductFolderDeleted(),
                 DataFoldersDeleted(outlookExpress), RunEnds(0)});
}

TEST_CASE("after an installation that was switched on, everything goes") {
  for (const WindowsSystem& system : kTypicalSystems) {
    CAPTURE(system.name);
    World world;
    world.OnWindows(system.version).WithSampleSource().WithUserHive(L"S-1-5-21-1-2-3-1001");
    InstallAndEnable(world, system.outlookExpress);
    // The switch has taken the Run value of Outlook Express away where it handles it; elsewhere there was none.

    const Outcome outcome = Uninstall(world);

    CHECK_LINES(outcome.log, (Joined({UninstallBegins(), SwitchedOff(system.outlookExpress), OutlookUnregistered(),
                                      AddinKeysDeleted(system.isVista), OutlookExpressUnregistered(), NoRunValue("OE"),
                                      RestOfUninstall(system.outlookExpress)})));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfUninstall(system.outlookExpress)));
    CHECK_LINES(Sorted(outcome.fileDiff), (FilesOfUninstall(system.outlookExpress)));
    CHECK_LINES(Sorted(outcome.moduleDiff), (Sorted(Gone(ModulesRegistered(system.outlookExpress)))));
    CHECK_LINES(outcome.pending, (MissingDataFoldersPending(system.outlookExpress == OutlookExpress::kStaged
                                                                ? std::vector<std::string>{"VELA_common"}
                                                                : std::vector<std::string>{"OE", "VELA_common"})));
  }
}

// 100 folders of 200 files each below a folder of the product, as logs of a few years would be. Sorted, as differences
// tell what is gone.
Lines PlantManyFiles(const std::wstring& folder, const std::string& shown) {
  Lines gone = {"-" + shown};
  for (int i = 100; i < 200; ++i) {
    const std::wstring subfolder = folder + std::to_wstring(i);
    TestSupport::MakeFolder(subfolder);
    const std::string prefix = "-" + shown + std::to_string(i) + "\\";
    gone.push_back(prefix);
    for (int j = 100; j < 300; ++j) {
      const std::wstring name = std::to_wstring(j) + L".log";
      const HANDLE file = ::CreateFileW((subfolder + L"\\" + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
      REQUIRE(file != INVALID_HANDLE_VALUE);
      ::CloseHandle(file);
      gone.push_back(prefix + TestSupport::ToUtf8(name));
    }
  }
  return gone;
}

TEST_CASE("20,000 files of the product go as one does") {
  World world;
  world.OnWindows(WindowsVersion::kWindows10).WithSampleSource();
  InstallAndEnable(world, OutlookExpress::kLeftOut);
  const std::wstring logs = kBase + std::wstring(L"VELA\\VELA_OL\\logs\\");
  const Lines planted = PlantManyFiles(logs, "dest\\Orvane Labs\\VELA\\VELA_OL\\logs\\");
  REQUIRE(planted.size() == 1 + 100 + 20000);

  const Outcome outcome = Uninstall(world);

  CHECK_LINES(outcome.log, (Joined({UninstallBegins(), SwitchedOff(OutlookExpress::kLeftOut), OutlookUnregistered(),
                                    AddinKeysDeleted(), OutlookExpressUnregistered(), NoRunValue("OE"),
                                    RestOfUninstall(OutlookExpress::kLeftOut)})));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfUninstall(OutlookExpress::kLeftOut)));
  // Compared as a whole first: finding out where 20,000 lines differ takes minutes.
  const Lines gone = Sorted(Joined({FilesOfUninstall(OutlookExpress::kLeftOut), planted}));
  CHECK(outcome.fileDiff.size() == gone.size());
  CHECK(Sorted(outcome.fileDiff) == gone);
  CHECK_LINES(Sorted(outcome.moduleDiff), (Sorted(Gone(ModulesRegistered(OutlookExpress::kLeftOut)))));
  CHECK_LINES(outcome.pending, (MissingDataFoldersPending({"OE", "VELA_common"})));
  CHECK(Exists(L"C:\\VelaTest\\dest\\Orvane Labs"));
  CHECK_FALSE(Exists(L"C:\\VelaTest\\dest\\Orvane Labs\\VELA"));
  CHECK_FALSE(Exists(L"C:\\ProgramData\\Orvane Labs\\OL"));
}

TEST_CASE("a second time there is nothing left to take away") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  InstallAndEnable(world, OutlookExpress::kStaged);
  Uninstall(world);

  const Outcome second = Uninstall(world);

  CHECK_LINES(second.log, (Joined({UninstallBegins(), NothingToSwitchOff(OutlookExpress::kStaged),
                                   OutlookUnregistered(), NoAddinKeys(true), OutlookExpressUnregistered(),
                                   NoRunValue("OE"), NotInPluginList(), WindowsLiveMailUnregistered(),
                                   NoRunValue("WLM"), ProductFolderNotDeleted(3), NoDataFolders(), RunEnds(0)})));
  CHECK(second.registryDiff.empty());
  CHECK(second.fileDiff.empty());
  CHECK(second.moduleDiff.empty());
  CHECK_LINES(second.pending, (Joined({{"C:\\VelaTest\\dest\\Orvane Labs\\VELA -> "},
                                       MissingDataFoldersPending({"OL", "OE", "WLM", "VELA_common"})})));
}

TEST_CASE("of what was never installed nothing is made") {
  World world;

  const Outcome outcome = Uninstall(world);

  CHECK_LINES(outcome.log, (Joined({UninstallBegins(), NothingToSwitchOff(OutlookExpress::kLeftOut),
                                    OutlookUnregistered(), NoAddinKeys(), OutlookExpressUnregistered(),
                                    NoRunValue("OE"), NotInPluginList(), WindowsLiveMailUnregistered(),
                                    NoRunValue("WLM"), ProductFolderNotDeleted(3), NoDataFolders(), RunEnds(0)})));
  CHECK(outcome.registryDiff.empty());
  CHECK(outcome.fileDiff.empty());
  CHECK(outcome.moduleDiff.empty());
}

TEST_CASE("installed, but never switched on") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  world.Run(L"-I", World::kSource, World::kDestination);

  const Outcome outcome = Uninstall(world);

  // The add-in is registered and can be switched off; the monitors were never told to start.
  CHECK_LINES(LinesWith(outcome.log, "DeActivate"),
              {"LOG_ERROR: *** SetAntiSpamEnable() - failed on VELA_DeActivateOE()",
               "LOG_ERROR: *** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()"});
  CHECK(LinesWith(outcome.log, "LOG_WARN : VELAUtility::SetAntiSpamEnable(), Failed.").size() == 1);
  CHECK_LINES(Sorted(outcome.registryDiff), (Sorted(Joined({AddinKeysGone(2), {Gone(PluginListed()).back()}}))));
  CHECK_LINES(Sorted(outcome.moduleDiff), (Sorted(Gone(ModulesRegistered(OutlookExpress::kStaged)))));
  CHECK_FALSE(Exists(kBase + std::wstring(L"VELA")));
}

TEST_CASE("the monitor of Outlook Express that an older Windows has left is no longer started") {
  World world;
  world.OnWindows(WindowsVersion::kWindows7);
  world.WithKey(MachineKey64(L"Software\\Microsoft\\Windows\\CurrentVersion\\Run"), {{L"OE", L"monitor"}});

  const Outcome outcome = Uninstall(world);

  // Not by the switch, which leaves this client out here.
  CHECK_LINES(outcome.registryDiff,
              {"-HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Run [64] \"OE\" REG_SZ \"monitor\""});
  CHECK_LINES(LinesWith(outcome.log, "g_szOE_OEM"), {});
}

TEST_CASE("a running Outlook does not keep its add-in") {
  World world;
  world.OnWindows(WindowsVersion::kWindows7).WithSampleSource();
  InstallAndEnable(world, OutlookExpress::kLeftOut);
  world.WithRunning(L"OUTLOOK.EXE");

  const Outcome outcome = Uninstall(world);

  CHECK_LINES(outcome.log, (Joined({UninstallBegins(), SwitchedOff(OutlookExpress::kLeftOut),
                                    Warning("plugVELA_Uninstall(), OL is still running!."), OutlookUnregistered(),
                                    AddinKeysDeleted(), OutlookExpressUnregistered(), NoRunValue("OE"),
                                    RestOfUninstall(OutlookExpress::kLeftOut)})));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfUninstall(OutlookExpress::kLeftOut)));
  CHECK_LINES(Sorted(outcome.moduleDiff), (Sorted(Gone(ModulesRegistered(OutlookExpress::kLeftOut)))));
}

TEST_CASE("a running Outlook Express keeps its modules, and its monitor lives on") {
  struct {
    WindowsVersion version;
    const wchar_t* program;
  } const rows[] = {{WindowsVersion::kXp64, L"MSIMN.EXE"}, {WindowsVersion::kVista, L"WinMail.exe"}};
  for (const auto& row : rows) {
    World world;
    world.OnWindows(row.version).WithSampleSource();
    InstallAndEnable(world, OutlookExpress::kStaged);
    world.WithRunning(row.program);

    const Outcome outcome = Uninstall(world);

    CHECK_LINES(outcome.log, (Joined({UninstallBegins(), SwitchedOff(OutlookExpress::kStaged, Monitors::kKept),
                                      OutlookUnregistered(), AddinKeysDeleted(row.version == WindowsVersion::kVista),
                                      Warning("plugVELA_Uninstall(), OE is still running!."),
                                      RestOfUninstall(OutlookExpress::kStaged)})));
    Lines kept;
    for (const std::string& module : world.RegisteredModules()) {
      kept.push_back(module.substr(0, module.find(' ')));
    }
    CHECK_LINES(Sorted(kept), {"VELA_OEWab.dll", "oeapiinitcom.dll", "oecom.dll", "oestore.dll"});
    // The switch has taken the Run value away before.
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfUninstall(OutlookExpress::kStaged)));
  }
}

TEST_CASE("the mail program of another Windows is not looked at") {
  struct {
    WindowsVersion version;
    const wchar_t* program;
  } const rows[] = {{WindowsVersion::kVista, L"msimn.exe"},
                    {WindowsVersion::kXp64, L"winmail.exe"},
                    {WindowsVersion::kWindows7, L"winmail.exe"}};
  for (const auto& row : rows) {
    World world;
    world.OnWindows(row.version).WithRunning(row.program);
    const Outcome outcome = Uninstall(world);
    CHECK_LINES(LinesWith(outcome.log, "still running"), {});
    CHECK(LinesWith(outcome.log, "UnregisterComModule() command line").size() == 10);
    CHECK(LinesWith(outcome.log, "Set Event to shutdown").size() == 1);
  }
}

TEST_CASE("a running Windows Live Mail keeps its modules and loses its entries") {
  World world;
  world.OnWindows(WindowsVersion::kWindows10).WithSampleSource();
  InstallAndEnable(world, OutlookExpress::kLeftOut);
  world.WithRunning(L"wlmail.exe");

  const Outcome outcome = Uninstall(world);

  CHECK_LINES(outcome.log,
              (Joined({UninstallBegins(), SwitchedOff(OutlookExpress::kLeftOut, Monitors::kKept), OutlookUnregistered(),
                       AddinKeysDeleted(), OutlookExpressUnregistered(), NoRunValue("OE"),
                       Warning("WLM is still running. Do not unregister WLM COM objects."), NoRunValue("WLM"),
                       ProductFolderDeleted(), DataFoldersDeleted(OutlookExpress::kLeftOut), RunEnds(0)})));
  CHECK(world.RegisteredModules().size() == 4);
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfUninstall(OutlookExpress::kLeftOut)));
}

TEST_CASE("regsvr32.exe that cannot be started stops nothing") {
  for (const bool missing : {true, false}) {
    World world;
    world.OnWindows(WindowsVersion::kVista).WithSampleSource();
    InstallAndEnable(world, OutlookExpress::kStaged);
    missing ? world.WithoutRegsvr32() : world.WithBrokenRegsvr32();

    const Outcome outcome = Uninstall(world);

    CHECK_LINES(outcome.log,
                (Joined({UninstallBegins(), SwitchedOff(OutlookExpress::kStaged), OutlookUnregistered(kBase, 1),
                         AddinKeysDeleted(true), Error("VELA OL UnInstall Fail !!"),
                         OutlookExpressUnregistered(kBase, 1), NoRunValue("OE"), Error("VELA OE UnInstall Fail !!"),
                         WindowsLiveMailUnregistered(kBase, 1), NoRunValue("WLM"), Error("VELA WLM UnInstall Fail !!"),
                         ProductFolderDeleted(), DataFoldersDeleted(OutlookExpress::kStaged), RunEnds(0)})));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfUninstall(OutlookExpress::kStaged)));
    CHECK(outcome.moduleDiff.empty());
    CHECK_FALSE(Exists(kBase + std::wstring(L"VELA")));
  }
}

TEST_CASE("a module that takes too long is told of and waited for no more") {
  World world;
  world.WithSampleSource();
  world.Run(L"-I", World::kSource, World::kDestination);
  world.WithStandInRegsvr32("sleep 4000 2\n");

  const Outcome outcome = Uninstall(world);

  CHECK_LINES(LinesWith(outcome.log, "Wait to unregister"),
              {"LOG_WARN : Wait to unregister COM object more than 3 seconds."});
  CHECK(outcome.milliseconds >= 3000);
  CHECK(world.RegistrationCalls().size() == 10);
}

TEST_CASE("a user without a token at the console: the flag is 0, and the removal goes on") {
  World world;
  world.OnWindows(WindowsVersion::kWindows7).WithSampleSource();
  InstallAndEnable(world, OutlookExpress::kLeftOut);
  // Without this library no session gives out its user; and no shell runs here to take the user from.
  world.WithKey({HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\VELAutil.exe\\DllOverrides", KEY_WOW64_64KEY},
                {{L"wtsapi32", L""}});

  const Outcome outcome = Uninstall(world);

  Lines switchedOff = SwitchedOff(OutlookExpress::kLeftOut);
  switchedOff[0].back() = '0';
  switchedOff[1] = "LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: ";
  switchedOff.insert(switchedOff.begin() + 1,
                     "LOG_ERROR: Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()");
  CHECK_LINES(outcome.log,
              (Joined({UninstallBegins(), switchedOff, OutlookUnregistered(), AddinKeysDeleted(),
                       OutlookExpressUnregistered(), NoRunValue("OE"), RestOfUninstall(OutlookExpress::kLeftOut)})));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfUninstall(OutlookExpress::kLeftOut)));
}

TEST_CASE("Run values that may not be deleted are a warning, and stay") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  InstallAndEnable(world, OutlookExpress::kStaged);
  const KeyPlace run = MachineKey64(L"Software\\Microsoft\\Windows\\CurrentVersion\\Run");
  world.WithAccess(run, TestSupport::kReadOnlyAccess);

  const Outcome outcome = Uninstall(world);

  CHECK_LINES(LinesWith(outcome.log, "LOG_WARN"), (Joined({Warning("VELAUtility::SetAntiSpamEnable(), Failed."),
                                                           NoRunValue("OE"),
                                                           NoRunValue("WLM"),
                                                           {DataFolderNotDeleted("VELA_common").back()}})));
  CHECK(LinesWith(outcome.registryDiff, "\\Run ").empty());
  CHECK_FALSE(Exists(kBase + std::wstring(L"VELA")));
}

}  // namespace
