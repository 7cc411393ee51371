#include "plugins/ClientRegistration.h"

#include "cli/RunLog.h"
#include "plugins/OutlookAddin.h"
#include "plugins/OutlookAddinRemoval.h"
#include "plugins/OutlookExpressPlugin.h"
#include "plugins/WindowsLiveMailPlugin.h"

namespace VELAUtility {
namespace {

// What a removal does if the client runs.
enum class WhileRunning {
  kRemove,       // logs it and continues
  kKeep,         // logs it and removes nothing
  kAskInRemoval  // the removal itself checks and logs it
};

struct Registration {
  MailClient client;
  bool (*install)(const std::wstring& clientFolder, bool enable);
  RunLog::Text runningAtInstall;
  RunLog::Text installFailure;
  bool (*remove)(const std::wstring& clientFolder);
  WhileRunning whileRunning;
  RunLog::Text runningAtRemoval;  // null if the removal itself checks
  RunLog::Text removalFailure;
};

constexpr Registration kRegistrations[] = {
    {MailClient::kOutlook, RegisterOutlookAddin, L"MS Office Outlook is running during installing !",
     L"Fail to Install VELA_OL !!", UnregisterOutlookAddin, WhileRunning::kRemove,
     L"plugVELA_Uninstall(), OL is still running!.", L"VELA OL UnInstall Fail !!"},
    {MailClient::kOutlookExpress, RegisterOEPlugin, L"Outlook Express is running during installing !",
     L"Fail to Install VELA_OE !!", UnregisterOEPlugin, WhileRunning::kKeep,
     L"plugVELA_Uninstall(), OE is still running!.", L"VELA OE UnInstall Fail !!"},
    {MailClient::kWindowsLiveMail, RegisterWLMPlugin, L"Windows Live Mail is running during installing !",
     L"Fail to Install VELA_WLM !!", UnregisterWLMPlugin, WhileRunning::kAskInRemoval, nullptr,
     L"VELA WLM UnInstall Fail !!"},
};
static_assert(HasEveryClient(kRegistrations));

}  // namespace

void RegisterClient(MailClient client, const std::wstring& clientFolder, bool enable) {
  const Registration& registration = RowOf(client, kRegistrations);
  const bool running = IsMailClientRunning(client);
  if (running) {
    RunLog::Info() << registration.runningAtInstall;
  }
  if (!registration.install(clientFolder, enable && !running)) {
    RunLog::Error() << registration.installFailure;
  }
}

void UnregisterClient(MailClient client, const std::wstring& clientFolder) {
  const Registration& registration = RowOf(client, kRegistrations);
  if (registration.whileRunning != WhileRunning::kAskInRemoval && IsMailClientRunning(client)) {
    RunLog::Warn() << registration.runningAtRemoval;
    if (registration.whileRunning == WhileRunning::kKeep) {
      return;
    }
  }
  if (!registration.remove(clientFolder)) {
    RunLog::Error() << registration.removalFailure;
  }
}

}  // namespace VELAUtility
