// The anti-spam switch of the machine: told, and recorded once the clients are switched. How they are: activation.
#include "settings/StatusCommands.h"

#include <doctest/doctest.h>

#include "settings/ProductSettings.h"
#include "tests/support/CallFailures.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/unit/install/CommandLineGiven.h"
#include "tests/unit/settings/RegistryCallTrace.h"
#include "tests/unit/settings/RunningProcesses.h"
#include "tests/unit/settings/ScratchKey.h"

using namespace TestSupport;

namespace {

constexpr wchar_t kKey[] = L"SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";
constexpr char kOpenForStatus[] =
    "RegOpenKeyExW HKLM SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA 00020219 -> 1";
constexpr char kOpenForSwitch[] =
    "RegOpenKeyExW HKLM SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA 0002021F -> ";
constexpr char kSwitchFailure[] =
    "LOG_ERROR: HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! strVELAInstallPath = C:\\VelaTest";

struct ProductKey : ScratchKey {
  ProductKey() : ScratchKey(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_32KEY) {}
};

// A user at the console, no running client, and start-up values for the switch to write and delete.
struct SwitchableMachine {
  ProductKey key;
  CommandLineGiven commandLine{L"C:\\src", L"C:\\VelaTest"};
  RunningProcesses running;

  SwitchableMachine() {
    VELAUtility::WriteRunValue(L"OE", L"x");
    VELAUtility::WriteRunValue(L"WLM", L"x");
  }
  ~SwitchableMachine() {
    VELAUtility::DeleteRunValue(L"OE");
    VELAUtility::DeleteRunValue(L"WLM");
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

// The command's own lines come last.
Lines LastLines(const LogCapture& log, std::size_t count) {
  const Lines lines = log.Lines();
  REQUIRE(lines.size() >= count);
  return {lines.end() - static_cast<std::ptrdiff_t>(count), lines.end()};
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

TEST_CASE("a status that is missing, of another type or refused") {
  const ProductKey key;
  const LogCapture log;
  SUBCASE("missing") {
    CHECK(GetStatus() == 0);
  }
  SUBCASE("in the other view only") {
    const ScratchKey other(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_64KEY);
    other.Set({}, {L"VELAEnable", 1});
    CHECK(GetStatus() == 0);
  }
  SUBCASE("a text that fits") {
    key.Set({}, {L"VELAEnable", L"1"});
    CHECK(GetStatus() == 0);
  }
  SUBCASE("four bytes of another type") {
    const DWORD one = 1;
    key.SetData({}, L"VELAEnable", REG_BINARY, &one, sizeof one);
    CHECK(GetStatus() == 0);
  }
  SUBCASE("refused") {
    key.Set({}, {L"VELAEnable", 1});
    const FailCall query("RegQueryValueExW", 1, ERROR_ACCESS_DENIED);
    CHECK(GetStatus() == 0);
  }
  CHECK_LINES(log.Lines(), {"LOG_INFO : GetStatus!!!!! FAIL!!"});
}

TEST_CASE("a status without a key") {
  const ProductKey key;
  key.Delete();
  const LogCapture log;
  CHECK(GetStatus() == 0);
  CHECK_LINES(log.Lines(), {"LOG_INFO : REG Open Fail"});
}

TEST_CASE("a status loads no library of the shell") {
  const MissingLibrary shell32(L"shell32.dll");
  const MissingLibrary shlwapi(L"shlwapi.dll");
  CHECK(GetStatus() == 0);
  CHECK(shell32.Asked() + shlwapi.Asked() == 0);
}

TEST_CASE("the calls of a status") {
  const ProductKey key;
  Lines calls;
  {
    const RegistryCallTrace trace;
    GetStatus();
    calls = trace.Calls();
  }
  CHECK_LINES(calls, {kOpenForStatus, "RegQueryValueExW 1 \"VELAEnable\" 4 bytes", "RegCloseKey 1"});
}

TEST_CASE("enable and disable record the switch once the clients are switched") {
  const SwitchableMachine machine;
  const LogCapture log;
  SUBCASE("enable") {
    CHECK(Enable() == 0);
    CHECK_LINES(LastLines(log, 2), {"LOG_INFO : Enable OK", "LOG_INFO : VELA Enable OK"});
    CHECK_LINES(Stored(), {"\"VELAEnable\" REG_DWORD 1"});
  }
  SUBCASE("disable") {
    CHECK(Disable() == 0);
    CHECK_LINES(LastLines(log, 2), {"LOG_INFO : Disable OK", "LOG_INFO : VELA Disable OK"});
    CHECK_LINES(Stored(), {"\"VELAEnable\" REG_DWORD 0"});
  }
}

TEST_CASE("a number that cannot be recorded: only enable tells its error") {
  const SwitchableMachine machine;
  const LogCapture log;
  // The one value that is set in the product's key, whatever the switch writes elsewhere.
  ImportRedirection set(
      "RegSetValueExW",
      [&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
        return std::wstring(name) == L"VELAEnable"
                   ? ERROR_ACCESS_DENIED
                   : set.Original<decltype(&::RegSetValueExW)>()(key, name, reserved, type, data, size);
      });
  SUBCASE("enable") {
    CHECK(Enable() == 0);
    CHECK_LINES(LastLines(log, 2), {"LOG_INFO : Enable OK", "LOG_INFO : VELA Enable Fail 5"});
  }
  SUBCASE("disable") {
    CHECK(Disable() == 0);
    CHECK_LINES(LastLines(log, 2), {"LOG_INFO : Disable OK", "LOG_INFO : VELA Disable Fail"});
  }
}

TEST_CASE("without a key the switch is made and not recorded, and the null key is flushed all the same") {
  const SwitchableMachine machine;
  machine.key.Delete();
  const LogCapture log;
  std::vector<HKEY> flushed;
  ImportRedirection flush("RegFlushKey", [&](HKEY key) -> LSTATUS {
    flushed.push_back(key);
    return flush.Original<decltype(&::RegFlushKey)>()(key);
  });
  SUBCASE("enable") {
    CHECK(Enable() == 0);
    CHECK_LINES(LastLines(log, 2), {"LOG_INFO : Enable OK", "LOG_INFO : REG Open Fail"});
  }
  SUBCASE("disable") {
    CHECK(Disable() == 0);
    CHECK_LINES(LastLines(log, 2), {"LOG_INFO : Disable OK", "LOG_INFO : REG Open Fail"});
  }
  CHECK(flushed == std::vector<HKEY>{nullptr});
  CHECK_LINES(Stored(), {});
}

TEST_CASE("the key is opened for both, set, flushed and closed") {
  const SwitchableMachine machine;
  Lines calls;
  unsigned flushes = 0;
  bool closed = false;
  {
    const CountCalls flush("RegFlushKey");
    const RegistryCallTrace trace;
    Disable();
    calls = trace.Calls();
    closed = trace.AllClosed();
    flushes = flush.Calls();
  }
  REQUIRE(calls.size() >= 3);
  CHECK(calls[calls.size() - 3].find(kOpenForSwitch) == 0);
  CHECK(calls[calls.size() - 2].find("\"VELAEnable\" REG_DWORD 4 bytes") != std::string::npos);
  CHECK(calls.back().find("RegCloseKey ") == 0);
  CHECK(flushes == 1);
  CHECK(closed);
}

TEST_CASE("a failed switch leaves the recorded number, and names the enable handler both ways") {
  const SwitchableMachine machine;
  machine.key.Set({}, {L"VELAEnable", 7});
  const MissingEntry noSession("WTSGetActiveConsoleSessionId");
  const LogCapture log;
  unsigned flushes = 0;
  {
    const CountCalls flush("RegFlushKey");
    SUBCASE("enable") {
      CHECK(Enable() == 0);
    }
    SUBCASE("disable") {
      CHECK(Disable() == 0);
    }
    flushes = flush.Calls();
  }
  CHECK(log.Lines().back() == kSwitchFailure);
  CHECK_LINES(LinesWith(log.Lines(), "OK"), {});
  CHECK_LINES(Stored(), {"\"VELAEnable\" REG_DWORD 7"});
  CHECK(flushes == 0);
}

}  // namespace
