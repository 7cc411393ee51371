#include "plugins/WindowsLiveMailPlugin.h"

#include <doctest/doctest.h>

#include <new>

#include "tests/support/CallFailures.h"
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

// Nothing of the plug-in is registered, in neither view.
struct CleanMachine {
  OwnKey nektra{MachineKey64(L"Software\\Nektra")};
  OwnKey nektraOf32BitPrograms{MachineKey32(L"Software\\Nektra")};
  OwnRunValue run{L"WLM"};
  OwnRunValue runOfOtherClient{L"OE"};
  RegistrationChild child;

  bool IsListed() const { return !LinesWith(nektra.Contents(), "WLMAilApiCppDllClient").empty(); }
};

struct RegisteredMachine : CleanMachine {
  RegisteredMachine() {
    nektra.SetText(L"WLMailAPi\\Plugins", kEntry, L"VELA_WLMA.dll");
    run.Set();
    runOfOtherClient.Set();
  }
};

// The lines of all modules, one of which may fail.
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

TEST_CASE("the modules are registered and the plug-in is listed for 64-bit programs, by a text with its terminator") {
  for (const bool enable : {true, false}) {
    const CleanMachine machine;
    const LogCapture log;
    Lines calls;
    bool closed = false;
    {
      const RegistryCallTrace trace;
      CHECK(RegisterWLMPlugin(L"C:\\VELA_WLM", enable));
      calls = trace.Calls();
      closed = trace.AllClosed();
    }
    CHECK_LINES(log.Lines(), (ModuleLines(true)));
    CHECK_LINES(LinesWith(machine.nektra.Contents(), "\""),
                {"HKLM\\Software\\Nektra\\WLMailAPi\\Plugins [64] \"WLMAilApiCppDllClient\" REG_SZ \"VELA_WLMA.dll\""});
    CHECK(machine.nektraOf32BitPrograms.Contents().empty());
    CHECK(LinesWith(calls, "RegCreateKeyExW HKLM Software\\Nektra\\WLMailAPi\\Plugins ").size() == 1);
    CHECK(LinesWith(calls, " options 0").size() == 1);  // a lasting key
    CHECK_LINES(LinesWith(calls, "RegSetValueExW"), {"RegSetValueExW 1 \"WLMAilApiCppDllClient\" REG_SZ 28 bytes"});
    CHECK(closed);
  }
}

TEST_CASE("all modules are tried, and the plug-in is listed only where none failed") {
  for (unsigned failing = 0; failing < 4; ++failing) {
    CAPTURE(kModules[failing]);
    CleanMachine machine;
    machine.child.FailStart(failing + 1, ERROR_FILE_NOT_FOUND);
    const LogCapture log;
    CHECK_FALSE(RegisterWLMPlugin(L"C:\\VELA_WLM", true));
    CHECK_LINES(log.Lines(),
                (Joined({ModuleLines(true, failing), {"LOG_ERROR: Fatal Error, Registry WLM COM object false"}})));
    CHECK_FALSE(machine.IsListed());
  }
}

TEST_CASE("an entry that exists is replaced, and what else is listed stays") {
  const CleanMachine machine;
  machine.nektra.SetText(L"WLMailAPi\\Plugins", kEntry, L"VELA_Older.dll");
  machine.nektra.SetText(L"WLMailAPi\\Plugins", L"Other", L"Other.dll");
  CHECK(RegisterWLMPlugin(L"C:\\VELA_WLM", true));
  CHECK(LinesWith(machine.nektra.Contents(), "REG_SZ \"VELA_WLMA.dll\"").size() == 1);
  CHECK(LinesWith(machine.nektra.Contents(), "\"Other\" REG_SZ \"Other.dll\"").size() == 1);
}

// What the writer of list entries answers where a call of the registry fails or throws.
TEST_CASE("an entry that cannot be written is told with the registry's code, or with that of an unknown failure") {
  enum class Way { kRefused, kThrows };
  struct Row {
    const char* call;
    Way way;
    DWORD error;
  };
  for (const Row& row :
       {Row{"RegCreateKeyExW", Way::kRefused, ERROR_ACCESS_DENIED},
        Row{"RegSetValueExW", Way::kRefused, ERROR_KEY_DELETED}, Row{"RegSetValueExW", Way::kThrows, 0x800300FD}}) {
    CAPTURE(row.call);
    const CleanMachine machine;
    const LogCapture log;
    bool closed = false;
    {
      const FailCall call{row.call, row.way == Way::kRefused ? Calls::Only(1) : Calls::None(), row.error};
      ImportRedirection set{
          "RegSetValueExW",
          [&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
            if (row.way == Way::kThrows) {
              throw std::bad_alloc();
            }
            return set.Original<decltype(&::RegSetValueExW)>()(key, name, reserved, type, data, size);
          }};
      const RegistryCallTrace trace;
      CHECK_FALSE(RegisterWLMPlugin(L"C:\\VELA_WLM", true));
      closed = trace.AllClosed();
    }
    CHECK_LINES(LinesWith(log.Lines(), "LOG_E"),
                {"LOG_EVENT :store registry key VELA_REG_3RD_PARTY_NEKTRA error: " + std::to_string(row.error)});
    CHECK(closed);
  }
}

