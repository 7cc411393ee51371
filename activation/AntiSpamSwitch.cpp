#include "activation/AntiSpamSwitch.h"

#include "Common/FrwkCommon/Frwk_CoreAgentRegistry.h"
#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_TerminalService.h"
#include "activation/ClientActivation.h"
#include "activation/ConsoleUser.h"
#include "activation/MonitorLaunch.h"
#include "cli/RunLog.h"
#include "install/OutlookDetection.h"
#include "plugins/ClientRegistration.h"
#include "settings/MailClients.h"
#include "settings/ProductSettings.h"

namespace {

using namespace VELAUtility;

// Known in messages as VELA_DISABLE_NOTIFY_EVENT; the monitors wait for it.
constexpr wchar_t kMonitorShutdownEvent[] = L"Global\\{DD2A6866-95FD-47a8-A48D-CDB025648C09}";
constexpr DWORD kShutdownPulse = 100;  // milliseconds

// A registration that may have been delayed until the client does not run.
struct DelayedInstall {
  MailClient client;
  RunLog::Text shownFlag;  // as the log names it; the number follows
  bool asksForOutlook;
  MailClient cleared;  // whose flag is cleared after it
  RunLog::Text clearFailure;
};

// In this order. By design, the first two clear each other's flag: if only one of the two is set, it stays set, and
// that client is registered again every time. The texts name the flag that is really cleared.
constexpr DelayedInstall kDelayedInstalls[] = {
    {MailClient::kOutlookExpress, L"nDelayEnableOE = %d", false, MailClient::kOutlook,
     L"Fail to store REG_ZENTA_VELA_OL_DELAY_INSTALL_KEY value !!"},
    {MailClient::kOutlook, L" nDelayEnableOL = %d", true, MailClient::kOutlookExpress,
     L"Fail to store REG_ZENTA_VELA_OE_DELAY_INSTALL_KEY value !!"},
    {MailClient::kWindowsLiveMail, L" nDelayEnableWLM = %d", false, MailClient::kWindowsLiveMail,
     L"Fail to store REG_ZENTA_VELA_WLM_DELAY_INSTALL_KEY value !!"},
};
static_assert(HasEveryClient(kDelayedInstalls));
constexpr int kDelayedInstallCount = sizeof kDelayedInstalls / sizeof kDelayedInstalls[0];

using Operation = bool (*)(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);

struct ClientSwitch {
  MailClient client;
  Operation run;
  RunLog::Text success;
  RunLog::Text failure;
};

constexpr ClientSwitch kSwitchesOn[] = {
    {MailClient::kOutlook, VELA_ActivateOL, L"SetAntiSpamEnable() - VELA OL activated successfully.",
     L"*** SetAntiSpamEnable() - VELA_ActivateOL() Fail"},
    {MailClient::kOutlookExpress, VELA_ActivateOE, L"SetAntiSpamEnable() - VELA OE activated successfully.",
     L"*** SetAntiSpamEnable() - VELA_ActivateOE() Fail"},
    {MailClient::kWindowsLiveMail, VELA_ActivateWLM, L"SetAntiSpamEnable() - VELA WLM activated successfully.",
     L"*** SetAntiSpamEnable() - VELA_ActivateWLM() Fail"},
};
constexpr ClientSwitch kSwitchesOff[] = {
    {MailClient::kOutlook, VELA_DeActivateOL, L"SetAntiSpamEnable() - VELA OL deactivated successfully.",
     L"*** SetAntiSpamEnable() - failed on VELA_DeActivateOL()"},
    {MailClient::kOutlookExpress, VELA_DeActivateOE, L"SetAntiSpamEnable() - VELA OE deactivated successfully.",
     L"*** SetAntiSpamEnable() - failed on VELA_DeActivateOE()"},
    {MailClient::kWindowsLiveMail, VELA_DeActivateWLM, L"SetAntiSpamEnable() - VELA WLM deactivated successfully.",
     L"*** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()"},
};
static_assert(StandInOrder(kSwitchesOn) && HasEveryClient(kSwitchesOn));
static_assert(StandInOrder(kSwitchesOff) && HasEveryClient(kSwitchesOff));

bool Switch(const ClientSwitch& client, const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  if (!client.run(installPath, sessionId, userSid)) {
    RunLog::Error() << client.failure;
    return false;
  }
  RunLog::Info() << client.success;
  return true;
}

// False if the settings cannot be opened. A flag that is missing or not a number reads as 0.
bool ReadDelayFlags(DWORD (&flags)[kDelayedInstallCount]) {
  Frwk::Storage::CoreAgentRegistry settings(kSharedSettingsNumber);
  if (!settings.OpenForReading(kSharedSettingsEntry)) {
    RunLog::Error() << L"Fail to open REG_ZENTA_VELA_ROOT_PATH for query !!";
    return false;
  }
  for (int index = 0; index < kDelayedInstallCount; ++index) {
    flags[index] = settings.ReadNumber(DelayFlagOf(kDelayedInstalls[index].client), 0);
  }
  settings.Close();
  return true;
}

void RunDelayedInstall(const DelayedInstall& delayed, const std::wstring& installPath) {
  if (delayed.asksForOutlook && !IsOutlookSupported()) {
    RunLog::Info() << L"MS Office Outlook is not installed !";  // but its plug-in is registered anyway
  }
  RegisterClient(delayed.client, installPath + L"\\" + FolderNameOf(delayed.client), true);
  if (!StoreProductValue(DelayFlagOf(delayed.cleared))) {
    RunLog::Error() << delayed.clearFailure;
  }
}

// Does not affect the result of the switch.
void RunDelayedInstalls(const std::wstring& installPath) {
  DWORD flags[kDelayedInstallCount] = {};
  if (!ReadDelayFlags(flags)) {
    return;
  }
  {
    // The "%d" marks are part of the text; each number follows its mark.
    RunLog::Entry entry = RunLog::Info();
    for (int index = 0; index < kDelayedInstallCount; ++index) {
      entry << kDelayedInstalls[index].shownFlag << flags[index];
    }
  }
  for (int index = 0; index < kDelayedInstallCount; ++index) {
    if (flags[index] != 0) {
      RunDelayedInstall(kDelayedInstalls[index], installPath);
    }
  }
}

bool SwitchOn(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  bool succeeded = true;
  if (!VELA_ActivateAll(installPath, sessionId, userSid)) {
    succeeded = false;
    RunLog::Error() << L"!!! SetAntiSpamEnable() - failed on VELA_ActivateAll()";
  }
  if (!VELA_LaunchMonProcess(installPath, 0)) {
    // Logged only: the monitors start at the next log-on anyway.
    RunLog::Error() << L"!!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()";
  }
  return succeeded;
}

// Keeps the event signalled long enough for every waiting monitor.
void SignalMonitorShutdown() {
  const OrCommon::KernelHandle event(::CreateEventW(nullptr, TRUE, FALSE, kMonitorShutdownEvent));
  if (!event) {
    RunLog::Error() << L"Fail to OpenEvent() ! ErrCode:" << ::GetLastError();
    return;
  }
  RunLog::Info() << L"Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! ";
  ::SetEvent(event.Get());
  ::Sleep(kShutdownPulse);
  ::ResetEvent(event.Get());
}

bool SwitchOff(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  bool succeeded = true;
  bool sendNotify = true;
  for (const ClientSwitch& client : kSwitchesOff) {
    if (IsLeftOut(client.client)) {
      continue;
    }
    if (!Switch(client, installPath, sessionId, userSid)) {
      succeeded = false;
    }
    if (HasMonitor(client.client) && IsMailClientRunning(client.client)) {
      sendNotify = false;  // a running client keeps its monitor
    }
  }
  RunLog::Info() << L"Check if need VELA_DISABLE_NOTIFY_EVENT";
  if (sendNotify) {
    SignalMonitorShutdown();
  } else {
    RunLog::Info() << L"Not Send VELA_DISABLE_NOTIFY_EVENT";
  }
  return succeeded;
}

}  // namespace

bool CProviderAntiSpam::SetAntiSpamEnable(bool enable, const std::wstring& installPath, int /*unused*/) {
  if (enable) {
    RunDelayedInstalls(installPath);
  }
  DWORD sessionId = OrCommon::TerminalService::kNoSession;
  DWORD error = ERROR_SUCCESS;
  if (!OrCommon::TerminalService::GetActiveSessionId(sessionId, error) ||
      sessionId == OrCommon::TerminalService::kNoSession) {
    RunLog::Error() << L"*** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=" << error;
    return false;
  }
  const std::wstring userSid = GetCurrentUserSid();
  RunLog::Info() << L"CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:" << sessionId << L", szSID: " << userSid;
  return enable ? SwitchOn(installPath, sessionId, userSid) : SwitchOff(installPath, sessionId, userSid);
}

namespace VELAUtility {

bool VELA_ActivateAll(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid) {
  bool succeeded = true;
  for (const ClientSwitch& client : kSwitchesOn) {
    if (!IsLeftOut(client.client) && !Switch(client, installPath, sessionId, userSid)) {
      succeeded = false;
    }
  }
  return succeeded;
}

}  // namespace VELAUtility
