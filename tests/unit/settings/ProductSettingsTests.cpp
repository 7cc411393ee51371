// The product's key in the registry.
#include "settings/ProductSettings.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/unit/settings/RegistryCallTrace.h"
#include "tests/unit/settings/ScratchKey.h"

using namespace TestSupport;
using VELAUtility::GetVELAEnable;
using VELAUtility::SetVELAEnable;
using VELAUtility::SetVELAInstallPath;

namespace {

constexpr wchar_t kKey[] = L"SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";

struct ProductKey : ScratchKey {
  ProductKey() : ScratchKey(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_32KEY) {}
};

Lines Stored(REGSAM view) {
  RegistrySnapshot snapshot;
  snapshot.Add(HKEY_LOCAL_MACHINE, kKey, view);
  return snapshot.AsLines();
}

constexpr char kOpenFailure2[] =
    "LOG_INFO : REG Open Fail, path:SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA, nError:2";

TEST_CASE("the install path and the switch land in the 32-bit view") {
  const ProductKey key;
  const ScratchKey other(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_64KEY);
  const LogCapture log;
  CHECK(SetVELAInstallPath(L"C:\\Orvane Labs\\"));
  CHECK(SetVELAEnable(0));
  CHECK_LINES(Stored(KEY_WOW64_32KEY),
              {"HKLM\\SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [32]",
               "HKLM\\SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [32] \"VELAEnable\" REG_DWORD 0",
               "HKLM\\SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [32] \"VELAInstallPath\" REG_SZ "
               "\"C:\\Orvane Labs\\\""});
  CHECK_LINES(Stored(KEY_WOW64_64KEY), {"HKLM\\SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [64]"});
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("the key is opened, used and closed at every operation, with these rights and sizes") {
  const ProductKey key;
  Lines calls;
  bool closed = false;
  {
    const RegistryCallTrace trace;
    SetVELAInstallPath(L"C:\\a");
    SetVELAEnable(1);
    DWORD enabled = 0;
    GetVELAEnable(enabled);
    calls = trace.Calls();
    closed = trace.AllClosed();
  }
  CHECK_LINES(calls, {"RegOpenKeyExW HKLM SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA 000F023F -> 1",
                      "RegSetValueExW 1 \"VELAInstallPath\" REG_SZ 10 bytes", "RegCloseKey 1",
                      "RegOpenKeyExW HKLM SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA 000F023F -> 2",
                      "RegSetValueExW 2 \"VELAEnable\" REG_DWORD 4 bytes", "RegCloseKey 2",
                      "RegOpenKeyExW HKLM SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA 00020219 -> 3",
                      "RegQueryValueExW 3 \"VELAEnable\" 4 bytes", "RegCloseKey 3"});
  CHECK(closed);
}

TEST_CASE("the switch is on at 1 and at no other number") {
  const ProductKey key;
  const LogCapture log;
  for (const DWORD stored : {0UL, 1UL, 2UL, 0x80000001UL, 0xFFFFFFFFUL}) {
    CAPTURE(stored);
    CHECK(SetVELAEnable(stored));
    DWORD enabled = 7;
    CHECK(GetVELAEnable(enabled));
    CHECK(enabled == (stored == 1 ? 1 : 0));
  }
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("the type of the switch is not looked at, its size is") {
  const ProductKey key;
  DWORD enabled = 7;
  const DWORD one = 1;
  key.SetData({}, L"VELAEnable", REG_BINARY, &one, 4);
  CHECK(GetVELAEnable(enabled));
  CHECK(enabled == 1);
  key.SetData({}, L"VELAEnable", REG_BINARY, nullptr, 0);
  CHECK(GetVELAEnable(enabled));
  CHECK(enabled == 0);

  const LogCapture log;
  key.Set({}, {L"VELAEnable", L"1, as a text"});
  CHECK_FALSE(GetVELAEnable(enabled));
  CHECK(enabled == 0);
  CHECK_LINES(log.Lines(), {"LOG_INFO : QueryStringValue Fail, keyName:VELAEnable, nError:234"});
}

TEST_CASE("a missing key fails every operation and is not made") {
  const ProductKey key;
  key.Delete();
  const LogCapture log;
  DWORD enabled = 7;
  CHECK_FALSE(SetVELAInstallPath(L"C:\\a"));
  CHECK_FALSE(SetVELAEnable(0));
  CHECK_FALSE(GetVELAEnable(enabled));
  CHECK(enabled == 0);
  CHECK_LINES(log.Lines(), {kOpenFailure2, kOpenFailure2, kOpenFailure2});
  CHECK_LINES(Stored(KEY_WOW64_32KEY), {});
  CHECK_LINES(Stored(KEY_WOW64_64KEY), {});
}

TEST_CASE("a value that cannot be written is told with what was to be written") {
  const ProductKey key;
  const LogCapture log;
  unsigned opens = 0;
  unsigned closes = 0;
  {
    const FailCall set("RegSetValueExW", Calls::From(1), ERROR_NO_SYSTEM_RESOURCES);
    const CountCalls open("RegOpenKeyExW");
    const CountCalls close("RegCloseKey");
    CHECK_FALSE(SetVELAInstallPath(L"C:\\Orvane Labs\\"));
    CHECK_FALSE(SetVELAEnable(0));
    CHECK_FALSE(SetVELAEnable(4000000000UL));
    opens = open.Calls();
    closes = close.Calls();
  }
  CHECK(opens == 3);
  CHECK(closes == 3);
  CHECK_LINES(log.Lines(),
              {"LOG_INFO : SetKeyvalue Fail, keyName:VELAInstallPath, keyValue:C:\\Orvane Labs\\, nError:1450",
               "LOG_INFO : SetKeyvalue Fail, keyName:VELAEnable, keyValue:0, nError:1450",
               "LOG_INFO : SetKeyvalue Fail, keyName:VELAEnable, keyValue:4000000000, nError:1450"});
}

}  // namespace
