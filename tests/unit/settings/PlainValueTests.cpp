// Values of other keys: of a user's hive, the machine's start-up commands, the settings that the client programs share.
#include <doctest/doctest.h>

#include "settings/ProductSettings.h"
#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/unit/settings/RegistryCallTrace.h"
#include "tests/unit/settings/ScratchKey.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

const std::wstring kUser = L"S-1-5-21-1-2-3-1001";

struct UserHive : ScratchKey {
  UserHive() : ScratchKey(HKEY_USERS, kUser, KEY_WOW64_64KEY) {}
};

// The start-up commands of the machine belong to Windows: only the values of a test are removed.
struct RunKey {
  ~RunKey() {
    DeleteRunValue(L"OE");
    DeleteRunValue(L"VelaTest");
  }
};

// The values of a key and of those below it.
Lines Stored(HKEY root, const std::wstring& key) {
  RegistrySnapshot snapshot;
  snapshot.Add(root, key, KEY_WOW64_64KEY);
  return LinesWith(snapshot.AsLines(), "\" REG_");
}

Lines StartUpCommands() {
  return Stored(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Run");
}

TEST_CASE("a user's text of up to 2,048 bytes is read to its first terminator, whatever its type; else it is empty") {
  struct Row {
    const char* name;
    DWORD type;
    std::wstring stored;
    DWORD bytes;
    bool read;
    std::wstring text;
  };
  for (const Row& row :
       {Row{"a text", REG_SZ, {L"{A-1}", 6}, 12, true, L"{A-1}"}, Row{"an empty one", REG_SZ, {L"", 1}, 2, true, L""},
        Row{"a list", REG_MULTI_SZ, {L"one\0two\0", 9}, 18, true, L"one"},
        Row{"a number", REG_DWORD, {L"Z\0", 2}, 4, true, L"Z"},
        // One character more than is stored: a terminator after the data would be stored with them.
        Row{"no terminator", REG_SZ, std::wstring(1025, L'x'), 2048, true, std::wstring(1024, L'x')},
        Row{"too long", REG_SZ, std::wstring(1026, L'x'), 2050, false, L""}}) {
    CAPTURE(std::string(row.name));
    const UserHive hive;
    hive.SetData(L"Identities", L"Last User ID", row.type, row.stored.data(), row.bytes);
    const LogCapture log;
    const RegistryCallTrace trace;
    std::wstring text = L"before";
    CHECK(ReadUserStringValue(kUser + L"\\Identities", L"Last User ID", text) == row.read);
    CHECK(text == row.text);
    CHECK_LINES(trace.Calls(), {"RegOpenKeyW HKU S-1-5-21-1-2-3-1001\\Identities -> 1",
                                "RegQueryValueExW 1 \"Last User ID\" 2048 bytes", "RegCloseKey 1"});
    CHECK_LINES(log.Lines(), {});
  }
}

TEST_CASE("a value that is missing, or cannot be read, gives an empty text and no log line") {
  const UserHive hive;
  hive.Set(L"Identities", {L"Last User ID", L"{A-1}"});
  const LogCapture log;
  const RegistryCallTrace trace;
  const FailCall query("RegQueryValueExW", 2, ERROR_ACCESS_DENIED);
  for (const auto& [key, value] : {std::pair{L"S-1-5-21-9-9-9-9", L"Last User ID"},
                                   {L"S-1-5-21-1-2-3-1001\\Identities", L"No User ID"},
                                   {L"S-1-5-21-1-2-3-1001\\Identities", L"Last User ID"}}) {
    std::wstring text = L"before";
    CHECK_FALSE(ReadUserStringValue(key, value, text));
    CHECK(text.empty());
  }
  CHECK(query.Failed() == 1);
  CHECK(trace.AllClosed());
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a text and a number are written to a key that exists") {
  const UserHive hive;
  hive.MakeSubkey(L"Addin");
  const LogCapture log;
  {
    const RegistryCallTrace trace;
    CHECK(WriteStringValue(HKEY_USERS, kUser + L"\\Addin", L"FriendlyName", L"abc"));
    CHECK(WriteNumberValue(HKEY_USERS, kUser + L"\\Addin", L"LoadBehavior", 3));
    CHECK_LINES(trace.Calls(),
                {"RegOpenKeyW HKU S-1-5-21-1-2-3-1001\\Addin -> 1", "RegSetValueExW 1 \"FriendlyName\" REG_SZ 8 bytes",
                 "RegCloseKey 1", "RegOpenKeyW HKU S-1-5-21-1-2-3-1001\\Addin -> 2",
                 "RegSetValueExW 2 \"LoadBehavior\" REG_DWORD 4 bytes", "RegCloseKey 2"});
  }
  CHECK_LINES(Stored(HKEY_USERS, kUser), {"HKU\\S-1-5-21-1-2-3-1001\\Addin [64] \"FriendlyName\" REG_SZ \"abc\"",
                                          "HKU\\S-1-5-21-1-2-3-1001\\Addin [64] \"LoadBehavior\" REG_DWORD 3"});
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a write to a missing key fails and does not create it; a refused write fails and closes the key") {
  const UserHive hive;
  const LogCapture log;
  CHECK_FALSE(WriteStringValue(HKEY_USERS, kUser + L"\\No", L"a", L"b"));
  CHECK_FALSE(WriteNumberValue(HKEY_USERS, kUser + L"\\No", L"a", 1));
  CHECK_FALSE(KeyExists(UsersKey(kUser + L"\\No")));
  const FailCall set("RegSetValueExW", Calls::From(1), ERROR_ACCESS_DENIED);
  const RegistryCallTrace trace;
  CHECK_FALSE(WriteStringValue(HKEY_USERS, kUser, L"a", L"b"));
  CHECK_FALSE(WriteNumberValue(HKEY_USERS, kUser, L"a", 1));
  CHECK_FALSE(WriteRunValue(L"OE", L"b"));
  CHECK(trace.AllClosed());
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a start-up command is written to the process's own registry view, and deleted there") {
  const RunKey run;
  const Lines before = StartUpCommands();
  const LogCapture log;
  {
    const RegistryCallTrace trace;
    CHECK(WriteRunValue(L"OE", L"\"C:\\x y\\VELA_OEMon.exe\""));
    CHECK(DeleteRunValue(L"OE"));
    CHECK_LINES(trace.Calls(), {"RegOpenKeyW HKLM Software\\Microsoft\\Windows\\CurrentVersion\\Run\\ -> 1",
                                "RegSetValueExW 1 \"OE\" REG_SZ 48 bytes", "RegCloseKey 1",
                                "RegOpenKeyW HKLM Software\\Microsoft\\Windows\\CurrentVersion\\Run\\ -> 2",
                                "RegDeleteValueW 2 \"OE\"", "RegCloseKey 2"});
  }
  CHECK_LINES(StartUpCommands(), (before));
  CHECK(WriteRunValue(L"VelaTest", L"C:\\m.exe"));
  CHECK_LINES(LinesWith(StartUpCommands(), "VelaTest"),
              {"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Run [64] \"VelaTest\" REG_SZ \"C:\\m.exe\""});
  CHECK_FALSE(DeleteRunValue(L"OE"));
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a flag of the shared settings is cleared by storing 0; settings that do not exist are not created") {
  constexpr wchar_t kSettings[] = L"Software\\OrvaneLabs\\CoreAgent\\VELA";
  const ScratchKey settings(HKEY_LOCAL_MACHINE, kSettings, KEY_WOW64_64KEY);
  settings.Set({}, {L"OE_DELAY_INST", 1});
  const LogCapture log;
  const RegistryCallTrace trace;
  CHECK(StoreProductValue(L"OE_DELAY_INST"));
  CHECK(StoreProductValue(L"OL_DELAY_INST"));
  CHECK_LINES(log.Lines(), {});
  {
    const FailCall set("RegSetValueExW", 1, ERROR_ACCESS_DENIED);
    CHECK_FALSE(StoreProductValue(L"WLM_DELAY_INST"));
  }
  CHECK(trace.AllClosed());
  CHECK_LINES(Stored(HKEY_LOCAL_MACHINE, L"Software\\OrvaneLabs\\CoreAgent"),
              {"HKLM\\Software\\OrvaneLabs\\CoreAgent\\VELA [64] \"OE_DELAY_INST\" REG_DWORD 0",
               "HKLM\\Software\\OrvaneLabs\\CoreAgent\\VELA [64] \"OL_DELAY_INST\" REG_DWORD 0"});
  settings.Delete();
  CHECK_FALSE(StoreProductValue(L"OL_DELAY_INST"));
  CHECK_FALSE(KeyExists(MachineKey64(kSettings)));
  CHECK_LINES(log.Lines(), {"LOG_ERROR: Fail to store value !!", "LOG_ERROR: Fail to open for store !!"});
}

}  // namespace
