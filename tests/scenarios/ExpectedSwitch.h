// What switching filtering on or off has to log and to change, as a whole run on a machine where nothing is in the way.
#pragma once

#include <string>
#include <vector>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"

namespace Expected {

// The install folder of these runs, as the installation to World::kDestination leaves it: registrations that were put
// off find their modules there.
inline constexpr wchar_t kInstallPath[] = L"C:\\VelaTest\\dest\\Orvane Labs\\VELA";

// Everything runs for this user here.
inline constexpr wchar_t kConsoleUser[] = L"S-1-5-21-0-0-0-1000";

// ---- the log
Lines EnableBegins(const std::wstring& installPath = kInstallPath);
Lines DisableBegins(const std::wstring& installPath = kInstallPath);
Lines StatusBegins(const std::wstring& installPath = kInstallPath);

Lines DelayFlags(const std::string& outlookExpress, const std::string& outlook, const std::string& windowsLiveMail);
// The shared settings are missing.
Lines NoDelayFlags();
Lines SessionFound(const std::string& userSid = "S-1-5-21-0-0-0-1000");

// All clients of the machine; `userId` is the user's identity in Outlook Express.
Lines ClientsActivated(OutlookExpress outlookExpress, const std::string& userId,
                       const std::string& userSid = "S-1-5-21-0-0-0-1000");
Lines MonitorsStarted(OutlookExpress outlookExpress, const std::wstring& installPath = kInstallPath);
// Their programs are missing, for `error`.
Lines MonitorsMissing(OutlookExpress outlookExpress, int error, const std::wstring& installPath = kInstallPath);
Lines SwitchStored(const std::string& direction);  // "Enable", "Disable"

Lines ClientsDeactivated(OutlookExpress outlookExpress);
Lines MonitorsTold();
Lines MonitorsKept();
Lines SwitchFailed(const std::wstring& installPath = kInstallPath);

// ---- what changes; sorted
// The start-up values of the monitors: "+" where they come, "-" where they go.
Lines RunValues(char sign, OutlookExpress outlookExpress, const std::wstring& installPath = kInstallPath);
Lines SwitchChanged(int to, const std::string& from);
// All of a machine without the add-in: its keys, the start-up values, the switch from off to on.
Lines RegistryOfFirstEnable(OutlookExpress outlookExpress);
// Back again.
Lines RegistryOfDisable(OutlookExpress outlookExpress);
// The user's folders, below the common data folder.
Lines UserFolders(OutlookExpress outlookExpress, const std::string& userId);

// ---- the machine
// The product installed far enough for the monitors to be found: theirs lie one level deeper than the start-up values
// say.
void PlaceMonitors(const std::wstring& installPath = kInstallPath);
std::wstring MonitorPath(const wchar_t* client, const wchar_t* monitor, const std::wstring& installPath = kInstallPath);

}  // namespace Expected
