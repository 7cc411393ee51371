// Newer files replace older ones, and the plug-ins are notified.
#include <doctest/doctest.h>

#include <algorithm>
#include <string>

#include "tests/scenarios/PlainRuns.h"
#include "tests/scenarios/RunningPlugin.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::FileContent;

namespace {

const std::wstring kSource = World::kSource;
const std::wstring kAddin = kProduct + L"\\VELA_OL\\VELA_OLA.dll";

World& Installed(World& world) {
  Install(WithSource(world));
  return world;
}

TEST_CASE("a newer source replaces only the files that changed; clients are looked for after that") {
  const Lines& plain = PlainUpgrade();
  World world;
  Installed(world).WithFile(kSource + L"\\rule\\base.rul", "newer rules");
  world.WithFile(kSource + L"\\Common\\win64\\vela.ptn", "newer pattern");
  world.WithFile(kSource + L"\\Resource\\common\\VELA_WLM.ini", "newer settings");
  world.WithFile(kSource + L"\\Resource\\x64\\0409\\VELA_MUI.ini", "another language");
  const RunningPlugin outlook(L"OUTLOOK.EXE", Clients()[0].UpdateEvent());
  CheckRun("a newer source, Outlook runs", plain, Told(Upgrade(world)));
  CHECK_LINES(outlook.Report(2), {"waiting", "reloaded"});
  CHECK(FileContent(kProduct + L"\\VELA_OE\\vela.ptn") == "newer pattern");
}

TEST_CASE("an upgrade without an installation stages the files and registers nothing") {
  Lines wanted = PlainUpgrade();
  const Lines& install = PlainInstall();
  wanted.insert(wanted.end(), std::find(install.begin(), install.end(), "files:"), install.end());
  World world;
  CHECK_LINES(Told(Upgrade(WithSource(world))), (wanted));
}

TEST_CASE("an upgrade needs neither access to the settings nor regsvr32.exe") {
  const Lines& plain = PlainUpgrade();
  World world;
  Installed(world).WithAccess(TestSupport::MachineKey32(World::kProductKey), TestSupport::kNoAccess);
  const Outcome outcome = Upgrade(world.WithoutRegsvr32());
  CHECK_LINES(Told(outcome), (plain));
}

TEST_CASE("if a client cannot be notified, that decides the exit code, whatever the upgrade did") {
  CheckUpgrade("a client that cannot be notified", [](World& world) {
    world.WithRunning(Clients().back().process).WithTakenName(Clients().back().UpdateEvent());
    TestSupport::RemoveTree(kAddin);
  });
}

TEST_CASE("an upgrade replaces a file in use at the restart") {
  const Lines& plain = PlainUpgrade();
  World world;
  Installed(world);
  const std::string old = FileContent(kAddin);
  world.WithFile(kSource + L"\\OL\\VELA_OLA.dll", "newer add-in");
  Outcome outcome;
  {
    const TestSupport::HeldFile held(kAddin, FILE_SHARE_READ);  // like an Outlook that has loaded it
    outcome = Upgrade(world);
    CHECK(FileContent(kAddin) == old);
  }
  CheckRun("a file in use", plain, Told(outcome));
  world.CarryOutPendingRenames();
  CHECK(FileContent(kAddin) == "newer add-in");
  CHECK_FALSE(Exists(kAddin + L".tmp_"));
  CHECK_LINES(Upgrade(world).fileDiff, {});
}

TEST_CASE("a failing upgrade notifies the plug-ins anyway") {
  const Lines& plain = PlainUpgrade();
  World world;
  WithSource(world).WithFile(L"C:\\VelaTest\\file");
  const RunningPlugin outlook(L"OUTLOOK.EXE", Clients()[0].UpdateEvent());
  const std::wstring destination = L"C:\\VelaTest\\file\\dest";
  CheckRun("no folder can be made", plain, Told(world.Run(L"-p", kSource, destination), destination));
  CHECK_LINES(outlook.Report(2), {"waiting", "reloaded"});
}

TEST_CASE("without a source, only the settings files are logged as missing") {
  const Lines& plain = PlainUpgrade();
  World world;
  CheckRun("no source", plain, Told(Upgrade(world.OnWindows(WindowsVersion::kVista))));
}

}  // namespace
