// The run log on disk, and runs that cannot write it.
#include <doctest/doctest.h>

#include <windows.h>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/FolderLink.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProcess.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::FileContent;
using TestSupport::LogFilePath;
using TestSupport::RemoveTree;

namespace {

const std::wstring& TemporaryFolder() {
  static const std::wstring folder = LogFilePath().substr(0, LogFilePath().find(L"\\QRTX_Debug"));
  return folder;
}
std::wstring LogFolder() {
  return TemporaryFolder() + L"\\QRTX_Debug";
}

// No log at the beginning and none at the end. The temporary folder exists at the end.
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

TEST_CASE("the first run creates the folder and the log; a later one appends, also after another program's text") {
  const NoLogYet machine;
  World world;
  world.RunWithArguments({});
  const std::string first = FileContent(LogFilePath());
  CHECK(first.substr(0, 14) == "\r\nLOG_INFO : [");
  CHECK(first.substr(first.size() - 24) == "VELA END!!! RetrunCode:0");

  world.WithFile(LogFilePath(), first + "not ours").RunWithArguments({});

  const std::string all = first + "not ours\r\nLOG_INFO : [";
  CHECK(FileContent(LogFilePath()).substr(0, all.size()) == all);
}

TEST_CASE("a file or a folder in place of the log or its folder stays, and the run continues without a log") {
  const Lines& plain = PlainInstall();
  {
    const NoLogYet machine;
    World world;
    CheckRun("the log is lost", plain, Told(Install(WithSource(world).WithFile(LogFolder(), "a file"))));
    CHECK(FileContent(LogFolder()) == "a file");
  }
  const NoLogYet machine;
  World world;
  CheckRun("the log is lost", plain, Told(Install(WithSource(world).WithFolder(LogFilePath()))));
}

TEST_CASE("a missing temporary folder is not created, and the run continues without a log") {
  const Lines& plain = PlainInstall();
  const NoLogYet machine;
  World world;
  WithSource(world);
  const std::wstring aside = TemporaryFolder() + L"_aside";
  REQUIRE(::MoveFileW(TemporaryFolder().c_str(), aside.c_str()));

  const Outcome outcome = Install(world);

  const bool made = Exists(TemporaryFolder());
  RemoveTree(TemporaryFolder());
  ::MoveFileW(aside.c_str(), TemporaryFolder().c_str());
  CHECK_FALSE(made);
  CheckRun("the log is lost", plain, Told(outcome));
}

TEST_CASE("a log on a full disk is lost, and the run continues") {
  const NoLogYet machine;
  World world;
  WithSource(world).WithFolder(LogFolder());
  const TestSupport::FullDiskFile log(LogFilePath());

  // Started without the world: it would read the log, and reading such a log never ends.
  TestSupport::TestProcess program(World::kProgramFolder + std::wstring(L"\\VELAutil.exe"),
                                   {L"-I", World::kSource, World::kDestination});

  CHECK(program.Finish(60000).exitCode == 0);
  CHECK(world.RegisteredModules().size() == TestSupport::AllModules());
}

TEST_CASE("a character that the log cannot hold ends the log of this run at that point, but not the run") {
  const Lines& plain = PlainInstall();
  World world;
  WithSource(world);
  const std::wstring source = L"C:\\VelaTest\\source \x65E5\x672C";
  REQUIRE(::MoveFileW(World::kSource, source.c_str()));
  CheckRun("a character that the log cannot hold", plain, Told(world.Run(L"-I", source, World::kDestination)));
  CHECK_LINES(world.RunWithArguments({}).log, {"LOG_INFO : [time] VELA END!!! RetrunCode:0"});  // the next run has one
}

}  // namespace
