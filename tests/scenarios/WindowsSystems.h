// The Windows systems of the scenarios.
#pragma once

#include "tests/support/World.h"

namespace Expected {

struct WindowsSystem {
  const char* name;
  TestSupport::WindowsVersion version;
  // Windows Vista only: Outlook Express is called Windows Mail, and Outlook's cache is in "AppData\Local".
  bool isVista = false;
};

inline constexpr WindowsSystem kXp64System = {"Windows XP x64", TestSupport::WindowsVersion::kXp64};
inline constexpr WindowsSystem kServer2003System = {"Windows Server 2003", TestSupport::WindowsVersion::kServer2003};
inline constexpr WindowsSystem kVistaSystem = {"Windows Vista", TestSupport::WindowsVersion::kVista, true};
inline constexpr WindowsSystem kWindows7System = {"Windows 7", TestSupport::WindowsVersion::kWindows7};
inline constexpr WindowsSystem kWindows8System = {"Windows 8", TestSupport::WindowsVersion::kWindows8};
inline constexpr WindowsSystem kWindows81System = {"Windows 8.1", TestSupport::WindowsVersion::kWindows81};
inline constexpr WindowsSystem kWindows10System = {"Windows 10", TestSupport::WindowsVersion::kWindows10};

}  // namespace Expected
