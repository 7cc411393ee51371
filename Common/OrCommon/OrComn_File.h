// Files and folders of the system.
#pragma once

#include <string>

namespace OrCommon::Storage::File {

// The machine's temporary folder, without a trailing backslash: the Windows folder and "\Temp", or "C:\WINDOWS\Temp"
// where the Windows folder cannot be asked for or leaves no room within 260 characters. TEMP is not consulted: it is
// the user's, and what is kept here must be found in the same place whoever runs the program.
void GetTemporaryFolder(std::wstring& folder);

}  // namespace OrCommon::Storage::File
