// A program of its own: a Windows that reports 10.0 has no minor version, and so counts as one with Outlook Express.
#include <doctest/doctest.h>

#include "install/InstallCommand.h"
#include "install/UpgradeCommand.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallWorld.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;

namespace {

TEST_CASE("an install stages the files of Outlook Express, the 64-bit ones") {
  const WindowsReports windows10(10, 0, VER_NT_WORKSTATION);
  const InstallWorld world;
  const LogCapture log;
  CHECK(VELAWrapper::Install() == 0);
  CHECK_LINES(
      LinesWith(log.Lines(), "CopyFile("),
      (Joined({StagedResources(), StagedOutlook(), StagedOutlookExpress("OE64", "win64"), StagedWindowsLiveMail()})));
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OE\\own.dll")) == "own OE64");
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OE\\engine.dll")) == "engine 64");
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OE\\VELA_OE.ini")) == "ini OE");
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OL\\engine.dll")) == "engine 32");
}

TEST_CASE("an upgrade does, too, and tells four results") {
  const WindowsReports windows10(10, 0, VER_NT_WORKSTATION);
  const InstallWorld world;
  const LogCapture log;
  CHECK(VELAWrapper::Upgrade() == 1);
  CHECK_LINES(log.Lines(), (Joined({StagedResources(),
                                    {"LOG_INFO : VELAUtility::PreInstallVELA_MUI(), Ret: 1"},
                                    StagedOutlook(),
                                    {"LOG_INFO : VELAUtility::PreInstallVELA_OL(), Ret: 1"},
                                    StagedOutlookExpress("OE64", "win64"),
                                    {"LOG_INFO : VELAUtility::PreInstallVELA_OE(), Ret: 1"},
                                    StagedWindowsLiveMail(),
                                    {"LOG_INFO : VELAUtility::PreInstallVELA_WLM(), Ret: 1"}})));
}

TEST_CASE("a running Outlook Express is looked for under its own name") {
  const WindowsReports windows10(10, 0, VER_NT_WORKSTATION);
  InstallWorld world;
  world.StoreSwitch(1);
  world.running.Become({L"winmail.exe"});
  CHECK(VELAWrapper::Install() == 0);
  CHECK(world.LoadBehavior() == 3);
  world.running.Become({L"msimn.exe"});
  CHECK(VELAWrapper::Install() == 0);
  CHECK(world.LoadBehavior() == 2);
}

}  // namespace
