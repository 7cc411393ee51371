#include "plugins/OutlookExpressPlugin.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;

namespace {

constexpr char kNoRunValue[] =
    "LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szOE_OEM !!";

struct Module {
  const char* path;
  const char* notRegistered;
  const char* notUnregistered;
};

constexpr Module kModules[] = {
    {"C:\\VELA_OE\\oeapiinitcom.dll",
     "LOG_ERROR: Failed to register oeapiinitcom.dll !!  C:\\VELA_OE\\oeapiinitcom.dll",
     "LOG_ERROR: Failed to unregister oeapiinitcom.dll !! C:\\VELA_OE\\oeapiinitcom.dll"},
    {"C:\\VELA_OE\\oecom.dll", "LOG_ERROR: Failed to register oecom.dll !! C:\\VELA_OE\\oecom.dll",
     "LOG_ERROR: Failed to unregister oecom.dll !!"},
    {"C:\\VELA_OE\\oestore.dll", "LOG_ERROR: Failed to register oestore.dll !!",
     "LOG_ERROR: Failed to unregister oestore.dll !!"},
    {"C:\\VELA_OE\\VELA_OEWab.dll", "LOG_ERROR: Failed to register VELA_OEWab.dll !!",
     "LOG_ERROR: Failed to unregister VELA_OEWab.dll !!"},
};
constexpr unsigned kModuleCount = 4;

// One of the modules may fail. `count`: only the first ones.
Lines ModuleLines(bool registers, unsigned count, unsigned failing = kModuleCount) {
  Lines lines;
  for (unsigned module = 0; module < count; ++module) {
    const Module& row = kModules[module];
    const int result = module == failing ? 0 : 1;
    lines = Joined({lines, registers ? RegisteringLines(row.path, result) : UnregisteringLines(row.path, result)});
    if (module == failing) {
      lines.emplace_back(registers ? row.notRegistered : row.notUnregistered);
    }
  }
  return lines;
}

TEST_CASE("all four modules are registered in order, whatever is passed as the second argument") {
  for (const auto& [folder, enable] : {std::pair{L"C:\\VELA_OE", true}, {L"C:\\VELA_OE\\", false}}) {
    const RegistrationChild child;
    const LogCapture log;
    CHECK(VELAUtility::RegisterOEPlugin(folder, enable));
    CHECK_LINES(log.Lines(), (ModuleLines(true, kModuleCount)));
    CHECK(child.Starts().size() == kModuleCount);
  }
}

TEST_CASE("registering stops at the first module that fails; unregistering continues after it") {
  for (unsigned failing = 0; failing < kModuleCount; ++failing) {
    CAPTURE(std::string(kModules[failing].path));
    const OwnRunValues run;
    run.Set();
    for (const bool registers : {true, false}) {
      RegistrationChild child;
      child.FailStart(failing + 1, ERROR_FILE_NOT_FOUND);
      const LogCapture log;
      CHECK_FALSE((registers ? VELAUtility::RegisterOEPlugin(L"C:\\VELA_OE", true)
                             : VELAUtility::UnregisterOEPlugin(L"C:\\VELA_OE")));
      const unsigned tried = registers ? failing + 1 : kModuleCount;
      CHECK_LINES(log.Lines(), (ModuleLines(registers, tried, failing)));
      CHECK(child.Starts().size() == tried);
    }
    CHECK_LINES(run.Names(), (OwnRunValues::All("OE")));
  }
}

TEST_CASE("unregistering removes all four modules and the start-up value; a value that stays is only a warning") {
  for (const char* const call : {"", "missing", "RegOpenKeyW", "RegDeleteValueW"}) {
    CAPTURE(std::string(call));
    const bool fails = *call == 'R';
    const bool missing = *call == 'm';
    const OwnRunValues run;
    if (!missing) {
      run.Set();
    }
    const RegistrationChild child;
    const LogCapture log;
    {
      const RegistryCallTrace keys;
      const FailCall failure{fails ? call : "RegOpenKeyW", fails ? Calls::Only(1) : Calls::None(), ERROR_ACCESS_DENIED};
      CHECK(VELAUtility::UnregisterOEPlugin(L"C:\\VELA_OE"));
      CHECK(keys.AllClosed());
    }
    const bool warned = fails || missing;
    CHECK_LINES(log.Lines(), (Joined({ModuleLines(false, kModuleCount), Lines(warned ? 1 : 0, kNoRunValue)})));
    CHECK_LINES(run.Names(), (missing ? Lines{} : OwnRunValues::All(fails ? "" : "OE")));
  }
}

}  // namespace
