// Where the product's files go.
#pragma once

#include <string>

namespace VELAUtility {

// True where the destination folder of the run, in the ANSI code page, holds a double-byte character or any byte above
// 127: the plug-ins of the mail clients could not handle such a folder name. Logs what it found. A name that cannot be
// converted counts as free of them, and so does one whose characters the code page replaces by "?".
bool HasDoubleByteCharacters();

// The folder for the data of all users, without a trailing backslash; the Windows folder where the system cannot name
// it, on purpose: that one exists everywhere. Empty where neither can be had.
std::wstring GetCommonDataFolder();

// The base folder of the product, with a trailing backslash: below `destination`, or below the common data folder where
// the plug-ins could not handle the destination of the run. Install and upgrade must agree on it.
std::wstring ChooseBaseFolder(const std::wstring& destination);

}  // namespace VELAUtility
