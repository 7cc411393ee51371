// Listing a folder.
#pragma once

#include <string>
#include <vector>

namespace VELAUtility {

// Appends the names (without path) of the folders in `folder` to `names`, in the order of the file system. A folder
// that cannot be listed appends none.
void ListSubfolders(const std::wstring& folder, std::vector<std::wstring>& names);

}  // namespace VELAUtility
