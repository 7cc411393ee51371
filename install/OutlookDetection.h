// Whether Outlook is installed, its release and its folder.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace VELAUtility {

// Releases of Outlook. The value 1 is not used.
enum OutlookRelease : DWORD {
  OL_NOT_INSTALLED = 0,
  OL_2000 = 2,
  OL_2002 = 3,
  OL_2003 = 4,
  OL_2007 = 5,
  OL_2010 = 6,
  OL_LATER_THAN_2010 = 7,
};

// The release of a major version number: 9 to 12, 14, and 15 or more. OL_NOT_INSTALLED for any other.
OutlookRelease ReleaseOfVersion(unsigned long majorVersion) noexcept;

// The release part of a registered program name, such as "14" of "Outlook.Application.14": the text after the last dot,
// or the whole text if there is none.
std::wstring_view ReleaseTextOf(std::wstring_view programName) noexcept;

// The number in the leading decimal digits of `text`; 0 if there are none. A number that is too large becomes the
// largest one.
unsigned long LeadingNumberOf(std::wstring_view text) noexcept;

// The installed release; OL_NOT_INSTALLED if the registry names none or its outlook.exe is missing.
OutlookRelease GetOutlookVersion();

// True if the plug-in supports the installed release: 2003, 2007, 2010, and 2002 except on Windows XP Professional x64.
// Later releases than 2010 are deliberately not supported.
bool IsOutlookSupported();

// The folder of outlook.exe as it is registered, usually with a trailing backslash. False, and `folder` empty, if the
// registry names none.
bool GetOutlookInstallPath(std::wstring& folder);

}  // namespace VELAUtility
