// Telling the running plug-ins to load the engine and the pattern anew.
#include "notify/ReloadNotification.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/notify/EventCallTrace.h"
#include "tests/unit/settings/RunningProcesses.h"

using namespace TestSupport;
using VELAUtility::NotifyReloadVELAEngine;

namespace {

constexpr wchar_t kOutlookEvent[] = L"Global\\VELA_UPDATE_EVENT_OL";
constexpr wchar_t kOutlookExpressEvent[] = L"Global\\VELA_UPDATE_EVENT_OE";
constexpr wchar_t kWindowsLiveMailEvent[] = L"Global\\VELA_UPDATE_EVENT_WLM";

constexpr char kEnter[] = "LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()";
constexpr char kLeave[] = "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()";

std::string Notified(const std::string& client) {
  return "LOG_INFO : [VELAUtility::NotifyReloadVELAEngine] " + client + " has been notified.";
}
std::string NotNotified(const std::string& client, const std::string& error) {
  return "LOG_ERROR: Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_" + client + "! ErrCode:" + error;
}

// An event as a plug-in makes it and waits on.
class PluginEvent {
 public:
  explicit PluginEvent(const wchar_t* name) : event_(::CreateEventW(nullptr, TRUE, FALSE, name)) {
    REQUIRE(event_ != nullptr);
  }
  PluginEvent(const PluginEvent&) = delete;
  PluginEvent& operator=(const PluginEvent&) = delete;
  ~PluginEvent() { ::CloseHandle(event_); }
  bool IsSet() const { return ::WaitForSingleObject(event_, 0) == WAIT_OBJECT_0; }

 private:
  HANDLE event_;
};

bool EventExists(const wchar_t* name) {
  const HANDLE event = ::OpenEventW(SYNCHRONIZE, FALSE, name);
  if (event != nullptr) {
    ::CloseHandle(event);
  }
  return event != nullptr;
}

struct Reload {
  bool succeeded;
  Lines log;
  Lines calls;
  bool allClosed;
};

Reload Run() {
  const LogCapture log;
  const EventCallTrace trace;
  const bool succeeded = NotifyReloadVELAEngine();
  return {succeeded, log.Lines(), trace.Calls(), trace.AllClosed()};
}

TEST_CASE("no mail client runs: nothing to notify is a success") {
  const RunningProcesses running({L"System", L"explorer.exe"});
  const Reload reload = Run();
  CHECK(reload.succeeded);
  CHECK_LINES(reload.log, {kEnter, kLeave});
  CHECK_LINES(reload.calls, {});
}

TEST_CASE("each client has its event, made or opened, set and closed") {
  struct {
    const wchar_t* program;
    const wchar_t* event;
    const char* client;
  } const rows[] = {{L"outlook.exe", kOutlookEvent, "OL"},
                    {L"msimn.exe", kOutlookExpressEvent, "OE"},
                    {L"wlmail.exe", kWindowsLiveMailEvent, "WLM"}};
  for (const auto& row : rows) {
    CAPTURE(row.client);
    const RunningProcesses running({row.program});
    const PluginEvent event(row.event);
    const Reload reload = Run();
    CHECK(reload.succeeded);
    CHECK_LINES(reload.log, {kEnter, Notified(row.client), kLeave});
    CHECK_LINES(reload.calls, {"CreateEventW manual-reset " + ToUtf8(row.event), "SetEvent 1", "CloseHandle 1"});
    CHECK(reload.allClosed);
    CHECK(event.IsSet());  // never reset here
  }
}

TEST_CASE("all clients run: Outlook first, then Outlook Express, then Windows Live Mail") {
  const RunningProcesses running({L"wlmail.exe", L"msimn.exe", L"OUTLOOK.EXE"});
  const Reload reload = Run();
  CHECK(reload.succeeded);
  CHECK_LINES(reload.log, {kEnter, Notified("OL"), Notified("OE"), Notified("WLM"), kLeave});
  CHECK_LINES(reload.calls, {"CreateEventW manual-reset Global\\VELA_UPDATE_EVENT_OL", "SetEvent 1", "CloseHandle 1",
                             "CreateEventW manual-reset Global\\VELA_UPDATE_EVENT_OE", "SetEvent 2", "CloseHandle 2",
                             "CreateEventW manual-reset Global\\VELA_UPDATE_EVENT_WLM", "SetEvent 3", "CloseHandle 3"});
}

TEST_CASE("a client without a plug-in that waits: notified all the same, and the event is gone") {
  const RunningProcesses running({L"outlook.exe"});
  const Reload reload = Run();
  CHECK(reload.succeeded);
  CHECK_LINES(reload.log, {kEnter, Notified("OL"), kLeave});
  CHECK_FALSE(EventExists(kOutlookEvent));
}

TEST_CASE("two processes of one client are notified by one event") {
  const RunningProcesses running({L"OUTLOOK.EXE", L"notepad.exe", L"OUTLOOK.EXE"});
  const Reload reload = Run();
  CHECK_LINES(reload.log, {kEnter, Notified("OL"), kLeave});
  CHECK(reload.calls.size() == 3);
}

TEST_CASE("names of processes count without their case, and whole") {
  for (const wchar_t* const name : {L"OUTLOOK.EXE", L"Outlook.exe", L"outlook.exe", L"oUtLoOk.ExE"}) {
    const RunningProcesses running({name});
    CHECK_LINES(Run().log, {kEnter, Notified("OL"), kLeave});
  }
  for (const wchar_t* const name : {L"outlook2.exe", L"myoutlook.exe", L"outloo.exe", L"msimn2.exe", L"wlmailer.exe"}) {
    const RunningProcesses running({name});
    CHECK_LINES(Run().log, {kEnter, kLeave});
  }
}

TEST_CASE("Windows Mail is nobody's client here") {
  const RunningProcesses running({L"winmail.exe"});
  const Reload reload = Run();
  CHECK(reload.succeeded);
  CHECK_LINES(reload.log, {kEnter, kLeave});
  CHECK_LINES(reload.calls, {});
}

TEST_CASE("an event that cannot be had fails the whole, and the other clients are notified") {
  const RunningProcesses running({L"outlook.exe", L"msimn.exe", L"wlmail.exe"});
  const std::string clients[] = {"OL", "OE", "WLM"};
  for (unsigned failing = 1; failing <= 3; ++failing) {
    Lines wanted = {kEnter};
    for (unsigned client = 1; client <= 3; ++client) {
      wanted.push_back(client == failing ? NotNotified(clients[client - 1], "5") : Notified(clients[client - 1]));
    }
    wanted.emplace_back(kLeave);
    const FailCall create("CreateEventW", failing, ERROR_ACCESS_DENIED);
    const Reload reload = Run();
    CHECK_FALSE(reload.succeeded);
    CHECK_LINES(reload.log, (wanted));
    CHECK(reload.allClosed);
  }
}

TEST_CASE("no event can be had: each client is tried, nothing is set and nothing closed") {
  const RunningProcesses running({L"outlook.exe", L"msimn.exe", L"wlmail.exe"});
  unsigned sets = 0;
  Reload reload = {};
  {
    const FailCall create("CreateEventW", Calls::From(1), 0xFFFFFFFF);
    const CountCalls set("SetEvent");
    reload = Run();
    sets = set.Calls();
  }
  CHECK_FALSE(reload.succeeded);
  CHECK(sets == 0);
  // The code has no sign.
  CHECK_LINES(reload.log, {kEnter, NotNotified("OL", "4294967295"), NotNotified("OE", "4294967295"),
                           NotNotified("WLM", "4294967295"), kLeave});
  CHECK(LinesWith(reload.calls, "CloseHandle").empty());
}

TEST_CASE("a name that belongs to something else gives its error") {
  const RunningProcesses running({L"outlook.exe", L"wlmail.exe"});
  const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, kOutlookEvent);
  REQUIRE(mutex != nullptr);
  const Reload reload = Run();
  ::CloseHandle(mutex);
  CHECK_FALSE(reload.succeeded);
  CHECK_LINES(reload.log, {kEnter, NotNotified("OL", "6"), Notified("WLM"), kLeave});
}

