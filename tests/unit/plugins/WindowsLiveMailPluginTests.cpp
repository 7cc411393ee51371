#include "plugins/WindowsLiveMailPlugin.h"

#include <doctest/doctest.h>

#include <new>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/LogCapture.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"
#include "tests/unit/settings/RegistryCallTrace.h"
#include "tests/unit/settings/RunningProcesses.h"

using namespace TestSupport;
using VELAUtility::KeyMode;
using VELAUtility::RegisterWLMPlugin;
using VELAUtility::UnregisterWLMPlugin;

namespace {

constexpr char kNotListed[] = "LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\WLMAilApiCppDllClient !!";
constexpr char kNoRunValue[] =
    "LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szWLM_OEM !!";
constexpr wchar_t kListKey[] = L"Software\\Nektra\\WLMailAPi\\Plugins";
constexpr wchar_t kEntry[] = L"WLMAilApiCppDllClient";
const char* const kModules[] = {"WLMailApiInit.dll", "WLMailApiCom.dll", "WLMailApiStore.dll", "WLMailApiContacts.dll"};
constexpr unsigned kNone = 4;

// Nothing of the plug-in is registered, in either view.
struct CleanMachine {
  OwnKey nektra{MachineKey64(L"Software\\Nektra")};
  OwnKey nektraOf32BitPrograms{MachineKey32(L"Software\\Nektra")};
  OwnRunValues run;
  RegistrationChild child;

