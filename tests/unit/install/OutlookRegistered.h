// A machine on which Outlook is registered completely or in part.
#pragma once

#include <windows.h>

#include <string>

#include "tests/support/ScratchFolder.h"
#include "tests/unit/settings/ScratchKey.h"

namespace TestSupport {

// At first nothing is registered, and Outlook's folder contains an outlook.exe.
struct OutlookRegistered {
  ScratchKey program{HKEY_LOCAL_MACHINE, L"Software\\Classes\\Outlook.Application", KEY_WOW64_64KEY};
  ScratchKey office64{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Office", KEY_WOW64_64KEY};
  ScratchKey office32{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Office", KEY_WOW64_32KEY};
  ScratchFolder folder{L"Office"};

  OutlookRegistered() { folder.MakeFile(L"outlook.exe", "MZ"); }

  void Name(const std::wstring& currentVersion) const { program.Set(L"CurVer", {L"", currentVersion}); }
  // As a 32-bit Outlook does it: release and folder in the 32-bit view.
  void Release(const std::wstring& subkey, const std::wstring& path = L"C:\\VelaTest\\Office\\") const {
    office32.Set(subkey + L"\\Outlook\\InstallRoot", {L"Path", path});
  }
  void NameAndRelease(const std::wstring& release) const {
    Name(L"Outlook.Application." + release);
    Release(release + L".0");
  }
};

}  // namespace TestSupport
