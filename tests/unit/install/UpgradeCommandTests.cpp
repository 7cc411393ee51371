// The upgrade command: newer files in place of older ones.
#include "install/UpgradeCommand.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/unit/install/InstallWorld.h"

using namespace TestSupport;
using VELAWrapper::Upgrade;

namespace {

const Lines kResources = {"LOG_INFO : VELAUtility::PreInstallVELA_MUI(), Ret: 1"};
const Lines kOutlook = {"LOG_INFO : VELAUtility::PreInstallVELA_OL(), Ret: 1"};
const Lines kWindowsLiveMail = {"LOG_INFO : VELAUtility::PreInstallVELA_WLM(), Ret: 1"};

TEST_CASE("the steps, each with its result behind its own lines") {
  const InstallWorld world;
  const LogCapture log;
  CHECK(Upgrade() == 1);
  CHECK_LINES(
      log.Lines(),
      (Joined({StagedResources(), kResources, StagedOutlook(), kOutlook, StagedWindowsLiveMail(), kWindowsLiveMail})));
  CHECK_FALSE(Exists(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OE")));
}

TEST_CASE("an unchanged source copies nothing and says the same") {
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
  FileSnapshot after;
  after.Add(world.folder.Path());
  CHECK_LINES(FileSnapshot::Changes(before, after), {});
  CHECK_LINES(LinesWith(log.Lines(), "Ret: "), (Joined({kResources, kOutlook, kWindowsLiveMail})));
}

TEST_CASE("newer files replace older ones in place") {
  const InstallWorld world;
  CHECK(Upgrade() == 1);
  world.folder.MakeFile(L"src\\OL\\own.dll", "own OL, newer", 60);
  world.folder.MakeFile(L"src\\rule\\spam.ptn", "newer rules", 61);
  FileSnapshot before;
  before.Add(world.folder.Path(L"dest"));
  CHECK(Upgrade() == 1);
  FileSnapshot after;
  after.Add(world.folder.Path(L"dest"));
  CHECK_LINES(FileSnapshot::Changes(before, after), {"~Orvane Labs\\VELA\\VELA_OL\\own.dll content time",
                                                     "~Orvane Labs\\VELA\\VELA_OL\\rule\\spam.ptn content time",
                                                     "~Orvane Labs\\VELA\\VELA_WLM\\rule\\spam.ptn content time"});
}

TEST_CASE("a file in use is left to the restart") {
  const InstallWorld world;
  CHECK(Upgrade() == 1);
  world.folder.MakeFile(L"src\\OL\\own.dll", "newer", 60);
  const LogCapture log;
  {
    const HeldFile held(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OL\\own.dll"));
    CHECK(Upgrade() == 1);
  }
  const std::string destination = "C:\\VelaTest\\Install\\dest\\Orvane Labs\\VELA\\VELA_OL\\own.dll";
  CHECK_LINES(LinesWith(log.Lines(), "OL\\own.dll"),
              {"LOG_ERROR: ::CopyFile() failed: err(32), src(C:\\VelaTest\\Install\\src\\OL\\own.dll), dst(" +
                   destination + ")",
               "LOG_INFO : RebootMove('C:\\VelaTest\\Install\\src\\OL\\own.dll', '" + destination + "') succeeded"});
  CHECK_LINES(world.pending.Lines(), {"\\??\\" + destination + ".tmp_ -> !\\??\\" + destination});
}

TEST_CASE("neither settings nor registrations nor running clients are looked at") {
  InstallWorld world;
  world.StoreSwitch(1);
  world.running.Become({L"outlook.exe"});
  const Lines before = world.Settings();
  unsigned lists = 0;
  unsigned opens = 0;
  {
    const CountCalls list("CreateToolhelp32Snapshot");
    const CountCalls open("RegOpenKeyExW");
    const CountCalls openPlain("RegOpenKeyW");
    const CountCalls create("RegCreateKeyExW");
    CHECK(Upgrade() == 1);
    lists = list.Calls();
    opens = open.Calls() + openPlain.Calls() + create.Calls();
  }
  CHECK(lists == 0);
  CHECK(opens == 0);
  CHECK(world.regsvr32.Starts().empty());
  CHECK_LINES(world.Settings(), (before));
}

TEST_CASE("it finds the files where the install put them") {
  RemoveTree(L"C:\\ProgramData\\Orvane Labs");
  const InstallWorld world(L"C:\\VelaTest\\Install\\dest\\Caf\u00E9");
  CHECK(Upgrade() == 1);
  CHECK(FileContent(L"C:\\ProgramData\\Orvane Labs\\VELA\\VELA_OL\\own.dll") == "own OL");
  CHECK_FALSE(Exists(L"C:\\VelaTest\\Install\\dest\\Caf\u00E9"));
  RemoveTree(L"C:\\ProgramData\\Orvane Labs");
}

TEST_CASE("a failed step is logged as 1 like any other") {
  const InstallWorld world;
  RemoveTree(world.folder.Path(L"src"));
  const LogCapture log;
  {
    const FailCall make("SHCreateDirectoryExW", Calls::From(1), ERROR_ACCESS_DENIED);
    CHECK(Upgrade() == 1);
  }
  const std::string base = "C:\\VelaTest\\Install\\dest\\Orvane Labs\\VELA\\";
  CHECK_LINES(
      log.Lines(),
      {"LOG_ERROR: SHCreateDirectoryEx create folder fail ! Folder: " + base + "Resource",
       "LOG_ERROR: Path not exists: " + base + "Resource", "LOG_INFO : VELAUtility::PreInstallVELA_MUI(), Ret: 1",
       "LOG_ERROR: SHCreateDirectoryEx create VELA_OL folder fail !", "LOG_ERROR: Path not exists: " + base + "VELA_OL",
       "LOG_ERROR: Path not exists: " + base + "VELA_OL", "LOG_ERROR: SHCreateDirectoryEx create rule folder fail !",
       "LOG_ERROR: Path not exists: " + base + "VELA_OL\\rule", "LOG_WARN : Fail to copy VELA_OL.ini !",
       "LOG_INFO : VELAUtility::PreInstallVELA_OL(), Ret: 1",
       "LOG_ERROR: SHCreateDirectoryEx create VELA_WLM folder fail !",
       "LOG_ERROR: Path not exists: " + base + "VELA_WLM", "LOG_ERROR: Path not exists: " + base + "VELA_WLM",
       "LOG_ERROR: SHCreateDirectoryEx create rule folder fail !",
       "LOG_ERROR: Path not exists: " + base + "VELA_WLM\\rule", "LOG_WARN : Fail to copy VELA_WLM.ini !",
       "LOG_INFO : VELAUtility::PreInstallVELA_WLM(), Ret: 1"});
}

}  // namespace
