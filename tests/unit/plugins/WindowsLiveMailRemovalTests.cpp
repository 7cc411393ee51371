#include <windows.h>

#include <doctest/doctest.h>

#include <new>

#include "plugins/WindowsLiveMailPlugin.h"
#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/plugins/OnlyProcess.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"

using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::Lines;
using TestSupport::LogCapture;
using VELAUtility::KeyMode;

namespace {

constexpr char kNotListed[] = "LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\WLMAilApiCppDllClient !!";
constexpr char kNoRunValue[] =
    "LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szWLM_OEM !!";
constexpr char kRunning[] = "LOG_WARN : WLM is still running. Do not unregister WLM COM objects.";
constexpr wchar_t kListKey[] = L"Software\\Nektra\\WLMailAPi\\Plugins";
const char* const kModules[] = {"WLMailApiInit.dll", "WLMailApiCom.dll", "WLMailApiStore.dll", "WLMailApiContacts.dll"};

// A machine with a listed plug-in and a start-up value.
struct RegisteredMachine {
  OwnKey nektra{TestSupport::MachineKey64(L"Software\\Nektra")};
  OwnRunValue run{L"WLM"};
  OwnRunValue runOfOtherClient{L"OE"};

  RegisteredMachine() {
    nektra.SetText(L"WLMailAPi\\Plugins", L"WLMAilApiCppDllClient", L"VELA_WLMA.dll");
    run.Set();
    runOfOtherClient.Set();
  }
  bool IsListed() const { return !TestSupport::LinesWith(nektra.Contents(), "WLMAilApiCppDllClient").empty(); }
};

// The run of all modules, with those that are marked failing.
Lines ModuleLines(const std::vector<bool>& fails) {
  Lines lines;
  for (unsigned module = 0; module < 4; ++module) {
    const std::string path = std::string("C:\\VELA_WLM\\") + kModules[module];
    lines = Joined({lines, UnregisteringLines(path, fails[module] ? 0 : 1)});
    if (fails[module]) {
      lines.push_back(std::string("LOG_EVENT :Failed to unregister ") + kModules[module] + " !!");
    }
  }
  return lines;
}

TEST_CASE("unregistering takes the entry, the modules and the start-up value, and nothing of the other client") {
  const RegisteredMachine machine;
  machine.nektra.SetText(L"WLMailAPi\\Plugins", L"Other", L"Other.dll");
  RegistrationChild child;
  const LogCapture log;
  const OpenKeysWatch keys;
  CHECK(VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM"));

  CHECK_LINES(log.Lines(), (ModuleLines({false, false, false, false})));
  CHECK_FALSE(machine.IsListed());
  CHECK(TestSupport::LinesWith(machine.nektra.Contents(), "\"Other\"").size() == 1);
  CHECK_FALSE(machine.run.Exists());
  CHECK(machine.runOfOtherClient.Exists());
  CHECK(keys.StillOpen() == 0);
}

TEST_CASE("while Windows Live Mail runs its modules stay, the entry and the start-up value go") {
  for (const wchar_t* const process : {L"wlmail.exe", L"WLMail.EXE", L"C:\\Program Files\\wlmail.exe"}) {
    const RegisteredMachine machine;
    RegistrationChild child;
    const OnlyProcess running(process);
    const LogCapture log;
    CHECK(VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM"));

    CHECK_LINES(log.Lines(), {kRunning});
    CHECK(child.Starts().empty());
    CHECK_FALSE(machine.IsListed());
    CHECK_FALSE(machine.run.Exists());
  }
}

TEST_CASE("a process of another name is not Windows Live Mail") {
  for (const wchar_t* const process : {L"wlmail2.exe", L"xwlmail.exe", L"wlmail.exe.exe", L"msimn.exe"}) {
    const RegisteredMachine machine;
    RegistrationChild child;
    const OnlyProcess running(process);
    CHECK(VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM"));
    CHECK(child.Starts().size() == 4);
  }
}

TEST_CASE("a process list that cannot be taken counts as Windows Live Mail not running") {
  const RegisteredMachine machine;
  RegistrationChild child;
  const FailCall list{"CreateToolhelp32Snapshot", 1, ERROR_ACCESS_DENIED};
  CHECK(VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM"));
  CHECK(list.Failed() == 1);
  CHECK(child.Starts().size() == 4);
}

TEST_CASE("all modules are tried, and one that failed makes a failure of the whole") {
  for (unsigned failing = 0; failing < 4; ++failing) {
    CAPTURE(kModules[failing]);
    const RegisteredMachine machine;
    RegistrationChild child;
    child.FailStart(failing + 1, ERROR_FILE_NOT_FOUND);
    const LogCapture log;
    CHECK_FALSE(VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM"));

    std::vector<bool> fails(4, false);
    fails[failing] = true;
    CHECK_LINES(log.Lines(), (Joined({ModuleLines(fails), {"LOG_ERROR: Unregistry WLM COM objects failed"}})));
    CHECK_FALSE(machine.IsListed());
    CHECK_FALSE(machine.run.Exists());
  }
}

TEST_CASE("an entry that is missing, with or without its list, is a warning and no failure") {
  for (const bool hasList : {true, false}) {
    CAPTURE(hasList);
    const OwnKey nektra(TestSupport::MachineKey64(L"Software\\Nektra"));
    const OwnRunValue run(L"WLM");
    run.Set();
    if (hasList) {
      nektra.SetText(L"WLMailAPi\\Plugins", L"Other", L"Other.dll");
    }
    RegistrationChild child;
    const LogCapture log;
    CHECK(VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM"));
    CHECK_LINES(log.Lines(), (Joined({{kNotListed}, ModuleLines({false, false, false, false})})));
    CHECK(nektra.Contents().empty() == !hasList);  // the list is not made here
  }
}

TEST_CASE("an entry of 32-bit programs is not touched") {
  const OwnKey nektra(TestSupport::MachineKey64(L"Software\\Nektra"));
  const OwnKey nektraOf32BitPrograms(TestSupport::MachineKey32(L"Software\\Nektra"));
  nektraOf32BitPrograms.SetText(L"WLMailAPi\\Plugins", L"WLMAilApiCppDllClient", L"VELA_WLMA.dll");
  CHECK_FALSE(
      VELAUtility::DeleteNektraPluginValue(HKEY_LOCAL_MACHINE, kListKey, L"WLMAilApiCppDllClient", KeyMode::kOpen));
  CHECK(TestSupport::LinesWith(nektraOf32BitPrograms.Contents(), "WLMAilApiCppDllClient").size() == 1);
}

TEST_CASE("an entry that the registry refuses to delete is a warning and no failure") {
  const RegisteredMachine machine;
  RegistrationChild child;
  const LogCapture log;
  const OpenKeysWatch keys;
  {
    const FailCall erase{"RegDeleteValueW", 1, ERROR_ACCESS_DENIED};
    CHECK(VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM"));
  }
  CHECK_LINES(log.Lines(), (Joined({{kNotListed}, ModuleLines({false, false, false, false})})));
  CHECK(machine.IsListed());
  CHECK_FALSE(machine.run.Exists());
  CHECK(keys.StillOpen() == 0);
}

TEST_CASE("whatever is thrown while deleting an entry ends in a plain no") {
  const RegisteredMachine machine;
  ImportRedirection erase{"RegDeleteValueW", [](HKEY, LPCWSTR) -> LSTATUS { throw std::bad_alloc(); }};
  CHECK_FALSE(
      VELAUtility::DeleteNektraPluginValue(HKEY_LOCAL_MACHINE, kListKey, L"WLMAilApiCppDllClient", KeyMode::kOpen));
}

TEST_CASE("what the registry's classes throw is given back to the heap") {
  const auto fail = [] {
    return VELAUtility::DeleteNektraPluginValue(HKEY_LOCAL_MACHINE, L"Software\\Nektra\\Nowhere", L"Nothing",
                                                KeyMode::kOpen);
  };
  bool deleted = fail();
  const long long before = OrCommonTests::LiveBlocks();
  for (int time = 0; time < 10; ++time) {
    deleted = fail() || deleted;
  }
  const long long after = OrCommonTests::LiveBlocks();
  CHECK(after == before);
  CHECK_FALSE(deleted);
}

TEST_CASE("a start-up value that is missing or cannot be deleted is a warning and no failure") {
  struct Case {
    const char* call;
    unsigned number;  // of the call that concerns the start-up key
  };
  for (const Case& failure : {Case{"RegOpenKeyW", 1}, Case{"RegDeleteValueW", 2}}) {
    CAPTURE(failure.call);
    const RegisteredMachine machine;
    RegistrationChild child;
    const LogCapture log;
    {
      const FailCall call{failure.call, failure.number, ERROR_ACCESS_DENIED};
      CHECK(VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM"));
      CHECK(call.Failed() == 1);
    }
    CHECK_LINES(TestSupport::LinesWith(log.Lines(), "WARN"), {kNoRunValue});
    CHECK(machine.run.Exists());
  }

  const RegisteredMachine machine;
  RegistrationChild child;
  VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM");
  const LogCapture log;
  CHECK(VELAUtility::UnregisterWLMPlugin(L"C:\\VELA_WLM"));
  CHECK_LINES(log.Lines(), (Joined({{kNotListed}, ModuleLines({false, false, false, false}), {kNoRunValue}})));
}

}  // namespace
