// What an uninstallation writes to the run log, piece by piece. Regsvr32.exe is stood in for, no client runs unless
// said.
#pragma once

#include <string>

#include "tests/support/TextLines.h"
#include "tests/support/RegistrationChild.h"

namespace TestSupport {

// The switch: the flag that tells of the profile, and what switching off gives for a user whose add-in key and Run
// values are there. `handled`: Outlook Express is one of the clients.
enum class OutlookExpressSwitch { kHandled, kLeftOut };
Lines SwitchedOff(int serviceMode, const std::string& session, OutlookExpressSwitch outlookExpress);

// The modules of a client in `folder`, one by one; each start of regsvr32.exe gives `result`.
Lines OutlookModulesRemoved(const std::string& folder);
Lines OutlookExpressRemoved(const std::string& folder);
Lines WindowsLiveMailRemoved(const std::string& folder);

// The add-in keys of the machine and of all hives; the cache file of each profile before those of the hives. `there`:
// the keys exist.
Lines OutlookKeysRemoved(bool there, bool windows60 = false);

// One folder, as the removal of folders itself tells it.
Lines FolderEmptied();
Lines FolderNotEmptied(int error);
// The product's folder.
Lines ProductFolderRemoved(const std::string& folder);
Lines ProductFolderNotRemoved(const std::string& folder, int error);
// The folders for the data of all users, none of which is there.
Lines NoProgramData(const std::string& base = "C:\\ProgramData\\Orvane Labs\\");

}  // namespace TestSupport
