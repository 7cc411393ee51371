#include "plugins/OutlookExpressPlugin.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using TestSupport::Calls;
using TestSupport::FailCall;
using TestSupport::Lines;
using TestSupport::LogCapture;

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

// Of the first `count` modules.
Lines RegisteredModules(unsigned count) {
  Lines lines;
  for (unsigned module = 0; module < count; ++module) {
    lines = Joined({lines, RegisteringLines(kModules[module].path)});
  }
  return lines;
}

TEST_CASE("all four modules are registered in order, whatever is passed as the second argument") {
  for (const wchar_t* const folder : {L"C:\\VELA_OE", L"C:\\VELA_OE\\"}) {
    for (const bool enable : {true, false}) {
      RegistrationChild child;
      const LogCapture log;
      CHECK(VELAUtility::RegisterOEPlugin(folder, enable));
      CHECK_LINES(log.Lines(), (RegisteredModules(kModuleCount)));
      CHECK(child.Starts().size() == kModuleCount);
    }
  }
}

TEST_CASE("registering stops at the first module that cannot be registered") {
  for (unsigned failing = 0; failing < kModuleCount; ++failing) {
    CAPTURE(kModules[failing].path);
    RegistrationChild child;
    child.FailStart(failing + 1, ERROR_FILE_NOT_FOUND);
    const LogCapture log;
    CHECK_FALSE(VELAUtility::RegisterOEPlugin(L"C:\\VELA_OE", true));

    CHECK_LINES(log.Lines(), (Joined({RegisteredModules(failing),
                                      RegisteringLines(kModules[failing].path, 0),
                                      {kModules[failing].notRegistered}})));
    CHECK(child.Starts().size() == failing + 1);
  }
}

TEST_CASE("unregistering takes all four modules and the start-up value, and nothing of the other client") {
  const OwnRunValue run(L"OE");
  const OwnRunValue other(L"WLM");
  run.Set();
  other.Set();
  RegistrationChild child;
  const LogCapture log;
  const TestSupport::RegistryCallTrace keys;
  CHECK(VELAUtility::UnregisterOEPlugin(L"C:\\VELA_OE"));

  Lines wanted;
  for (const Module& module : kModules) {
    wanted = Joined({wanted, UnregisteringLines(module.path)});
  }
  CHECK_LINES(log.Lines(), (wanted));
  CHECK(keys.AllClosed());
  CHECK_FALSE(run.Exists());
  CHECK(other.Exists());
}

TEST_CASE("unregistering goes on past a module that cannot be unregistered") {
  for (unsigned failing = 0; failing < kModuleCount; ++failing) {
    CAPTURE(kModules[failing].path);
    const OwnRunValue run(L"OE");
    run.Set();
    RegistrationChild child;
    child.FailStart(failing + 1, ERROR_FILE_NOT_FOUND);
    const LogCapture log;
    CHECK_FALSE(VELAUtility::UnregisterOEPlugin(L"C:\\VELA_OE"));

    Lines wanted;
    for (unsigned module = 0; module < kModuleCount; ++module) {
      wanted = Joined({wanted, UnregisteringLines(kModules[module].path, module == failing ? 0 : 1)});
      if (module == failing) {
        wanted.push_back(kModules[module].notUnregistered);
      }
    }
    CHECK_LINES(log.Lines(), (wanted));
    CHECK_FALSE(run.Exists());
  }
}

TEST_CASE("a start-up value that is missing or cannot be deleted is a warning and no failure") {
  for (const char* const call : {"", "RegOpenKeyW", "RegDeleteValueW"}) {
    CAPTURE(call);
    const bool there = *call != '\0';
    const OwnRunValue run(L"OE");
    if (there) {
      run.Set();
    }
    RegistrationChild child;
    const LogCapture log;
    const TestSupport::RegistryCallTrace keys;
    {
      const FailCall failure{there ? call : "RegOpenKeyW", there ? Calls::Only(1) : Calls::None(), ERROR_ACCESS_DENIED};
      CHECK(VELAUtility::UnregisterOEPlugin(L"C:\\VELA_OE"));
    }
    CHECK_LINES(TestSupport::LinesWith(log.Lines(), "WARN"), {kNoRunValue});
    CHECK(keys.AllClosed());
    CHECK(run.Exists() == there);
  }
}

}  // namespace
