// Registrations that were put off while their client ran, done when filtering is switched on.
#include <doctest/doctest.h>

#include "tests/scenarios/ExpectedSwitch.h"
#include "tests/support/TestFiles.h"

using namespace Expected;
using TestSupport::kReadOnlyAccess;
using TestSupport::MachineKey64;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

constexpr char kOutlookRuns[] = "MS Office Outlook is running during installing !";
constexpr char kOutlookExpressRuns[] = "Outlook Express is running during installing !";
constexpr char kWindowsLiveMailRuns[] = "Windows Live Mail is running during installing !";

// Which registrations were put off.
struct Flags {
  bool outlookExpress;
  bool outlook;
  bool windowsLiveMail;

  static Flags Of(unsigned combination) {
    return {(combination & 1U) != 0, (combination & 2U) != 0, (combination & 4U) != 0};
  }
};

// A machine on which the product is installed and the user has switched nothing on yet; the modules lie where a
// registration that was put off looks for them.
World& Installed(World& world, const Flags& flags) {
  world.WithSampleSource().WithProductKey({{L"VELAEnable", 0}});
  world.WithKey(MachineKey64(World::kCoreAgentKey), {{L"OE_DELAY_INST", flags.outlookExpress ? 1 : 0},
                                                     {L"OL_DELAY_INST", flags.outlook ? 1 : 0},
                                                     {L"WLM_DELAY_INST", flags.windowsLiveMail ? 1 : 0}});
  PlaceMonitors();
  for (const auto& [from, to] :
       {std::pair{L"\\OL", L"\\VELA_OL"}, {L"\\OE64", L"\\VELA_OE"}, {L"\\WLM", L"\\VELA_WLM"}}) {
    TestSupport::CopyTree(World::kSource + std::wstring(from), kInstallPath + std::wstring(to));
  }
  return world;
}

Outcome Enable(World& world) {
  return world.Run(L"-e", World::kSource, kInstallPath);
}

Lines FlagsRead(const Flags& flags) {
  return DelayFlags(flags.outlookExpress ? "1" : "0", flags.outlook ? "1" : "0", flags.windowsLiveMail ? "1" : "0");
}

// The log of a whole run; `registrations`: its part between the flags and the session.
Lines EnableLog(const Flags& flags, const Lines& registrations, OutlookExpress outlookExpress) {
  return Joined({EnableBegins(), FlagsRead(flags), registrations, SessionFound(), ClientsActivated(outlookExpress, ""),
                 MonitorsStarted(outlookExpress), SwitchStored("Enable")});
}

Lines Registrations(const Flags& flags, bool running, Regsvr32 regsvr32 = {}) {
  const auto told = [&](const char* line) { return running ? Info(line) : Lines{}; };
  return Joined(
      {flags.outlookExpress ? Joined({told(kOutlookExpressRuns), OutlookExpressRegistered(kBase, regsvr32)}) : Lines{},
       flags.outlook
           ? Joined({OutlookMissing(), told(kOutlookRuns), OutlookRegistered(NoExtensionFile(), kBase, regsvr32)})
           : Lines{},
       flags.windowsLiveMail ? Joined({told(kWindowsLiveMailRuns), WindowsLiveMailRegistered(kBase, regsvr32)})
                             : Lines{}});
}

// The modules of the clients whose registration was put off.
Lines ModulesOf(const Flags& flags) {
  Lines modules;
  for (const std::string& module : ModulesRegistered(OutlookExpress::kStaged)) {
    if ((flags.outlook && module.find("\\VELA_OL\\") != std::string::npos) ||
        (flags.outlookExpress && module.find("\\VELA_OE\\") != std::string::npos) ||
        (flags.windowsLiveMail && module.find("\\VELA_WLM\\") != std::string::npos)) {
      modules.push_back(module);
    }
  }
  return Sorted(modules);
}

Lines FlagCleared(const char* name) {
  return {std::string("~HKLM\\Software\\OrvaneLabs\\CoreAgent\\VELA [64] \"") + name + "\" REG_DWORD 0 <- REG_DWORD 1"};
}

// Outlook Express and Outlook clear each other's flag, not their own.
Lines FlagsCleared(const Flags& flags) {
  return Joined({flags.outlookExpress && flags.outlook
                     ? Joined({FlagCleared("OE_DELAY_INST"), FlagCleared("OL_DELAY_INST")})
                     : Lines{},
                 flags.windowsLiveMail ? FlagCleared("WLM_DELAY_INST") : Lines{}});
}

Lines RegistryChanged(const Flags& flags, OutlookExpress outlookExpress) {
  return Sorted(Joined(
      {RegistryOfFirstEnable(outlookExpress), FlagsCleared(flags), flags.windowsLiveMail ? PluginListed() : Lines{}}));
}

TEST_CASE("every combination of registrations that were put off is done, and their flags cleared crosswise") {
  for (unsigned combination = 0; combination < 8; ++combination) {
    CAPTURE(combination);
    const Flags flags = Flags::Of(combination);
    World world;
    Installed(world, flags).OnWindows(WindowsVersion::kVista);

    const Outcome outcome = Enable(world);

    CHECK(outcome.exitCode == 0);
    CHECK_LINES(outcome.log, (EnableLog(flags, Registrations(flags, false), OutlookExpress::kStaged)));
    CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesOf(flags)));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryChanged(flags, OutlookExpress::kStaged)));
    CHECK_LINES(Sorted(outcome.fileDiff), (UserFolders(OutlookExpress::kStaged, "")));
  }
}

