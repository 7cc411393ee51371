// The Windows systems that scenarios are played on, and what of the program depends on them.
#pragma once

#include "tests/scenarios/StagedTrees.h"
#include "tests/support/World.h"

namespace Expected {

struct WindowsSystem {
  const char* name;
  TestSupport::WindowsVersion version;
  OutlookExpress outlookExpress;
  // Windows Vista alone: Outlook Express is called Windows Mail, and the cache of Outlook lies in "AppData\Local".
  bool isVista = false;
};

inline constexpr WindowsSystem kXp64System = {"Windows XP x64", TestSupport::WindowsVersion::kXp64,
                                              OutlookExpress::kStaged};
inline constexpr WindowsSystem kServer2003System = {"Windows Server 2003", TestSupport::WindowsVersion::kServer2003,
                                                    OutlookExpress::kStaged};
inline constexpr WindowsSystem kVistaSystem = {"Windows Vista", TestSupport::WindowsVersion::kVista,
                                               OutlookExpress::kStaged, true};
inline constexpr WindowsSystem kWindows7System = {"Windows 7", TestSupport::WindowsVersion::kWindows7,
                                                  OutlookExpress::kLeftOut};
inline constexpr WindowsSystem kWindows8System = {"Windows 8", TestSupport::WindowsVersion::kWindows8,
                                                  OutlookExpress::kLeftOut};
inline constexpr WindowsSystem kWindows81System = {"Windows 8.1", TestSupport::WindowsVersion::kWindows81,
                                                   OutlookExpress::kLeftOut};
inline constexpr WindowsSystem kWindows10System = {"Windows 10", TestSupport::WindowsVersion::kWindows10,
                                                   OutlookExpress::kLeftOut};

inline constexpr WindowsSystem kEverySystem[] = {kXp64System,     kServer2003System, kVistaSystem,    kWindows7System,
                                                 kWindows8System, kWindows81System,  kWindows10System};

// Enough where the kind of system matters and its edition does not.
inline constexpr WindowsSystem kTypicalSystems[] = {kXp64System, kVistaSystem, kWindows7System, kWindows8System,
                                                    kWindows10System};

}  // namespace Expected
