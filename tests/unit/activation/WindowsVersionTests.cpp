// The switch on each Windows that answers its version tests in another way. What Windows says is asked once per
// process: each run of this program has one answer, named by the environment.
#include <doctest/doctest.h>

#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "tests/support/HeapWatch.h"
#include "tests/unit/activation/SwitchWorld.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;

namespace {

struct Windows {
  const char* name;
  DWORD major;
  DWORD minor;
  bool hasSessions;
  bool hasOutlookExpress;
  const wchar_t* outlookExpress;  // its program
  const wchar_t* other;           // the program of that name elsewhere
};

constexpr Windows kWindows[] = {
    {"5.0", 5, 0, false, true, L"msimn.exe", L"winmail.exe"},  {"5.1", 5, 1, true, true, L"msimn.exe", L"winmail.exe"},
    {"5.2", 5, 2, true, true, L"msimn.exe", L"winmail.exe"},   {"6.0", 6, 0, true, true, L"winmail.exe", L"msimn.exe"},
    {"6.1", 6, 1, true, false, L"msimn.exe", L"winmail.exe"},  {"6.2", 6, 2, true, false, L"msimn.exe", L"winmail.exe"},
    {"10.0", 10, 0, true, true, L"msimn.exe", L"winmail.exe"},
};

const Windows& ThisWindows() {
  const char* const wanted = std::getenv("VELA_TEST_WINDOWS");
  for (const Windows& windows : kWindows) {
    if (wanted != nullptr && std::string_view(wanted) == windows.name) {
      return windows;
    }
  }
  throw std::runtime_error("VELA_TEST_WINDOWS does not name a Windows");
}

constexpr char kUser[] = "S-1-5-21-0-0-0-1000";
constexpr char kNoSession[] = "*** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=0";

constexpr std::size_t kFormatBuffer = 256 * sizeof(wchar_t);  // bytes; the smallest that a path is formatted into

struct ReportedWorld {
  const Windows& windows = ThisWindows();
  WindowsReports reports{windows.major, windows.minor, VER_NT_WORKSTATION};
  SwitchWorld world;
};

Lines MonitorStarted(const std::string& folder, const std::string& monitor) {
  return Joined({Info("ImpersonateLoggedOnUser() : C:\\VELA\\VELA\\" + folder + "\\" + monitor),
                 Info("Succeeded in calling CreateProcessAsUser() of " + monitor)});
}

TEST_CASE("Outlook Express is activated and its monitor started where Windows has it") {
  ReportedWorld reported;
  SwitchWorld& world = reported.world;
  world.machine.SetFlags(0, 0, 0);
  const Lines log = world.Switch(true);
  const bool express = reported.windows.hasOutlookExpress;
  const Lines flags = Info("nDelayEnableOE = %d0 nDelayEnableOL = %d0 nDelayEnableWLM = %d0");
  CHECK(world.result == reported.windows.hasSessions);
  if (!reported.windows.hasSessions) {
    CHECK_LINES(log, (Joined({flags, Error(kNoSession)})));
    CHECK(world.monitors.Starts().empty());
    return;
  }
  CHECK_LINES(log, (Joined({flags, Info(SessionLine(kUser)),
                            Info(std::string("GetCurrentUserID - szSidString: ") + kUser + " strCurrentUserID:"),
                            Info("SetAntiSpamEnable() - VELA OL activated successfully."),
                            express ? Info("SetAntiSpamEnable() - VELA OE activated successfully.") : Lines{},
                            Info("SetAntiSpamEnable() - VELA WLM activated successfully."),
                            express ? MonitorStarted("VELA_OE", "VELA_OEMon.exe") : Lines{},
                            MonitorStarted("VELA_WLM", "VELA_WLMMon.exe")})));
  CHECK(SwitchedMachine::RunValue(L"OE") == (express ? L"\"C:\\VELA\\VELA_OE\\VELA_OEMon.exe\"" : L""));
  CHECK(SwitchedMachine::RunValue(L"WLM") == L"\"C:\\VELA\\VELA_WLM\\VELA_WLMMon.exe\"");
  CHECK((LinesWith(world.machine.Data(), "\\OE\\").size() == (express ? 3 : 0)));
  CHECK(world.monitors.GivenOut() == (express ? 4 : 2));
  CHECK(world.monitors.Closed() == world.monitors.GivenOut());
  CHECK_LINES(world.session.NotGivenBack(), {});
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
}

TEST_CASE("without memory for its path no monitor is started, and its start-up value is not written") {
  ReportedWorld reported;
  SwitchWorld& world = reported.world;
  world.machine.SetFlags(0, 0, 0);
  const bool sessions = reported.windows.hasSessions;  // without any there is nobody to start a monitor for
  const bool express = sessions && reported.windows.hasOutlookExpress;
  Lines log;
  {
    const OrCommonTests::HeapLimit memory(OrCommonTests::HeapLimit::kAnySize, kFormatBuffer);
    log = world.Switch(true);
  }
  CHECK(world.result == sessions);
  CHECK_LINES(LinesWith(log, "Mon"),
              (Joined({express ? Error("Failed to WriteRegStringValue of Run Key for OEMon !!") : Lines{},
                       sessions ? Error("Failed to WriteRegStringValue of Run Key for WLMMon !!") : Lines{},
                       express ? Error("Failed to call CreateProcessAsUser() to launch VELA_OEMon.exe 8 ") : Lines{},
                       sessions ? Error("Failed to call CreateProcessAsUser() to launch VELA_WLMMon.exe 8 ") : Lines{},
                       sessions ? Error("!!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()") : Lines{}})));
  CHECK(world.monitors.Starts().empty());
  CHECK(SwitchedMachine::RunValue(L"WLM").empty());
  CHECK_LINES(world.session.NotGivenBack(), {});
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
}

TEST_CASE("Outlook Express is deactivated, and keeps its monitor while it runs, where Windows has it") {
  for (const wchar_t* const program : {L"", ThisWindows().outlookExpress, ThisWindows().other}) {
    CAPTURE(ToUtf8(program));
    ReportedWorld reported;
    SwitchWorld& world = reported.world;
    MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
    MakeKey(MachineKey64(SwitchedMachine::kRunKey), {{L"WLM", L"x"}, {L"OE", L"y"}});
    world.running.Become({program});
    const Lines log = world.Switch(false);
    CHECK(world.result == reported.windows.hasSessions);
    if (!reported.windows.hasSessions) {
      CHECK_LINES(log, (Error(kNoSession)));
      CHECK(SwitchedMachine::RunValue(L"OE") == L"y");
      continue;
    }
    const bool express = reported.windows.hasOutlookExpress;
    const bool keeps = express && program == std::wstring(reported.windows.outlookExpress);
    CHECK_LINES(log, (Joined({Info(SessionLine(kUser)), Info("SetAntiSpamEnable() - VELA OL deactivated successfully."),
                              express ? Info("SetAntiSpamEnable() - VELA OE deactivated successfully.") : Lines{},
                              Info("SetAntiSpamEnable() - VELA WLM deactivated successfully."),
                              Info("Check if need VELA_DISABLE_NOTIFY_EVENT"),
                              keeps ? Info("Not Send VELA_DISABLE_NOTIFY_EVENT")
                                    : Info("Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon "
                                           "! ")})));
    CHECK_LINES(world.shutdown.Calls(), (keeps ? Lines{} : SignalledCalls()));
    CHECK(SwitchedMachine::RunValue(L"OE") == (express ? L"" : L"y"));
  }
}

TEST_CASE("Outlook Express without anything to deactivate fails the switch where Windows has it") {
  ReportedWorld reported;
  SwitchWorld& world = reported.world;
  MakeKey(MachineKey64(SwitchedMachine::kAddinKey), {{L"LoadBehavior", 3}});
  MakeKey(MachineKey64(SwitchedMachine::kRunKey), {{L"WLM", L"x"}});
  const Lines log = world.Switch(false);
  CHECK(world.result == (reported.windows.hasSessions && !reported.windows.hasOutlookExpress));
  CHECK_LINES(LinesWith(log, "OE"),
              (reported.windows.hasSessions && reported.windows.hasOutlookExpress
                   ? Joined({Error("Fail to DeleteRegStringValue() of g_szOE_OEM !"),
                             Error("*** SetAntiSpamEnable() - failed on VELA_DeActivateOE()"),
                             Info("Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! ")})
               : reported.windows.hasSessions
                   ? Info("Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! ")
                   : Lines{}));
}

TEST_CASE("a registration of Outlook Express that was put off is done on any Windows, and looks for its own program") {
  for (const wchar_t* const program : {ThisWindows().outlookExpress, ThisWindows().other}) {
    ReportedWorld reported;
    SwitchWorld& world = reported.world;
    world.machine.SetFlags(1, 0, 0);
    world.running.Become({program});
    const Lines log = world.Switch(true);
    CHECK(LinesWith(log, "LOG_INFO : Outlook Express is running during installing !").size() ==
          (program == reported.windows.outlookExpress ? 1U : 0U));
    CHECK(world.regsvr32.Starts().size() == 4);
  }
}

}  // namespace
