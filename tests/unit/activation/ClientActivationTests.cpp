// Each client is switched on and off: what is written where, and what is logged if that fails.
#include "activation/ClientActivation.h"

#include <doctest/doctest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/Clients.h"
#include "tests/support/LogCapture.h"
#include "tests/support/HeapWatch.h"
#include "tests/unit/activation/SwitchedMachine.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

constexpr wchar_t kInstallPath[] = L"C:\\Program Files\\VELA";
const std::string kAddin = "Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";
constexpr char kIdLine[] = "LOG_INFO : GetCurrentUserID - szSidString: S-1-5-21-1-2-3-1001 strCurrentUserID:{ID}";

void GiveIdentity() {
  MakeKey(UsersKey(std::wstring(SwitchedMachine::kUser) + L"\\Identities"), {{L"Last User ID", L"{ID}"}});
}

struct Switched {
  bool result = false;
  Lines log;
  Lines registry;  // changes
  unsigned failed = 0;
};

// Calls of a function that fail.
struct Failing {
  const char* function = "RegSetValueExW";
  Calls calls = Calls::None();
};

using ClientSwitch = std::function<bool(const std::wstring&, DWORD, const std::wstring&)>;

Switched Run(const SwitchedMachine& machine, const ClientSwitch& clientSwitch, const Failing& failing = {}) {
  Switched switched;
  const RegistrySnapshot before = machine.Registry();
  const LogCapture log;
  {
    const FailCall call(failing.function, failing.calls, ERROR_ACCESS_DENIED);
    switched.result = clientSwitch(kInstallPath, 7, SwitchedMachine::kUser);
    switched.failed = call.Failed();
  }
  switched.log = log.Lines();
  switched.registry = RegistrySnapshot::Changes(before, machine.Registry());
  return switched;
}

// ---- Outlook

TEST_CASE("Outlook is switched on and off for the machine and for every user") {
  const SwitchedMachine machine;
  GiveIdentity();
  const Switched on = Run(machine, VELA_ActivateOL);
  CHECK(on.result);
  CHECK_LINES(on.log, {kIdLine});
  CHECK(LinesWith(on.registry, "HKLM\\" + kAddin + " [64] \"").size() == 4);
  CHECK(machine.LoadBehavior() == 3);
  const Lines data = machine.Data();
  CHECK(LinesWith(data, "data\\Orvane Labs\\OL\\Users\\{ID}\\log\\").size() == 1);
  Lines changes = {"~HKLM\\" + kAddin + " [64] \"LoadBehavior\" REG_DWORD 2 <- REG_DWORD 3"};
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    CHECK(machine.LoadBehavior(hive) == 3);
    changes.push_back("~HKU\\" + ToUtf8(hive) + "\\" + kAddin + " [64] \"LoadBehavior\" REG_DWORD 2 <- REG_DWORD 3");
  }
  const Switched off = Run(machine, VELA_DeActivateOL);
  CHECK(off.result);
  CHECK_LINES(off.log, {});
  CHECK_LINES(off.registry, (changes));
  CHECK_LINES(machine.Data(), (data));
}

TEST_CASE("a machine key that cannot be created or written is logged, and the users' keys are still written") {
  struct Row {
    const char* function;
    Calls calls;
    Lines log;
  };
  for (const Row& row : {Row{"RegSetValueExW",
                             Calls::Between(1, 4),
                             {kIdLine, "LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 3!!",
                              "LOG_ERROR: Failed to WriteRegIntValue of CommandLineSafe !!",
                              "LOG_ERROR: Failed to WriteRegIntValue of FriendlyName !!",
                              "LOG_ERROR: Failed to WriteRegIntValue of Description !!"}},
                         Row{"RegCreateKeyExW",
                             Calls::Only(1),
                             {kIdLine, "LOG_ERROR: Failed to CreateRegKey of g_szOLActivateKey : " + kAddin + "\\"}}}) {
    const SwitchedMachine machine;
    GiveIdentity();
    const Switched switched = Run(machine, VELA_ActivateOL, {row.function, row.calls});
    CHECK(switched.failed == row.log.size() - 1);
    CHECK(switched.result);
    CHECK_LINES(switched.log, (row.log));
    CHECK(machine.LoadBehavior() == -1);
    CHECK(machine.LoadBehavior(SwitchedMachine::kUser) == 3);
  }
}

