// Files and folders of the system.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include "Common/OrCommon/OrComn_Path.h"

namespace OrCommon::Storage::File {

// Flags to open a path that users choose: what answers at its end, a pipe's server for instance, learns who asks, and
// may not act as who asks.
inline constexpr DWORD kNotLent = SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;

// True where `path` (with or without separators at its end) is a link: a symbolic link, a junction, a mount point or
// any other reparse point; what it leads to is not looked at. True also where that cannot be told, which who planted a
// link may have seen to; false where nothing has this name. The folders above are not looked at.
bool IsLink(const std::wstring& path);

// True where a folder, not a link to one, has this name.
bool IsFolder(const std::wstring& path);

// The machine's temporary folder, without a trailing backslash: the Windows folder and "\Temp", or "C:\WINDOWS\Temp"
// where the Windows folder cannot be asked for or leaves no room within 260 characters. TEMP is not consulted: it is
// the user's, and what is kept here must be found in the same place whoever runs the program.
void GetTemporaryFolder(std::wstring& folder);

// Asked before an entry (a full path) is left to the next restart; false: it is not.
using MayWait = std::function<bool(const std::wstring& path)>;

// Deletes everything in `folder` but not the folder itself; read-only entries too. What cannot be deleted now is
// scheduled for the next restart where `mayWait` (may be empty) lets it and its path has less than 260 characters, and
// `restartNeeded` is set to 1 (never to 0) in any case. A link is deleted, not what it leads to; a link in the place of
// `folder` is left for the caller to remove, and counts as empty. True, and `error` (may be null) 0, where every folder
// below could be listed; an entry left to the restart does not count as a failure. Otherwise false, and in `error` the
// code of the last failed listing that no later success replaced; ERROR_BAD_ARGUMENTS for an empty path.
bool DeleteAllFiles(const std::wstring& folder, int& restartNeeded, DWORD* error, const MayWait& mayWait = {});

}  // namespace OrCommon::Storage::File
