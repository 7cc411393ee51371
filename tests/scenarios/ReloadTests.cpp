// Telling running plug-ins to load the engine and the pattern anew: real processes that wait for it.
#include <doctest/doctest.h>

#include <windows.h>

#include <sddl.h>

#include <string>
#include <vector>

#include "tests/scenarios/ExpectedUpgrade.h"
#include "tests/scenarios/RunningPlugin.h"

using namespace Expected;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

Outcome Reload(World& world) {
  const Outcome outcome = world.Run(L"-r", World::kSource, World::kDestination);
  CHECK_FALSE(outcome.timedOut);
  CHECK(outcome.registryDiff.empty());
  CHECK(outcome.fileDiff.empty());
  CHECK(outcome.moduleDiff.empty());
  CHECK(outcome.pending.empty());
  return outcome;
}

void CheckReload(World& world, const std::vector<NotifiedClient>& clients, int result) {
  const Outcome outcome = Reload(world);
  CHECK(outcome.exitCode == static_cast<DWORD>(result));
  CHECK_LINES(outcome.log, (Joined({ReloadBegins(), Notified(clients), RunEnds(result)})));
}

bool EventExists(const wchar_t* name) {
  const HANDLE event = ::OpenEventW(SYNCHRONIZE, FALSE, name);
  if (event != nullptr) {
    ::CloseHandle(event);
  }
  return event != nullptr;
}

// An event that its owner lets nobody open.
class RefusedEvent {
 public:
  explicit RefusedEvent(const wchar_t* name) {
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, FALSE};
    REQUIRE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;0x20000;;;WD)", SDDL_REVISION_1,
                                                                   &attributes.lpSecurityDescriptor, nullptr));
    event_ = ::CreateEventW(&attributes, TRUE, FALSE, name);
    ::LocalFree(attributes.lpSecurityDescriptor);
    REQUIRE(event_ != nullptr);
  }
  RefusedEvent(const RefusedEvent&) = delete;
  RefusedEvent& operator=(const RefusedEvent&) = delete;
  ~RefusedEvent() { ::CloseHandle(event_); }
  bool IsSet() const { return ::WaitForSingleObject(event_, 0) == WAIT_OBJECT_0; }

 private:
  HANDLE event_ = nullptr;
};

TEST_CASE("no mail client runs") {
  World world;
  CheckReload(world, {}, 1);
}

TEST_CASE("a waiting plug-in reloads, and waits for the next time") {
  struct {
    WindowsVersion version;
    const wchar_t* program;
    const wchar_t* event;
    const char* client;
  } const rows[] = {{WindowsVersion::kWindows10, L"OUTLOOK.EXE", kOutlookEvent, "OL"},
                    {WindowsVersion::kXp64, L"msimn.exe", kOutlookExpressEvent, "OE"},
                    {WindowsVersion::kVista, L"WinMail.exe", kOutlookExpressEvent, "OE"},
                    {WindowsVersion::kWindows7, L"wlmail.exe", kWindowsLiveMailEvent, "WLM"}};
  for (const auto& row : rows) {
    CAPTURE(row.client);
    World world;
    world.OnWindows(row.version);
    const RunningPlugin plugin(row.program, row.event);

    CheckReload(world, {{row.client}}, 1);
    CHECK_LINES(plugin.Report(2), {"waiting", "reloaded"});
    CHECK_FALSE(world.EventIsSet(row.event));  // the plug-in has reset it

    CheckReload(world, {{row.client}}, 1);
    CHECK_LINES(plugin.Report(3), {"waiting", "reloaded", "reloaded"});
    CHECK(plugin.IsRunning());
  }
}

TEST_CASE("all clients run, each has its own event") {
  World world;
  world.OnWindows(WindowsVersion::kXp64);
  const RunningPlugin mail(L"WLMAIL.EXE", kWindowsLiveMailEvent);
  const RunningPlugin express(L"msimn.exe", kOutlookExpressEvent);
  const RunningPlugin outlook(L"outlook.exe", kOutlookEvent);

  CheckReload(world, {{"OL"}, {"OE"}, {"WLM"}}, 1);

  for (const RunningPlugin* const plugin : {&outlook, &express, &mail}) {
    CHECK_LINES(plugin->Report(2), {"waiting", "reloaded"});
  }
}

