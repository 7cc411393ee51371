// Switching one client's plug-in on or off for the user at the console.
#pragma once

#include <windows.h>

#include <string>

#include "settings/MailClients.h"

namespace VELAUtility {

// `installPath`: the product's install folder. `userSid`: the console user's security identifier in its textual form.
// `sessionId`: not used.

// Prepare the user's folders. Make the client load the plug-in, or its monitor start at log-on. Always true. Failed
// writes to the machine's keys are logged; failures at the user's folders and hives are not.
bool VELA_ActivateOL(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);
bool VELA_ActivateOE(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);
bool VELA_ActivateWLM(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);

// Undo the latter; the user's folders stay. False, and logged, if the registry denies access or has nothing to undo.
bool VELA_DeActivateOL(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);
bool VELA_DeActivateOE(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);
bool VELA_DeActivateWLM(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);

// The same for any client that has a monitor. Do not call them for other clients.
bool ActivateMonitor(MailClient client, const std::wstring& installPath, const std::wstring& userSid);
bool DeactivateMonitor(MailClient client);

}  // namespace VELAUtility
