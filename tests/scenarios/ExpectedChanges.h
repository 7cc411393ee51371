// What an installation has to change in the registry and on the disk. The lists are sorted; compare them with the
// sorted differences of a run.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/scenarios/ExpectedLog.h"
#include "tests/scenarios/StagedTrees.h"
#include "tests/support/World.h"

namespace Expected {

Lines Sorted(Lines lines);

// The product's own key. `made`: what existed of it before the run.
enum class ProductKey { kMissing, kThere };
// `enabled`: the switch as the run wrote it; none where it was left alone.
Lines SettingsWritten(ProductKey before, std::optional<int> enabled, const std::wstring& base = kBase);

// The add-in key of Outlook in HKEY_LOCAL_MACHINE and in every loaded hive. `officeOfMachine`: Office's key stood there
// for 64-bit programs before.
Lines AddinKeysWritten(int loadBehavior, bool officeOfMachine = false);

// The plug-in list of Windows Live Mail.
Lines PluginListed();

// All of the above, as an installation leaves it on a machine without the product's key and without Outlook.
Lines RegistryOfFreshInstall();

// Every file and folder that staging makes below C:\VelaTest, where not even the destination folder exists; or below
// the common data folder, told with its whole path.
Lines FilesMade(OutlookExpress outlookExpress, const std::wstring& base = kBase,
                const std::wstring& source = World::kSource);
// The same without any file.
Lines FoldersMade(OutlookExpress outlookExpress, const std::wstring& base = kBase);

// The classes that regsvr32.exe registers out of the staged files.
Lines ModulesRegistered(OutlookExpress outlookExpress, const std::wstring& base = kBase);

}  // namespace Expected
