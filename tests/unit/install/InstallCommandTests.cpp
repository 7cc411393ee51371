// The install command from its first step to its last. How it settles the switch: InstallSwitchTests.cpp.
#include "install/InstallCommand.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/unit/install/InstallWorld.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;
using VELAWrapper::Install;

namespace {

constexpr char kNoSwitch[] = "LOG_INFO : QueryStringValue Fail, keyName:VELAEnable, nError:2";
const Lines kNoOutlook = {"LOG_INFO : GetOutlookVersion return=0",
                          "LOG_INFO : GetOutlookVersion return OL_NOT_INSTALLED !",
                          "LOG_INFO : MS Office Outlook is not installed !"};

TEST_CASE("a machine without any of it: every step, in order") {
  InstallWorld world;
  world.productKey.Delete();
  const LogCapture log;
  CHECK(Install() == 0);
  CHECK_LINES(log.Lines(), (Joined({StagedResources(),
                                    StagedOutlook(),
                                    StagedWindowsLiveMail(),
                                    {kNoSwitch},
                                    kNoOutlook,
                                    RegisteredOutlookModules(),
                                    RegisteredOutlookExpressModules(),
                                    RegisteredWindowsLiveMailModules()})));
  CHECK_LINES(world.Settings(), {"\"VELAEnable\" REG_DWORD 0",
                                 "\"VELAInstallPath\" REG_SZ \"C:\\VelaTest\\Install\\dest\\Orvane Labs\\\""});
  CHECK(world.LoadBehavior() == 2);
  CHECK(world.regsvr32.OpenHandles() == 0);
}

TEST_CASE("the staged files, on a Windows that no longer has Outlook Express") {
  const InstallWorld world;
  CHECK(Install() == 0);
  CHECK_LINES(world.Staged(),
              {"VELA\\", "VELA\\Resource\\", "VELA\\Resource\\text.dll 12 bytes", "VELA\\VELA_OL\\",
               "VELA\\VELA_OL\\VELA_OL.ini 6 bytes", "VELA\\VELA_OL\\engine.dll 9 bytes",
               "VELA\\VELA_OL\\own.dll 6 bytes", "VELA\\VELA_OL\\rule\\", "VELA\\VELA_OL\\rule\\spam.ptn 5 bytes",
               "VELA\\VELA_WLM\\", "VELA\\VELA_WLM\\VELA_WLM.ini 7 bytes", "VELA\\VELA_WLM\\engine.dll 9 bytes",
               "VELA\\VELA_WLM\\own.dll 7 bytes", "VELA\\VELA_WLM\\rule\\", "VELA\\VELA_WLM\\rule\\spam.ptn 5 bytes"});
}

TEST_CASE("the settings key is made in the 32-bit view first, and closed last") {
  InstallWorld world;
  world.productKey.Delete();
  Lines calls;
  bool closed = false;
  {
    const RegistryCallTrace trace;
    Install();
    calls = trace.Calls();
    closed = trace.AllClosed();
  }
  REQUIRE(calls.size() > 4);
  CHECK(calls.front() ==
        "RegCreateKeyExW HKLM SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA 000F023F options 0 plain -> 1");
  CHECK(calls[1] == "RegOpenKeyExW HKLM SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA 000F023F -> 2");
  CHECK(calls[2] == "RegSetValueExW 2 \"VELAInstallPath\" REG_SZ 76 bytes");
  CHECK(calls.back() == "RegCloseKey 1");
  CHECK(closed);
}

TEST_CASE("a settings key that cannot be made is told, and the command goes on") {
  const InstallWorld world;
  const LogCapture log;
  unsigned nulls = 0;
  {
    const FailCall create("RegCreateKeyExW", 1, ERROR_ACCESS_DENIED);
    ImportRedirection close("RegCloseKey", [&](HKEY key) -> LSTATUS {
      nulls += key == nullptr ? 1 : 0;
      return close.Original<decltype(&::RegCloseKey)>()(key);
    });
    CHECK(Install() == 0);
  }
  const Lines lines = log.Lines();
  REQUIRE_FALSE(lines.empty());
  CHECK(lines.front() ==
        "LOG_ERROR: Fail to create VELA Section SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA");
  CHECK(world.regsvr32.Starts().size() == 10);
  CHECK(nulls == 0);
}

TEST_CASE("an install path that cannot be written does not count") {
  const InstallWorld world;
  const LogCapture log;
  {
    const FailCall set("RegSetValueExW", 1, ERROR_ACCESS_DENIED);
    CHECK(Install() == 0);
  }
  CHECK(log.Lines().front() ==
        "LOG_INFO : SetKeyvalue Fail, keyName:VELAInstallPath, "
        "keyValue:C:\\VelaTest\\Install\\dest\\Orvane Labs\\, nError:5");
  CHECK_LINES(world.Settings(), {"\"VELAEnable\" REG_DWORD 0"});
}

TEST_CASE("a destination that ends in a backslash gets no second one") {
  const InstallWorld world(L"C:\\VelaTest\\Install\\dest\\");
  CHECK(Install() == 0);
  CHECK_LINES(LinesWith(world.Settings(), "Path"),
              {"\"VELAInstallPath\" REG_SZ \"C:\\VelaTest\\Install\\dest\\Orvane Labs\\\""});
  CHECK_FALSE(world.Staged().empty());
}

TEST_CASE("a destination with a double-byte character is not used") {
  RemoveTree(L"C:\\ProgramData\\Orvane Labs");
  const InstallWorld world(L"C:\\VelaTest\\Install\\dest\\Caf\u00E9");
  const LogCapture log;
  CHECK(Install() == 0);
  CHECK(log.Lines().front() == "LOG_INFO : --- Find DBCS Character by checking if ANSI character set --- idx=28");
  CHECK_LINES(LinesWith(world.Settings(), "Path"), {"\"VELAInstallPath\" REG_SZ \"C:\\ProgramData\\Orvane Labs\\\""});
  CHECK(FileContent(L"C:\\ProgramData\\Orvane Labs\\VELA\\VELA_OL\\VELA_OL.ini") == "ini OL");
  CHECK_FALSE(Exists(L"C:\\VelaTest\\Install\\dest\\Caf\u00E9"));
  CHECK(world.regsvr32.CommandLines().front() ==
        "regsvr32.exe /s \"C:\\ProgramData\\Orvane Labs\\VELA\\VELA_OL\\Redemption.dll\"");
  RemoveTree(L"C:\\ProgramData\\Orvane Labs");
}

TEST_CASE("a client that cannot be registered is told, and the next one is tried") {
  InstallWorld world;
  const LogCapture log;
  SUBCASE("all of them") {
    world.regsvr32.FailEveryStart(ERROR_FILE_NOT_FOUND);
    CHECK(Install() == 0);
    CHECK_LINES(LinesWith(log.Lines(), "Fail to Install"),
                {"LOG_ERROR: Fail to Install VELA_OL !!", "LOG_ERROR: Fail to Install VELA_OE !!",
                 "LOG_ERROR: Fail to Install VELA_WLM !!"});
    // One of Outlook, one of Outlook Express, four of Windows Live Mail.
    CHECK(world.regsvr32.Starts().size() == 6);
  }
  SUBCASE("Outlook") {
    world.regsvr32.FailStart(1, ERROR_FILE_NOT_FOUND);
    CHECK(Install() == 0);
    CHECK_LINES(LinesWith(log.Lines(), "Fail to Install"), {"LOG_ERROR: Fail to Install VELA_OL !!"});
  }
  SUBCASE("Outlook Express") {
    world.regsvr32.FailStart(3, ERROR_FILE_NOT_FOUND);
    CHECK(Install() == 0);
    CHECK_LINES(LinesWith(log.Lines(), "Fail to Install"), {"LOG_ERROR: Fail to Install VELA_OE !!"});
  }
  SUBCASE("Windows Live Mail") {
    world.regsvr32.FailStart(7, ERROR_FILE_NOT_FOUND);
    CHECK(Install() == 0);
    CHECK(log.Lines().back() == "LOG_ERROR: Fail to Install VELA_WLM !!");
  }
  CHECK(world.regsvr32.OpenHandles() == 0);
}

TEST_CASE("an Outlook that is not supported is told, and its plug-in is installed all the same") {
  const InstallWorld world;
  const LogCapture log;
  SUBCASE("later than 2010") {
    world.outlook.NameAndRelease(L"16");
    CHECK(Install() == 0);
    CHECK(LinesWith(log.Lines(), "MS Office Outlook is not installed !").size() == 1);
  }
  SUBCASE("2000") {
    world.outlook.NameAndRelease(L"9");
    CHECK(Install() == 0);
    CHECK(LinesWith(log.Lines(), "MS Office Outlook is not installed !").size() == 1);
  }
  SUBCASE("2010, which is") {
    world.outlook.NameAndRelease(L"14");
    CHECK(Install() == 0);
    CHECK_LINES(LinesWith(log.Lines(), "MS Office Outlook is not installed !"), {});
  }
  CHECK(world.regsvr32.CommandLines().size() == 10);
  CHECK(world.LoadBehavior() == 2);
}

TEST_CASE("a second run changes nothing") {
  const InstallWorld world;
  CHECK(Install() == 0);
  const Lines settings = world.Settings();
  FileSnapshot before;
  before.Add(world.folder.Path());
  CHECK(Install() == 0);
  FileSnapshot after;
  after.Add(world.folder.Path());
  CHECK_LINES(FileSnapshot::Changes(before, after), {});
  CHECK_LINES(world.Settings(), (settings));
  CHECK_LINES(world.pending.Lines(), {});
}

TEST_CASE("a source that is not there leaves empty folders and a registration") {
  const InstallWorld world;
  RemoveTree(world.folder.Path(L"src"));
  const LogCapture log;
  CHECK(Install() == 0);
  CHECK_LINES(LinesWith(log.Lines(), "Fail to copy"),
              {"LOG_WARN : Fail to copy VELA_OL.ini !", "LOG_WARN : Fail to copy VELA_WLM.ini !"});
  CHECK(world.regsvr32.Starts().size() == 10);
}

TEST_CASE("every handle of a run is given back") {
  const InstallWorld world;
  world.StoreSwitch(1);
  CHECK(Install() == 0);  // what libraries load and keep, they have now
  DWORD before = 0;
  DWORD after = 0;
  REQUIRE(::GetProcessHandleCount(::GetCurrentProcess(), &before));
  for (int run = 0; run < 5; ++run) {
    CHECK(Install() == 0);
  }
  REQUIRE(::GetProcessHandleCount(::GetCurrentProcess(), &after));
  CHECK(after == before);
}

}  // namespace
