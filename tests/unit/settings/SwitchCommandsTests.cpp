// "-s", "-e" and "-d" on a machine whose clients can be switched: what is asked of the product's key, what is written
// there and what is said.
#include "settings/StatusCommands.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/TestRegistry.h"
#include "tests/unit/activation/SwitchWorld.h"
#include "tests/unit/install/CommandLineGiven.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;

namespace {

constexpr wchar_t kProductKey[] = L"SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";
constexpr char kSwitchFailed[] =
    "LOG_ERROR: HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! strVELAInstallPath = C:\\VELA";

// The one command that is tried, with the names of its texts.
struct Command {
  int (*run)();
  const char* done;
  const char* stored;
  const char* refused;  // with error 5
  DWORD value;
};

constexpr Command kEnable = {Enable, "LOG_INFO : Enable OK", "LOG_INFO : VELA Enable OK",
                             "LOG_INFO : VELA Enable Fail 5", 1};
constexpr Command kDisable = {Disable, "LOG_INFO : Disable OK", "LOG_INFO : VELA Disable OK",
                              "LOG_INFO : VELA Disable Fail", 0};

// A machine on which both directions succeed.
struct CommandWorld {
  CommandLineGiven commandLine{L"C:\\Source", L"C:\\VELA"};
  SwitchWorld around;

  CommandWorld() {
    around.machine.SetFlags(0, 0, 0);
    MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
    MakeKey(MachineKey64(SwitchedMachine::kRunKey), {{L"WLM", L"x"}});
  }

