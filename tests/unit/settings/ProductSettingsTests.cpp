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
const std::string kName = "HKLM\\SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";
const std::string kOpen = "RegOpenKeyExW HKLM SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA ";

struct ProductKey : ScratchKey {
  ProductKey() : ScratchKey(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_32KEY) {}
};

Lines Stored(REGSAM view) {
  RegistrySnapshot snapshot;
  snapshot.Add(HKEY_LOCAL_MACHINE, kKey, view);
  return snapshot.AsLines();
}

TEST_CASE("values are stored in the 32-bit view, and every operation opens and closes the key") {
  const ProductKey key;
  const ScratchKey other(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_64KEY);
  const LogCapture log;
  {
    const RegistryCallTrace trace;
    CHECK(SetVELAInstallPath(L"C:\\Orvane Labs\\"));
    CHECK(SetVELAEnable(0));
    DWORD enabled = 0;
    GetVELAEnable(enabled);
    CHECK_LINES(trace.Calls(),
                {kOpen + "000F023F -> 1", "RegSetValueExW 1 \"VELAInstallPath\" REG_SZ 32 bytes", "RegCloseKey 1",
                 kOpen + "000F023F -> 2", "RegSetValueExW 2 \"VELAEnable\" REG_DWORD 4 bytes", "RegCloseKey 2",
                 kOpen + "00020219 -> 3", "RegQueryValueExW 3 \"VELAEnable\" 4 bytes", "RegCloseKey 3"});
  }
  CHECK_LINES(Stored(KEY_WOW64_32KEY), {kName + " [32]", kName + " [32] \"VELAEnable\" REG_DWORD 0",
                                        kName + " [32] \"VELAInstallPath\" REG_SZ \"C:\\Orvane Labs\\\""});
  CHECK_LINES(Stored(KEY_WOW64_64KEY), {kName + " [64]"});
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("the switch is on only if it is 1; the type of the value does not matter, its size does") {
  const ProductKey key;
  const LogCapture log;
  DWORD enabled = 7;
  for (const DWORD stored : {0UL, 1UL, 2UL, 0x80000001UL, 0xFFFFFFFFUL}) {
    CAPTURE(stored);
    CHECK(SetVELAEnable(stored));
    CHECK(GetVELAEnable(enabled));
    CHECK(enabled == (stored == 1 ? 1 : 0));
  }
  for (const DWORD size : {4UL, 0UL}) {
    key.SetData({}, L"VELAEnable", REG_BINARY, "\1\0\0\0", size);
    CHECK(GetVELAEnable(enabled));
    CHECK(enabled == (size == 4 ? 1 : 0));
  }
  CHECK_LINES(log.Lines(), {});
  enabled = 7;
  key.Set({}, {L"VELAEnable", L"1, as a text"});
  CHECK_FALSE(GetVELAEnable(enabled));
  CHECK(enabled == 0);
  CHECK_LINES(log.Lines(), {"LOG_INFO : QueryStringValue Fail, keyName:VELAEnable, nError:234"});
}

TEST_CASE("if the key is missing, every operation fails, and the key is not created") {
  const ProductKey key;
  key.Delete();
  const LogCapture log;
  DWORD enabled = 7;
  CHECK_FALSE(SetVELAInstallPath(L"C:\\a"));
  CHECK_FALSE(SetVELAEnable(0));
  CHECK_FALSE(GetVELAEnable(enabled));
  CHECK(enabled == 0);
  const std::string line =
      "LOG_INFO : REG Open Fail, path:SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA, nError:2";
  CHECK_LINES(log.Lines(), {line, line, line});
  CHECK_LINES(Stored(KEY_WOW64_32KEY), {});
  CHECK_LINES(Stored(KEY_WOW64_64KEY), {});
}

TEST_CASE("a value that cannot be written is logged with its name and data, and the key is closed") {
  const ProductKey key;
  const LogCapture log;
  const FailCall set("RegSetValueExW", Calls::From(1), ERROR_NO_SYSTEM_RESOURCES);
  const RegistryCallTrace trace;
  CHECK_FALSE(SetVELAInstallPath(L"C:\\Orvane Labs\\"));
  CHECK_FALSE(SetVELAEnable(0));
  CHECK_FALSE(SetVELAEnable(4000000000UL));
  CHECK(trace.AllClosed());
  CHECK_LINES(log.Lines(),
              {"LOG_INFO : SetKeyvalue Fail, keyName:VELAInstallPath, keyValue:C:\\Orvane Labs\\, nError:1450",
               "LOG_INFO : SetKeyvalue Fail, keyName:VELAEnable, keyValue:0, nError:1450",
               "LOG_INFO : SetKeyvalue Fail, keyName:VELAEnable, keyValue:4000000000, nError:1450"});
}

}  // namespace
