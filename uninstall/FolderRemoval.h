// Removing the product's folders.
#pragma once

#include <windows.h>

#include <string>

namespace VELAUtility {

// Deletes `folder` and everything in it. An entry that cannot be deleted sets `restartNeeded` to 1 and is scheduled for
// the next restart, if DeleteAllFiles allows that; the folder itself sets nothing. True, and `error` (may be null) 0,
// if everything below could be listed (see OrCommon::Storage::File::DeleteAllFiles); the folder itself does not count.
// Refuses a folder below "Orvane Labs" in the common data folder (GetCommonDataFolder) with ERROR_ACCESS_DENIED if that
// is a reparse point, and with ERROR_PATH_NOT_FOUND if there is no common data folder. Logged.
bool DeleteFolderFiles(const std::wstring& folder, int& restartNeeded, DWORD* error);

// Deletes the folders of the clients' plug-ins and monitors for all users' data. A failure is logged.
void RemoveVELAProgramData();

}  // namespace VELAUtility
