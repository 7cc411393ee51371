// Deleting a file whose path leads through an ordinary user's folders.
#pragma once

#include <string>

namespace OrCommon::Storage::File {

// Deletes the file `file` (a path below `root`) unless a component of that path is a reparse point: its owner could
// make it lead to any file of the machine. The path may lead to `alias` (a path below `root`) instead, through a
// junction that the system itself made. True if the file was deleted.
//
// On Windows Vista and later one handle serves the check and the deletion, so nothing can be exchanged in between.
// Older systems have no such functions: each component is checked first, and no alias is allowed, because they have no
// junctions of their own.
bool DeleteFileBelow(const std::wstring& root, const std::wstring& file, const std::wstring& alias);

}  // namespace OrCommon::Storage::File
