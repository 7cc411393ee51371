// What taking the product off has to write to the run log and to change.
#pragma once

#include <string>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"

namespace Expected {

// The destination of a removal after an installation to World::kDestination: without the last backslash of kBase.
inline constexpr wchar_t kInstalledFolder[] = L"C:\\VelaTest\\dest\\Orvane Labs";

Lines UninstallBegins(const std::wstring& destination = kInstalledFolder);

// The switch, for a user who has everything switched on; the user's profile can be loaded.
enum class Monitors { kToldToEnd, kKept };  // kept where a client that has one runs
Lines SwitchedOff(OutlookExpress outlookExpress, Monitors monitors = Monitors::kToldToEnd);
// The switch where the add-in is not registered and no monitor starts at log-on.
Lines NothingToSwitchOff(OutlookExpress outlookExpress);

// The modules that regsvr32.exe is started for. From the start with the number `failingFrom` on (counted from 1) it
// cannot be started.
Lines OutlookUnregistered(const std::wstring& base = kBase, int failingFrom = 11);
Lines OutlookExpressUnregistered(const std::wstring& base = kBase, int failingFrom = 11);
Lines WindowsLiveMailUnregistered(const std::wstring& base = kBase, int failingFrom = 11);
// The add-in keys of machine and hives, with the cache file of each profile. `windows60`: where that lies.
Lines AddinKeysDeleted(bool windows60 = false);
Lines NoAddinKeys(bool windows60 = false);
Lines NotInPluginList();
Lines NoRunValue(const std::string& name);  // "OE", "WLM"

Lines ProductFolderDeleted(const std::wstring& base = kBase);
Lines ProductFolderNotDeleted(int error, const std::wstring& base = kBase);
// Folders of all users' data: those that are there and those that are not. In the order of the removal.
Lines DataFolderDeleted();
Lines DataFolderNotDeleted(const std::string& name, int error = 3);
// "OL", with "OE" and "WLM" what switching on has made there; the plug-ins' common folder is missing.
Lines DataFoldersDeleted(OutlookExpress outlookExpress);
Lines NoDataFolders();

// ---- changes

// The same entries, gone.
Lines Gone(Lines made);
// The add-in keys alone: those that lead to them stay.
Lines AddinKeysGone(int loadBehavior);
// Registry and files after an installation to World::kDestination that was switched on.
Lines RegistryOfUninstall(OutlookExpress outlookExpress);
Lines FilesOfUninstall(OutlookExpress outlookExpress);
// What a removal schedules for folders that are not there.
Lines MissingDataFoldersPending(const std::vector<std::string>& names);

}  // namespace Expected