TEST_CASE("a failed signal is neither reported nor a failure") {
  const RunningProcesses running({L"outlook.exe"});
  const PluginEvent event(kOutlookEvent);
  const FailCall set("SetEvent", Calls::From(1), ERROR_INVALID_HANDLE);
  const Reload reload = Run();
  CHECK(set.Failed() == 1);
  CHECK(reload.succeeded);
  CHECK_LINES(reload.log, {kEnter, Notified("OL"), kLeave});
  CHECK(reload.allClosed);
  CHECK_FALSE(event.IsSet());
}

TEST_CASE("a process list that cannot be had counts as no client") {
  const RunningProcesses running({L"outlook.exe", L"msimn.exe", L"wlmail.exe"});
  const FailCall list("CreateToolhelp32Snapshot", Calls::From(1), ERROR_ACCESS_DENIED);
  const Reload reload = Run();
  CHECK(list.Failed() == 3);
  CHECK(reload.succeeded);
  CHECK_LINES(reload.log, {kEnter, kLeave});
  CHECK_LINES(reload.calls, {});
}

TEST_CASE("one list that cannot be had passes over one client") {
  const RunningProcesses running({L"outlook.exe", L"msimn.exe", L"wlmail.exe"});
  const FailCall list("CreateToolhelp32Snapshot", 2, ERROR_NOT_ENOUGH_MEMORY);
  const Reload reload = Run();
  CHECK(reload.succeeded);
  CHECK_LINES(reload.log, {kEnter, Notified("OL"), Notified("WLM"), kLeave});
}

TEST_CASE("every list of processes is asked for as a whole and given back") {
  const RunningProcesses running({L"outlook.exe", L"msimn.exe"});
  std::vector<DWORD> flags;
  std::vector<HANDLE> open;
  {
    const ImportRedirection list("CreateToolhelp32Snapshot", [&](DWORD wanted, DWORD process) {
      flags.push_back(wanted);
      open.push_back(
          OriginalImport<decltype(&::CreateToolhelp32Snapshot)>("CreateToolhelp32Snapshot")(wanted, process));
      return open.back();
    });
    const ImportRedirection close("CloseHandle", [&](HANDLE handle) {
      if (!open.empty() && open.back() == handle) {
        open.pop_back();
      }
      return OriginalImport<decltype(&::CloseHandle)>("CloseHandle")(handle);
    });
    NotifyReloadVELAEngine();
  }
  CHECK(flags == std::vector<DWORD>(3, TH32CS_SNAPALL));
  CHECK(open.empty());
}

}  // namespace
