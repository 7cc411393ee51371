// Each client switched on and off: what is written where, and what is said when it cannot be.
#include "activation/ClientActivation.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/support/HeapWatch.h"
#include "tests/unit/activation/SwitchedMachine.h"
#include "tests/unit/settings/RegistryCallTrace.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

constexpr wchar_t kInstallPath[] = L"C:\\Program Files\\VELA";
constexpr char kAddin[] = "Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent\\";
constexpr char kIdLine[] = "LOG_INFO : GetCurrentUserID - szSidString: S-1-5-21-1-2-3-1001 strCurrentUserID:{ID}";

void GiveIdentity() {
  MakeKey(UsersKey(std::wstring(SwitchedMachine::kUser) + L"\\Identities"), {{L"Last User ID", L"{ID}"}});
}

struct Switched {
  bool result = false;
  Lines log;
  Lines registry;  // changes
};

using ClientSwitch = bool (*)(const std::wstring&, DWORD, const std::wstring&);

Switched Run(const SwitchedMachine& machine, ClientSwitch clientSwitch,
             const std::wstring& installPath = kInstallPath) {
  Switched switched;
  const RegistrySnapshot before = machine.Registry();
  const LogCapture log;
  switched.result = clientSwitch(installPath, 7, SwitchedMachine::kUser);
  switched.log = log.Lines();
  switched.registry = RegistrySnapshot::Changes(before, machine.Registry());
  return switched;
}

// The same with the chosen calls of a function failing.
Switched RunFailing(ClientSwitch clientSwitch, const char* function, Calls calls, unsigned& failed) {
  Switched switched;
  const LogCapture log;
  {
    const FailCall failing(function, calls, ERROR_ACCESS_DENIED);
    switched.result = clientSwitch(kInstallPath, 7, SwitchedMachine::kUser);
    failed = failing.Failed();
  }
  switched.log = log.Lines();
  return switched;
}

// ---- Outlook

TEST_CASE("Outlook is switched on for the machine and for every user") {
  const SwitchedMachine machine;
  GiveIdentity();
  const Switched switched = Run(machine, VELA_ActivateOL);
  CHECK(switched.result);
  CHECK_LINES(switched.log, {kIdLine});
  CHECK(LinesWith(switched.registry, "HKLM\\Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent [64] \"")
            .size() == 4);
  CHECK(machine.LoadBehavior() == 3);
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    CHECK(machine.LoadBehavior(hive) == 3);
  }
  CHECK(Exists(std::wstring(SwitchedMachine::kData) + L"\\Orvane Labs\\OL\\Users\\{ID}\\log"));
}

TEST_CASE("a value of the machine's key that cannot be written is told, and the users get theirs") {
  const SwitchedMachine machine;
  GiveIdentity();
  unsigned failed = 0;
  const Switched switched = RunFailing(VELA_ActivateOL, "RegSetValueExW", Calls::Between(1, 4), failed);
  CHECK(failed == 4);
  CHECK(switched.result);
  CHECK_LINES(switched.log, {kIdLine, "LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 3!!",
                             "LOG_ERROR: Failed to WriteRegIntValue of CommandLineSafe !!",
                             "LOG_ERROR: Failed to WriteRegIntValue of FriendlyName !!",
                             "LOG_ERROR: Failed to WriteRegIntValue of Description !!"});
  CHECK(machine.LoadBehavior() == -1);
  CHECK(machine.LoadBehavior(SwitchedMachine::kUser) == 3);
}

TEST_CASE("a key of the machine that cannot be made is told once, and the users are switched all the same") {
  const SwitchedMachine machine;
  GiveIdentity();
  unsigned failed = 0;
  const Switched switched = RunFailing(VELA_ActivateOL, "RegCreateKeyExW", Calls::Only(1), failed);
  CHECK(failed == 1);
  CHECK(switched.result);
  CHECK_LINES(switched.log,
              {kIdLine, std::string("LOG_ERROR: Failed to CreateRegKey of g_szOLActivateKey : ") + kAddin});
  CHECK(machine.LoadBehavior() == -1);
  CHECK(machine.LoadBehavior(SwitchedMachine::kUser) == 3);
}

TEST_CASE("Outlook is switched off for the machine and for every user") {
  const SwitchedMachine machine;
  VELA_ActivateOL(kInstallPath, 7, SwitchedMachine::kUser);
  const Lines data = machine.Data();
  const Switched switched = Run(machine, VELA_DeActivateOL);
  CHECK(switched.result);
  CHECK_LINES(switched.log, {});
  Lines changes;
  for (const std::string& hive : {std::string("HKLM")}) {
    changes.push_back("~" + hive +
                      "\\Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent [64] "
                      "\"LoadBehavior\" REG_DWORD 2 <- REG_DWORD 3");
  }
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    changes.push_back("~HKU\\" + ToUtf8(hive) +
                      "\\Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent [64] "
                      "\"LoadBehavior\" REG_DWORD 2 <- REG_DWORD 3");
  }
  CHECK_LINES(switched.registry, (changes));
  CHECK_LINES(machine.Data(), (data));
}