  // The product's key in one view, its values as lines.
  static Lines Stored(REGSAM view = KEY_WOW64_32KEY) {
    RegistrySnapshot snapshot;
    snapshot.Add(HKEY_LOCAL_MACHINE, kProductKey, view);
    Lines values;
    for (const std::string& line : LinesWith(snapshot.AsLines(), "\"")) {
      values.push_back(line.substr(line.find('"')));
    }
    return values;
  }
};

// The last lines of a log: what the command says behind the switch.
Lines Behind(const Lines& log, std::size_t count) {
  return log.size() < count ? log : Lines(log.end() - static_cast<std::ptrdiff_t>(count), log.end());
}

Lines Status() {
  const LogCapture log;
  CHECK(GetStatus() == 0);
  return log.Lines();
}

// ---- status

TEST_CASE("the status is the stored number, unsigned") {
  CommandWorld world;
  for (const auto& [value, shown] :
       {std::pair{DWORD{1}, "1"}, {0, "0"}, {2, "2"}, {0xFFFFFFFF, "4294967295"}, {0x80000000, "2147483648"}}) {
    MakeKey(MachineKey32(kProductKey), {{L"VELAEnable", value}});
    CHECK_LINES(Status(), {std::string("LOG_INFO : GetStatus!!!!! ") + shown});
  }
}

TEST_CASE("the status is read by one query of four bytes from a key that is opened for reading in the 32-bit view") {
  CommandWorld world;
  MakeKey(MachineKey32(kProductKey), {{L"VELAEnable", 1}});
  Lines calls;
  {
    const RegistryCallTrace trace;
    GetStatus();
    calls = trace.Calls();
  }
  CHECK_LINES(calls, {"RegOpenKeyExW HKLM " + ToUtf8(kProductKey) + " 00020219 -> 1",
                      "RegQueryValueExW 1 \"VELAEnable\" 4 bytes", "RegCloseKey 1"});
}

TEST_CASE("without the key there is no status") {
  CommandWorld world;
  MakeKey(MachineKey64(kProductKey), {{L"VELAEnable", 1}});
  CHECK_LINES(Status(), {"LOG_INFO : REG Open Fail"});
}

TEST_CASE("a switch that is missing, too long or no number is no status") {
  CommandWorld world;
  MakeKey(MachineKey32(kProductKey));
  CHECK_LINES(Status(), {"LOG_INFO : GetStatus!!!!! FAIL!!"});
  const BYTE bytes[] = {1, 0, 0, 0, 0, 0, 0, 0};
  struct Case {
    DWORD type;
    DWORD size;
  };
  for (const Case& other : {Case{REG_SZ, 4}, Case{REG_BINARY, 4}, Case{REG_QWORD, 8}, Case{REG_SZ, 8},
                            Case{REG_DWORD_BIG_ENDIAN, 4}, Case{REG_NONE, 4}}) {
    CAPTURE(other.type);
    SetRawValue(MachineKey32(kProductKey), L"VELAEnable", other.type, bytes, other.size);
    CHECK_LINES(Status(), {"LOG_INFO : GetStatus!!!!! FAIL!!"});
  }
}

TEST_CASE("a switch that cannot be read is no status, and the key is closed") {
  CommandWorld world;
  MakeKey(MachineKey32(kProductKey), {{L"VELAEnable", 1}});
  Lines log;
  unsigned closed = 0;
  {
    const FailCall query("RegQueryValueExW", 1, ERROR_ACCESS_DENIED);
    const CountCalls close("RegCloseKey");
    log = Status();
    closed = close.Calls();
  }
  CHECK_LINES(log, {"LOG_INFO : GetStatus!!!!! FAIL!!"});
  CHECK(closed == 1);
}

// ---- on and off

TEST_CASE("a switch that succeeded is stored in the 32-bit view, and flushed") {
  for (const Command& command : {kEnable, kDisable}) {
    CommandWorld world;
    MakeKey(MachineKey32(kProductKey), {{L"VELAEnable", 7}});
    MakeKey(MachineKey64(kProductKey), {{L"VELAEnable", 9}});
    Lines log;
    Lines calls;
    std::vector<HKEY> flushed;
    bool allClosed = false;
    {
      const LogCapture capture;
      const RegistryCallTrace trace;
      ImportRedirection flush("RegFlushKey", [&](HKEY key) -> LSTATUS {
        flushed.push_back(key);
        return flush.Original<decltype(&::RegFlushKey)>()(key);
      });
      CHECK(command.run() == 0);
      calls = Behind(trace.Calls(), 3);
      allClosed = trace.AllClosed();
      log = capture.Lines();
    }
    CHECK_LINES(Behind(log, 2), {command.done, command.stored});
    CHECK_LINES(LinesWith(log, "LOG_ERROR"), {});
    REQUIRE(calls.size() == 3);
    CHECK(calls[0].compare(0, calls[0].find("->"), "RegOpenKeyExW HKLM " + ToUtf8(kProductKey) + " 0002021F ") == 0);
    CHECK(calls[1].find("\"VELAEnable\" REG_DWORD 4 bytes") != std::string::npos);
    CHECK(calls[2].compare(0, 11, "RegCloseKey") == 0);
    CHECK(allClosed);
    REQUIRE(flushed.size() == 1);
    CHECK(flushed.front() != nullptr);
    CHECK_LINES(CommandWorld::Stored(), {"\"VELAEnable\" REG_DWORD " + std::to_string(command.value)});
    CHECK_LINES(CommandWorld::Stored(KEY_WOW64_64KEY), {"\"VELAEnable\" REG_DWORD 9"});
  }
}

TEST_CASE("a value of another type becomes a number") {
  for (const Command& command : {kEnable, kDisable}) {
    CommandWorld world;
    MakeKey(MachineKey32(kProductKey), {{L"VELAEnable", L"on"}, {L"VELAInstallPath", L"C:\\Kept"}});
    CHECK(command.run() == 0);
    CHECK_LINES(CommandWorld::Stored(), {"\"VELAEnable\" REG_DWORD " + std::to_string(command.value),
                                         "\"VELAInstallPath\" REG_SZ \"C:\\Kept\""});
  }
}

TEST_CASE("without the key the switch is done and not stored; a null key is flushed, and none is made") {
  for (const Command& command : {kEnable, kDisable}) {
    CommandWorld world;
    MakeKey(MachineKey64(kProductKey));
    Lines log;
    std::vector<HKEY> flushed;
    {
      const LogCapture capture;
      ImportRedirection flush("RegFlushKey", [&](HKEY key) -> LSTATUS {
        flushed.push_back(key);
        return flush.Original<decltype(&::RegFlushKey)>()(key);
      });
      CHECK(command.run() == 0);
      log = capture.Lines();
    }
    CHECK_LINES(Behind(log, 2), {command.done, "LOG_INFO : REG Open Fail"});
    CHECK(flushed == std::vector<HKEY>{nullptr});
    CHECK_FALSE(KeyExists(MachineKey32(kProductKey)));
    CHECK_LINES(CommandWorld::Stored(KEY_WOW64_64KEY), {});
  }
}

TEST_CASE("a key that may only be read cannot be opened for the switch") {
  for (const Command& command : {kEnable, kDisable}) {
    CommandWorld world;
    MakeKey(MachineKey32(kProductKey), {{L"VELAEnable", 7}});
    SetKeyAccess(MachineKey32(kProductKey), kReadOnlyAccess);
    const LogCapture log;
    CHECK(command.run() == 0);
    SetKeyAccess(MachineKey32(kProductKey), kFullAccess);
    CHECK_LINES(Behind(log.Lines(), 2), {command.done, "LOG_INFO : REG Open Fail"});
    CHECK_LINES(CommandWorld::Stored(), {"\"VELAEnable\" REG_DWORD 7"});
  }
}

TEST_CASE("a value that is refused is told, with the error for on and without it for off") {
  for (const Command& command : {kEnable, kDisable}) {
    CommandWorld world;
    MakeKey(MachineKey32(kProductKey), {{L"VELAEnable", 7}});
    Lines log;
    unsigned flushed = 0;
    {
      const LogCapture capture;
      ImportRedirection set(
          "RegSetValueExW",
          [&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
            return std::wcscmp(name, L"VELAEnable") == 0
                       ? ERROR_ACCESS_DENIED
                       : set.Original<decltype(&::RegSetValueExW)>()(key, name, reserved, type, data, size);
          });
      const CountCalls flush("RegFlushKey");
      CHECK(command.run() == 0);
      flushed = flush.Calls();
      log = capture.Lines();
    }
    CHECK_LINES(Behind(log, 2), {command.done, command.refused});
    CHECK(flushed == 1);
    CHECK_LINES(CommandWorld::Stored(), {"\"VELAEnable\" REG_DWORD 7"});
  }
}

TEST_CASE("a flush that fails changes nothing") {
  CommandWorld world;
  MakeKey(MachineKey32(kProductKey));
  const LogCapture log;
  {
    const FailCall flush("RegFlushKey", 1, ERROR_REGISTRY_IO_FAILED);
    CHECK(Enable() == 0);
  }
  CHECK(log.Lines().back() == kEnable.stored);
}

TEST_CASE("a switch that failed leaves what is stored, names the folder, and never touches the key") {
  for (const Command& command : {kEnable, kDisable}) {
    CommandWorld world;
    world.around.session.missingEntries = {"WTSGetActiveConsoleSessionId"};
    MakeKey(MachineKey32(kProductKey), {{L"VELAEnable", 7}});
    Lines log;
    Lines calls;
    unsigned flushed = 0;
    {
      const LogCapture capture;
      const RegistryCallTrace trace;
      const CountCalls flush("RegFlushKey");
      CHECK(command.run() == 0);
      flushed = flush.Calls();
      calls = trace.Calls();
      log = capture.Lines();
    }
    CHECK_LINES(Behind(log, 2), {"LOG_ERROR: *** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session "
                                 "id. error=127",
                                 kSwitchFailed});
    CHECK(flushed == 0);
    CHECK_LINES(LinesWith(calls, "BastionNTCorp"), {});
    CHECK_LINES(CommandWorld::Stored(), {"\"VELAEnable\" REG_DWORD 7"});
  }
}

TEST_CASE("the folder of the command line is the install path as it is given") {
  CommandWorld world;
  const CommandLineGiven other(L"C:\\Source", L"D:\\Mail Guard\\");
  MakeKey(MachineKey32(kProductKey));
  CHECK(Enable() == 0);
  CHECK(SwitchedMachine::RunValue(L"WLM") == L"\"D:\\Mail Guard\\VELA_WLM\\VELA_WLMMon.exe\"");
  CHECK_LINES(world.around.monitors.Starts(),
              {"token D:\\Mail Guard\\\\VELA\\VELA_WLM\\VELA_WLMMon.exe plain as the user"});
}

TEST_CASE("the status tells what the last switch stored") {
  CommandWorld world;
  MakeKey(MachineKey32(kProductKey));
  Enable();
  CHECK_LINES(Status(), {"LOG_INFO : GetStatus!!!!! 1"});
  Disable();
  CHECK_LINES(Status(), {"LOG_INFO : GetStatus!!!!! 0"});
}

}  // namespace
