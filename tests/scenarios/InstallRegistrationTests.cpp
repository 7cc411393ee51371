// Installations with one regsvr32.exe or another.
#include <doctest/doctest.h>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"

using namespace Expected;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

// On Vista, which has all three clients.
Lines InstallLog(const Lines& registrations) {
  return Joined({InstallBegins(), FilesStaged(OutlookExpress::kStaged), SwitchUnreadable(2), OutlookMissing(),
                 registrations, RunEnds(0)});
}

Lines CommandLines() {
  const std::string folder = TestSupport::ToUtf8(kBase) + "VELA\\";
  Lines lines;
  for (const char* const module :
       {"VELA_OL\\Redemption.dll", "VELA_OL\\VELA_OLA.dll", "VELA_OE\\oeapiinitcom.dll", "VELA_OE\\oecom.dll",
        "VELA_OE\\oestore.dll", "VELA_OE\\VELA_OEWab.dll", "VELA_WLM\\WLMailApiInit.dll", "VELA_WLM\\WLMailApiCom.dll",
        "VELA_WLM\\WLMailApiStore.dll", "VELA_WLM\\WLMailApiContacts.dll"}) {
    lines.push_back("regsvr32.exe /s \"" + folder + module + "\"");
  }
  return lines;
}

TEST_CASE("objects of every registered class can be created after an installation, and of none before") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const std::wstring probe = TestSupport::FixturePath(L"ClassProbe.exe");
  CHECK(TestSupport::TestProcess(probe, {}).Finish(30000).exitCode == 10);

  world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(TestSupport::TestProcess(probe, {}).Finish(30000).exitCode == 0);
}

TEST_CASE("each module is handed over by one call, in order, quoted, from the current folder of the run") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource().WithStandInRegsvr32();
  world.WithFolder(L"C:\\VelaTest\\current").InFolder(L"C:\\VelaTest\\current");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log, (InstallLog(ClientsRegistered())));
  CHECK_LINES(world.RegistrationCalls(), (CommandLines()));
  CHECK_LINES(world.RegistrationFolders(), (Lines(10, "C:\\VelaTest\\current")));
}

TEST_CASE("a registration that fails inside regsvr32.exe is not noticed") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource().WithStandInRegsvr32("exit 5");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, (InstallLog(ClientsRegistered())));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFreshInstall()));
}

TEST_CASE("a module that refuses to be registered stops nothing") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  world.WithFile(World::kSource + std::wstring(L"\\OL\\Redemption.dll.fail"));

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log, (InstallLog(ClientsRegistered())));
  CHECK(outcome.moduleDiff.size() == 9);
  CHECK(TestSupport::LinesWith(outcome.moduleDiff, "Redemption.dll").empty());
}

// What is registered where regsvr32.exe cannot be started from the start with this number on.
Lines RegistryWithout(int failingFrom) {
  return Sorted(Joined({SettingsWritten(ProductKey::kMissing, 0), failingFrom > 2 ? AddinKeysWritten(2) : Lines{},
                        failingFrom > 10 ? PluginListed() : Lines{}}));
}

TEST_CASE("a regsvr32.exe that cannot be started any more fails each client in its own way") {
  for (int failingFrom = 2; failingFrom <= 10; ++failingFrom) {
    CAPTURE(failingFrom);
    World world;
    world.OnWindows(WindowsVersion::kVista).WithSampleSource();
    world.WithStandInRegsvr32("vanish 0 " + std::to_string(failingFrom - 1));

    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

    CHECK(outcome.exitCode == 0);
    CHECK_LINES(outcome.log, (InstallLog(ClientsRegistered(kBase, {failingFrom, ERROR_BAD_EXE_FORMAT}))));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithout(failingFrom)));
    CHECK(world.RegistrationCalls().size() == static_cast<std::size_t>(failingFrom - 1));
  }
}

TEST_CASE("a regsvr32.exe that is no program, or missing, fails every client") {
  for (const bool isMissing : {false, true}) {
    CAPTURE(isMissing);
    World world;
    world.OnWindows(WindowsVersion::kVista).WithSampleSource();
    isMissing ? world.WithoutRegsvr32() : world.WithBrokenRegsvr32();

    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

    CHECK(outcome.exitCode == 0);
    CHECK_LINES(outcome.log, (InstallLog(ClientsRegistered(kBase, {1, 0}))));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithout(1)));
    CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(OutlookExpress::kStaged)));
  }
}

