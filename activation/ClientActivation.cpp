#include "activation/ClientActivation.h"

#include "Common/OrCommon/OrComn_String.h"
#include "activation/UserDataTree.h"
#include "cli/RunLog.h"
#include "plugins/OutlookAddin.h"
#include "settings/ProductFolders.h"
#include "settings/ProductSettings.h"

namespace VELAUtility {
namespace {

// The Run value by which Windows starts a client's monitor at every log-on.
struct MonitorStart {
  MailClient client;
  RunLog::Text writeFailure;
  RunLog::Text deleteFailure;
};

constexpr MonitorStart kMonitorStarts[] = {
    {MailClient::kOutlookExpress, L"Failed to WriteRegStringValue of Run Key for OEMon !!",
     L"Fail to DeleteRegStringValue() of g_szOE_OEM !"},
    {MailClient::kWindowsLiveMail, L"Failed to WriteRegStringValue of Run Key for WLMMon !!",
     L"Fail to DeleteRegStringValue() of g_szWLM_OEM !"},
};
static_assert(HasEveryMonitor(kMonitorStarts));

}  // namespace

bool ActivateMonitor(MailClient client, const std::wstring& installPath, const std::wstring& userSid) {
  std::wstring userId;
  BuildUserDataTree(client, userSid, userId);
  bool written = false;
  try {
    const std::wstring folder = ProductFolders::Join(installPath, FolderNameOf(client) + L"\\");
    std::wstring command;  // including the quotation marks
    OrCommon::String::Format(command, L"\"%s%s\"", folder.c_str(), MonitorNameOf(client).c_str());
    written = WriteRunValue(FactsOf(client).runValue, command);
  } catch (OrCommon::String::Exception* failure) {
    delete failure;
  }
  if (!written) {
    RunLog::Error() << RowOf(client, kMonitorStarts).writeFailure;
  }
  return true;
}

bool DeactivateMonitor(MailClient client) {
  if (!DeleteRunValue(FactsOf(client).runValue)) {
    RunLog::Error() << RowOf(client, kMonitorStarts).deleteFailure;
    return false;
  }
  return true;
}

bool VELA_ActivateOL(const std::wstring& /*installPath*/, DWORD /*sessionId*/, const std::wstring& userSid) {
  std::wstring userId;
  BuildUserDataTree(MailClient::kOutlook, userSid, userId);
  RunLog::Info() << L"GetCurrentUserID - szSidString: " << userSid << L" strCurrentUserID:" << userId;
  if (EnsureOutlookAddinKeyForMachine()) {
    if (!WriteOutlookLoadBehaviorForMachine(LoadBehavior::kLoadAtStartUp)) {
      RunLog::Error() << L"Failed to WriteRegIntValue of LoadBehavior to 3!!";
    }
    WriteOutlookAddinValuesForMachine();
  }
  WriteOutlookAddinKeyForAllUsers(LoadBehavior::kLoadAtStartUp);
  return true;
}

bool VELA_DeActivateOL(const std::wstring& /*installPath*/, DWORD /*sessionId*/, const std::wstring& /*userSid*/) {
  if (!WriteOutlookLoadBehaviorForMachine(LoadBehavior::kDoNotLoad)) {
    RunLog::Error() << L"Failed to WriteRegIntValue of LoadBehavior to 2!!";
    return false;
  }
  WriteOutlookAddinKeyForAllUsers(LoadBehavior::kDoNotLoad);
  return true;
}

bool VELA_ActivateOE(const std::wstring& installPath, DWORD /*sessionId*/, const std::wstring& userSid) {
  return ActivateMonitor(MailClient::kOutlookExpress, installPath, userSid);
}

bool VELA_DeActivateOE(const std::wstring& /*installPath*/, DWORD /*sessionId*/, const std::wstring& /*userSid*/) {
  return DeactivateMonitor(MailClient::kOutlookExpress);
}

bool VELA_ActivateWLM(const std::wstring& installPath, DWORD /*sessionId*/, const std::wstring& userSid) {
  return ActivateMonitor(MailClient::kWindowsLiveMail, installPath, userSid);
}

bool VELA_DeActivateWLM(const std::wstring& /*installPath*/, DWORD /*sessionId*/, const std::wstring& /*userSid*/) {
  return DeactivateMonitor(MailClient::kWindowsLiveMail);
}

}  // namespace VELAUtility
