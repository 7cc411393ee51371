// The status, and the switch as it is recorded once the clients are switched: calls, access masks and failures.
#include "settings/StatusCommands.h"

#include <doctest/doctest.h>

#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/Clients.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/unit/activation/SwitchWorld.h"
#include "tests/unit/install/CommandLineGiven.h"
#include "tests/unit/settings/RegistryCallTrace.h"
#include "tests/unit/settings/ScratchKey.h"

using namespace TestSupport;

namespace {

constexpr wchar_t kKey[] = L"SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";
constexpr char kOpen[] = "RegOpenKeyExW HKLM SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA ";

struct ProductKey : ScratchKey {
  ProductKey() : ScratchKey(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_32KEY) {}
};

struct Command {
  const char* name;
  int (*run)();
  const char* done;
  const char* stored;
  const char* refused;  // with error 5
  DWORD value;
};

constexpr Command kCommands[] = {
    {"enable", Enable, "LOG_INFO : Enable OK", "LOG_INFO : VELA Enable OK", "LOG_INFO : VELA Enable Fail 5", 1},
    {"disable", Disable, "LOG_INFO : Disable OK", "LOG_INFO : VELA Disable OK", "LOG_INFO : VELA Disable Fail", 0}};

// A machine on which both directions succeed.
struct CommandWorld {
  SwitchWorld around;
  ProductKey key;
  CommandLineGiven commandLine{L"C:\\Source", L"C:\\VELA"};

