// The running plug-ins are told to load the engine and the pattern again: calls, their order, and their failures. The
// names of the clients on each Windows: tests/unit/settings/MailClientsTests.cpp and tests/matrix.
#include "notify/ReloadNotification.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/Clients.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"
#include "tests/unit/settings/RunningProcesses.h"

using namespace TestSupport;

namespace {

struct Reload {
  bool succeeded;
  Lines log;    // between the first line and the last, which are always the same
  Lines calls;  // "CreateEventW manual-reset <name>", "SetEvent 1", "CloseHandle 1": events by their order
};

Reload Run() {
  Lines calls;
  int opened = 0;
  std::map<HANDLE, int> open;
  const AfterCall create("CreateEventW", &::CreateEventW,
                         [&](HANDLE event, LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL set, LPCWSTR name) {
                           calls.push_back(std::string("CreateEventW ") + (manual ? "manual-reset " : "auto-reset ") +
                                           ToUtf8(name) + (security != nullptr ? " with security" : "") +
                                           (set ? " set" : ""));
                           if (event != nullptr) {
                             open[event] = ++opened;
                           }
                         });
  const OnCall set("SetEvent", &::SetEvent,
                   [&](HANDLE event) { calls.push_back("SetEvent " + std::to_string(open[event])); });
  const OnCall close("CloseHandle", &::CloseHandle, [&](HANDLE handle) {
    if (open.count(handle) != 0) {
      calls.push_back("CloseHandle " + std::to_string(open[handle]));
      open.erase(handle);
    }
  });
  const LogCapture log;
  const bool succeeded = VELAUtility::NotifyReloadVELAEngine();
  const Lines lines = log.Lines();
  REQUIRE(lines.size() >= 2);
  CHECK(lines.front() == "LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()");
  CHECK(lines.back() == "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()");
  CHECK(open.empty());
  return {succeeded, Lines(lines.begin() + 1, lines.end() - 1), calls};
}

std::vector<std::wstring> AllPrograms() {
  std::vector<std::wstring> programs;
  for (const Client& client : Clients()) {
    programs.emplace_back(client.process);
  }
  return programs;
}

std::string Notified(const Client& client) {
  return "LOG_INFO : [VELAUtility::NotifyReloadVELAEngine] " + ToUtf8(client.shortName) + " has been notified.";
}
std::string NotNotified(const Client& client, const std::string& error) {
  return "LOG_ERROR: Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_" + ToUtf8(client.shortName) +
         "! ErrCode:" + error;
}

TEST_CASE("without a running client there is nothing to notify, which is a success") {
  const RunningProcesses running({L"System", L"explorer.exe"});
  const Reload reload = Run();
  CHECK(reload.succeeded);
  CHECK_LINES(reload.log, {});
  CHECK_LINES(reload.calls, {});
}

TEST_CASE("each client's event is created or opened, set, closed and not reset; a failed signal is not reported") {
  for (const Client& client : Clients()) {
    for (const bool signalFails : {false, true}) {
      CAPTURE(ToUtf8(client.shortName));
      const RunningProcesses running({client.process, L"notepad.exe", client.process});
      const HANDLE plugin = ::CreateEventW(nullptr, TRUE, FALSE, client.UpdateEvent().c_str());
      {
        const FailCall set("SetEvent", signalFails ? Calls::From(1) : Calls::None(), ERROR_INVALID_HANDLE);
        const Reload reload = Run();
        CHECK(reload.succeeded);
        CHECK_LINES(reload.log, {Notified(client)});
        CHECK_LINES(reload.calls,
                    {"CreateEventW manual-reset " + ToUtf8(client.UpdateEvent()), "SetEvent 1", "CloseHandle 1"});
      }
      CHECK(::WaitForSingleObject(plugin, 0) == (signalFails ? WAIT_TIMEOUT : WAIT_OBJECT_0));
      ::CloseHandle(plugin);
    }
  }
}

TEST_CASE("clients are notified in order even if some or all events fail; the error code is logged as unsigned") {
  const RunningProcesses running(AllPrograms());
  const auto all = static_cast<unsigned>(Clients().size());
  for (unsigned failing = 0; failing <= all + 1; ++failing) {  // counted from 1; 0: none, the last: all
    CAPTURE(failing);
    Lines wanted;
    for (unsigned client = 1; client <= all; ++client) {
      const bool fails = client == failing || failing > all;
      wanted.push_back(fails ? NotNotified(Clients()[client - 1], "4294967295") : Notified(Clients()[client - 1]));
    }
    const FailCall create("CreateEventW", failing > all ? Calls::From(1) : Calls::Between(failing, failing),
                          0xFFFFFFFF);
    const CountCalls set("SetEvent");
    const Reload reload = Run();
    CHECK(reload.succeeded == (failing == 0));
    CHECK_LINES(reload.log, (wanted));
    CHECK(set.Calls() == LinesWith(wanted, "has been notified").size());
  }
}

}  // namespace