TEST_CASE("every combination is done while the clients run as well, each of them told") {
  for (unsigned combination = 0; combination < 8; ++combination) {
    CAPTURE(combination);
    const Flags flags = Flags::Of(combination);
    World world;
    Installed(world, flags).WithStandInRegsvr32();
    world.WithRunning(L"OUTLOOK.EXE").WithRunning(L"msimn.exe").WithRunning(L"wlmail.exe");

    const Outcome outcome = Enable(world);

    CHECK_LINES(outcome.log, (EnableLog(flags, Registrations(flags, true), OutlookExpress::kLeftOut)));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryChanged(flags, OutlookExpress::kLeftOut)));
  }
}

TEST_CASE("the program of Outlook Express that is looked for is Windows Mail on Vista only") {
  struct Case {
    const wchar_t* program;
    WindowsVersion version;
    OutlookExpress outlookExpress;
    bool told;
  };
  for (const Case& client : {Case{L"winmail.exe", WindowsVersion::kVista, OutlookExpress::kStaged, true},
                             Case{L"msimn.exe", WindowsVersion::kVista, OutlookExpress::kStaged, false},
                             Case{L"msimn.exe", WindowsVersion::kXp64, OutlookExpress::kStaged, true},
                             Case{L"winmail.exe", WindowsVersion::kXp64, OutlookExpress::kStaged, false},
                             Case{L"msimn.exe", WindowsVersion::kWindows7, OutlookExpress::kLeftOut, true}}) {
    CAPTURE(client.program);
    const Flags flags = {true, false, false};
    World world;
    Installed(world, flags).OnWindows(client.version).WithStandInRegsvr32().WithRunning(client.program);
    CHECK_LINES(Enable(world).log, (EnableLog(flags, Registrations(flags, client.told), client.outlookExpress)));
  }
}

TEST_CASE("a flag that only its own registration is put off by stays, and the next switch does it again") {
  for (const Flags& flags : {Flags{true, false, false}, Flags{false, true, false}}) {
    World world;
    Installed(world, flags).WithStandInRegsvr32();
    const Outcome first = Enable(world);
    const Outcome second = Enable(world);
    CHECK_LINES(first.log, (EnableLog(flags, Registrations(flags, false), OutlookExpress::kLeftOut)));
    CHECK_LINES(second.log, (first.log));
    CHECK(second.registryDiff.empty());
    CHECK(world.RegistrationCalls().size() == (flags.outlook ? 4U : 8U));
  }
}

TEST_CASE("registrations that cannot be started are told, and their flags are cleared all the same") {
  const Flags flags = {true, true, true};
  World world;
  Installed(world, flags).WithoutRegsvr32();

  const Outcome outcome = Enable(world);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log,
              (EnableLog(flags, Registrations(flags, false, {1, ERROR_FILE_NOT_FOUND}), OutlookExpress::kLeftOut)));
  CHECK(outcome.moduleDiff.empty());
  CHECK_LINES(Sorted(outcome.registryDiff),
              (Sorted(Joined({RegistryOfFirstEnable(OutlookExpress::kLeftOut), FlagsCleared(flags)}))));
}

TEST_CASE("settings that may only be read keep their flags, each told by the name of the flag that was to be cleared") {
  const Flags flags = {true, true, true};
  World world;
  Installed(world, flags).WithStandInRegsvr32().WithAccess(MachineKey64(World::kCoreAgentKey), kReadOnlyAccess);

  const Outcome outcome = Enable(world);

  const auto kept = [](const char* client) {
    return Joined({Error("Fail to open for store !!"),
                   Error(std::string("Fail to store REG_ZENTA_VELA_") + client + "_DELAY_INSTALL_KEY value !!")});
  };
  CHECK_LINES(outcome.log, (EnableLog(flags,
                                      Joined({Registrations({true, false, false}, false), kept("OL"),
                                              Registrations({false, true, false}, false), kept("OE"),
                                              Registrations({false, false, true}, false), kept("WLM")}),
                                      OutlookExpress::kLeftOut)));
  CHECK(TestSupport::LinesWith(outcome.registryDiff, "DELAY_INST").empty());
}

TEST_CASE("flags that are missing or no numbers put nothing off") {
  World world;
  Installed(world, {false, false, false});
  for (const wchar_t* const name : {L"OE_DELAY_INST", L"OL_DELAY_INST", L"WLM_DELAY_INST"}) {
    TestSupport::RemoveValue(MachineKey64(World::kCoreAgentKey), name);
  }
  world.WithKey(MachineKey64(World::kCoreAgentKey), {{L"WLM_DELAY_INST", L"1"}});
  CHECK_LINES(Enable(world).log, (EnableLog({false, false, false}, {}, OutlookExpress::kLeftOut)));
}

TEST_CASE("Outlook that is installed is not told as missing, and loses its stale extension file") {
  const Flags flags = {false, true, false};
  World world;
  Installed(world, flags).WithStandInRegsvr32().WithOutlook(L"14", L"C:\\VelaTest\\Office14\\");
  world.WithFile(L"C:\\VelaTest\\Office14\\ADDINS\\Redemption.ECF", "stale");

  const Outcome outcome = Enable(world);

  CHECK_LINES(outcome.log,
              (EnableLog(flags,
                         Joined({OutlookFound("14", "C:\\VelaTest\\Office14\\", 6),
                                 OutlookRegistered(ExtensionFileDeleted("14", "C:\\VelaTest\\Office14\\"))}),
                         OutlookExpress::kLeftOut)));
  CHECK_LINES(TestSupport::LinesWith(outcome.fileDiff, "Office14"), {"-Office14\\ADDINS\\Redemption.ECF"});
}

}  // namespace
