// Newer files in place of older ones, and the plug-ins told of them.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedUpgrade.h"
#include "tests/scenarios/RunningPlugin.h"
#include "tests/scenarios/WindowsSystems.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"

using namespace Expected;
using TestSupport::Exists;
using TestSupport::FileContent;
using TestSupport::LinesWith;
using TestSupport::MachineKey32;
using TestSupport::Outcome;
using TestSupport::ToUtf8;
using TestSupport::WindowsVersion;

namespace {

const std::wstring kSourceRules = World::kSource + std::wstring(L"\\rule\\base.rul");
const std::wstring kAddin = kBase + std::wstring(L"VELA\\VELA_OL\\VELA_OLA.dll");

Outcome Upgrade(World& world, const std::wstring& destination = World::kDestination) {
  const Outcome outcome = world.Run(L"-p", World::kSource, destination);
  CHECK_FALSE(outcome.timedOut);
  CHECK(outcome.registryDiff.empty());  // neither settings nor registrations
  CHECK(outcome.moduleDiff.empty());
  return outcome;
}

Lines UpgradeLog(OutlookExpress outlookExpress, const std::vector<NotifiedClient>& clients = {}, int notified = 1) {
  return Joined(
      {UpgradeBegins(), FilesUpgraded(outlookExpress), UpgradeReturned(), Notified(clients), UpgradeEnds(notified)});
}

TEST_CASE("an unchanged source: every file named, every step returned, nothing written") {
  for (const WindowsSystem& system : kEverySystem) {
    CAPTURE(system.name);
    World world;
    world.OnWindows(system.version).WithSampleSource();
    world.Run(L"-I", World::kSource, World::kDestination);

    const Outcome outcome = Upgrade(world);

    CHECK(outcome.exitCode == 1);
    CHECK_LINES(outcome.log, (UpgradeLog(system.outlookExpress)));
    CHECK(LinesWith(outcome.log, "Ret: 1").size() == (system.outlookExpress == OutlookExpress::kStaged ? 4U : 3U));
    CHECK(outcome.fileDiff.empty());
    CHECK(outcome.pending.empty());
  }
}

TEST_CASE("a newer source replaces what has changed and nothing else") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  world.Run(L"-I", World::kSource, World::kDestination);
  world.WithFile(kSourceRules, "newer rules");
  world.WithFile(World::kSource + std::wstring(L"\\Common\\win64\\vela.ptn"), "newer pattern");
  world.WithFile(World::kSource + std::wstring(L"\\Resource\\common\\VELA_WLM.ini"), "newer settings");
  world.WithFile(World::kSource + std::wstring(L"\\Resource\\x64\\0409\\VELA_MUI.ini"), "another language");

  const Outcome outcome = Upgrade(world);

  CHECK(outcome.exitCode == 1);
  CHECK_LINES(outcome.log, (UpgradeLog(OutlookExpress::kStaged)));
  CHECK_LINES(Sorted(outcome.fileDiff),
              {"+dest\\Orvane Labs\\VELA\\Resource\\0409\\", "+dest\\Orvane Labs\\VELA\\Resource\\0409\\VELA_MUI.ini",
               "~dest\\Orvane Labs\\VELA\\VELA_OE\\rule\\base.rul content time",
               "~dest\\Orvane Labs\\VELA\\VELA_OE\\vela.ptn content time",
               "~dest\\Orvane Labs\\VELA\\VELA_OL\\rule\\base.rul content time",
               "~dest\\Orvane Labs\\VELA\\VELA_WLM\\VELA_WLM.ini content time",
               "~dest\\Orvane Labs\\VELA\\VELA_WLM\\rule\\base.rul content time"});
  CHECK(FileContent(kBase + std::wstring(L"VELA\\VELA_OE\\vela.ptn")) == "newer pattern");
}

TEST_CASE("an upgrade of what was never installed stages it and registers nothing") {
  World world;
  world.WithSampleSource();

  const Outcome outcome = Upgrade(world);

  CHECK(outcome.exitCode == 1);
  CHECK_LINES(outcome.log, (UpgradeLog(OutlookExpress::kLeftOut)));
  CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(OutlookExpress::kLeftOut)));
}

TEST_CASE("settings and registrations may be refused to everybody: they are not asked for") {
  World world;
  world.WithSampleSource().WithProductKey({{L"VELAEnable", 1}});
  world.WithAccess(MachineKey32(World::kProductKey), TestSupport::kNoAccess).WithoutRegsvr32();

  const Outcome outcome = world.Run(L"-p", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 1);
  CHECK_LINES(outcome.log, (UpgradeLog(OutlookExpress::kLeftOut)));
}

TEST_CASE("the plug-ins are told when the files are in place, and no client is looked at before") {
  World world;
  world.OnWindows(WindowsVersion::kXp64).WithSampleSource();
  world.Run(L"-I", World::kSource, World::kDestination);
  world.WithFile(kSourceRules, "newer rules");
  const RunningPlugin outlook(L"OUTLOOK.EXE", kOutlookEvent);
  const RunningPlugin express(L"msimn.exe", kOutlookExpressEvent);

  const Outcome outcome = Upgrade(world);

  CHECK(outcome.exitCode == 1);
  CHECK_LINES(outcome.log, (UpgradeLog(OutlookExpress::kStaged, {{"OL"}, {"OE"}})));
  CHECK_LINES(outlook.Report(2), {"waiting", "reloaded"});
  CHECK_LINES(express.Report(2), {"waiting", "reloaded"});
}