  CommandWorld() {
    around.machine.SetFlags(0, 0, 0);
    MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
    for (const Client& client : Clients()) {
      MakeKey(MachineKey64(SwitchedMachine::kRunKey), {{client.shortName, L"x"}});
    }
  }
};

Lines Stored() {
  RegistrySnapshot snapshot;
  snapshot.Add(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_32KEY);
  Lines values;
  for (const std::string& line : LinesWith(snapshot.AsLines(), "\" REG_")) {
    values.push_back(line.substr(line.find('"')));
  }
  return values;
}

struct Recorded {
  Lines log;    // its last two lines
  Lines calls;  // of the registry, the last three
  std::vector<HKEY> flushed;
  bool allClosed = false;
};

Lines Last(const Lines& lines, std::size_t count) {
  return lines.size() < count ? lines : Lines(lines.end() - static_cast<std::ptrdiff_t>(count), lines.end());
}

Recorded Run(const Command& command) {
  Recorded recorded;
  const LogCapture log;
  {
    ImportRedirection flush("RegFlushKey", [&](HKEY key) -> LSTATUS {
      recorded.flushed.push_back(key);
      flush.Original<decltype(&::RegFlushKey)>()(key);
      return ERROR_REGISTRY_IO_FAILED;  // changes nothing
    });
    const RegistryCallTrace trace;
    CHECK(command.run() == 0);
    recorded.calls = Last(trace.Calls(), 3);
    recorded.allClosed = trace.AllClosed();
  }
  recorded.log = Last(log.Lines(), 2);
  return recorded;
}

TEST_CASE("the status is the stored number") {
  const ProductKey key;
  for (const DWORD stored : {0UL, 1UL, 2UL, 4294967295UL}) {
    key.Set({}, {L"VELAEnable", stored});
    const LogCapture log;
    CHECK(GetStatus() == 0);
    CHECK_LINES(log.Lines(), {"LOG_INFO : GetStatus!!!!! " + std::to_string(stored)});
  }
}

TEST_CASE("a status that cannot be read is told, and the key is closed") {
  struct Row {
    const char* name;
    void (*prepare)(const ProductKey& key);
    bool queryFails;
    const char* line;
  };
  const Row rows[] = {{"no value", [](const ProductKey&) {}, false, "LOG_INFO : GetStatus!!!!! FAIL!!"},
                      {"a text that fits",
                       [](const ProductKey& key) {
                         key.Set({}, {L"VELAEnable", L"1"});
                       },
                       false, "LOG_INFO : GetStatus!!!!! FAIL!!"},
                      {"four bytes of another type",
                       [](const ProductKey& key) { key.SetData({}, L"VELAEnable", REG_BINARY, "\1\0\0\0", 4); }, false,
                       "LOG_INFO : GetStatus!!!!! FAIL!!"},
                      {"refused",
                       [](const ProductKey& key) {
                         key.Set({}, {L"VELAEnable", 1});
                       },
                       true, "LOG_INFO : GetStatus!!!!! FAIL!!"},
                      {"no key", [](const ProductKey& key) { key.Delete(); }, false, "LOG_INFO : REG Open Fail"}};
  for (const Row& row : rows) {
    CAPTURE(row.name);
    const ProductKey key;
    row.prepare(key);
    const LogCapture log;
    bool closed = false;
    {
      const FailCall query("RegQueryValueExW", row.queryFails ? Calls::Only(1) : Calls::None(), ERROR_ACCESS_DENIED);
      const RegistryCallTrace trace;
      CHECK(GetStatus() == 0);
      closed = trace.AllClosed();
    }
    CHECK_LINES(log.Lines(), {row.line});
    CHECK(closed);
  }
}

TEST_CASE("a status is one query of a key opened for reading, and loads no library of the shell") {
  const ProductKey key;
  Lines calls;
  {
    const MissingLibrary shell32(L"shell32.dll");
    const MissingLibrary shlwapi(L"shlwapi.dll");
    const RegistryCallTrace trace;
    GetStatus();
    calls = trace.Calls();
    CHECK(shell32.Asked() + shlwapi.Asked() == 0);
  }
  CHECK_LINES(calls,
              {kOpen + std::string("00020219 -> 1"), "RegQueryValueExW 1 \"VELAEnable\" 4 bytes", "RegCloseKey 1"});
}

TEST_CASE("a switch that succeeded is set, flushed and closed, whatever type was stored") {
  for (const Command& command : kCommands) {
    CAPTURE(command.name);
    const CommandWorld world;
    world.key.Set({}, {L"VELAEnable", L"on"});
    const Recorded recorded = Run(command);
    CHECK_LINES(recorded.log, {command.done, command.stored});
    CHECK(recorded.calls[0].find(kOpen + std::string("0002021F -> ")) == 0);
    CHECK(recorded.calls[1].find("\"VELAEnable\" REG_DWORD 4 bytes") != std::string::npos);
    CHECK(recorded.calls[2].find("RegCloseKey ") == 0);
    CHECK(recorded.allClosed);
    REQUIRE(recorded.flushed.size() == 1);
    CHECK(recorded.flushed.front() != nullptr);  // the open key
    CHECK_LINES(Stored(), {"\"VELAEnable\" REG_DWORD " + std::to_string(command.value)});
  }
}

TEST_CASE("without a key the switch is made and not recorded, and the null key is flushed all the same") {
  for (const Command& command : kCommands) {
    CAPTURE(command.name);
    const CommandWorld world;
    world.key.Delete();
    const Recorded recorded = Run(command);
    CHECK_LINES(recorded.log, {command.done, "LOG_INFO : REG Open Fail"});
    CHECK(recorded.flushed == std::vector<HKEY>{nullptr});
    CHECK_LINES(Stored(), {});
  }
}

TEST_CASE("a number that is refused: only enable tells its error") {
  for (const Command& command : kCommands) {
    CAPTURE(command.name);
    const CommandWorld world;
    world.key.Set({}, {L"VELAEnable", 7});
    ImportRedirection set(
        "RegSetValueExW",
        [&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
          return std::wcscmp(name, L"VELAEnable") == 0
                     ? ERROR_ACCESS_DENIED
                     : set.Original<decltype(&::RegSetValueExW)>()(key, name, reserved, type, data, size);
        });
    const Recorded recorded = Run(command);
    CHECK_LINES(recorded.log, {command.done, command.refused});
    CHECK(recorded.flushed.size() == 1);
    CHECK_LINES(Stored(), {"\"VELAEnable\" REG_DWORD 7"});
  }
}

TEST_CASE("a switch that failed never touches the key, and names the enable handler both ways") {
  for (const Command& command : kCommands) {
    CAPTURE(command.name);
    CommandWorld world;
    world.around.session.missingEntries = {"WTSGetActiveConsoleSessionId"};
    world.key.Set({}, {L"VELAEnable", 7});
    const Recorded recorded = Run(command);
    CHECK(
        recorded.log.back() ==
        "LOG_ERROR: HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! strVELAInstallPath = C:\\VELA");
    CHECK_LINES(LinesWith(recorded.log, "OK"), {});
    CHECK(recorded.flushed.empty());
    CHECK_LINES(LinesWith(recorded.calls, "BastionNTCorp"), {});
    CHECK_LINES(Stored(), {"\"VELAEnable\" REG_DWORD 7"});
  }
}

}  // namespace
