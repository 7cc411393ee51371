// The switch when clients cannot be switched. Activating one never fails as things are, so this program brings clients
// of its own: they stand in the place of ClientActivation.cpp, which the linker then leaves out.
#include <doctest/doctest.h>

#include <array>

#include "activation/ClientActivation.h"
#include "tests/unit/activation/SwitchWorld.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;

namespace {

enum Step { kActivateOL, kActivateOE, kActivateWLM, kDeActivateOL, kDeActivateOE, kDeActivateWLM, kSteps };

constexpr const char* kStepNames[] = {"ActivateOL",   "ActivateOE",   "ActivateWLM",
                                      "DeActivateOL", "DeActivateOE", "DeActivateWLM"};

std::array<bool, kSteps> fails;
Lines steps;

bool Take(Step step, const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  steps.push_back(kStepNames[step] + std::string(" ") + ToUtf8(installPath) + " " + std::to_string(sessionId) + " " +
                  ToUtf8(userSid));
  return !fails[step];
}

}  // namespace

namespace VELAUtility {

bool VELA_ActivateOL(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take(kActivateOL, installPath, sessionId, userSid);
}
bool VELA_ActivateOE(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take(kActivateOE, installPath, sessionId, userSid);
}
bool VELA_ActivateWLM(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take(kActivateWLM, installPath, sessionId, userSid);
}
bool VELA_DeActivateOL(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take(kDeActivateOL, installPath, sessionId, userSid);
}
bool VELA_DeActivateOE(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take(kDeActivateOE, installPath, sessionId, userSid);
}
bool VELA_DeActivateWLM(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  return Take(kDeActivateWLM, installPath, sessionId, userSid);
}

}  // namespace VELAUtility

namespace {

constexpr char kUser[] = "S-1-5-21-0-0-0-1000";

// Windows Vista, which has all three clients.
struct VistaWorld {
  WindowsReports reports{6, 0, VER_NT_WORKSTATION};
  SwitchWorld world;
};

Lines Told(const char* client, const char* done, const char* failure, bool failed) {
  return failed ? Error(failure) : Info("SetAntiSpamEnable() - VELA " + std::string(client) + " " + done);
}

TEST_CASE("every client is activated, whichever of them fail, and any failure fails the switch") {
  for (unsigned combination = 0; combination < 8; ++combination) {
    CAPTURE(combination);
    VistaWorld vista;
    vista.world.machine.SetFlags(0, 0, 0);
    steps.clear();
    const bool outlook = (combination & 1U) != 0;
    const bool outlookExpress = (combination & 2U) != 0;
    const bool windowsLiveMail = (combination & 4U) != 0;
    fails = {outlook, outlookExpress, windowsLiveMail, false, false, false};
    const Lines log = vista.world.Switch(true);
    CHECK(vista.world.result == (combination == 0));
    CHECK_LINES(
        log,
        (Joined(
            {Info("nDelayEnableOE = %d0 nDelayEnableOL = %d0 nDelayEnableWLM = %d0"), Info(SessionLine(kUser)),
             Told("OL", "activated successfully.", "*** SetAntiSpamEnable() - VELA_ActivateOL() Fail", outlook),
             Told("OE", "activated successfully.", "*** SetAntiSpamEnable() - VELA_ActivateOE() Fail", outlookExpress),
             Told("WLM", "activated successfully.", "*** SetAntiSpamEnable() - VELA_ActivateWLM() Fail",
                  windowsLiveMail),
             combination != 0 ? Error("!!! SetAntiSpamEnable() - failed on VELA_ActivateAll()") : Lines{},
             Info("ImpersonateLoggedOnUser() : C:\\VELA\\VELA\\VELA_OE\\VELA_OEMon.exe"),
             Info("Succeeded in calling CreateProcessAsUser() of VELA_OEMon.exe"),
             Info("ImpersonateLoggedOnUser() : C:\\VELA\\VELA\\VELA_WLM\\VELA_WLMMon.exe"),
             Info("Succeeded in calling CreateProcessAsUser() of VELA_WLMMon.exe")})));
    const std::string arguments = std::string(" C:\\VELA 7 ") + kUser;
    CHECK_LINES(steps, {"ActivateOL" + arguments, "ActivateOE" + arguments, "ActivateWLM" + arguments});
    CHECK_LINES(vista.world.session.NotGivenBack(), {});
  }
}

TEST_CASE("a failed activation and a failed monitor are each told") {
  VistaWorld vista;
  vista.world.machine.SetFlags(0, 0, 0);
  vista.world.monitors.Fail(ERROR_ACCESS_DENIED);
  fails = {true, false, false, false, false, false};
  const Lines log = vista.world.Switch(true);
  CHECK_FALSE(vista.world.result);
  CHECK_LINES(LinesWith(log, "!!!"), {"LOG_ERROR: !!! SetAntiSpamEnable() - failed on VELA_ActivateAll()",
                                      "LOG_ERROR: !!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()"});
  CHECK_LINES(LinesWith(log, "Failed to call"),
              {"LOG_ERROR: Failed to call CreateProcessAsUser() to launch VELA_OEMon.exe 5 "
               "C:\\VELA\\VELA\\VELA_OE\\VELA_OEMon.exe",
               "LOG_ERROR: Failed to call CreateProcessAsUser() to launch VELA_WLMMon.exe 5 "
               "C:\\VELA\\VELA\\VELA_WLM\\VELA_WLMMon.exe"});
}

TEST_CASE("every client is deactivated, whichever of them fail; the monitors are told in any case") {
  for (unsigned combination = 0; combination < 8; ++combination) {
    CAPTURE(combination);
    VistaWorld vista;
    steps.clear();
    const bool outlook = (combination & 1U) != 0;
    const bool outlookExpress = (combination & 2U) != 0;
    const bool windowsLiveMail = (combination & 4U) != 0;
    fails = {false, false, false, outlook, outlookExpress, windowsLiveMail};
    const Lines log = vista.world.Switch(false);
    CHECK(vista.world.result == (combination == 0));
    CHECK_LINES(log, (Joined({Info(SessionLine(kUser)),
                              Told("OL", "deactivated successfully.",
                                   "*** SetAntiSpamEnable() - failed on VELA_DeActivateOL()", outlook),
                              Told("OE", "deactivated successfully.",
                                   "*** SetAntiSpamEnable() - failed on VELA_DeActivateOE()", outlookExpress),
                              Told("WLM", "deactivated successfully.",
                                   "*** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()", windowsLiveMail),
                              Info("Check if need VELA_DISABLE_NOTIFY_EVENT"),
                              Info("Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! ")})));
    const std::string arguments = std::string(" C:\\VELA 7 ") + kUser;
    CHECK_LINES(steps, {"DeActivateOL" + arguments, "DeActivateOE" + arguments, "DeActivateWLM" + arguments});
    CHECK_LINES(vista.world.shutdown.Calls(), (SignalledCalls()));
  }
}

}  // namespace
