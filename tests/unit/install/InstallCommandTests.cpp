// What a run of install or upgrade does not show from outside: its calls, and single calls that fail. Whole runs:
// tests/scenarios and tests/matrix.
#include "install/InstallCommand.h"

#include <doctest/doctest.h>

#include "install/UpgradeCommand.h"
#include "tests/support/CallFailures.h"
#include "tests/support/Clients.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/unit/install/InstallWorld.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;
using VELAWrapper::Install;

namespace {

constexpr DWORD kLoadAtStart = 3;
constexpr DWORD kDoNotLoad = 2;
constexpr char kKey[] = "SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";

std::size_t AllModules() {
  std::size_t modules = 0;
  for (const Client& client : Clients()) {
    modules += client.modules.size();
  }
  return modules;
}

// The lines about the switch.
Lines AboutSwitch(const Lines& lines) {
  return Joined({LinesWith(lines, "Mail Client Running"), LinesWith(lines, "VELAEnable"),
                 LinesWith(lines, "VELA_ENABLE"), LinesWith(lines, "status to reg")});
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
  CHECK(calls.front() == std::string("RegCreateKeyExW HKLM ") + kKey + " 000F023F options 0 plain -> 1");
  CHECK(calls[1] == std::string("RegOpenKeyExW HKLM ") + kKey + " 000F023F -> 2");
  CHECK(calls[2] == "RegSetValueExW 2 \"VELAInstallPath\" REG_SZ 76 bytes");
  CHECK(calls.back() == "RegCloseKey 1");
  CHECK(closed);
  CHECK_LINES(world.Settings(), {"\"VELAEnable\" REG_DWORD 0",
                                 "\"VELAInstallPath\" REG_SZ \"C:\\VelaTest\\Install\\dest\\Orvane Labs\\\""});
  CHECK(world.regsvr32.Starts().size() == AllModules());
  CHECK(world.regsvr32.OpenHandles() == 0);
}

TEST_CASE("a settings key that cannot be made is told, and the command goes on; no null key is closed") {
  const InstallWorld world;
  const LogCapture log;
  unsigned nulls = 0;
  {
    const FailCall create("RegCreateKeyExW", 1, ERROR_ACCESS_DENIED);
    ImportRedirection close("RegCloseKey", [&](HKEY key) -> LSTATUS {
      nulls += key == nullptr ? 1U : 0U;
      return close.Original<decltype(&::RegCloseKey)>()(key);
    });
    CHECK(Install() == 0);
  }
  CHECK(log.Lines().front() == std::string("LOG_ERROR: Fail to create VELA Section ") + kKey);
  CHECK(world.regsvr32.Starts().size() == AllModules());
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

TEST_CASE("an Outlook that is not supported is told, and every client is registered all the same") {
  for (const bool supported : {false, true}) {
    CAPTURE(supported);
    const InstallWorld world;
    world.outlook.NameAndRelease(supported ? L"14" : L"16");
    const LogCapture log;
    CHECK(Install() == 0);
    CHECK(LinesWith(log.Lines(), "LOG_INFO : MS Office Outlook is not installed !").size() == (supported ? 0 : 1));
    CHECK(world.regsvr32.Starts().size() == AllModules());
  }
}

struct Switch {
  const char* name;
  int stored;  // -1: not at all
  const wchar_t* running;
  Calls listsFailing;
  unsigned lists;  // of processes that are taken
  Lines lines;
  const char* left;
  DWORD loadBehavior;
};

TEST_CASE("a switch that is on asks for each client until one runs, and is then turned off") {
  const char* const off = "\"VELAEnable\" REG_DWORD 0";
  const char* const on = "\"VELAEnable\" REG_DWORD 1";
  const Lines none = {"LOG_INFO : There is no any Mail Client Running."};
  const Lines some = {"LOG_INFO : There is a Mail Client Running."};
  const auto all = static_cast<unsigned>(Clients().size());  // each registration takes one list, too
  const Switch rows[] = {
      {"missing",
       -1,
       L"x.exe",
       Calls::None(),
       all,
       {"LOG_INFO : QueryStringValue Fail, keyName:VELAEnable, nError:2"},
       off,
       kDoNotLoad},
      {"off", 0, L"outlook.exe", Calls::None(), all, {}, off, kDoNotLoad},
      {"neither on nor off", 2, L"x.exe", Calls::None(), all, {}, "\"VELAEnable\" REG_DWORD 2", kDoNotLoad},
      {"no client runs", 1, L"outlookx.exe", Calls::None(), 2 * all, none, on, kLoadAtStart},
      {"the first client runs", 1, L"OUTLOOK.EXE", Calls::None(), all + 1, some, off, kDoNotLoad},
      {"the second client runs", 1, L"msimn.exe", Calls::None(), all + 2, some, off, kDoNotLoad},
      {"no list can be taken", 1, L"outlook.exe", Calls::From(1), 2 * all, none, on, kLoadAtStart},
  };
  for (const Switch& row : rows) {
    CAPTURE(row.name);
    InstallWorld world;
    if (row.stored >= 0) {
      world.StoreSwitch(static_cast<DWORD>(row.stored));
    }
    world.running.Become({L"System", row.running});
    const LogCapture log;
    unsigned lists = 0;
    {
      const FailCall failing("CreateToolhelp32Snapshot", row.listsFailing, ERROR_PARTIAL_COPY);
      const CountCalls list("CreateToolhelp32Snapshot");
      CHECK(Install() == 0);
      lists = list.Calls();
    }
    CHECK(lists == row.lists);
    CHECK_LINES(AboutSwitch(log.Lines()), (row.lines));
    CHECK_LINES(LinesWith(world.Settings(), "VELAEnable"), {row.left});
    CHECK(world.LoadBehavior() == row.loadBehavior);
  }
}

TEST_CASE("a switch that cannot be turned off is handed on as it is, except to the running client") {
  struct Row {
    const wchar_t* running;
    DWORD loadBehavior;  // of Outlook
  };
  for (const Row& row : {Row{L"msimn.exe", kLoadAtStart}, Row{L"outlook.exe", kDoNotLoad}}) {
    CAPTURE(ToUtf8(row.running));
    InstallWorld world;
    world.StoreSwitch(1);
    world.running.Become({row.running});
    const LogCapture log;
    {
      const FailCall set("RegSetValueExW", Calls::Between(1, 2), ERROR_ACCESS_DENIED);  // the first is the install path
      CHECK(Install() == 0);
    }
    CHECK_LINES(AboutSwitch(log.Lines()), {"LOG_INFO : There is a Mail Client Running.",
                                           "LOG_INFO : SetKeyvalue Fail, keyName:VELAEnable, keyValue:0, nError:5",
                                           "LOG_ERROR: Fail to set REG_ZENTA_VELA_ENABLE_KEY value !!"});
    CHECK_LINES(world.Settings(), {"\"VELAEnable\" REG_DWORD 1"});
    CHECK(world.LoadBehavior() == row.loadBehavior);
    CHECK(world.regsvr32.Starts().size() == AllModules());
  }
}

TEST_CASE("a switch that can be neither read nor written ends the command behind the staging, and closes every key") {
  for (const bool hasKey : {true, false}) {
    CAPTURE(hasKey);
    const InstallWorld world;
    if (!hasKey) {
      world.productKey.Delete();
    }
    const LogCapture log;
    int result = 0;
    bool closed = false;
    {
      const FailCall create("RegCreateKeyExW", hasKey ? Calls::None() : Calls::Only(1), ERROR_ACCESS_DENIED);
      const FailCall set("RegSetValueExW", hasKey ? Calls::From(2) : Calls::None(), ERROR_ACCESS_DENIED);
      const RegistryCallTrace trace;
      result = Install();
      closed = trace.AllClosed();
    }
    CHECK(result == -520159231);
    CHECK(static_cast<DWORD>(result) == 0xE0FF0001U);
    CHECK(closed);
    CHECK(log.Lines().back() == "LOG_ERROR: Fail to set VELA enable/disable status to reg !!");
    CHECK(world.regsvr32.Starts().empty());
    CHECK(world.LoadBehavior() == 0);
    CHECK(Exists(world.folder.Path(L"dest\\Orvane Labs\\VELA\\Resource\\text.dll")));
  }
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

TEST_CASE("an upgrade asks for neither settings nor registrations nor running clients, and gives 1") {
  InstallWorld world;
  world.StoreSwitch(1);
  world.running.Become({L"outlook.exe"});
  const Lines before = world.Settings();
  const LogCapture log;
  unsigned calls = 0;
  {
    const CountCalls list("CreateToolhelp32Snapshot");
    const CountCalls open("RegOpenKeyExW");
    const CountCalls openPlain("RegOpenKeyW");
    const CountCalls create("RegCreateKeyExW");
    CHECK(VELAWrapper::Upgrade() == 1);
    calls = list.Calls() + open.Calls() + openPlain.Calls() + create.Calls();
  }
  CHECK(calls == 0);
  CHECK(world.regsvr32.Starts().empty());
  CHECK_LINES(world.Settings(), (before));
  CHECK(LinesWith(log.Lines(), "Ret: 1").size() > 1);
  CHECK(FileContent(world.folder.Path(L"dest\\Orvane Labs\\VELA\\Resource\\text.dll")) == "resource x64");
}

}  // namespace
