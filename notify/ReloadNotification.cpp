#include "notify/ReloadNotification.h"

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_Handles.h"
#include "cli/RunLog.h"
#include "settings/MailClients.h"

namespace VELAUtility {
namespace {

// The texts are older than the events' names: "OpenEvent" and "SHADOW" are kept in them.
struct Notification {
  MailClient client;
  RunLog::Text notified;
  RunLog::Text failure;
};

constexpr Notification kNotifications[] = {
    {MailClient::kOutlook, L"[VELAUtility::NotifyReloadVELAEngine] OL has been notified.",
     L"Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_OL! ErrCode:"},
    {MailClient::kOutlookExpress, L"[VELAUtility::NotifyReloadVELAEngine] OE has been notified.",
     L"Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_OE! ErrCode:"},
    {MailClient::kWindowsLiveMail, L"[VELAUtility::NotifyReloadVELAEngine] WLM has been notified.",
     L"Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_WLM! ErrCode:"},
};
static_assert(StandInOrder(kNotifications) && HasEveryClient(kNotifications));

bool Notify(const Notification& notification) {
  const std::wstring name = UpdateEventOf(notification.client);
  OrCommon::KernelHandle event(::CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
  if (!event) {
    RunLog::Error() << notification.failure << ::GetLastError();
    return false;
  }
  ::SetEvent(event.Get());  // never reset here: the plug-in does that after it has loaded the engine
  event.Reset();
  RunLog::Info() << notification.notified;
  return true;
}

}  // namespace

bool NotifyReloadVELAEngine() {
  RunLog::Info() << L"Enter VELAUtility::NotifyReloadVELAEngine()";
  bool succeeded = true;
  for (const Notification& notification : kNotifications) {
    if (IsMailClientRunning(notification.client) && !Notify(notification)) {
      succeeded = false;
    }
  }
  RunLog::Info() << L"Leave VELAUtility::NotifyReloadVELAEngine()";
  return succeeded;
}

}  // namespace VELAUtility
