// Unregistering the product's Outlook add-in.
#pragma once

#include <string>

namespace VELAUtility {

// Unregisters both modules in `clientFolder` and deletes the add-in key of the machine and of every user. Tries
// everything. False if either module's unregistration could not be started.
bool UnregisterOutlookAddin(const std::wstring& clientFolder);

// Deletes the caches of all users (see below), then subkey `name` of `parentKey` in every user hive that has
// `addinKey`. False if HKEY_USERS cannot be opened or queried.
bool DeleteOutlookAddinKeyForAllUsers(const std::wstring& addinKey, const std::wstring& parentKey,
                                      const std::wstring& name);

// Deletes every user's "Extend.dat", in which Outlook caches its extensions; Outlook recreates it. Skips a file whose
// path has a reparse point from the profile folder on, except the system's own "Application Data": the user may have
// made it, and it may lead to any file.
void DeleteOutlookExtendDat();

}  // namespace VELAUtility