TEST_CASE("the writer of list entries makes no key where it shall only open one, and refuses a null hive") {
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

TEST_CASE("unregistering takes the entry, the modules and the start-up value, and nothing of the other client") {
  const RegisteredMachine machine;
  machine.nektra.SetText(L"WLMailAPi\\Plugins", L"Other", L"Other.dll");
  machine.nektraOf32BitPrograms.SetText(L"WLMailAPi\\Plugins", kEntry, L"VELA_WLMA.dll");
  const LogCapture log;
  const RegistryCallTrace keys;
  CHECK(UnregisterWLMPlugin(L"C:\\VELA_WLM"));
  CHECK_LINES(log.Lines(), (ModuleLines(false)));
  CHECK_FALSE(machine.IsListed());
  CHECK(LinesWith(machine.nektra.Contents(), "\"Other\"").size() == 1);
  CHECK(LinesWith(machine.nektraOf32BitPrograms.Contents(), "WLMAilApiCppDllClient").size() == 1);
  CHECK_FALSE(machine.run.Exists());
  CHECK(machine.runOfOtherClient.Exists());
  CHECK(keys.AllClosed());
}

TEST_CASE("while Windows Live Mail runs its modules stay, the entry and the start-up value go") {
  const RegisteredMachine machine;
  const RunningProcesses running({L"WLMail.EXE"});
  const LogCapture log;
  CHECK(UnregisterWLMPlugin(L"C:\\VELA_WLM"));
  CHECK_LINES(log.Lines(), {"LOG_WARN : WLM is still running. Do not unregister WLM COM objects."});
  CHECK(machine.child.Starts().empty());
  CHECK_FALSE(machine.IsListed());
  CHECK_FALSE(machine.run.Exists());
}

TEST_CASE("all modules are tried, and one that failed makes a failure of the whole") {
  for (unsigned failing = 0; failing < 4; ++failing) {
    CAPTURE(kModules[failing]);
    RegisteredMachine machine;
    machine.child.FailStart(failing + 1, ERROR_FILE_NOT_FOUND);
    const LogCapture log;
    CHECK_FALSE(UnregisterWLMPlugin(L"C:\\VELA_WLM"));
    CHECK_LINES(log.Lines(), (Joined({ModuleLines(false, failing), {"LOG_ERROR: Unregistry WLM COM objects failed"}})));
    CHECK_FALSE(machine.IsListed());
    CHECK_FALSE(machine.run.Exists());
  }
}

TEST_CASE("an entry or a start-up value that is missing is a warning and no failure, and no list is made") {
  const CleanMachine machine;
  const LogCapture log;
  CHECK(UnregisterWLMPlugin(L"C:\\VELA_WLM"));
  CHECK_LINES(log.Lines(), (Joined({{kNotListed}, ModuleLines(false), {kNoRunValue}})));
  CHECK(machine.nektra.Contents().empty());
}

TEST_CASE("an entry or a start-up value that cannot be deleted is a warning and no failure") {
  struct Row {
    const char* call;
    unsigned number;
    const char* line;
  };
  for (const Row& row : {Row{"RegDeleteValueW", 1, kNotListed}, Row{"RegOpenKeyW", 1, kNoRunValue},
                         Row{"RegDeleteValueW", 2, kNoRunValue}}) {
    CAPTURE(row.line);
    const RegisteredMachine machine;
    const LogCapture log;
    const RegistryCallTrace keys;
    {
      const FailCall call{row.call, row.number, ERROR_ACCESS_DENIED};
      CHECK(UnregisterWLMPlugin(L"C:\\VELA_WLM"));
      CHECK(call.Failed() == 1);
    }
    CHECK_LINES(LinesWith(log.Lines(), "WARN"), {row.line});
    CHECK(machine.IsListed() == (row.line == kNotListed));
    CHECK(machine.run.Exists() == (row.line == kNoRunValue));
    CHECK(keys.AllClosed());
  }
}

TEST_CASE("whatever is thrown while deleting an entry ends in a plain no, and the registry's exceptions are freed") {
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
  const long long before = OrCommonTests::LiveBlocks();
  for (int time = 0; time < 10; ++time) {
    deleted = fail() || deleted;
  }
  const long long after = OrCommonTests::LiveBlocks();
  CHECK(after == before);
  CHECK_FALSE(deleted);
}

}  // namespace
