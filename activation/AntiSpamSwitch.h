// The one switch that turns filtering on or off for the user at the console.
#pragma once

#include <windows.h>

#include <string>

// Turns anti-spam filtering on or off for the console user.
class CProviderAntiSpam {
 public:
  // On: first does the plug-in registrations that were put off, then activates each client and starts the monitors.
  // Off: deactivates each client and tells the monitors to end, unless a client that needs one still runs.
  // `installPath`: the product's install folder, without a trailing backslash. The third argument is not read.
  // False where there is no console session (nothing is done after the registrations then) or a client could not be
  // switched; a registration, a monitor or the signal that failed is logged and does not count.
  bool SetAntiSpamEnable(bool enable, const std::wstring& installPath, int unused);
};

namespace VELAUtility {

// Activates the three clients for one user (Outlook Express where it is not left out), trying each. False where any
// failed.
bool VELA_ActivateAll(const std::wstring& installPath, DWORD sessionId, const std::wstring& userSid);

}  // namespace VELAUtility