TEST_CASE("a regsvr32.exe that hangs is left behind after three seconds") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource().WithStandInRegsvr32("sleep 20000 2");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK(outcome.milliseconds >= 3000);
  CHECK(outcome.milliseconds < 15000);
  CHECK(TestSupport::CountProcesses(L"regsvr32.exe") == 1);
  Lines outlook = OutlookRegistered(NoExtensionFile());
  outlook.insert(outlook.end() - 1, "LOG_WARN : Wait to register COM object more than 3 seconds.");
  CHECK_LINES(outcome.log, (InstallLog(Joined({outlook, OutlookExpressRegistered(), WindowsLiveMailRegistered()}))));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFreshInstall()));
}

TEST_CASE("a regsvr32.exe that somebody planted in the current folder does not run") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  TestSupport::CopyTestFile(TestSupport::FixturePath(L"StandInRegsvr32.exe"), L"C:\\VelaTest\\planted\\regsvr32.exe");
  world.InFolder(L"C:\\VelaTest\\planted");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_FALSE(TestSupport::Exists(L"C:\\VelaTest\\planted\\regsvr32.log"));
  CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesRegistered(OutlookExpress::kStaged)));
}

TEST_CASE("without any other regsvr32.exe the planted one does not run either") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource().WithoutRegsvr32();
  TestSupport::CopyTestFile(TestSupport::FixturePath(L"StandInRegsvr32.exe"), L"C:\\VelaTest\\planted\\regsvr32.exe");
  world.InFolder(L"C:\\VelaTest\\planted");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_FALSE(TestSupport::Exists(L"C:\\VelaTest\\planted\\regsvr32.log"));
  CHECK_LINES(outcome.log, (InstallLog(ClientsRegistered(kBase, {1, 0}))));
}

// A key of the add-in that may only be read.
World& WithLockedKey(World& world, const TestSupport::KeyPlace& place) {
  return world.WithKey(place).WithAccess(place, TestSupport::kReadOnlyAccess);
}

constexpr wchar_t kAddinKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";

TEST_CASE("a plug-in list that cannot be written fails Windows Live Mail") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  WithLockedKey(world, TestSupport::MachineKey64(L"Software\\Nektra\\WLMailAPi\\Plugins"));

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log,
              (InstallLog(Joined({ClientsRegistered(), Event("store registry key VELA_REG_3RD_PARTY_NEKTRA error: 5"),
                                  Error("Fail to Install VELA_WLM !!")}))));
  CHECK(TestSupport::LinesWith(outcome.registryDiff, "Nektra").empty());
}

TEST_CASE("an add-in key of the machine that cannot be written is told, and the users get theirs") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  WithLockedKey(world, TestSupport::MachineKey64(kAddinKey));

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log,
              (InstallLog(Joined({OutlookRegistered(NoExtensionFile()),
                                  Error("Failed to CreateRegKey of g_szOLActivateKey : "
                                        "Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\"),
                                  OutlookExpressRegistered(), WindowsLiveMailRegistered()}))));
  CHECK(TestSupport::LinesWith(outcome.registryDiff, "HKLM\\Software\\Microsoft").empty());
  CHECK(TestSupport::LinesWith(outcome.registryDiff, "LoadBehavior").size() ==
        TestSupport::SubkeyNames(TestSupport::UsersKey(L"")).size());
}

TEST_CASE("a user's add-in key that cannot be written is passed over in silence") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource().WithUserHive(L"S-1-5-21-1-2-3-1001");
  WithLockedKey(world, TestSupport::UsersKey(std::wstring(L"S-1-5-21-1-2-3-1001\\") + kAddinKey));

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log, (InstallLog(ClientsRegistered())));
  CHECK(TestSupport::LinesWith(outcome.registryDiff, "S-1-5-21-1-2-3-1001").empty());
  CHECK(TestSupport::LinesWith(outcome.registryDiff, "LoadBehavior").size() ==
        TestSupport::SubkeyNames(TestSupport::UsersKey(L"")).size());
}

}  // namespace
