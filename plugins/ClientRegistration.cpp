#include "plugins/ClientRegistration.h"

#include "cli/RunLog.h"
#include "plugins/OutlookAddin.h"
#include "plugins/OutlookExpressPlugin.h"
#include "plugins/WindowsLiveMailPlugin.h"

namespace VELAUtility {
namespace {

struct Registration {
  MailClient client;
  bool (*install)(const std::wstring& clientFolder, bool enable);
  RunLog::Text running;
  RunLog::Text failure;
};

constexpr Registration kRegistrations[] = {
    {MailClient::kOutlook, RegisterOutlookAddin, L"MS Office Outlook is running during installing !",
     L"Fail to Install VELA_OL !!"},
    {MailClient::kOutlookExpress, RegisterOEPlugin, L"Outlook Express is running during installing !",
     L"Fail to Install VELA_OE !!"},
    {MailClient::kWindowsLiveMail, RegisterWLMPlugin, L"Windows Live Mail is running during installing !",
     L"Fail to Install VELA_WLM !!"},
};
static_assert(HasEveryClient(kRegistrations));

}  // namespace

void RegisterClient(MailClient client, const std::wstring& clientFolder, bool enable) {
  for (const Registration& registration : kRegistrations) {
    if (registration.client != client) {
      continue;
    }
    const bool running = IsMailClientRunning(client);
    if (running) {
      RunLog::Info() << registration.running;
    }
    if (!registration.install(clientFolder, enable && !running)) {
      RunLog::Error() << registration.failure;
    }
  }
}

}  // namespace VELAUtility
