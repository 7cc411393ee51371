// Parts of install and upgrade that are not visible from outside: the calls, and single calls that fail. Whole runs:
// tests/scenarios and tests/matrix.
#include "install/InstallCommand.h"

#include <doctest/doctest.h>

#include "install/UpgradeCommand.h"
#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/Clients.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallWorld.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;
using VELAWrapper::Install;

namespace {

constexpr DWORD kLoadAtStart = 3;
constexpr DWORD kDoNotLoad = 2;
constexpr char kKey[] = "SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";

std::string Stored(int value) {
  return "\"VELAEnable\" REG_DWORD " + std::to_string(value);
}

// The lines about the switch.
Lines AboutSwitch(const Lines& lines) {
  return Joined({LinesWith(lines, "Mail Client Running"), LinesWith(lines, "VELAEnable"),
                 LinesWith(lines, "VELA_ENABLE"), LinesWith(lines, "status to reg")});
}

TEST_CASE("the settings key is created in the 32-bit view first, and closed last") {
  InstallWorld world;
  world.productKey.Delete();
  Lines calls;
  {
    const RegistryCallTrace trace;
    Install();
    calls = trace.Calls();
    CHECK(trace.AllClosed());
  }
  REQUIRE(calls.size() > 4);
  CHECK(calls.front() == std::string("RegCreateKeyExW HKLM ") + kKey + " 000F023F options 0 plain -> 1");
  CHECK(calls[1] == std::string("RegOpenKeyExW HKLM ") + kKey + " 000F023F -> 2");
  CHECK(calls[2] == "RegSetValueExW 2 \"VELAInstallPath\" REG_SZ 76 bytes");
  CHECK(calls.back() == "RegCloseKey 1");
  CHECK_LINES(world.Settings(),
              {Stored(0), "\"VELAInstallPath\" REG_SZ \"C:\\VelaTest\\Install\\dest\\Orvane Labs\\\""});
  CHECK(world.regsvr32.Starts().size() == AllModules());
  CHECK(world.regsvr32.OpenHandles() == 0);
}

TEST_CASE("if the settings key or the install path cannot be written, that is logged; no null key is closed") {
  for (const bool keyFails : {true, false}) {
    InstallWorld world;
    const LogCapture log;
    unsigned nulls = 0;
    {
      const FailCall failing(keyFails ? "RegCreateKeyExW" : "RegSetValueExW", 1, ERROR_ACCESS_DENIED);
      const OnCall close("RegCloseKey", &::RegCloseKey, [&](HKEY key) { nulls += key == nullptr ? 1U : 0U; });
      CHECK(Install() == 0);
    }
    CHECK(log.Lines().front() == (keyFails ? std::string("LOG_ERROR: Fail to create VELA Section ") + kKey
                                           : "LOG_INFO : SetKeyvalue Fail, keyName:VELAInstallPath, "
                                             "keyValue:C:\\VelaTest\\Install\\dest\\Orvane Labs\\, nError:5"));
    CHECK(LinesWith(world.Settings(), "VELAInstallPath").size() == (keyFails ? 1 : 0));
    CHECK(world.regsvr32.Starts().size() == AllModules());
    CHECK(nulls == 0);
  }
}

struct Switch {
  const char* name;
  int stored;  // -1: no call
  const wchar_t* running;
  Calls listsFailing;
  unsigned lists;  // of process snapshots
  const char* line;
  int left;
  DWORD loadBehavior;
};

TEST_CASE("if the switch is on, clients are looked for until one runs; then the switch is turned off") {
  const char* const missing = "LOG_INFO : QueryStringValue Fail, keyName:VELAEnable, nError:2";
  const char* const nobody = "LOG_INFO : There is no any Mail Client Running.";
  const char* const some = "LOG_INFO : There is a Mail Client Running.";
  const auto all = static_cast<unsigned>(Clients().size());  // each registration takes one snapshot, too
  for (const Switch& row : {
           Switch{"missing", -1, L"x.exe", Calls::None(), all, missing, 0, kDoNotLoad},
           {"off", 0, L"outlook.exe", Calls::None(), all, "", 0, kDoNotLoad},
           {"neither on nor off", 2, L"x.exe", Calls::None(), all, "", 2, kDoNotLoad},
           {"no client runs", 1, L"outlookx.exe", Calls::None(), 2 * all, nobody, 1, kLoadAtStart},
           {"the first client runs", 1, L"OUTLOOK.EXE", Calls::None(), all + 1, some, 0, kDoNotLoad},
           {"the second client runs", 1, L"msimn.exe", Calls::None(), all + 2, some, 0, kDoNotLoad},
           {"no list can be taken", 1, L"outlook.exe", Calls::From(1), 2 * all, nobody, 1, kLoadAtStart},
       }) {
    CAPTURE(std::string(row.name));
    InstallWorld world;
    if (row.stored >= 0) {
      world.StoreSwitch(static_cast<DWORD>(row.stored));
    }
    world.running.Become({L"System", row.running});
    const LogCapture log;
    {
      const FailCall failing("CreateToolhelp32Snapshot", row.listsFailing, ERROR_PARTIAL_COPY);
      const CountCalls list("CreateToolhelp32Snapshot");
      CHECK(Install() == 0);
      CHECK(list.Calls() == row.lists);
    }
    CHECK_LINES(AboutSwitch(log.Lines()), (*row.line == '\0' ? Lines{} : Lines{row.line}));
    CHECK_LINES(LinesWith(world.Settings(), "VELAEnable"), {Stored(row.left)});
    CHECK(world.LoadBehavior() == row.loadBehavior);
  }
}

TEST_CASE("if the switch cannot be turned off, clients are registered as on, except the running one") {
  for (const bool outlookRuns : {false, true}) {
    InstallWorld world;
    world.StoreSwitch(1);
    world.running.Become({outlookRuns ? L"outlook.exe" : L"msimn.exe"});
    const LogCapture log;
    {
      const FailCall set("RegSetValueExW", Calls::Between(1, 2), ERROR_ACCESS_DENIED);  // the first is the install path
      CHECK(Install() == 0);
    }
    CHECK_LINES(AboutSwitch(log.Lines()), {"LOG_INFO : There is a Mail Client Running.",
                                           "LOG_INFO : SetKeyvalue Fail, keyName:VELAEnable, keyValue:0, nError:5",
                                           "LOG_ERROR: Fail to set REG_ZENTA_VELA_ENABLE_KEY value !!"});
    CHECK_LINES(world.Settings(), {Stored(1)});
    CHECK(world.LoadBehavior() == (outlookRuns ? kDoNotLoad : kLoadAtStart));
    CHECK(world.regsvr32.Starts().size() == AllModules());
  }
}

TEST_CASE("a switch that can be neither read nor written ends the command after staging, and every key is closed") {
  for (const bool hasKey : {true, false}) {
    const InstallWorld world;
    if (!hasKey) {
      world.productKey.Delete();
    }
    const LogCapture log;
    {
      const FailCall create("RegCreateKeyExW", hasKey ? Calls::None() : Calls::Only(1), ERROR_ACCESS_DENIED);
      const FailCall set("RegSetValueExW", hasKey ? Calls::From(2) : Calls::None(), ERROR_ACCESS_DENIED);
      const RegistryCallTrace trace;
      CHECK(static_cast<DWORD>(Install()) == 0xE0FF0001U);
      CHECK(trace.AllClosed());
    }
    CHECK(log.Lines().back() == "LOG_ERROR: Fail to set VELA enable/disable status to reg !!");
    CHECK(world.regsvr32.Starts().empty());
    CHECK(world.LoadBehavior() == 0);
    CHECK(Exists(world.folder.Path(L"dest\\Orvane Labs\\VELA\\Resource\\text.dll")));
  }
}

TEST_CASE("an upgrade reads no settings, registers nothing, looks for no running clients, and returns 1") {
  InstallWorld world;
  world.StoreSwitch(1);
  world.running.Become({L"outlook.exe"});
  const LogCapture log;
  {
    const CountCalls list("CreateToolhelp32Snapshot");
    const CountCalls open("RegOpenKeyExW");
    const CountCalls openPlain("RegOpenKeyW");
    const CountCalls create("RegCreateKeyExW");
    CHECK(VELAWrapper::Upgrade() == 1);
    CHECK(list.Calls() + open.Calls() + openPlain.Calls() + create.Calls() == 0);
  }
  CHECK(world.regsvr32.Starts().empty());
  CHECK(LinesWith(log.Lines(), "Ret: 1").size() > 1);
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\Resource\\text.dll")) == "resource x64");
}

}  // namespace
