// Copying files and folder trees, even if the destination is in use.
#pragma once

#include <windows.h>

#include <string>

namespace VELAUtility {

// Copies everything below `source` into the existing folder `destination`. Paths have no trailing backslash.
//
// `rebootNeeded` (may be null) is set to 0, then to 1 as soon as one file is scheduled for the next restart.
// `moveAtRestart` 0: a file is copied now or, if that fails, replaced at the restart. Any other value: every file is
// replaced at the restart.
//
// 0 if every folder was created and every file copied or scheduled. 0 also if a path is empty, if the source cannot be
// listed, and if a file could be neither copied nor scheduled (which ends its folder only). Otherwise the Windows error
// code of the missing destination or of the folder that could not be created. Successes and failures are logged, except
// a source that cannot be listed.
DWORD CopyFolderTree(const std::wstring& source, const std::wstring& destination, int* rebootNeeded, int moveAtRestart);

// Copies one file with its times and attributes. A destination whose last-write time equals the source's is up to date
// and not changed, regardless of its contents. A read-only, hidden or system file is replaced, too. A source that can
// be opened but not read gives an empty file with another time, which the next run copies again. False, with the code
// in `error` (may be null), if the source could not be opened, or the destination not be created or written: it may
// then contain a part of the file. ERROR_DISK_FULL if a write was incomplete. Not logged.
bool CopyFileKeepingTimes(const std::wstring& source, const std::wstring& destination, DWORD* error = nullptr);

}  // namespace VELAUtility

namespace CoreAgentUtility::File {

// Schedules the replacement of `destination` by a copy of `source` at the next restart. Until then the copy is beside
// it under the name `destination` and ".tmp_". It stays there if Windows cannot schedule the move (which requires
// administrative rights). A failure is logged.
bool copyFileEx(const std::wstring& source, const std::wstring& destination);

}  // namespace CoreAgentUtility::File