TEST_CASE("without the machine's key, switching Outlook off fails, and every hive stays unchanged") {
  const SwitchedMachine machine;
  MakeKey(UsersKey(std::wstring(SwitchedMachine::kUser) + L"\\" + SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
  const Switched switched = Run(machine, VELA_DeActivateOL);
  CHECK_FALSE(switched.result);
  CHECK_LINES(switched.log, {"LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 2!!"});
  CHECK_LINES(switched.registry, {});
}

// ---- the clients with a monitor

struct MonitoredClient {
  const wchar_t* name;
  ClientSwitch activate;
  ClientSwitch deactivate;
  std::wstring command;
  std::string writeFailure;
  std::string deleteFailure;
};

std::vector<MonitoredClient> MonitoredClients() {
  std::vector<MonitoredClient> rows;
  for (const MailClientFacts& facts : kMailClients) {
    const MailClient client = facts.client;
    const Client& row = Clients()[static_cast<std::size_t>(client)];
    if (row.hasMonitor) {
      const std::string name = ToUtf8(row.shortName);
      rows.push_back({row.shortName,
                      [client](const std::wstring& installPath, DWORD, const std::wstring& userSid) {
                        return ActivateMonitor(client, installPath, userSid);
                      },
                      [client](const std::wstring&, DWORD, const std::wstring&) { return DeactivateMonitor(client); },
                      L"\"C:\\Program Files\\VELA\\" + row.FolderName() + L"\\" + row.MonitorName() + L"\"",
                      "LOG_ERROR: Failed to WriteRegStringValue of Run Key for " + name + "Mon !!",
                      "LOG_ERROR: Fail to DeleteRegStringValue() of g_sz" + name + "_OEM !"});
    }
  }
  return rows;
}
const std::vector<MonitoredClient> kMonitoredClients = MonitoredClients();

TEST_CASE("a client that is on has a start-up value for its monitor; switching it off keeps the user's folders") {
  const SwitchedMachine machine;
  GiveIdentity();
  for (const MonitoredClient& client : kMonitoredClients) {
    const Switched on = Run(machine, client.activate);
    CHECK(on.result);
    CHECK_LINES(on.log, {});
    CHECK(on.registry.size() == 1);
    CHECK(SwitchedMachine::RunValue(client.name) == client.command);
  }
  const Lines data = machine.Data();
  for (const MonitoredClient& client : kMonitoredClients) {
    CHECK(LinesWith(data, "data\\Orvane Labs\\" + ToUtf8(client.name) + "\\Users\\{ID}\\log\\").size() == 1);
    const Switched off = Run(machine, client.deactivate);
    CHECK(off.result);
    CHECK_LINES(off.log, {});
    CHECK(off.registry.size() == 1);
    CHECK(SwitchedMachine::RunValue(client.name).empty());
    const Switched again = Run(machine, client.deactivate);  // a missing value is a failure
    CHECK_FALSE(again.result);
    CHECK_LINES(again.log, {client.deleteFailure});
  }
  CHECK_LINES(machine.Data(), (data));
}

TEST_CASE("an install path that ends in a backslash, such as a drive, gets no second one") {
  const SwitchedMachine machine;
  VELA_ActivateOE(L"D:\\VELA\\", 7, SwitchedMachine::kUser);
  CHECK(SwitchedMachine::RunValue(L"OE") == L"\"D:\\VELA\\VELA_OE\\VELA_OEMon.exe\"");
  VELA_ActivateWLM(L"D:\\", 7, SwitchedMachine::kUser);
  CHECK(SwitchedMachine::RunValue(L"WLM") == L"\"D:\\VELA_WLM\\VELA_WLMMon.exe\"");
}

TEST_CASE("a start-up value that cannot be written is only logged; one that cannot be deleted is a failure") {
  for (const MonitoredClient& client : kMonitoredClients) {
    for (const bool opens : {true, false}) {
      const SwitchedMachine machine;
      Switched switched = Run(machine, client.activate, {opens ? "RegSetValueExW" : "RegOpenKeyW", Calls::From(1)});
      CHECK(switched.failed > 0);
      CHECK(switched.result);
      CHECK_LINES(switched.log, {client.writeFailure});
      CHECK(SwitchedMachine::RunValue(client.name).empty());
      client.activate(kInstallPath, 7, SwitchedMachine::kUser);
      switched = Run(machine, client.deactivate, {opens ? "RegDeleteValueW" : "RegOpenKeyW", Calls::Only(1)});
      CHECK(switched.failed == 1);
      CHECK_FALSE(switched.result);
      CHECK_LINES(switched.log, {client.deleteFailure});
      CHECK(SwitchedMachine::RunValue(client.name) == client.command);
    }
  }
}

TEST_CASE("if memory for a start-up value is short, it counts as not written, and the exception is freed") {
  using TestSupport::HeapLimit;
  for (const MonitoredClient& client : kMonitoredClients) {
    const SwitchedMachine machine;
    client.activate(kInstallPath, 7, SwitchedMachine::kUser);  // what stays allocated is allocated now
    client.deactivate(kInstallPath, 7, SwitchedMachine::kUser);
    const LogCapture log;
    bool result = false;
    unsigned refused = 0;
    const long long before = TestSupport::LiveBlocks();
    {
      const HeapLimit noTexts(HeapLimit::kAnySize, 256 * sizeof(wchar_t));
      result = client.activate(kInstallPath, 7, SwitchedMachine::kUser);
      refused = noTexts.Refused();
    }
    const long long after = TestSupport::LiveBlocks();
    CHECK(result);
    CHECK(refused == 1);
    CHECK(after == before);
    CHECK_LINES(log.Lines(), {client.writeFailure});
    CHECK(SwitchedMachine::RunValue(client.name).empty());
  }
}

}  // namespace
