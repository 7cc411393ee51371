// The names of the product's folders. Pure path building: strings in, strings out, the disk is never asked.
#pragma once

#include <string>
#include <string_view>

namespace ProductFolders {

// `folder` with a backslash at its end. None is doubled and none is added to an empty path, which stays relative.
std::wstring WithTrailingBackslash(std::wstring folder);

// `folder`, one backslash unless it ends in one, and `name`. Unlike the above an empty folder gets its backslash too.
std::wstring Join(std::wstring_view folder, std::wstring_view name);

// The folder below which everything of the product lies, with a trailing backslash: `root`, "Orvane Labs".
std::wstring GetBaseFolder(std::wstring_view root);

}  // namespace ProductFolders
