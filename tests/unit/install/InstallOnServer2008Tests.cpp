// A program of its own: Windows Server 2008 for Itanium has Windows Mail in the place of Outlook Express, and is a
// 64-bit system that does not run AMD64 files.
#include <doctest/doctest.h>

#include "install/InstallCommand.h"
#include "install/UpgradeCommand.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallWorld.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;

namespace {

void WINAPI TellItanium(SYSTEM_INFO* info) {
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_IA64;
}

struct Server2008 {
  WindowsReports version{6, 0, VER_NT_SERVER};
  AnswerProcAddress processor{"GetNativeSystemInfo", &TellItanium};
};

TEST_CASE("the files are the 32-bit ones, those of Outlook Express among them") {
  const Server2008 server;
  const InstallWorld world;
  const LogCapture log;
  CHECK(VELAWrapper::Install() == 0);
  CHECK_LINES(LinesWith(log.Lines(), "CopyFile("),
              (Joined({StagedResources("x86"), StagedOutlook(), StagedOutlookExpress("OE", "win32"),
                       StagedWindowsLiveMail()})));
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\Resource\\text.dll")) == "resource x86");
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OE\\own.dll")) == "own OE");
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OE\\engine.dll")) == "engine 32");
}

TEST_CASE("an upgrade takes the same files") {
  const Server2008 server;
  const InstallWorld world;
  const LogCapture log;
  CHECK(VELAWrapper::Upgrade() == 1);
  CHECK_LINES(LinesWith(log.Lines(), "CopyFile("),
              (Joined({StagedResources("x86"), StagedOutlook(), StagedOutlookExpress("OE", "win32"),
                       StagedWindowsLiveMail()})));
  CHECK(LinesWith(log.Lines(), "Ret: 1").size() == 4);
}

TEST_CASE("Windows Mail is looked for, under the name of Outlook Express, and msimn is not") {
  const Server2008 server;
  InstallWorld world;
  world.StoreSwitch(1);
  const LogCapture log;
  SUBCASE("msimn") {
    world.running.Become({L"msimn.exe"});
    CHECK(VELAWrapper::Install() == 0);
    CHECK_LINES(LinesWith(log.Lines(), "unning"), {"LOG_INFO : There is no any Mail Client Running."});
    CHECK(world.LoadBehavior() == 3);
  }
  SUBCASE("winmail") {
    world.running.Become({L"WinMail.exe"});
    CHECK(VELAWrapper::Install() == 0);
    CHECK_LINES(LinesWith(log.Lines(), "unning"), {"LOG_INFO : There is a Mail Client Running.",
                                                   "LOG_INFO : Outlook Express is running during installing !"});
    CHECK(world.LoadBehavior() == 2);
  }
}

}  // namespace