TEST_CASE("two processes of Outlook share one event and both reload") {
  World world;
  const RunningPlugin first(L"OUTLOOK.EXE", kOutlookEvent);
  const RunningPlugin second(L"Outlook.exe", kOutlookEvent);

  CheckReload(world, {{"OL"}}, 1);

  CHECK_LINES(first.Report(2), {"waiting", "reloaded"});
  CHECK_LINES(second.Report(2), {"waiting", "reloaded"});
}

TEST_CASE("an event that nobody resets stays set") {
  World world;
  world.WithRunning(L"wlmail.exe").WithEvent(kWindowsLiveMailEvent);

  CheckReload(world, {{"WLM"}}, 1);

  CHECK(world.EventIsSet(kWindowsLiveMailEvent));
}

TEST_CASE("a client whose plug-in does not wait yet is told in vain") {
  World world;
  world.WithRunning(L"OUTLOOK.EXE");

  CheckReload(world, {{"OL"}}, 1);

  CHECK_FALSE(EventExists(kOutlookEvent));
  const RunningPlugin late(L"Outlook.exe", kOutlookEvent);
  CHECK_LINES(late.Report(1), {"waiting"});
  CHECK_FALSE(world.EventIsSet(kOutlookEvent));
}

TEST_CASE("an event without its client is left alone") {
  World world;
  world.WithEvent(kOutlookEvent).WithEvent(kOutlookExpressEvent).WithEvent(kWindowsLiveMailEvent);

  CheckReload(world, {}, 1);

  for (const wchar_t* const event : {kOutlookEvent, kOutlookExpressEvent, kWindowsLiveMailEvent}) {
    CHECK_FALSE(world.EventIsSet(event));
  }
}

TEST_CASE("Windows Mail counts on Windows Vista only, and Outlook Express everywhere else") {
  struct {
    WindowsVersion version;
    const wchar_t* program;
    bool counts;
  } const rows[] = {
      {WindowsVersion::kVista, L"winmail.exe", true},     {WindowsVersion::kVista, L"msimn.exe", false},
      {WindowsVersion::kXp64, L"winmail.exe", false},     {WindowsVersion::kServer2003, L"msimn.exe", true},
      {WindowsVersion::kWindows7, L"winmail.exe", false}, {WindowsVersion::kWindows7, L"msimn.exe", true},
      {WindowsVersion::kWindows8, L"winmail.exe", false}, {WindowsVersion::kWindows10, L"msimn.exe", true}};
  for (const auto& row : rows) {
    CAPTURE(TestSupport::ToUtf8(row.program));
    World world;
    world.OnWindows(row.version).WithRunning(row.program).WithEvent(kOutlookExpressEvent);
    CheckReload(world, row.counts ? std::vector<NotifiedClient>{{"OE"}} : std::vector<NotifiedClient>{}, 1);
    CHECK(world.EventIsSet(kOutlookExpressEvent) == row.counts);
  }
}

TEST_CASE("a name that something else holds: error 6, and the others are notified") {
  World world;
  world.OnWindows(WindowsVersion::kXp64).WithRunning(L"OUTLOOK.EXE").WithTakenName(kOutlookEvent);
  const RunningPlugin express(L"msimn.exe", kOutlookExpressEvent);
  const RunningPlugin mail(L"wlmail.exe", kWindowsLiveMailEvent);

  CheckReload(world, {{"OL", 6}, {"OE"}, {"WLM"}}, 0);

  CHECK_LINES(express.Report(2), {"waiting", "reloaded"});
  CHECK_LINES(mail.Report(2), {"waiting", "reloaded"});
}

TEST_CASE("an event that nobody may open: error 5, and the others are notified") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithRunning(L"wlmail.exe").WithRunning(L"winmail.exe");
  const RefusedEvent mail(kWindowsLiveMailEvent);
  const RefusedEvent express(kOutlookExpressEvent);
  const RunningPlugin outlook(L"OUTLOOK.EXE", kOutlookEvent);

  CheckReload(world, {{"OL"}, {"OE", 5}, {"WLM", 5}}, 0);

  CHECK_LINES(outlook.Report(2), {"waiting", "reloaded"});
  CHECK_FALSE(mail.IsSet());
  CHECK_FALSE(express.IsSet());
}

}  // namespace
