// A program of its own: the upgrade on the last Windows that has Outlook Express or its successor.
#include <doctest/doctest.h>

#include "install/InstallCommand.h"
#include "install/UpgradeCommand.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallWorld.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;
using VELAWrapper::Upgrade;

namespace {

constexpr char kClients[] = "C:\\VelaTest\\Install\\dest\\Orvane Labs\\VELA\\";

Lines Returned(const std::string& step) {
  return {"LOG_INFO : VELAUtility::PreInstallVELA_" + step + "(), Ret: 1"};
}

// The four lines that tell of the steps, and nothing in between.
Lines ReturnedByAll() {
  return Joined({Returned("MUI"), Returned("OL"), Returned("OE"), Returned("WLM")});
}

Lines LogOfAll() {
  return Joined({StagedResources(), Returned("MUI"), StagedOutlook(), Returned("OL"),
                 StagedOutlookExpress("OE64", "win64"), Returned("OE"), StagedWindowsLiveMail(), Returned("WLM")});
}

TEST_CASE("four steps, each with its result behind its own lines") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const InstallWorld world;
  const LogCapture log;
  CHECK(Upgrade() == 1);
  CHECK_LINES(log.Lines(), (LogOfAll()));
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OE\\own.dll")) == "own OE64");
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OE\\engine.dll")) == "engine 64");
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OE\\VELA_OE.ini")) == "ini OE");
}

TEST_CASE("an unchanged source writes nothing and logs every file and every step") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const InstallWorld world;
  CHECK(Upgrade() == 1);
  FileSnapshot before;
  before.Add(world.folder.Path());
  const LogCapture log;
  unsigned writes = 0;
  {
    const CountCalls write("WriteFile");
    CHECK(Upgrade() == 1);
    writes = write.Calls();
  }
  CHECK(writes == 0);
  CHECK_LINES(log.Lines(), (LogOfAll()));
  FileSnapshot after;
  after.Add(world.folder.Path());
  CHECK_LINES(FileSnapshot::Changes(before, after), {});
}

TEST_CASE("it puts its files where an install has put them") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const InstallWorld world;
  CHECK(VELAWrapper::Install() == 0);
  const Lines installed = world.Staged();
  world.folder.MakeFile(L"src\\OE64\\own.dll", "newer", 60);
  FileSnapshot before;
  before.Add(world.folder.Path(L"dest"));
  CHECK(Upgrade() == 1);
  FileSnapshot after;
  after.Add(world.folder.Path(L"dest"));
  CHECK_LINES(FileSnapshot::Changes(before, after), {"~Orvane Labs\\VELA\\VELA_OE\\own.dll content time"});
  CHECK(world.Staged().size() == installed.size());
}

TEST_CASE("a source without anything: each settings file is missed, each step gives 1") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const InstallWorld world;
  RemoveTree(world.folder.Path(L"src"));
  const LogCapture log;
  CHECK(Upgrade() == 1);
  CHECK_LINES(log.Lines(), (Joined({Returned("MUI"),
                                    {"LOG_WARN : Fail to copy VELA_OL.ini !"},
                                    Returned("OL"),
                                    {"LOG_WARN : Fail to copy VELA_OE.ini !"},
                                    Returned("OE"),
                                    {"LOG_WARN : Fail to copy VELA_WLM.ini !"},
                                    Returned("WLM")})));
}

TEST_CASE("the folder of Outlook Express cannot be made: the step tries all its copies and the next step follows") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const InstallWorld world;
  world.folder.MakeFile(L"dest\\Orvane Labs\\VELA\\VELA_OE", "a file has the name");
  const LogCapture log;
  {
    // The resources, two for Outlook, then those of Outlook Express.
    const FailCall make("SHCreateDirectoryExW", Calls::Between(4, 5), ERROR_ACCESS_DENIED);
    CHECK(Upgrade() == 1);
    CHECK(make.Failed() == 2);
  }
  const std::string folder = kClients + std::string("VELA_OE");
  const Lines lines = log.Lines();
  CHECK_LINES(LinesWith(lines, "SHCreateDirectoryEx"), {"LOG_ERROR: SHCreateDirectoryEx create VELA_OE folder fail !",
                                                        "LOG_ERROR: SHCreateDirectoryEx create rule folder fail !"});
  CHECK_LINES(LinesWith(lines, "Path not exists"), {"LOG_ERROR: Path not exists: " + folder + "\\rule"});
  CHECK_LINES(LinesWith(lines, ".ini"), {"LOG_WARN : Fail to copy VELA_OE.ini !"});
  CHECK_LINES(LinesWith(lines, "Ret: "), (ReturnedByAll()));
  CHECK_LINES(LinesWith(lines, "VELA_WLM\\"), (StagedWindowsLiveMail()));
}

TEST_CASE("what is in use or cannot even wait for the restart does not stop the upgrade") {
  const WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const InstallWorld world;
  CHECK(Upgrade() == 1);
  world.folder.MakeFile(L"src\\OE64\\own.dll", "newer", 60);
  world.folder.MakeFile(L"src\\WLM\\own.dll", "newer", 60);
  const std::wstring base = world.folder.Path(L"dest\\Orvane Labs\\VELA\\");
  world.folder.MakeFile(L"dest\\Orvane Labs\\VELA\\VELA_OE\\own.dll.tmp_", "somebody's");
  const HeldFile held(base + L"VELA_OE\\own.dll");
  const HeldFile heldWaiting(base + L"VELA_OE\\own.dll.tmp_");
  const LogCapture log;
  CHECK(Upgrade() == 1);
  const std::string source = "C:\\VelaTest\\Install\\src\\OE64\\own.dll";
  const std::string destination = kClients + std::string("VELA_OE\\own.dll");
  CHECK_LINES(
      LinesWith(log.Lines(), "LOG_ERROR"),
      {"LOG_ERROR: ::CopyFile() failed: err(32), src(" + source + "), dst(" + destination + ")",
       "LOG_ERROR: CoreAgentUtility::File::copyFileEx(" + source + "," + destination + ".tmp_) failed, err=32"});
  CHECK_LINES(LinesWith(log.Lines(), "Ret: "), (ReturnedByAll()));
  CHECK_LINES(world.pending.Lines(), {});
  CHECK(FileContent(base + L"VELA_WLM\\own.dll") == "newer");
}

}  // namespace