TEST_CASE("a client that cannot be told decides the exit code, not the upgrade") {
  World world;
  world.WithSampleSource().WithRunning(L"wlmail.exe").WithTakenName(kWindowsLiveMailEvent);

  const Outcome outcome = Upgrade(world);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, (UpgradeLog(OutlookExpress::kLeftOut, {{"WLM", 6}}, 0)));
  CHECK(Exists(kAddin));
}

// The log of an upgrade that says `addin` of the add-in's file.
Lines UpgradeLogWith(const Lines& addin) {
  Lines log;
  for (const std::string& line : UpgradeLog(OutlookExpress::kLeftOut)) {
    const bool isAddin = line.find("OL\\VELA_OLA.dll,") != std::string::npos;
    log = Joined({log, isAddin ? addin : Lines{line}});
  }
  return log;
}

TEST_CASE("a file in use waits for the restart, which brings it") {
  const std::string source = "C:\\VelaTest\\source\\OL\\VELA_OLA.dll";
  World world;
  world.WithSampleSource();
  world.Run(L"-I", World::kSource, World::kDestination);
  const std::string old = FileContent(kAddin);
  world.WithFile(World::kSource + std::wstring(L"\\OL\\VELA_OLA.dll"), "newer add-in");
  Outcome outcome;
  {
    // In a program of its own, as an Outlook that has loaded it.
    const TestSupport::TestProcess holder(TestSupport::FixturePath(L"Holder.exe"),
                                          {L"VelaTestEndOfHolder", L"VelaTestHolderReady", L"r", kAddin});
    const HANDLE ready = ::CreateEventW(nullptr, TRUE, FALSE, L"VelaTestHolderReady");
    REQUIRE(::WaitForSingleObject(ready, 10000) == WAIT_OBJECT_0);
    ::CloseHandle(ready);

    outcome = Upgrade(world);
    CHECK(FileContent(kAddin) == old);
  }

  CHECK(outcome.exitCode == 1);
  CHECK_LINES(
      outcome.log,
      (UpgradeLogWith(Joined({Error("::CopyFile() failed: err(32), src(" + source + "), dst(" + ToUtf8(kAddin) + ")"),
                              Info("RebootMove('" + source + "', '" + ToUtf8(kAddin) + "') succeeded")}))));
  CHECK_LINES(outcome.fileDiff, {"+dest\\Orvane Labs\\VELA\\VELA_OL\\VELA_OLA.dll.tmp_"});
  CHECK_LINES(outcome.pending, {ToUtf8(kAddin) + ".tmp_ -> !" + ToUtf8(kAddin)});
  world.CarryOutPendingRenames();
  CHECK(FileContent(kAddin) == "newer add-in");
  CHECK_FALSE(Exists(kAddin + L".tmp_"));
  CHECK_LINES(Upgrade(world).fileDiff, {});
}

TEST_CASE("a failing upgrade tells the plug-ins all the same") {
  World world;
  world.WithSampleSource().WithFile(L"C:\\VelaTest\\file");
  const RunningPlugin outlook(L"OUTLOOK.EXE", kOutlookEvent);
  const std::wstring destination = L"C:\\VelaTest\\file\\dest";
  const std::wstring base = destination + L"\\Orvane Labs\\";

  const Outcome outcome = Upgrade(world, destination);

  // The failures of each step, and its result behind them.
  Lines steps;
  for (const std::string& line : StagingHasNoFolders(OutlookExpress::kLeftOut, base)) {
    steps.push_back(line);
    if (line.find("VELA\\Resource") != std::string::npos && line.find("Path not exists") != std::string::npos) {
      steps = Joined({steps, StepReturned("MUI")});
    } else if (line.find("copy VELA_") != std::string::npos) {
      steps = Joined({steps, StepReturned(line.find("VELA_OL.ini") != std::string::npos ? "OL" : "WLM")});
    }
  }
  CHECK(outcome.exitCode == 1);
  CHECK_LINES(outcome.log, (Joined({UpgradeBegins(World::kSource, destination), steps, UpgradeReturned(),
                                    Notified({{"OL"}}), UpgradeEnds(1)})));
  CHECK(outcome.fileDiff.empty());
  CHECK_LINES(outlook.Report(2), {"waiting", "reloaded"});
}

TEST_CASE("without a source only the settings files are missed") {
  World world;

  const Outcome outcome = Upgrade(world);

  CHECK(outcome.exitCode == 1);
  CHECK_LINES(outcome.log, (Joined({UpgradeBegins(), StepReturned("MUI"), Warning("Fail to copy VELA_OL.ini !"),
                                    StepReturned("OL"), Warning("Fail to copy VELA_WLM.ini !"), StepReturned("WLM"),
                                    UpgradeReturned(), Notified(), UpgradeEnds(1)})));
}

TEST_CASE("a destination that the plug-ins could not handle: where the installation has put the files") {
  World world;
  world.WithSampleSource();
  const std::wstring destination = L"C:\\VelaTest\\Caf\x00E9";
  world.Run(L"-I", World::kSource, destination);
  world.WithFile(kSourceRules, "newer rules");

  const Outcome outcome = Upgrade(world, destination);

  CHECK_LINES(outcome.log, (Joined({UpgradeBegins(World::kSource, destination),
                                    Info("--- Find DBCS Character by checking if ANSI character set --- idx=15"),
                                    FilesUpgraded(OutlookExpress::kLeftOut, kCommonBase), UpgradeReturned(), Notified(),
                                    UpgradeEnds(1)})));
  CHECK_LINES(Sorted(outcome.fileDiff), {"~C:\\ProgramData\\Orvane Labs\\VELA\\VELA_OL\\rule\\base.rul content time",
                                         "~C:\\ProgramData\\Orvane Labs\\VELA\\VELA_WLM\\rule\\base.rul content time"});
}

}  // namespace
