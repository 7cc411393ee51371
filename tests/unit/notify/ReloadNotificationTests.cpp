// The running plug-ins are notified to load the engine and the pattern anew: calls, their order, and their failures.
// Which client runs under which name on which Windows: tests/unit/settings/MailClientsTests.cpp and tests/matrix.
#include "notify/ReloadNotification.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/Clients.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"
#include "tests/unit/settings/RunningProcesses.h"

using namespace TestSupport;
using VELAUtility::NotifyReloadVELAEngine;

namespace {

// The calls by which events are signalled: "CreateEventW manual-reset <name>", "SetEvent 1", "CloseHandle 1". Events
// are numbered in the order in which they are opened; an unusual argument is told behind the name.
class EventCalls {
 public:
  const Lines& Calls() const { return calls_; }
  bool AllClosed() const { return open_.empty(); }

 private:
  Lines calls_;
  int opened_ = 0;
  std::map<HANDLE, int> open_;
  ImportRedirection create_{
      "CreateEventW", [this](LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState, LPCWSTR name) {
        calls_.push_back(std::string("CreateEventW ") + (manualReset ? "manual-reset " : "auto-reset ") + ToUtf8(name) +
                         (security != nullptr ? " with security" : "") + (initialState ? " set" : ""));
        const HANDLE event = create_.Original<decltype(&::CreateEventW)>()(security, manualReset, initialState, name);
        if (event != nullptr) {
          open_[event] = ++opened_;
        }
        return event;
      }};
  ImportRedirection set_{"SetEvent", [this](HANDLE event) {
                           calls_.push_back("SetEvent " + std::to_string(open_[event]));
                           return set_.Original<decltype(&::SetEvent)>()(event);
                         }};
  ImportRedirection close_{"CloseHandle", [this](HANDLE handle) {
                             const auto found = open_.find(handle);
                             if (found != open_.end()) {
                               calls_.push_back("CloseHandle " + std::to_string(found->second));
                               open_.erase(found);
                             }
                             return close_.Original<decltype(&::CloseHandle)>()(handle);
                           }};
};

struct Reload {
  bool succeeded = false;
  Lines log;  // between the first line and the last, which are always the same
  Lines calls;
  bool allClosed = false;
};

Reload Run() {
  Reload reload;
  const LogCapture log;
  {
    const EventCalls calls;
    reload.succeeded = NotifyReloadVELAEngine();
    reload.calls = calls.Calls();
    reload.allClosed = calls.AllClosed();
  }
  reload.log = log.Lines();
  REQUIRE(reload.log.size() >= 2);
  CHECK(reload.log.front() == "LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()");
  CHECK(reload.log.back() == "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()");
  reload.log = Lines(reload.log.begin() + 1, reload.log.end() - 1);
  return reload;
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

TEST_CASE("each client's event is made or opened, set and closed, and not reset") {
  for (const Client& client : Clients()) {
    CAPTURE(ToUtf8(client.shortName));
    const RunningProcesses running({client.process, L"notepad.exe", client.process});
    const HANDLE plugin = ::CreateEventW(nullptr, TRUE, FALSE, client.UpdateEvent().c_str());
    const Reload reload = Run();
    CHECK(reload.succeeded);
    CHECK_LINES(reload.log, {Notified(client)});
    CHECK_LINES(reload.calls,
                {"CreateEventW manual-reset " + ToUtf8(client.UpdateEvent()), "SetEvent 1", "CloseHandle 1"});
    CHECK(::WaitForSingleObject(plugin, 0) == WAIT_OBJECT_0);
    ::CloseHandle(plugin);
  }
}

TEST_CASE("all clients are notified in their order, whichever call for an event fails") {
  const RunningProcesses running(AllPrograms());
  for (std::size_t failing = 0; failing <= Clients().size(); ++failing) {  // counted from 1; 0: none
    CAPTURE(failing);
    Lines wanted;
    for (std::size_t client = 0; client < Clients().size(); ++client) {
      wanted.push_back(client + 1 == failing ? NotNotified(Clients()[client], "5") : Notified(Clients()[client]));
    }
    const FailCall create("CreateEventW", failing == 0 ? Calls::None() : Calls::Only(static_cast<unsigned>(failing)),
                          ERROR_ACCESS_DENIED);
    const Reload reload = Run();
    CHECK(reload.succeeded == (failing == 0));
    CHECK_LINES(reload.log, (wanted));
    CHECK(reload.allClosed);
  }
}

TEST_CASE("without any event each client is tried, nothing is set and nothing closed, and the code has no sign") {
  const RunningProcesses running(AllPrograms());
  const FailCall create("CreateEventW", Calls::From(1), 0xFFFFFFFF);
  const CountCalls set("SetEvent");
  const Reload reload = Run();
  CHECK_FALSE(reload.succeeded);
  CHECK(set.Calls() == 0);
  Lines wanted;
  for (const Client& client : Clients()) {
    wanted.push_back(NotNotified(client, "4294967295"));
  }
  CHECK_LINES(reload.log, (wanted));
  CHECK_LINES(LinesWith(reload.calls, "CloseHandle"), {});
}

TEST_CASE("a signal that fails is neither reported nor a failure") {
  const Client& client = Clients().front();
  const RunningProcesses running({client.process});
  const FailCall set("SetEvent", Calls::From(1), ERROR_INVALID_HANDLE);
  const Reload reload = Run();
  CHECK(set.Failed() == 1);
  CHECK(reload.succeeded);
  CHECK_LINES(reload.log, {Notified(client)});
  CHECK(reload.allClosed);
}

}  // namespace
