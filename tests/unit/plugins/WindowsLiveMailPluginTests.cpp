#include "plugins/WindowsLiveMailPlugin.h"

#include <doctest/doctest.h>

#include <new>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/plugins/RegistryPlaces.h"

using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::Lines;
using TestSupport::LogCapture;
using VELAUtility::KeyMode;

namespace {

constexpr char kFatal[] = "LOG_ERROR: Fatal Error, Registry WLM COM object false";
constexpr wchar_t kListKey[] = L"Software\\Nektra\\WLMailAPi\\Plugins";
const char* const kModules[] = {"WLMailApiInit.dll", "WLMailApiCom.dll", "WLMailApiStore.dll", "WLMailApiContacts.dll"};

// A machine on which Nektra's library was never registered, in neither view.
struct CleanMachine {
  OwnKey nektra{TestSupport::MachineKey64(L"Software\\Nektra")};
  OwnKey nektraOf32BitPrograms{TestSupport::MachineKey32(L"Software\\Nektra")};
};

Lines Entry() {
  return {"HKLM\\Software\\Nektra [64]", "HKLM\\Software\\Nektra\\WLMailAPi [64]",
          "HKLM\\Software\\Nektra\\WLMailAPi\\Plugins [64]",
          "HKLM\\Software\\Nektra\\WLMailAPi\\Plugins [64] \"WLMAilApiCppDllClient\" REG_SZ \"VELA_WLMA.dll\""};
}

// The run of all modules, with those that are marked failing.
Lines ModuleLines(const std::vector<bool>& fails) {
  Lines lines;
  for (unsigned module = 0; module < 4; ++module) {
    const std::string path = std::string("C:\\VELA_WLM\\") + kModules[module];
    lines = Joined({lines, RegisteringLines(path, fails[module] ? 0 : 1)});
    if (fails[module]) {
      lines.push_back(std::string("LOG_EVENT :Failed to register ") + kModules[module] + " !!");
    }
  }
  return lines;
}

TEST_CASE("the four modules are registered and the plug-in is listed for 64-bit programs") {
  for (const bool enable : {true, false}) {
    const CleanMachine machine;
    RegistrationChild child;
    const LogCapture log;
    const OpenKeysWatch keys;
    CHECK(VELAUtility::RegisterWLMPlugin(L"C:\\VELA_WLM", enable));

    CHECK_LINES(log.Lines(), (ModuleLines({false, false, false, false})));
    CHECK_LINES(machine.nektra.Contents(), (Entry()));
    CHECK(machine.nektraOf32BitPrograms.Contents().empty());
    CHECK(keys.StillOpen() == 0);
  }
}

TEST_CASE("a backslash is put behind the folder even where there is one") {
  const CleanMachine machine;
  RegistrationChild child;
  VELAUtility::RegisterWLMailApiModules(L"C:\\VELA_WLM\\");
  CHECK_LINES(child.CommandLines(), {"regsvr32.exe /s \"C:\\VELA_WLM\\\\WLMailApiInit.dll\"",
                                     "regsvr32.exe /s \"C:\\VELA_WLM\\\\WLMailApiCom.dll\"",
                                     "regsvr32.exe /s \"C:\\VELA_WLM\\\\WLMailApiStore.dll\"",
                                     "regsvr32.exe /s \"C:\\VELA_WLM\\\\WLMailApiContacts.dll\""});
}

TEST_CASE("all modules are tried, and the plug-in is listed only where none failed") {
  for (unsigned failing = 0; failing < 4; ++failing) {
    CAPTURE(kModules[failing]);
    const CleanMachine machine;
    RegistrationChild child;
    child.FailStart(failing + 1, ERROR_FILE_NOT_FOUND);
    const LogCapture log;
    CHECK_FALSE(VELAUtility::RegisterWLMPlugin(L"C:\\VELA_WLM", true));

    std::vector<bool> fails(4, false);
    fails[failing] = true;
    CHECK_LINES(log.Lines(), (Joined({ModuleLines(fails), {kFatal}})));
    CHECK(machine.nektra.Contents().empty());
  }
}

TEST_CASE("every module failing is told module by module and fatal once") {
  const CleanMachine machine;
  RegistrationChild child;
  child.FailEveryStart(ERROR_FILE_NOT_FOUND);
  const LogCapture log;
  CHECK_FALSE(VELAUtility::RegisterWLMPlugin(L"C:\\VELA_WLM", true));
  CHECK_LINES(log.Lines(), (Joined({ModuleLines({true, true, true, true}), {kFatal}})));
}

TEST_CASE("the list entry is a text of 28 bytes, its terminator counted") {
  const CleanMachine machine;
  unsigned sets = 0;
  ImportRedirection set{
      "RegSetValueExW",
      [&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
        ++sets;
        CHECK(TestSupport::ToUtf8(name) == "WLMAilApiCppDllClient");
        CHECK(type == REG_SZ);
        CHECK(size == 28);
        return set.Original<decltype(&::RegSetValueExW)>()(key, name, reserved, type, data, size);
      }};
  RegistrationChild child;
  CHECK(VELAUtility::RegisterWLMPlugin(L"C:\\VELA_WLM", true));
  CHECK(sets == 1);
}

TEST_CASE("the list is made where it is missing, as a lasting key in the view of 64-bit programs") {
  const CleanMachine machine;
  unsigned creates = 0;
  ImportRedirection create{"RegCreateKeyExW",
                           [&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM rights,
                               LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) -> LSTATUS {
                             ++creates;
                             CHECK(root == HKEY_LOCAL_MACHINE);
                             CHECK(TestSupport::ToUtf8(path) == "Software\\Nektra\\WLMailAPi\\Plugins");
                             CHECK(options == REG_OPTION_NON_VOLATILE);
                             CHECK((rights & (KEY_WOW64_64KEY | KEY_WOW64_32KEY)) == KEY_WOW64_64KEY);
                             return create.Original<decltype(&::RegCreateKeyExW)>()(root, path, reserved, type, options,
                                                                                    rights, security, key, disposition);
                           }};
  RegistrationChild child;
  CHECK(VELAUtility::RegisterWLMPlugin(L"C:\\VELA_WLM", true));
  CHECK(creates == 1);
}

TEST_CASE("an entry that exists is replaced, and what else is listed stays") {
  const CleanMachine machine;
  machine.nektra.SetText(L"WLMailAPi\\Plugins", L"WLMAilApiCppDllClient", L"VELA_Older.dll");
  machine.nektra.SetText(L"WLMailAPi\\Plugins", L"Other", L"Other.dll");
  RegistrationChild child;
  CHECK(VELAUtility::RegisterWLMPlugin(L"C:\\VELA_WLM", true));
  CHECK_LINES(machine.nektra.Contents(),
              {Entry()[0], Entry()[1], Entry()[2],
               "HKLM\\Software\\Nektra\\WLMailAPi\\Plugins [64] \"Other\" REG_SZ \"Other.dll\"", Entry()[3]});
}

TEST_CASE("an entry that the registry refuses is told with its error") {
  struct Case {
    const char* call;
    DWORD error;
  };
  for (const Case& failure :
       {Case{"RegCreateKeyExW", ERROR_ACCESS_DENIED}, Case{"RegSetValueExW", ERROR_KEY_DELETED}}) {
    CAPTURE(failure.call);
    const CleanMachine machine;
    RegistrationChild child;
    const LogCapture log;
    const OpenKeysWatch keys;
    {
      const FailCall call{failure.call, 1, failure.error};
      CHECK_FALSE(VELAUtility::RegisterWLMPlugin(L"C:\\VELA_WLM", true));
      CHECK(call.Failed() == 1);
    }
    CHECK_LINES(TestSupport::LinesWith(log.Lines(), "LOG_E"),
                {"LOG_EVENT :store registry key VELA_REG_3RD_PARTY_NEKTRA error: " + std::to_string(failure.error)});
    CHECK(keys.StillOpen() == 0);
  }
}

TEST_CASE("a failure that is not the registry's is told with the code of an unknown storage failure") {
  const CleanMachine machine;
  RegistrationChild child;
  const LogCapture log;
  const OpenKeysWatch keys;
  bool registered = true;
  {
    ImportRedirection set{"RegSetValueExW",
                          [](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS { throw std::bad_alloc(); }};
    registered = VELAUtility::RegisterWLMPlugin(L"C:\\VELA_WLM", true);
  }
  CHECK_FALSE(registered);
  CHECK_LINES(TestSupport::LinesWith(log.Lines(), "LOG_E"),
              {"LOG_EVENT :store registry key VELA_REG_3RD_PARTY_NEKTRA error: 2147680509"});
  CHECK(keys.StillOpen() == 0);
}

TEST_CASE("the writer of list entries answers with a code of 0, the registry's or the unknown one") {
  const CleanMachine machine;
  DWORD error = 4711;
  CHECK(VELAUtility::SetNektraPluginValue(HKEY_LOCAL_MACHINE, kListKey, L"Name", L"Data", KeyMode::kCreate, error));
  CHECK(error == 0);

  CHECK_FALSE(VELAUtility::SetNektraPluginValue(HKEY_LOCAL_MACHINE, L"Software\\Nektra\\NoSuchKey", L"Name", L"Data",
                                                KeyMode::kOpen, error));
  CHECK(error == ERROR_FILE_NOT_FOUND);

  CHECK_FALSE(VELAUtility::SetNektraPluginValue(nullptr, kListKey, L"Name", L"Data", KeyMode::kCreate, error));
  CHECK(error == ERROR_BAD_ARGUMENTS);

  ImportRedirection create{
      "RegCreateKeyExW",
      [](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) -> LSTATUS { throw 1; }};
  CHECK_FALSE(
      VELAUtility::SetNektraPluginValue(HKEY_LOCAL_MACHINE, kListKey, L"Name", L"Data", KeyMode::kCreate, error));
  CHECK(error == 0x800300FD);
}

}  // namespace
