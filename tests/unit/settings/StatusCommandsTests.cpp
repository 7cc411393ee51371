// The status, and how the switch is recorded after the clients are switched: calls, access masks and failures.
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

// A machine on which both directions succeed, with a switch stored as text.
struct CommandWorld {
  SwitchWorld around;
  ProductKey key;
  CommandLineGiven commandLine{L"C:\\Source", L"C:\\VELA"};

  CommandWorld() {
    around.machine.ClearFlags();
    MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
    for (const Client& client : Clients()) {
      MakeKey(MachineKey64(SwitchedMachine::kRunKey), {{client.shortName, L"x"}});
    }
    key.Set({}, {L"VELAEnable", L"on"});
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

Lines Last(const Lines& lines, std::size_t count) {
  return lines.size() < count ? lines : Lines(lines.end() - static_cast<std::ptrdiff_t>(count), lines.end());
}

TEST_CASE("the status is the stored number, read with a single query; no library of the shell is loaded") {
  const ProductKey key;
  for (const DWORD stored : {0UL, 1UL, 2UL, 4294967295UL}) {
    key.Set({}, {L"VELAEnable", stored});
    const LogCapture log;
    const MissingLibrary shell32(L"shell32.dll");
    const MissingLibrary shlwapi(L"shlwapi.dll");
    const RegistryCallTrace trace;
    CHECK(GetStatus() == 0);
    CHECK_LINES(log.Lines(), {"LOG_INFO : GetStatus!!!!! " + std::to_string(stored)});
    CHECK_LINES(trace.Calls(),
                {kOpen + std::string("00020219 -> 1"), "RegQueryValueExW 1 \"VELAEnable\" 4 bytes", "RegCloseKey 1"});
    CHECK(shell32.Asked() + shlwapi.Asked() == 0);
  }
}

TEST_CASE("a status that cannot be read is logged, and the key is closed") {
  struct Row {
    const char* name;
    bool keyIsThere;
    DWORD type;  // of the value; REG_NONE: it does not exist
    bool queryFails;
    const char* line;
  };
  for (const Row& row : {Row{"no value", true, REG_NONE, false, "LOG_INFO : GetStatus!!!!! FAIL!!"},
                         Row{"a text that fits", true, REG_SZ, false, "LOG_INFO : GetStatus!!!!! FAIL!!"},
                         Row{"another type", true, REG_BINARY, false, "LOG_INFO : GetStatus!!!!! FAIL!!"},
                         Row{"refused", true, REG_DWORD, true, "LOG_INFO : GetStatus!!!!! FAIL!!"},
                         Row{"no key", false, REG_NONE, false, "LOG_INFO : REG Open Fail"}}) {
    CAPTURE(std::string(row.name));
    const ProductKey key;
    if (!row.keyIsThere) {
      key.Delete();
    } else if (row.type != REG_NONE) {
      key.SetData({}, L"VELAEnable", row.type, L"1", 4);
    }
    const LogCapture log;
    const FailCall query("RegQueryValueExW", row.queryFails ? Calls::Only(1) : Calls::None(), ERROR_ACCESS_DENIED);
    const RegistryCallTrace trace;
    CHECK(GetStatus() == 0);
    CHECK(trace.AllClosed());
    CHECK_LINES(log.Lines(), {row.line});
  }
}

TEST_CASE("after a successful switch, its value is stored and flushed; after a failed one, the key is not touched") {
  enum class Course { kStored, kRefused, kNoKey, kNotSwitched };
  for (const Command& command : kCommands) {
    for (const Course course : {Course::kStored, Course::kRefused, Course::kNoKey, Course::kNotSwitched}) {
      CAPTURE(std::string(command.name));
      CAPTURE(static_cast<int>(course));
      CommandWorld world;
      Lines wanted = {command.done, command.stored};
      Lines value = {"\"VELAEnable\" REG_SZ \"on\""};
      if (course == Course::kStored) {
        value = {"\"VELAEnable\" REG_DWORD " + std::to_string(command.value)};
      } else if (course == Course::kRefused) {
        wanted = {command.done, command.refused};
      } else if (course == Course::kNoKey) {
        world.key.Delete();
        wanted = {command.done, "LOG_INFO : REG Open Fail"};
        value = {};
      } else {
        world.around.session.missingEntries = {"WTSGetActiveConsoleSessionId"};
        // Names the enable handler in both directions.
        wanted = {"LOG_ERROR: *** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=127",
                  "LOG_ERROR: HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! strVELAInstallPath = "
                  "C:\\VELA"};
      }
      std::vector<HKEY> flushed;
      {
        const LogCapture log;
        const FailWhere set(
            "RegSetValueExW", &::RegSetValueExW, [&](HKEY, LPCWSTR name, DWORD, DWORD, const BYTE*, DWORD) -> DWORD {
              return course == Course::kRefused && std::wcscmp(name, L"VELAEnable") == 0 ? ERROR_ACCESS_DENIED
                                                                                         : ERROR_SUCCESS;
            });
        const FailWhere flush("RegFlushKey", &::RegFlushKey, [&](HKEY key) -> DWORD {
          flushed.push_back(key);
          return ERROR_REGISTRY_IO_FAILED;  // changes nothing
        });
        const RegistryCallTrace trace;
        CHECK(command.run() == 0);
        CHECK_LINES(Last(log.Lines(), 2), (wanted));
        CHECK(trace.AllClosed());
        const Lines calls = Last(trace.Calls(), 3);
        if (course == Course::kStored) {
          CHECK(calls[0].find(kOpen + std::string("0002021F -> ")) == 0);
          CHECK(calls[1].find("\"VELAEnable\" REG_DWORD 4 bytes") != std::string::npos);
          CHECK(calls[2].find("RegCloseKey ") == 0);
        }
        CHECK(LinesWith(calls, "BastionNTCorp").size() == (course == Course::kNotSwitched ? 0 : 1));
      }
      REQUIRE(flushed.size() == (course == Course::kNotSwitched ? 0 : 1));
      CHECK((flushed.empty() || (flushed.front() == nullptr) == (course == Course::kNoKey)));  // also a null key
      CHECK_LINES(Stored(), (value));
    }
  }
}

}  // namespace
