// Deleting a file by a path that leads through folders of an ordinary user.
#pragma once

#include <string>

namespace OrCommon::Storage::File {

// Deletes the file `file` (a path below `root`) where no link lies on its way from `root` on, nor in its own place:
// whoever may write to a folder there could have it lead to any file of the machine. A way that ends in the file
// `alias` below `root` is let pass, too; that is for a junction of the system's own. True where the file was deleted.
//
// Windows Vista and later look and delete by one handle, so that nothing can be exchanged in between. Before, the way
// is asked first, part by part; no alias is known there, because such a system has no junctions of its own.
bool DeleteFileBelow(const std::wstring& root, const std::wstring& file, const std::wstring& alias);

}  // namespace OrCommon::Storage::File
