// Is Outlook installed, which release is it, and where.
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

// The release of a major version number: 9 to 12, 14, and 15 or more. Any other is no release that there has been.
OutlookRelease ReleaseOfVersion(unsigned long majorVersion) noexcept;

// The release part of a registered program name, such as "14" of "Outlook.Application.14": what follows the last dot,
// or all of it where there is none.
std::wstring_view ReleaseTextOf(std::wstring_view programName) noexcept;

// The number that the leading decimal digits of `text` make; 0 where there are none, the largest number where they make
// a larger one.
unsigned long LeadingNumberOf(std::wstring_view text) noexcept;

// The installed release, OL_NOT_INSTALLED where the registry names none or its outlook.exe is missing.
OutlookRelease GetOutlookVersion();

// True where the installed release is one that the plug-in supports: 2003, 2007, 2010, and 2002 except on Windows XP
// Professional x64. Releases after 2010 are deliberately refused.
bool IsOutlookSupported();

// The folder of outlook.exe as it is registered, usually with a trailing backslash. False, and `folder` empty, where
// the registry names none.
bool GetOutlookInstallPath(std::wstring& folder);

}  // namespace VELAUtility
