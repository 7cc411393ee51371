// The one switch that turns filtering on or off for the user at the console.
#pragma once

#include <windows.h>

#include <string>

// Turns anti-spam filtering on or off for the console user.
class CProviderAntiSpam {
 public:
  // On: first does the delayed plug-in registrations, then activates each client and starts the monitors. Off:
  // deactivates each client and signals the monitors to exit, unless a client with a monitor still runs. `installPath`:
  // the product's install folder, without a trailing backslash. The third argument is not read. False if a client could
  // not be switched, or if there is no console session (only the registrations are then done). A failed registration,
  // monitor start or signal is only logged.
  bool SetAntiSpamEnable(bool enable, const std::wstring& installPath, int unused);
};

namespace VELAUtility {

// Activates the clients for one user, except those that IsLeftOut. Tries each. False if any failed.
bool VELA_ActivateAll(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);

}  // namespace VELAUtility
