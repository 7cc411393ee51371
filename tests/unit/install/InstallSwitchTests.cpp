// What becomes of the anti-spam switch during an install, and of each client's own.
#include <doctest/doctest.h>

#include <algorithm>

#include "install/InstallCommand.h"
#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallWorld.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;
using VELAWrapper::Install;

namespace {

constexpr DWORD kLoadAtStart = 3;
constexpr DWORD kDoNotLoad = 2;

// The lines about running clients, and those of the switch.
Lines About(const Lines& lines) {
  Lines found;
  for (const std::string& line : lines) {
    for (const char* part : {"Running", "running", "VELAEnable", "VELA_ENABLE", "status to reg"}) {
      if (line.find(part) != std::string::npos) {
        found.push_back(line);
        break;
      }
    }
  }
  return found;
}

Lines Switch(const InstallWorld& world) {
  return LinesWith(world.Settings(), "VELAEnable");
}

TEST_CASE("a missing switch is written as off, and nobody asks for running clients before the registrations") {
  const InstallWorld world;
  const LogCapture log;
  unsigned lists = 0;
  {
    const CountCalls list("CreateToolhelp32Snapshot");
    CHECK(Install() == 0);
    lists = list.Calls();
  }
  CHECK(lists == 3);
  CHECK_LINES(About(log.Lines()), {"LOG_INFO : QueryStringValue Fail, keyName:VELAEnable, nError:2"});
  CHECK_LINES(Switch(world), {"\"VELAEnable\" REG_DWORD 0"});
  CHECK(world.LoadBehavior() == kDoNotLoad);
}

TEST_CASE("a switch that is off stays off") {
  const InstallWorld world;
  world.StoreSwitch(0);
  const LogCapture log;
  unsigned lists = 0;
  {
    const CountCalls list("CreateToolhelp32Snapshot");
    CHECK(Install() == 0);
    lists = list.Calls();
  }
  CHECK(lists == 3);
  CHECK_LINES(About(log.Lines()), {});
  CHECK_LINES(Switch(world), {"\"VELAEnable\" REG_DWORD 0"});
  CHECK(world.LoadBehavior() == kDoNotLoad);
}

TEST_CASE("any number but 1 is off, and is left as it is") {
  const InstallWorld world;
  world.StoreSwitch(2);
  const LogCapture log;
  CHECK(Install() == 0);
  CHECK_LINES(About(log.Lines()), {});
  CHECK_LINES(Switch(world), {"\"VELAEnable\" REG_DWORD 2"});
  CHECK(world.LoadBehavior() == kDoNotLoad);
}

TEST_CASE("a switch that is on stays on where no client runs") {
  InstallWorld world;
  world.StoreSwitch(1);
  world.running.Become({L"System", L"winmail.exe", L"outlookx.exe"});  // Windows Mail is not looked at here
  const LogCapture log;
  unsigned lists = 0;
  {
    const CountCalls list("CreateToolhelp32Snapshot");
    CHECK(Install() == 0);
    lists = list.Calls();
  }
  CHECK(lists == 6);
  CHECK_LINES(About(log.Lines()), {"LOG_INFO : There is no any Mail Client Running."});
  CHECK_LINES(Switch(world), {"\"VELAEnable\" REG_DWORD 1"});
  CHECK(world.LoadBehavior() == kLoadAtStart);
}

TEST_CASE("a running client switches it off for all, and is told again at its own registration") {
  InstallWorld world;
  world.StoreSwitch(1);
  const LogCapture log;
  unsigned lists = 0;
  std::string own;
  unsigned wanted = 0;
  SUBCASE("Outlook: nobody asks further") {
    world.running.Become({L"OUTLOOK.EXE"});
    own = "LOG_INFO : MS Office Outlook is running during installing !";
    wanted = 4;
  }
  SUBCASE("Outlook Express") {
    world.running.Become({L"msimn.exe"});
    own = "LOG_INFO : Outlook Express is running during installing !";
    wanted = 5;
  }
  SUBCASE("Windows Live Mail") {
    world.running.Become({L"other.exe", L"WLMail.exe"});
    own = "LOG_INFO : Windows Live Mail is running during installing !";
    wanted = 6;
  }
  {
    const CountCalls list("CreateToolhelp32Snapshot");
    CHECK(Install() == 0);
    lists = list.Calls();
  }
  CHECK(lists == wanted);
  CHECK_LINES(About(log.Lines()), {"LOG_INFO : There is a Mail Client Running.", own});
  CHECK_LINES(Switch(world), {"\"VELAEnable\" REG_DWORD 0"});
  CHECK(world.LoadBehavior() == kDoNotLoad);
}

TEST_CASE("all clients running are told at their registrations, in order") {
  InstallWorld world;
  world.StoreSwitch(0);
  world.running.Become({L"wlmail.exe", L"msimn.exe", L"outlook.exe"});
  const LogCapture log;
  CHECK(Install() == 0);
  CHECK_LINES(About(log.Lines()), {"LOG_INFO : MS Office Outlook is running during installing !",
                                   "LOG_INFO : Outlook Express is running during installing !",
                                   "LOG_INFO : Windows Live Mail is running during installing !"});
}

TEST_CASE("a client's line comes right before its registration") {
  InstallWorld world;
  world.running.Become({L"msimn.exe"});
  world.regsvr32.FailEveryStart(ERROR_FILE_NOT_FOUND);
  const LogCapture log;
  CHECK(Install() == 0);
  const Lines lines = log.Lines();
  const auto line = std::find(lines.begin(), lines.end(), "LOG_INFO : Outlook Express is running during installing !");
  REQUIRE(line != lines.end());
  CHECK(*(line - 1) == "LOG_ERROR: Fail to Install VELA_OL !!");
  CHECK((line + 1)->find("LOG_INFO : RegisterComModule() command line: ") == 0);
}

TEST_CASE("a switch that cannot be cleared is handed on as it is, except to the running client") {
  InstallWorld world;
  world.StoreSwitch(1);
  const LogCapture log;
  DWORD wanted = 0;
  std::string own;
  SUBCASE("Windows Live Mail runs: Outlook is switched on") {
    world.running.Become({L"wlmail.exe"});
    wanted = kLoadAtStart;
    own = "LOG_INFO : Windows Live Mail is running during installing !";
  }
  SUBCASE("Outlook runs: it is not") {
    world.running.Become({L"outlook.exe"});
    wanted = kDoNotLoad;
    own = "LOG_INFO : MS Office Outlook is running during installing !";
  }
  {
    const FailCall set("RegSetValueExW", 2, ERROR_ACCESS_DENIED);  // the first is the install path
    CHECK(Install() == 0);
  }
  CHECK_LINES(About(log.Lines()), {"LOG_INFO : There is a Mail Client Running.",
                                   "LOG_INFO : SetKeyvalue Fail, keyName:VELAEnable, keyValue:0, nError:5",
                                   "LOG_ERROR: Fail to set REG_ZENTA_VELA_ENABLE_KEY value !!", own});
  CHECK_LINES(Switch(world), {"\"VELAEnable\" REG_DWORD 1"});
  CHECK(world.LoadBehavior() == wanted);
}

TEST_CASE("a list of processes that cannot be taken counts as nobody running") {
  InstallWorld world;
  world.StoreSwitch(1);
  world.running.Become({L"outlook.exe"});
  const LogCapture log;
  {
    const FailCall list("CreateToolhelp32Snapshot", Calls::From(1), ERROR_PARTIAL_COPY);
    CHECK(Install() == 0);
  }
  CHECK_LINES(About(log.Lines()), {"LOG_INFO : There is no any Mail Client Running."});
  CHECK(world.LoadBehavior() == kLoadAtStart);
}

TEST_CASE("a switch that can be neither read nor written ends the command") {
  const InstallWorld world;
  const LogCapture log;
  int result = 0;
  bool closed = false;
  SUBCASE("the writing is refused") {
    const FailCall set("RegSetValueExW", Calls::From(2), ERROR_ACCESS_DENIED);
    const RegistryCallTrace trace;
    result = Install();
    closed = trace.AllClosed();
    CHECK_LINES(About(log.Lines()), {"LOG_INFO : QueryStringValue Fail, keyName:VELAEnable, nError:2",
                                     "LOG_INFO : SetKeyvalue Fail, keyName:VELAEnable, keyValue:0, nError:5",
                                     "LOG_ERROR: Fail to set VELA enable/disable status to reg !!"});
  }
  SUBCASE("the key is gone") {
    world.productKey.Delete();
    const FailCall create("RegCreateKeyExW", 1, ERROR_ACCESS_DENIED);
    const RegistryCallTrace trace;
    result = Install();
    closed = trace.AllClosed();
    CHECK_LINES(LinesWith(log.Lines(), "VELA,"),
                {"LOG_INFO : REG Open Fail, path:SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA, nError:2",
                 "LOG_INFO : REG Open Fail, path:SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA, nError:2",
                 "LOG_INFO : REG Open Fail, path:SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA, nError:2"});
  }
  CHECK(result == -520159231);
  CHECK(static_cast<DWORD>(result) == 0xE0FF0001U);
  CHECK(closed);
  CHECK(log.Lines().back() == "LOG_ERROR: Fail to set VELA enable/disable status to reg !!");
  CHECK(world.regsvr32.Starts().empty());
  CHECK(world.LoadBehavior() == 0);
  CHECK_FALSE(world.Staged().empty());  // the files were staged before
}

TEST_CASE("a switch that can be read but not written does not end the command") {
  const InstallWorld world;
  world.StoreSwitch(1);
  {
    const FailCall set("RegSetValueExW", Calls::Between(1, 2), ERROR_ACCESS_DENIED);
    CHECK(Install() == 0);
  }
  CHECK(world.regsvr32.Starts().size() == 10);
}

}  // namespace
