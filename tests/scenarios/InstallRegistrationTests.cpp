// Installations with different results of regsvr32.exe.
#include <doctest/doctest.h>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"

using namespace Scenarios;

namespace {

TEST_CASE("objects of every registered class can be created after an installation, and of none before") {
  World world;
  WithSource(world);
  const std::wstring probe = TestSupport::FixturePath(L"ClassProbe.exe");
  CHECK(TestSupport::TestProcess(probe, {}).Finish(30000).exitCode == TestSupport::AllModules());
  Install(world);
  CHECK(TestSupport::TestProcess(probe, {}).Finish(30000).exitCode == 0);
}

TEST_CASE("each module is passed to a regsvr32.exe of its own, in order, quoted, in the run's current folder") {
  World world;
  WithSource(world).WithStandInRegsvr32();
  world.WithFolder(L"C:\\VelaTest\\current").InFolder(L"C:\\VelaTest\\current");

  Install(world);

  Lines calls;
  for (const Client& client : Clients()) {
    for (const wchar_t* const module : client.modules) {
      calls.push_back("regsvr32.exe /s \"" +
                      TestSupport::ToUtf8(kProduct + L"\\" + client.FolderName() + L"\\" + module) + "\"");
    }
  }
  CHECK_LINES(world.RegistrationCalls(), (calls));
  CHECK_LINES(world.RegistrationFolders(), (Lines(calls.size(), "C:\\VelaTest\\current")));
}

TEST_CASE("the installation continues if regsvr32.exe fails, or if a module refuses to register") {
  CheckInstall("regsvr32.exe fails", [](World& world) { world.WithStandInRegsvr32("exit 5"); });
  CheckInstall("a module refuses",
               [](World& world) { world.WithFile(World::kSource + std::wstring(L"\\OL\\Redemption.dll.fail")); });
}

TEST_CASE("if regsvr32.exe vanishes during the run, each client fails in its own way") {
  Lines oneMore = PlainInstall();
  for (const std::size_t starts : {std::size_t{8}, std::size_t{4}, std::size_t{1}}) {
    World world;
    const Lines run = Told(Install(WithSource(world).WithStandInRegsvr32("vanish 0 " + std::to_string(starts))));
    CHECK(world.RegistrationCalls().size() == starts);
    CheckRun("regsvr32.exe vanishes after start " + std::to_string(starts), oneMore, run);
    oneMore = run;
  }
}

TEST_CASE("if regsvr32.exe is missing or no program, every client fails; one in the current folder is not run") {
  const Lines& plain = PlainInstall();
  for (const bool isMissing : {false, true}) {
    World world;
    WithSource(world);
    isMissing ? world.WithoutRegsvr32() : world.WithBrokenRegsvr32();
    const std::wstring planted = L"C:\\VelaTest\\planted";
    TestSupport::CopyTestFile(TestSupport::FixturePath(L"StandInRegsvr32.exe"), planted + L"\\regsvr32.exe");
    CheckRun("no regsvr32.exe", plain, Told(Install(world.InFolder(planted))));
    CHECK_FALSE(TestSupport::Exists(planted + L"\\regsvr32.log"));
  }
}

TEST_CASE("a regsvr32.exe that hangs is no longer waited for after three seconds") {
  const Lines& plain = PlainInstall();
  World world;
  WithSource(world).WithStandInRegsvr32("sleep 20000 2");

  const Outcome outcome = Install(world);

  CHECK(outcome.milliseconds >= 3000);
  CHECK(outcome.milliseconds < 15000);
  CHECK(TestSupport::CountProcesses(L"regsvr32.exe") == 1);
  CheckRun("regsvr32.exe hangs", plain, Told(outcome));
}

}  // namespace
