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

constexpr wchar_t kOutlookFlag[] = L"OL_DELAY_INST";
constexpr wchar_t kOutlookExpressFlag[] = L"OE_DELAY_INST";
constexpr wchar_t kWindowsLiveMailFlag[] = L"WLM_DELAY_INST";

// A registration that may have been put off until the client does not run.
struct DelayedInstall {
  MailClient client;
  const wchar_t* flag;
  RunLog::Text shownFlag;  // as the log names it; the number follows
  const wchar_t* folder;
  bool (*isInstalled)();  // may be null: not asked
  RunLog::Text notInstalled;
  const wchar_t* clearedFlag;
  RunLog::Text clearFailure;
};

// In this order. The first two clear each other's flag, so that a client's own flag keeps its registration being
// renewed: meant so, like the texts that name the flag that is really cleared.
constexpr DelayedInstall kDelayedInstalls[] = {
    {MailClient::kOutlookExpress, kOutlookExpressFlag, L"nDelayEnableOE = %d", L"\\VELA_OE", nullptr, nullptr,
     kOutlookFlag, L"Fail to store REG_ZENTA_VELA_OL_DELAY_INSTALL_KEY value !!"},
    {MailClient::kOutlook, kOutlookFlag, L" nDelayEnableOL = %d", L"\\VELA_OL", IsOutlookSupported,
     L"MS Office Outlook is not installed !", kOutlookExpressFlag,
     L"Fail to store REG_ZENTA_VELA_OE_DELAY_INSTALL_KEY value !!"},
    {MailClient::kWindowsLiveMail, kWindowsLiveMailFlag, L" nDelayEnableWLM = %d", L"\\VELA_WLM", nullptr, nullptr,
     kWindowsLiveMailFlag, L"Fail to store REG_ZENTA_VELA_WLM_DELAY_INSTALL_KEY value !!"},
};
static_assert(HasEveryClient(kDelayedInstalls));
constexpr int kDelayedInstallCount = sizeof kDelayedInstalls / sizeof kDelayedInstalls[0];

using ClientSwitch = bool (*)(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);

struct SwitchedClient {
  MailClient client;
  bool needsMonitor;  // a running client keeps its monitor
  ClientSwitch activate;
  RunLog::Text activated;
  RunLog::Text activateFailure;
  ClientSwitch deactivate;
  RunLog::Text deactivated;
  RunLog::Text deactivateFailure;
};

constexpr SwitchedClient kSwitchedClients[] = {
    {MailClient::kOutlook, false, VELA_ActivateOL, L"SetAntiSpamEnable() - VELA OL activated successfully.",
     L"*** SetAntiSpamEnable() - VELA_ActivateOL() Fail", VELA_DeActivateOL,
     L"SetAntiSpamEnable() - VELA OL deactivated successfully.",
     L"*** SetAntiSpamEnable() - failed on VELA_DeActivateOL()"},
    {MailClient::kOutlookExpress, true, VELA_ActivateOE, L"SetAntiSpamEnable() - VELA OE activated successfully.",
     L"*** SetAntiSpamEnable() - VELA_ActivateOE() Fail", VELA_DeActivateOE,
     L"SetAntiSpamEnable() - VELA OE deactivated successfully.",
     L"*** SetAntiSpamEnable() - failed on VELA_DeActivateOE()"},
    {MailClient::kWindowsLiveMail, true, VELA_ActivateWLM, L"SetAntiSpamEnable() - VELA WLM activated successfully.",
     L"*** SetAntiSpamEnable() - VELA_ActivateWLM() Fail", VELA_DeActivateWLM,
     L"SetAntiSpamEnable() - VELA WLM deactivated successfully.",
     L"*** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()"},
};
static_assert(HasEveryClient(kSwitchedClients));

// Runs one client's switch and logs how it went.
bool Run(ClientSwitch clientSwitch, RunLog::Text success, RunLog::Text failure, const std::wstring& installPath,
         DWORD sessionId, const std::wstring& userSid) {
  if (!clientSwitch(installPath, sessionId, userSid)) {
    RunLog::Error() << failure;
    return false;
  }
  RunLog::Info() << success;
  return true;
}

// False where the settings cannot be opened; a flag that is missing or no number reads as 0.
bool ReadDelayFlags(DWORD (&flags)[kDelayedInstallCount]) {
  Frwk::Storage::CoreAgentRegistry settings(kSharedSettingsNumber);
  if (!settings.OpenForReading(kSharedSettingsEntry)) {
    RunLog::Error() << L"Fail to open REG_ZENTA_VELA_ROOT_PATH for query !!";
    return false;
  }
  for (int index = 0; index < kDelayedInstallCount; ++index) {
    flags[index] = settings.ReadNumber(kDelayedInstalls[index].flag, 0);
  }
  settings.Close();
  return true;
}

void RunDelayedInstall(const DelayedInstall& delayed, const std::wstring& installPath) {
  if (delayed.isInstalled != nullptr && !delayed.isInstalled()) {
    RunLog::Info() << delayed.notInstalled;  // told, and installed all the same
  }
  RegisterClient(delayed.client, installPath + delayed.folder, true);
  if (!StoreProductValue(delayed.clearedFlag)) {
    RunLog::Error() << delayed.clearFailure;
  }
}

// None of this decides the result of the switch.
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
    // Logged only: the monitors start at the next log-on all the same.
    RunLog::Error() << L"!!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()";
  }
  return succeeded;
}

// Holds the event signalled for a moment, long enough for every monitor that waits for it.
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
  for (const SwitchedClient& client : kSwitchedClients) {
    if (IsLeftOut(client.client)) {
      continue;
    }
    if (!Run(client.deactivate, client.deactivated, client.deactivateFailure, installPath, sessionId, userSid)) {
      succeeded = false;
    }
    if (client.needsMonitor && IsMailClientRunning(client.client)) {
      sendNotify = false;
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
  for (const SwitchedClient& client : kSwitchedClients) {
    if (!IsLeftOut(client.client) &&
        !Run(client.activate, client.activated, client.activateFailure, installPath, sessionId, userSid)) {
      succeeded = false;
    }
  }
  return succeeded;
}

}  // namespace VELAUtility