  // The values of the list, "name" type "data".
  Lines Listed() const {
    Lines values;
    for (const std::string& line : LinesWith(nektra.Contents(), "\"")) {
      values.push_back(line.substr(line.find('"')));
    }
    return values;
  }
};

struct RegisteredMachine : CleanMachine {
  RegisteredMachine() {
    MakeKey(MachineKey64(kListKey), {{kEntry, L"VELA_WLMA.dll"}});
    run.Set();
  }
};

const std::string kListed = "\"WLMAilApiCppDllClient\" REG_SZ \"VELA_WLMA.dll\"";

// The lines of all modules. One of them may fail.
Lines ModuleLines(bool registers, unsigned failing = kNone) {
  Lines lines;
  for (unsigned module = 0; module < 4; ++module) {
    const std::string path = std::string("C:\\VELA_WLM\\") + kModules[module];
    const int result = module == failing ? 0 : 1;
    lines = Joined({lines, registers ? RegisteringLines(path, result) : UnregisteringLines(path, result)});
    if (module == failing) {
      lines.push_back(std::string("LOG_EVENT :Failed to ") + (registers ? "" : "un") + "register " + kModules[module] +
                      " !!");
    }
  }
  return lines;
}

// ---- registering

TEST_CASE("the modules are registered and the plug-in is listed for 64-bit programs; other list entries stay") {
  for (const bool enable : {true, false}) {
    const CleanMachine machine;
    if (!enable) {
      MakeKey(MachineKey64(kListKey), {{kEntry, L"VELA_Older.dll"}, {L"Other", L"Other.dll"}});
    }
    const LogCapture log;
    {
      const RegistryCallTrace trace;
      CHECK(RegisterWLMPlugin(L"C:\\VELA_WLM", enable));
      CHECK(LinesWith(trace.Calls(), "RegCreateKeyExW HKLM Software\\Nektra\\WLMailAPi\\Plugins ").size() == 1);
      CHECK(LinesWith(trace.Calls(), " options 0").size() == 1);  // a permanent key
      CHECK_LINES(LinesWith(trace.Calls(), "RegSetValueExW"),
                  {"RegSetValueExW 1 \"WLMAilApiCppDllClient\" REG_SZ 28 bytes"});
      CHECK(trace.AllClosed());
    }
    CHECK_LINES(log.Lines(), (ModuleLines(true)));
    CHECK_LINES(machine.Listed(), (enable ? Lines{kListed} : Lines{"\"Other\" REG_SZ \"Other.dll\"", kListed}));
    CHECK(machine.nektraOf32BitPrograms.Contents().empty());
  }
}

TEST_CASE("all modules are tried, any failed one is a failure, and the plug-in is listed only if none failed") {
  for (unsigned failing = 0; failing < kNone; ++failing) {
    for (const bool registers : {true, false}) {
      CAPTURE(std::string(kModules[failing]));
      RegisteredMachine machine;
      if (registers) {
        RemoveKey(MachineKey64(kListKey));
      }
      machine.child.FailStart(failing + 1, ERROR_FILE_NOT_FOUND);
      const LogCapture log;
      CHECK_FALSE((registers ? RegisterWLMPlugin(L"C:\\VELA_WLM", true) : UnregisterWLMPlugin(L"C:\\VELA_WLM")));
      CHECK_LINES(log.Lines(), (Joined({ModuleLines(registers, failing),
                                        {registers ? "LOG_ERROR: Fatal Error, Registry WLM COM object false"
                                                   : "LOG_ERROR: Unregistry WLM COM objects failed"}})));
      CHECK_LINES(machine.Listed(), {});
      CHECK_LINES(machine.run.Names(), (OwnRunValues::All(registers ? "" : "WLM")));
    }
  }
}

// The result of the writer of list entries if a registry call fails or throws.
TEST_CASE("an entry that cannot be written is logged with the registry's error, or that of an unknown failure") {
  struct Row {
    const char* call;
    bool throws;
    DWORD error;
  };
  for (const Row& row : {Row{"RegCreateKeyExW", false, ERROR_ACCESS_DENIED},
                         Row{"RegSetValueExW", false, ERROR_KEY_DELETED}, Row{"RegSetValueExW", true, 0x800300FD}}) {
    CAPTURE(row.error);
    const CleanMachine machine;
    const LogCapture log;
    {
      const FailCall call{row.call, row.throws ? Calls::None() : Calls::Only(1), row.error};
      const OnCall set{"RegSetValueExW", &::RegSetValueExW, [&] {
                         if (row.throws) {
                           throw std::bad_alloc();
                         }
                       }};
      const RegistryCallTrace trace;
      CHECK_FALSE(RegisterWLMPlugin(L"C:\\VELA_WLM", true));
      CHECK(trace.AllClosed());
    }
    CHECK_LINES(LinesWith(log.Lines(), "LOG_E"),
                {"LOG_EVENT :store registry key VELA_REG_3RD_PARTY_NEKTRA error: " + std::to_string(row.error)});
  }
}

TEST_CASE("SetNektraPluginValue creates no key if it may only open one, and refuses a null hive") {
  const CleanMachine machine;
  DWORD error = 4711;
  CHECK(VELAUtility::SetNektraPluginValue(HKEY_LOCAL_MACHINE, kListKey, L"Name", L"Data", KeyMode::kCreate, error));
  CHECK(error == 0);
  CHECK_FALSE(VELAUtility::SetNektraPluginValue(HKEY_LOCAL_MACHINE, L"Software\\Nektra\\NoSuchKey", L"Name", L"Data",
                                                KeyMode::kOpen, error));
  CHECK(error == ERROR_FILE_NOT_FOUND);
  CHECK_FALSE(VELAUtility::SetNektraPluginValue(nullptr, kListKey, L"Name", L"Data", KeyMode::kCreate, error));
  CHECK(error == ERROR_BAD_ARGUMENTS);
}

// ---- unregistering

TEST_CASE("unregistering removes the list entry, the start-up value and, unless the client runs, the modules") {
  for (const bool running : {false, true}) {
    const RegisteredMachine machine;
    MakeKey(MachineKey64(kListKey), {{L"Other", L"Other.dll"}});
    MakeKey(MachineKey32(kListKey), {{kEntry, L"VELA_WLMA.dll"}});
    const RunningProcesses processes({running ? L"WLMail.EXE" : L"x.exe"});
    const LogCapture log;
    {
      const RegistryCallTrace keys;
      CHECK(UnregisterWLMPlugin(L"C:\\VELA_WLM"));
      CHECK(keys.AllClosed());
    }
    CHECK_LINES(log.Lines(), (running ? Lines{"LOG_WARN : WLM is still running. Do not unregister WLM COM objects."}
                                      : ModuleLines(false)));
    CHECK(machine.child.Starts().size() == (running ? 0 : kNone));
    CHECK_LINES(machine.Listed(), {"\"Other\" REG_SZ \"Other.dll\""});
    CHECK(LinesWith(machine.nektraOf32BitPrograms.Contents(), "WLMAilApiCppDllClient").size() == 1);
    CHECK_LINES(machine.run.Names(), (OwnRunValues::All("WLM")));
  }
}

TEST_CASE("an entry or start-up value that is missing or stays is only a warning, and no list is created") {
  {
    const CleanMachine machine;
    const LogCapture log;
    CHECK(UnregisterWLMPlugin(L"C:\\VELA_WLM"));
    CHECK_LINES(log.Lines(), (Joined({{kNotListed}, ModuleLines(false), {kNoRunValue}})));
    CHECK(machine.nektra.Contents().empty());
  }
  struct Row {
    const char* call;
    unsigned number;
    const char* line;
  };
  for (const Row& row : {Row{"RegDeleteValueW", 1, kNotListed}, Row{"RegOpenKeyW", 1, kNoRunValue},
                         Row{"RegDeleteValueW", 2, kNoRunValue}}) {
    CAPTURE(std::string(row.line));
    const RegisteredMachine machine;
    const LogCapture log;
    {
      const RegistryCallTrace keys;
      const FailCall call{row.call, row.number, ERROR_ACCESS_DENIED};
      CHECK(UnregisterWLMPlugin(L"C:\\VELA_WLM"));
      CHECK(call.Failed() == 1);
      CHECK(keys.AllClosed());
    }
    CHECK_LINES(LinesWith(log.Lines(), "WARN"), {row.line});
    CHECK_LINES(machine.Listed(), (Lines(row.line == kNotListed ? 1 : 0, kListed)));
    CHECK_LINES(machine.run.Names(), (OwnRunValues::All(row.line == kNotListed ? "WLM" : "")));
  }
}

TEST_CASE("any exception while deleting an entry makes the result false, and the registry's exceptions are freed") {
  const RegisteredMachine machine;
  {
    ImportRedirection erase{"RegDeleteValueW", [](HKEY, LPCWSTR) -> LSTATUS { throw std::bad_alloc(); }};
    CHECK_FALSE(VELAUtility::DeleteNektraPluginValue(HKEY_LOCAL_MACHINE, kListKey, kEntry, KeyMode::kOpen));
  }
  const auto fail = [] {
    return VELAUtility::DeleteNektraPluginValue(HKEY_LOCAL_MACHINE, L"Software\\Nektra\\Nowhere", L"Nothing",
                                                KeyMode::kOpen);
  };
  bool deleted = fail();
  const long long before = TestSupport::LiveBlocks();
  for (int time = 0; time < 10; ++time) {
    deleted = fail() || deleted;
  }
  const long long after = TestSupport::LiveBlocks();
  CHECK(after == before);
  CHECK_FALSE(deleted);
}

}  // namespace
