// Running plug-ins are told to load the engine and the pattern again. They are real processes that wait for this.
#include <doctest/doctest.h>

#include <windows.h>

#include <sddl.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/scenarios/PlainRuns.h"
#include "tests/scenarios/RunningPlugin.h"

using namespace Scenarios;

namespace {

void CheckReload(const char* title, const Lines& plain, World& world) {
  CheckRun(title, plain, Told(world.Run(L"-r", World::kSource, World::kDestination)));
}

const std::wstring kOutlookEvent = Clients()[0].UpdateEvent();
const std::wstring kExpressEvent = Clients()[1].UpdateEvent();

bool EventExists(const std::wstring& name) {
  const HANDLE event = ::OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
  if (event != nullptr) {
    ::CloseHandle(event);
  }
  return event != nullptr;
}

// An event that its owner allows nobody to open.
class RefusedEvent {
 public:
  explicit RefusedEvent(const std::wstring& name) {
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, FALSE};
    REQUIRE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;0x20000;;;WD)", SDDL_REVISION_1,
                                                                   &attributes.lpSecurityDescriptor, nullptr));
    event_ = ::CreateEventW(&attributes, TRUE, FALSE, name.c_str());
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

// The log names the same clients on every Windows.
std::string Title(const Client& client) {
  return TestSupport::ToUtf8(client.shortName) + " runs";
}

TEST_CASE("a waiting plug-in reloads, and then waits again") {
  for (const WindowsVersion version : {WindowsVersion::kXp64, WindowsVersion::kVista, WindowsVersion::kWindows10}) {
    const Lines& plain = PlainReload(version);
    for (const Client& client : Clients()) {
      World world;
      const RunningPlugin plugin(world.OnWindows(version).ProcessOf(client), client.UpdateEvent());

      CheckReload(Title(client).c_str(), plain, world);
      CHECK_LINES(plugin.Report(2), {"waiting", "reloaded"});
      CHECK_FALSE(world.EventIsSet(client.UpdateEvent()));  // the plug-in has reset it

      CheckReload(Title(client).c_str(), plain, world);
      CHECK_LINES(plugin.Report(3), {"waiting", "reloaded", "reloaded"});
      CHECK(plugin.IsRunning());
    }
  }
}

TEST_CASE("all running clients reload, each by its own event; two processes of one client share an event") {
  const Lines& plain = PlainReload();
  World world;
  world.OnWindows(WindowsVersion::kVista);
  std::vector<std::unique_ptr<RunningPlugin>> plugins;
  plugins.push_back(std::make_unique<RunningPlugin>(L"Outlook.exe", kOutlookEvent));
  for (const Client& client : Clients()) {
    plugins.push_back(std::make_unique<RunningPlugin>(world.ProcessOf(client), client.UpdateEvent()));
  }
  CheckReload("all clients run", plain, world);
  for (const auto& plugin : plugins) {
    CHECK_LINES(plugin->Report(2), {"waiting", "reloaded"});
  }
}

TEST_CASE("an event that no plug-in resets stays set; the event of a client that does not run is not set") {
  const Lines& plain = PlainReload();
  const Client& last = Clients().back();
  World world;
  for (const Client& client : Clients()) {
    world.WithEvent(client.UpdateEvent());
  }
  world.OnWindows(WindowsVersion::kVista).WithRunning(last.process);
  CheckReload(Title(last).c_str(), plain, world);
  for (const Client& client : Clients()) {
    CHECK(world.EventIsSet(client.UpdateEvent()) == (&client == &last));
  }
}

TEST_CASE("notifying a client whose plug-in does not wait yet has no effect") {
  const Lines& plain = PlainReload();
  World world;
  world.OnWindows(WindowsVersion::kVista).WithRunning(L"OUTLOOK.EXE");
  CheckReload(Title(Clients()[0]).c_str(), plain, world);
  CHECK_FALSE(EventExists(kOutlookEvent));
  const RunningPlugin late(L"Outlook.exe", kOutlookEvent);
  CHECK_LINES(late.Report(1), {"waiting"});
  CHECK_FALSE(world.EventIsSet(kOutlookEvent));
}

TEST_CASE("Windows Mail is a client on Windows Vista only, Outlook Express on all others") {
  for (const auto& [program, version] : {std::pair{L"msimn.exe", WindowsVersion::kVista},
                                         {L"winmail.exe", WindowsVersion::kXp64},
                                         {L"winmail.exe", WindowsVersion::kWindows7},
                                         {L"winmail.exe", WindowsVersion::kWindows8}}) {
    const std::string name = TestSupport::ToUtf8(program);
    CAPTURE(name);
    const Lines& plain = PlainReload(version);
    World world;
    world.OnWindows(version).WithRunning(program).WithEvent(kExpressEvent);
    CHECK_LINES(Told(world.Run(L"-r", World::kSource, World::kDestination)), (plain));
    CHECK_FALSE(world.EventIsSet(kExpressEvent));
  }
}

TEST_CASE("each event that cannot be opened is logged with its error, and the other clients are notified") {
  const Lines& plain = PlainReload();
  World world;
  world.OnWindows(WindowsVersion::kVista).WithRunning(L"OUTLOOK.EXE").WithTakenName(kOutlookEvent);
  const RefusedEvent refused(kExpressEvent);
  world.WithRunning(world.ProcessOf(Clients()[1]));
  const RunningPlugin mail(Clients().back().process, Clients().back().UpdateEvent());
  CheckReload("two events cannot be opened", plain, world);
  CHECK_LINES(mail.Report(2), {"waiting", "reloaded"});
  CHECK_FALSE(refused.IsSet());
}

}  // namespace
