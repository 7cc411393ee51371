// Properties of this system.
#include <windows.h>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"

namespace Facts {
namespace {

bool IsMember(WELL_KNOWN_SID_TYPE group) {
  BYTE sid[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof sid;
  BOOL member = FALSE;
  return ::CreateWellKnownSid(group, nullptr, sid, &size) && ::CheckTokenMembership(nullptr, sid, &member) && member;
}

bool IsSessionHost() {
  OSVERSIONINFOEXW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  ::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version));
  return (version.wSuiteMask & VER_SUITE_TERMINAL) != 0 && (version.wSuiteMask & VER_SUITE_SINGLEUSERTS) == 0;
}

}  // namespace

std::wstring ProgramPath() {
  std::wstring folder = OwnPath();
  for (int level = 0; level < 2; ++level) {
    folder.resize(folder.rfind(L'\\'));
    const std::wstring program = folder + L"\\VELAutil.exe";
    if (::GetFileAttributesW(program.c_str()) != INVALID_FILE_ATTRIBUTES) {
      return program;
    }
  }
  return {};
}

System System::Ask() {
  System system = {};
  OSVERSIONINFOW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  Find<LONG(WINAPI*)(OSVERSIONINFOW*)>(L"ntdll.dll", "RtlGetVersion")(&version);
  system.build = version.dwBuildNumber;
  // The group counts only if it is enabled in the token. User account control enables it by elevation.
  system.elevated = IsMember(WinBuiltinAdministratorsSid);
  system.localSystem = IsMember(WinLocalSystemSid);
  system.otherThanLocalSystem = !system.localSystem;
  system.ordinary = !system.elevated && !system.localSystem;
  system.sessionHost = IsSessionHost();
  system.program = !ProgramPath().empty();
  if (::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr) {
    const std::string wine = Find<const char* (*)()>(L"ntdll.dll", "wine_get_version")();
    system.wine = static_cast<unsigned>(std::stoul(wine));
    system.name = "Wine " + wine + " as ";
  }
  system.name += "Windows " + std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
                 "." + std::to_string(version.dwBuildNumber) +
                 (system.localSystem ? ", local system"
                  : system.elevated  ? ", elevated"
                                     : ", not elevated");
  return system;
}

}  // namespace Facts
