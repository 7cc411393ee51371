// The run log on disk, and runs that cannot write it.
#include <doctest/doctest.h>

#include <windows.h>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"
#include "tests/scenarios/UnixLinks.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProcess.h"

using namespace Expected;
using TestSupport::Exists;
using TestSupport::FileContent;
using TestSupport::LogFilePath;
using TestSupport::Outcome;
using TestSupport::RemoveTree;

namespace {

const std::wstring& TemporaryFolder() {
  static const std::wstring folder = LogFilePath().substr(0, LogFilePath().find(L"\\QRTX_Debug"));
  return folder;
}
std::wstring LogFolder() {
  return TemporaryFolder() + L"\\QRTX_Debug";
}

// No log at the beginning and none at the end; the temporary folder is there at the end.
struct NoLogYet {
  NoLogYet() { Remove(); }
  NoLogYet(const NoLogYet&) = delete;
  NoLogYet& operator=(const NoLogYet&) = delete;
  ~NoLogYet() {
    TestSupport::MakeFolder(TemporaryFolder());
    Remove();
  }

 private:
  static void Remove() {
    TestSupport::KeepLog();
    RemoveTree(LogFolder());
  }
};

// An installation whose log is lost does its work all the same.
void CheckInstalled(const Outcome& outcome) {
  CHECK(outcome.exitCode == 0);
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFreshInstall()));
  CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesRegistered(OutlookExpress::kLeftOut)));
}

TEST_CASE("the first run makes the folder of the log, and the log begins with an empty line") {
  const NoLogYet machine;
  World world;

  world.RunWithArguments({});

  const std::string content = FileContent(LogFilePath());
  CHECK(content.substr(0, 14) == "\r\nLOG_INFO : [");
  CHECK(content.substr(content.size() - 24) == "VELA END!!! RetrunCode:0");
}

TEST_CASE("a later run goes on behind the closing line of the one before") {
  const NoLogYet machine;
  World world;
  world.RunWithArguments({});
  const std::string first = FileContent(LogFilePath());

  world.RunWithArguments({});

  const std::string both = FileContent(LogFilePath());
  CHECK(both.substr(0, first.size()) == first);
  CHECK(both.substr(first.size(), 14) == "\r\nLOG_INFO : [");
}

TEST_CASE("what another program wrote to the log stays") {
  const NoLogYet machine;
  World world;
  world.WithFile(LogFilePath(), "not ours");

  world.RunWithArguments({});

  CHECK(FileContent(LogFilePath()).substr(0, 22) == "not ours\r\nLOG_INFO : [");
}

TEST_CASE("a file in the place of the log's folder stays, and the run goes without a log") {
  const NoLogYet machine;
  World world;
  world.WithSampleSource().WithFile(LogFolder(), "a file");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CheckInstalled(outcome);
  CHECK(FileContent(LogFolder()) == "a file");
}

TEST_CASE("without a temporary folder none is made, and the run goes without a log") {
  const NoLogYet machine;
  World world;
  world.WithSampleSource();
  const std::wstring aside = TemporaryFolder() + L"_aside";
  REQUIRE(::MoveFileW(TemporaryFolder().c_str(), aside.c_str()));

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  const bool made = Exists(TemporaryFolder());
  RemoveTree(TemporaryFolder());
  ::MoveFileW(aside.c_str(), TemporaryFolder().c_str());
  CHECK_FALSE(made);
  CheckInstalled(outcome);
}

TEST_CASE("a folder in the place of the log stays, and the run goes without a log") {
  const NoLogYet machine;
  World world;
  world.WithSampleSource().WithFolder(LogFilePath());

  CheckInstalled(world.Run(L"-I", World::kSource, World::kDestination));
}

TEST_CASE("a log on a full disk is lost, and the run goes on") {
  const NoLogYet machine;
  World world;
  world.WithSampleSource().WithFolder(LogFolder());
  const TestSupport::FullDiskFile log(LogFilePath());

  // Started by hand: such a log can be read without end, and the world would read it.
  TestSupport::TestProcess program(World::kProgramFolder + std::wstring(L"\\VELAutil.exe"),
                                   {L"-I", World::kSource, World::kDestination});

  CHECK(program.Finish(60000).exitCode == 0);
  CHECK(world.RegisteredModules().size() == ModulesRegistered(OutlookExpress::kLeftOut).size());
}

TEST_CASE("a character that the log cannot hold ends the log of the run right there, and not the run") {
  World world;
  world.WithSampleSource();
  const std::wstring source = L"C:\\VelaTest\\source \x65E5\x672C";
  REQUIRE(::MoveFileW(World::kSource, source.c_str()));

  const Outcome outcome = world.Run(L"-I", source, World::kDestination);

  CHECK_LINES(outcome.log, {"LOG_INFO :  cmd:-I", " src:C:\\VelaTest\\source "});
  CheckInstalled(outcome);
}

TEST_CASE("a character that the log cannot hold in the switch loses everything behind it") {
  World world;

  const Outcome outcome = world.Run(L"-I\x0416", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, {"LOG_INFO :  cmd:-I"});
  CHECK_FALSE(outcome.registryDiff.empty());
}

TEST_CASE("the next run has a log again") {
  World world;
  world.Run(L"-x\x0416", L"", L"");

  CHECK_LINES(world.RunWithArguments({}).log, (RunEnds(0)));
}

TEST_CASE("characters up to U+00FF stand in the log as one byte each") {
  World world;

  const Outcome outcome = world.Run(L"-x", L"\x00E9\x00FF\x0080", L"");

  CHECK_LINES(outcome.log, {"LOG_INFO :  cmd:-x", " src:\xE9\xFF\x80", "dest:", "LOG_INFO : Pn error.", "",
                            "LOG_INFO : [time] VELA END!!! RetrunCode:0"});
}

}  // namespace
