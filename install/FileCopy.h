// Copying files and folder trees in place, in use or not.
#pragma once

#include <windows.h>

#include <string>

namespace VELAUtility {

// Copies everything below `source` into the existing folder `destination`. Paths have no trailing backslash.
//
// `rebootNeeded` (may be null) is set to 0, then to 1 as soon as one file had to be left to the next restart.
// `moveAtRestart` 0: a file is copied now and, where that fails, replaced at the restart; any other value: every file
// is replaced at the restart.
//
// 0 if every folder was made and every file copied or scheduled. 0 also if a path is empty, if the source cannot be
// listed, and if a file could be neither copied nor scheduled (which ends its folder only). Otherwise the Windows error
// code of the missing destination or of the folder that could not be made. What is copied, scheduled or fails is
// logged, except a source that cannot be listed.
DWORD CopyFolderTree(const std::wstring& source, const std::wstring& destination, int* rebootNeeded, int moveAtRestart);

// Copies one file with its times and attributes. A destination whose last-write time equals the source's is up to date
// and left alone, whatever it holds; one that is read-only, hidden or system is replaced all the same. A source that
// can be opened and not be read gives an empty file with a time of its own, which the next run copies again. False,
// with the code in `error` (may be null), where a step failed: the destination may then hold a part of the file.
// ERROR_DISK_FULL where fewer bytes were written than asked for. Not logged.
bool CopyFileKeepingTimes(const std::wstring& source, const std::wstring& destination, DWORD* error = nullptr);

}  // namespace VELAUtility

namespace CoreAgentUtility::File {

// Has `destination` replaced by a copy of `source` at the next restart: the copy waits beside it under the name
// `destination` and ".tmp_", and stays there where Windows refuses to schedule the move (it takes administrative
// rights). A failure is logged.
bool copyFileEx(const std::wstring& source, const std::wstring& destination);

}  // namespace CoreAgentUtility::File
