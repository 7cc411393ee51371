// Files and folders of the system.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include "Common/OrCommon/OrComn_Path.h"

namespace OrCommon::Storage::File {

// Flags to open a path that users choose. The server at its end, of a pipe for instance, may identify the caller but
// not impersonate it.
inline constexpr DWORD kNotLent = SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;

// True if `path` (with or without trailing separators) is a reparse point: a symbolic link, a junction, a mount point
// or any other. Its target does not matter, and neither do the folders above. True also if that cannot be determined:
// the creator of a link may have denied the query. False if there is no such file.
bool IsLink(const std::wstring& path);

// True if `path` is a folder and no reparse point.
bool IsFolder(const std::wstring& path);

// The machine's temporary folder, without a trailing backslash: the Windows folder and "\Temp". It is "C:\WINDOWS\Temp"
// if the Windows folder cannot be determined or leaves no room within 260 characters. TEMP is not used: it depends on
// the user, and these files must be in the same place for every user. `folder` has room for kTemporaryFolderCapacity
// characters.
inline constexpr UINT kTemporaryFolderCapacity = MAX_PATH + 1;  // terminator included
void GetTemporaryFolder(wchar_t* folder) noexcept;

// Called before an entry (a full path) is scheduled for deletion at the next restart. False prevents that.
using MayWait = std::function<bool(const std::wstring& path)>;

// Deletes everything in `folder`, read-only entries included, but not the folder itself. An entry that cannot be
// deleted now sets `restartNeeded` to 1 (nothing sets it to 0). It is scheduled for the next restart if its path has
// less than 260 characters and `mayWait` (may be empty) allows it. A reparse point is deleted, its target is not; if
// `folder` itself is one, it counts as empty and is left to the caller.
//
// True, and `error` (may be null) 0, if every folder could be listed: a scheduled entry is not a failure. Otherwise
// false; then `error` is the code of the last failed listing that no later success replaced, ERROR_BAD_ARGUMENTS for an
// empty path, or the code of a failed query of `folder` itself.
bool DeleteAllFiles(const std::wstring& folder, int& restartNeeded, DWORD* error, const MayWait& mayWait = {});

}  // namespace OrCommon::Storage::File
