// The names of the product's folders. Only builds strings; never accesses the disk.
#pragma once

#include <string>
#include <string_view>

#include "settings/MailClients.h"

namespace ProductFolders {

// `folder`, and a backslash unless it ends in one. An empty path becomes a backslash.
std::wstring WithBackslash(std::wstring_view folder);

// The same, but an empty path stays empty and therefore relative.
std::wstring WithTrailingBackslash(std::wstring_view folder);

// `folder`, one backslash unless it ends in one, and `name`.
std::wstring Join(std::wstring_view folder, std::wstring_view name);

// The folder that contains the whole product, with a trailing backslash: `root`, "Orvane Labs".
std::wstring GetBaseFolder(std::wstring_view root);

// The folder of the client's files below the base folder `baseFolder`, without a trailing backslash.
std::wstring ClientFolder(std::wstring_view baseFolder, MailClient client);

}  // namespace ProductFolders
