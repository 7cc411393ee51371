#include "activation/ClientActivation.h"

#include "Common/OrCommon/OrComn_String.h"
#include "activation/UserDataTree.h"
#include "cli/RunLog.h"
#include "plugins/OutlookAddin.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"
#include "settings/ProductSettings.h"

namespace VELAUtility {
namespace {

// A client whose plug-in is kept by a monitor that Windows starts at every log-on.
struct MonitoredClient {
  const wchar_t* name;    // of its folder in the users' data tree
  const wchar_t* folder;  // below the install path
  const wchar_t* runValue;
  const wchar_t* commandFormat;  // %s: the client's folder; the quotation marks belong to the stored command
  RunLog::Text writeFailure;
  RunLog::Text deleteFailure;
};

constexpr MonitoredClient kOutlookExpress = {L"OE",
                                             L"VELA_OE\\",
                                             g_szOE_OEM,
                                             L"\"%sVELA_OEMon.exe\"",
                                             L"Failed to WriteRegStringValue of Run Key for OEMon !!",
                                             L"Fail to DeleteRegStringValue() of g_szOE_OEM !"};
constexpr MonitoredClient kWindowsLiveMail = {L"WLM",
                                              L"VELA_WLM\\",
                                              g_szWLM_OEM,
                                              L"\"%sVELA_WLMMon.exe\"",
                                              L"Failed to WriteRegStringValue of Run Key for WLMMon !!",
                                              L"Fail to DeleteRegStringValue() of g_szWLM_OEM !"};

bool Activate(const MonitoredClient& client, const std::wstring& installPath, const std::wstring& userSid) {
  std::wstring userId;
  BuildUserDataTree(client.name, userSid, userId);
  bool written = false;
  try {
    std::wstring command;
    OrCommon::String::Format(command, client.commandFormat, ProductFolders::Join(installPath, client.folder).c_str());
    written = WriteRunValue(client.runValue, command);
  } catch (OrCommon::String::Exception* failure) {
    delete failure;
  }
  if (!written) {
    RunLog::Error() << client.writeFailure;
  }
  return true;
}

bool Deactivate(const MonitoredClient& client) {
  if (!DeleteRunValue(client.runValue)) {
    RunLog::Error() << client.deleteFailure;
    return false;
  }
  return true;
}

}  // namespace

bool VELA_ActivateOL(const std::wstring& /*installPath*/, DWORD /*sessionId*/, const std::wstring& userSid) {
  std::wstring userId;
  BuildUserDataTree(L"OL", userSid, userId);
  RunLog::Info() << L"GetCurrentUserID - szSidString: " << userSid << L" strCurrentUserID:" << userId;
  WriteOutlookAddinKeyForMachine(true, L"Failed to WriteRegIntValue of LoadBehavior to 3!!");
  WriteOutlookAddinKeyForAllUsers(true);
  return true;
}

bool VELA_ActivateOE(const std::wstring& installPath, DWORD /*sessionId*/, const std::wstring& userSid) {
  return Activate(kOutlookExpress, installPath, userSid);
}

bool VELA_ActivateWLM(const std::wstring& installPath, DWORD /*sessionId*/, const std::wstring& userSid) {
  return Activate(kWindowsLiveMail, installPath, userSid);
}

bool VELA_DeActivateOL(const std::wstring& /*installPath*/, DWORD /*sessionId*/, const std::wstring& /*userSid*/) {
  if (!SwitchOffOutlookAddinForMachine()) {
    RunLog::Error() << L"Failed to WriteRegIntValue of LoadBehavior to 2!!";
    return false;
  }
  WriteOutlookAddinKeyForAllUsers(false);
  return true;
}

bool VELA_DeActivateOE(const std::wstring& /*installPath*/, DWORD /*sessionId*/, const std::wstring& /*userSid*/) {
  return Deactivate(kOutlookExpress);
}

bool VELA_DeActivateWLM(const std::wstring& /*installPath*/, DWORD /*sessionId*/, const std::wstring& /*userSid*/) {
  return Deactivate(kWindowsLiveMail);
}

}  // namespace VELAUtility
