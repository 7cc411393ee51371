// Values of other keys: of a user's hive, the machine's start-up commands, the settings that the client programs share.
#include <doctest/doctest.h>

#include <vector>

#include "settings/ProductSettings.h"
#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/unit/settings/RegistryCallTrace.h"
#include "tests/unit/settings/ScratchKey.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

constexpr wchar_t kUser[] = L"S-1-5-21-1-2-3-1001";
constexpr wchar_t kIdentities[] = L"S-1-5-21-1-2-3-1001\\Identities";

struct UserHive : ScratchKey {
  UserHive() : ScratchKey(HKEY_USERS, kUser, KEY_WOW64_64KEY) {}
};

// The start-up commands of the machine belong to Windows: only what a test adds is taken away again.
struct RunKey {
  ~RunKey() {
    DeleteRunValue(L"OE");
    DeleteRunValue(L"VelaTest");
  }
  static Lines Stored() {
    RegistrySnapshot snapshot;
    snapshot.Add(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Run", KEY_WOW64_64KEY);
    return LinesWith(snapshot.AsLines(), "\" REG_");
  }
};

std::vector<BYTE> Letters(std::size_t bytes) {
  std::vector<BYTE> data(bytes, 0);
  for (std::size_t i = 0; i < bytes; i += 2) {
    data[i] = 'x';
  }
  return data;
}

TEST_CASE("a user's text is read with the plain open call and 2,048 bytes") {
  const UserHive hive;
  hive.Set(L"Identities", {L"Last User ID", L"{A-1}"});
  std::wstring text;
  Lines calls;
  bool closed = false;
  {
    const RegistryCallTrace trace;
    ReadUserStringValue(kIdentities, L"Last User ID", text);
    calls = trace.Calls();
    closed = trace.AllClosed();
  }
  CHECK_LINES(calls, {"RegOpenKeyW HKU S-1-5-21-1-2-3-1001\\Identities -> 1",
                      "RegQueryValueExW 1 \"Last User ID\" 2048 bytes", "RegCloseKey 1"});
  CHECK(closed);
}

TEST_CASE("what cannot be read leaves the text empty and the log silent") {
  const UserHive hive;
  const LogCapture log;
  std::wstring text = L"before";
  SUBCASE("no such hive") {
    CHECK_FALSE(ReadUserStringValue(L"S-1-5-21-9-9-9-9\\Identities", L"Last User ID", text));
  }
  SUBCASE("no such value") {
    hive.MakeSubkey(L"Identities");
    Lines calls;
    {
      const RegistryCallTrace trace;
      CHECK_FALSE(ReadUserStringValue(kIdentities, L"Last User ID", text));
      calls = trace.Calls();
    }
    CHECK(calls.back() == "RegCloseKey 1");
  }
  SUBCASE("a query that fails half-way") {
    hive.Set(L"Identities", {L"Last User ID", L"{A-1}"});
    const FailCall query("RegQueryValueExW", 1, ERROR_ACCESS_DENIED);
    CHECK_FALSE(ReadUserStringValue(kIdentities, L"Last User ID", text));
  }
  SUBCASE("a value of 2,050 bytes") {
    const std::vector<BYTE> data = Letters(2050);
    hive.SetData(L"Identities", L"Last User ID", REG_SZ, data.data(), 2050);
    CHECK_FALSE(ReadUserStringValue(kIdentities, L"Last User ID", text));
  }
  CHECK(text.empty());
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a value of exactly 2,048 bytes without a terminator ends all the same") {
  const UserHive hive;
  const std::vector<BYTE> data = Letters(2050);  // a terminator behind the data would be stored with them
  hive.SetData(L"Identities", L"Last User ID", REG_SZ, data.data(), 2048);
  std::wstring text;
  CHECK(ReadUserStringValue(kIdentities, L"Last User ID", text));
  CHECK(text == std::wstring(1024, L'x'));
}

TEST_CASE("the text ends at its first terminator, whatever the type") {
  const UserHive hive;
  const wchar_t list[] = L"one\0two\0";
  hive.SetData(L"Identities", L"Last User ID", REG_MULTI_SZ, list, sizeof list);
  std::wstring text;
  CHECK(ReadUserStringValue(kIdentities, L"Last User ID", text));
  CHECK(text == L"one");
  hive.Set(L"Identities", {L"Last User ID", 'Z'});
  CHECK(ReadUserStringValue(kIdentities, L"Last User ID", text));
  CHECK(text == L"Z");
  hive.Set(L"Identities", {L"Last User ID", L""});
  CHECK(ReadUserStringValue(kIdentities, L"Last User ID", text));
  CHECK(text.empty());
}

TEST_CASE("a text and a number are written to a key that exists") {
  const UserHive hive;
  hive.MakeSubkey(L"Addin");
  const LogCapture log;
  Lines calls;
  bool closed = false;
  {
    const RegistryCallTrace trace;
    CHECK(WriteStringValue(HKEY_USERS, std::wstring(kUser) + L"\\Addin", L"FriendlyName", L"abc"));
    CHECK(WriteNumberValue(HKEY_USERS, std::wstring(kUser) + L"\\Addin", L"LoadBehavior", 3));
    calls = trace.Calls();
    closed = trace.AllClosed();
  }
  CHECK_LINES(calls,
              {"RegOpenKeyW HKU S-1-5-21-1-2-3-1001\\Addin -> 1", "RegSetValueExW 1 \"FriendlyName\" REG_SZ 8 bytes",
               "RegCloseKey 1", "RegOpenKeyW HKU S-1-5-21-1-2-3-1001\\Addin -> 2",
               "RegSetValueExW 2 \"LoadBehavior\" REG_DWORD 4 bytes", "RegCloseKey 2"});
  CHECK(closed);
  RegistrySnapshot snapshot;
  snapshot.Add(HKEY_USERS, kUser, KEY_WOW64_64KEY);
  CHECK_LINES(LinesWith(snapshot.AsLines(), "\" REG_"),
              {"HKU\\S-1-5-21-1-2-3-1001\\Addin [64] \"FriendlyName\" REG_SZ \"abc\"",
               "HKU\\S-1-5-21-1-2-3-1001\\Addin [64] \"LoadBehavior\" REG_DWORD 3"});
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a write to a missing key fails and makes none; one that is refused fails and closes the key") {
  const UserHive hive;
  const LogCapture log;
  CHECK_FALSE(WriteStringValue(HKEY_USERS, std::wstring(kUser) + L"\\No", L"a", L"b"));
  CHECK_FALSE(WriteNumberValue(HKEY_USERS, std::wstring(kUser) + L"\\No", L"a", 1));
  bool closed = false;
  {
    const FailCall set("RegSetValueExW", Calls::From(1), ERROR_ACCESS_DENIED);
    const RegistryCallTrace trace;
    CHECK_FALSE(WriteStringValue(HKEY_USERS, kUser, L"a", L"b"));
    CHECK_FALSE(WriteNumberValue(HKEY_USERS, kUser, L"a", 1));
    CHECK_FALSE(WriteRunValue(L"OE", L"b"));
    closed = trace.AllClosed();
  }
  CHECK(closed);
  RegistrySnapshot snapshot;
  snapshot.Add(HKEY_USERS, kUser, KEY_WOW64_64KEY);
  CHECK_LINES(snapshot.AsLines(), {"HKU\\S-1-5-21-1-2-3-1001 [64]"});
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a start-up command is written in the view of the process, and deleted") {
  const RunKey run;
  const Lines before = RunKey::Stored();
  const LogCapture log;
  Lines calls;
  {
    const RegistryCallTrace trace;
    CHECK(WriteRunValue(L"OE", L"\"C:\\x y\\VELA_OEMon.exe\""));
    CHECK(DeleteRunValue(L"OE"));
    calls = trace.Calls();
  }
  CHECK_LINES(calls, {"RegOpenKeyW HKLM Software\\Microsoft\\Windows\\CurrentVersion\\Run\\ -> 1",
                      "RegSetValueExW 1 \"OE\" REG_SZ 48 bytes", "RegCloseKey 1",
                      "RegOpenKeyW HKLM Software\\Microsoft\\Windows\\CurrentVersion\\Run\\ -> 2",
                      "RegDeleteValueW 2 \"OE\"", "RegCloseKey 2"});
  CHECK_LINES(RunKey::Stored(), (before));

  CHECK(WriteRunValue(L"VelaTest", L"C:\\m.exe"));
  CHECK_LINES(LinesWith(RunKey::Stored(), "VelaTest"),
              {"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Run [64] \"VelaTest\" REG_SZ \"C:\\m.exe\""});
  CHECK_FALSE(DeleteRunValue(L"OE"));
  CHECK_LINES(log.Lines(), {});
}

struct ClientSettings : ScratchKey {
  ClientSettings() : ScratchKey(HKEY_LOCAL_MACHINE, L"Software\\OrvaneLabs\\CoreAgent\\VELA", KEY_WOW64_64KEY) {}
};

TEST_CASE("a flag of the shared settings is cleared by storing 0") {
  const ClientSettings settings;
  settings.Set({}, {L"OE_DELAY_INST", 1});
  const LogCapture log;
  bool closed = false;
  {
    const RegistryCallTrace trace;
    CHECK(StoreProductValue(L"OE_DELAY_INST"));
    CHECK(StoreProductValue(L"OL_DELAY_INST"));
    closed = trace.AllClosed();
  }
  CHECK(closed);
  RegistrySnapshot snapshot;
  snapshot.Add(HKEY_LOCAL_MACHINE, L"Software\\OrvaneLabs\\CoreAgent", KEY_WOW64_64KEY);
  CHECK_LINES(LinesWith(snapshot.AsLines(), "\" REG_"),
              {"HKLM\\Software\\OrvaneLabs\\CoreAgent\\VELA [64] \"OE_DELAY_INST\" REG_DWORD 0",
               "HKLM\\Software\\OrvaneLabs\\CoreAgent\\VELA [64] \"OL_DELAY_INST\" REG_DWORD 0"});
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("shared settings that do not exist are not made, and a number that is refused is told") {
  for (const bool there : {true, false}) {
    CAPTURE(there);
    const ClientSettings settings;
    if (!there) {
      settings.Delete();
    }
    const LogCapture log;
    bool closed = false;
    {
      const FailCall set("RegSetValueExW", 1, ERROR_ACCESS_DENIED);
      const RegistryCallTrace trace;
      CHECK_FALSE(StoreProductValue(L"OL_DELAY_INST"));
      closed = trace.AllClosed();
    }
    CHECK(closed);
    CHECK_LINES(log.Lines(), {there ? "LOG_ERROR: Fail to store value !!" : "LOG_ERROR: Fail to open for store !!"});
    RegistrySnapshot snapshot;
    snapshot.Add(HKEY_LOCAL_MACHINE, L"Software\\OrvaneLabs\\CoreAgent\\VELA", KEY_WOW64_64KEY);
    CHECK(snapshot.AsLines().size() == (there ? 1 : 0));
  }
}

}  // namespace
