// Removing the product's folders.
#pragma once

#include <windows.h>

#include <string>

namespace VELAUtility {

// Deletes `folder` with everything in it; what is held goes at the next restart, and `restartNeeded` is set to 1. True,
// and `error` (may be null) 0, where everything below could be listed (see OrCommon::Storage::File::DeleteAllFiles);
// the folder itself does not count. A folder behind a link in the place of the product's folder for all users' data is
// refused with ERROR_ACCESS_DENIED; one below a folder for all users' data that the system cannot name, with
// ERROR_PATH_NOT_FOUND. Logged.
bool DeleteFolderFiles(const std::wstring& folder, int& restartNeeded, DWORD* error);

// Deletes the folders that the clients' plug-ins and monitors keep for all users. A failure is logged.
void RemoveVELAProgramData();

}  // namespace VELAUtility
