// The folders for the product's files.
#pragma once

#include <string>

namespace VELAUtility {

// True if the destination folder of the run, in the ANSI code page, contains a double-byte character or any byte above
// 127: the plug-ins of the mail clients cannot handle such a folder name. Logs it. False if the name cannot be
// converted, or if the code page replaces these characters by "?".
bool HasDoubleByteCharacters();

// The folder for the data of all users, without a trailing backslash. If the system cannot name it, the Windows folder,
// which always exists. Empty if neither can be determined.
std::wstring GetCommonDataFolder();

// The base folder of the product, with a trailing backslash: below `destination`, or below the common data folder if
// the plug-ins cannot handle the destination of the run. Install and upgrade must use the same one.
std::wstring ChooseBaseFolder(const std::wstring& destination);

}  // namespace VELAUtility
