// A machine for install and upgrade inside the test process: an installation source, a destination, no mail client,
// nothing registered, and a fake regsvr32.exe.
#pragma once

#include <windows.h>

#include "tests/support/TextLines.h"
#include "tests/unit/install/CommandLineGiven.h"
#include "tests/unit/install/InstallationSource.h"
#include "tests/unit/install/OutlookRegistered.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/settings/RunningProcesses.h"
#include "tests/unit/settings/ScratchKey.h"

namespace TestSupport {

class InstallWorld {
 public:
  InstallWorld();
  ~InstallWorld();

  PendingMoves pending;
  ScratchFolder folder{L"Install"};
  ScratchKey productKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA",
                        KEY_WOW64_32KEY};
  ScratchKey pluginList{HKEY_LOCAL_MACHINE, L"Software\\Nektra", KEY_WOW64_64KEY};
  OutlookRegistered outlook;
  CommandLineGiven commandLine;
  RunningProcesses running;
  RegistrationChild regsvr32;

  void StoreSwitch(DWORD value) const { productKey.Set({}, {L"VELAEnable", value}); }
  // "VELAEnable" and "VELAInstallPath" as they are stored.
  Lines Settings() const;
  // How Outlook loads the add-in: 3 at its start, 2 never; 0 if the add-in is not registered.
  DWORD LoadBehavior() const;

 private:
  static void ForgetAddins();
};

}  // namespace TestSupport