TEST_CASE("without the machine's key Outlook is not switched off, and every hive stays as it is") {
  const SwitchedMachine machine;
  MakeKey(UsersKey(std::wstring(SwitchedMachine::kUser) + L"\\" + SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
  const Switched switched = Run(machine, VELA_DeActivateOL);
  CHECK_FALSE(switched.result);
  CHECK_LINES(switched.log, {"LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 2!!"});
  CHECK_LINES(switched.registry, {});
}

// ---- the clients with a monitor

struct MonitoredClient {
  const wchar_t* runValue;
  const wchar_t* folder;
  ClientSwitch activate;
  ClientSwitch deactivate;
  const wchar_t* command;
  const char* writeFailure;
  const char* deleteFailure;
};

constexpr MonitoredClient kMonitoredClients[] = {
    {L"OE", L"OE", VELA_ActivateOE, VELA_DeActivateOE, L"\"C:\\Program Files\\VELA\\VELA_OE\\VELA_OEMon.exe\"",
     "LOG_ERROR: Failed to WriteRegStringValue of Run Key for OEMon !!",
     "LOG_ERROR: Fail to DeleteRegStringValue() of g_szOE_OEM !"},
    {L"WLM", L"WLM", VELA_ActivateWLM, VELA_DeActivateWLM, L"\"C:\\Program Files\\VELA\\VELA_WLM\\VELA_WLMMon.exe\"",
     "LOG_ERROR: Failed to WriteRegStringValue of Run Key for WLMMon !!",
     "LOG_ERROR: Fail to DeleteRegStringValue() of g_szWLM_OEM !"},
};

TEST_CASE("a monitored client's monitor is started at every log-on from now on, and the user's folders are there") {
  for (const MonitoredClient& client : kMonitoredClients) {
    const SwitchedMachine machine;
    GiveIdentity();
    const Switched switched = Run(machine, client.activate);
    CHECK(switched.result);
    CHECK_LINES(switched.log, {});
    CHECK(switched.registry.size() == 1);
    CHECK(SwitchedMachine::RunValue(client.runValue) == client.command);
    CHECK(Exists(std::wstring(SwitchedMachine::kData) + L"\\Orvane Labs\\" + client.folder + L"\\Users\\{ID}\\log"));
  }
}

TEST_CASE("the install path keeps the backslash that it ends in, and gets none where it is a drive") {
  const SwitchedMachine machine;
  Run(machine, VELA_ActivateOE, L"D:\\VELA\\");
  CHECK(SwitchedMachine::RunValue(L"OE") == L"\"D:\\VELA\\VELA_OE\\VELA_OEMon.exe\"");
  Run(machine, VELA_ActivateWLM, L"D:\\");
  CHECK(SwitchedMachine::RunValue(L"WLM") == L"\"D:\\VELA_WLM\\VELA_WLMMon.exe\"");
}

TEST_CASE("a command that cannot be written is told and does not count") {
  for (const MonitoredClient& client : kMonitoredClients) {
    for (const char* const function : {"RegSetValueExW", "RegOpenKeyW"}) {
      const SwitchedMachine machine;
      unsigned failed = 0;
      const Switched switched = RunFailing(client.activate, function, Calls::From(1), failed);
      CHECK(failed > 0);
      CHECK(switched.result);
      CHECK_LINES(switched.log, {client.writeFailure});
      CHECK(SwitchedMachine::RunValue(client.runValue).empty());
    }
  }
}

TEST_CASE("a command that there is no memory for counts as one that cannot be written, and what was thrown is gone") {
  using OrCommonTests::HeapLimit;
  for (const MonitoredClient& client : kMonitoredClients) {
    const SwitchedMachine machine;
    client.activate(kInstallPath, 7, SwitchedMachine::kUser);  // what is kept for good is taken now
    client.deactivate(kInstallPath, 7, SwitchedMachine::kUser);
    const LogCapture log;
    bool result = false;
    unsigned refused = 0;
    const long long before = OrCommonTests::LiveBlocks();
    {
      const HeapLimit noTexts(HeapLimit::kAnySize, 256 * sizeof(wchar_t));
      result = client.activate(kInstallPath, 7, SwitchedMachine::kUser);
      refused = noTexts.Refused();
    }
    const long long after = OrCommonTests::LiveBlocks();
    CHECK(result);
    CHECK(refused == 1);
    CHECK(after == before);
    CHECK_LINES(log.Lines(), {client.writeFailure});
    CHECK(SwitchedMachine::RunValue(client.runValue).empty());
  }
}

TEST_CASE("switching a monitored client off takes its command away and leaves the user's folders") {
  for (const MonitoredClient& client : kMonitoredClients) {
    const SwitchedMachine machine;
    for (const MonitoredClient& other : kMonitoredClients) {
      other.activate(kInstallPath, 7, SwitchedMachine::kUser);
    }
    const Lines data = machine.Data();
    const Switched switched = Run(machine, client.deactivate);
    CHECK(switched.result);
    CHECK_LINES(switched.log, {});
    CHECK(switched.registry.size() == 1);
    CHECK(SwitchedMachine::RunValue(client.runValue).empty());
    CHECK_LINES(machine.Data(), (data));
  }
}

TEST_CASE("a command that is not there, or cannot be taken away, is told and counts") {
  for (const MonitoredClient& client : kMonitoredClients) {
    {
      const SwitchedMachine machine;
      const Switched switched = Run(machine, client.deactivate);
      CHECK_FALSE(switched.result);
      CHECK_LINES(switched.log, {client.deleteFailure});
    }
    for (const char* const function : {"RegDeleteValueW", "RegOpenKeyW"}) {
      const SwitchedMachine machine;
      client.activate(kInstallPath, 7, SwitchedMachine::kUser);
      unsigned failed = 0;
      const Switched switched = RunFailing(client.deactivate, function, Calls::Only(1), failed);
      CHECK(failed == 1);
      CHECK_FALSE(switched.result);
      CHECK_LINES(switched.log, {client.deleteFailure});
      CHECK_FALSE(SwitchedMachine::RunValue(client.runValue).empty());
    }
  }
}

}  // namespace
