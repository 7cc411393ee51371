#include "Common/OrCommon/OrComn_System.h"

#include <tlhelp32.h>

#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_Library.h"
#include "Common/OrCommon/OrComn_String.h"

namespace OrCommon::System {
namespace {

constexpr WORD kArchitectureArm64 = 12;  // PROCESSOR_ARCHITECTURE_ARM64, newer than the headers of Windows 5.2

WORD AskNativeArchitecture() noexcept {
  const Library::EntryPoint entry(L"kernel32.dll", L"GetNativeSystemInfo");
  const auto getNativeSystemInfo = entry.As<void(WINAPI*)(SYSTEM_INFO*)>();
  if (getNativeSystemInfo == nullptr) {
    return PROCESSOR_ARCHITECTURE_INTEL;
  }
  SYSTEM_INFO info = {};
  getNativeSystemInfo(&info);
  return info.wProcessorArchitecture;
}

struct VersionAnswer {
  WindowsFacts facts;
  DWORD error = ERROR_SUCCESS;
};

VersionAnswer AskWindows() noexcept {
  VersionAnswer answer;
  OSVERSIONINFOEXW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  // Deliberately not RtlGetVersion: the version that Windows reports to a program without a compatibility manifest
  // decides.
  if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) {
    answer.error = ::GetLastError();
    return answer;
  }
  answer.facts.major = version.dwMajorVersion;
  answer.facts.minor = version.dwMinorVersion;
  answer.facts.build = version.dwBuildNumber;
  answer.facts.platform = version.dwPlatformId;
  answer.facts.servicePackMajor = version.wServicePackMajor;
  answer.facts.productType = version.wProductType;
  answer.facts.is64Bit = Is64BitSystem();
  return answer;
}

const VersionAnswer& WindowsAnswer() noexcept {
  static const VersionAnswer answer = AskWindows();
  return answer;
}

// True for `major`.`minor` with service pack `servicePack`, and later. The service pack is compared only for exactly
// that version.
bool IsAtLeast(const WindowsFacts& facts, DWORD major, DWORD minor, WORD servicePack) noexcept {
  if (facts.major != major) {
    return facts.major > major;
  }
  if (facts.minor != minor) {
    return facts.minor > minor;
  }
  return facts.servicePackMajor >= servicePack;
}

}  // namespace

bool MatchesWindowsVersion(DWORD code, const WindowsFacts& facts) noexcept {
  const bool is9x = facts.platform == VER_PLATFORM_WIN32_WINDOWS;
  const bool isNt = facts.platform == VER_PLATFORM_WIN32_NT;
  const bool isWorkstation = facts.productType == VER_NT_WORKSTATION;
  const bool isServer = facts.productType == VER_NT_SERVER;
  const auto isNtVersion = [&](DWORD major, DWORD minor) {
    return isNt && facts.major == major && facts.minor == minor;
  };
  switch (code) {
    case 1:
      return is9x && facts.major == 4 && facts.minor == 90;
    case 2:
      return is9x;
    case 3:
      return isNtVersion(5, 0);
    case 4:
      return isNtVersion(5, 2) && isServer;
    case 5:
      return isNtVersion(5, 1) && isWorkstation;
    case 6:
      return isNtVersion(5, 2) && isWorkstation;
    case 7:
      return (isNtVersion(5, 1) || isNtVersion(5, 2)) && isWorkstation;
    case 8:
      return isNtVersion(6, 0) && !facts.is64Bit;
    case 9:
      return isNtVersion(6, 0) && facts.is64Bit;
    case 10:
      return isNtVersion(6, 0);
    case 11:
      return isNtVersion(6, 1) && !facts.is64Bit;
    case 12:
      return isNtVersion(6, 1) && facts.is64Bit;
    case 13:
      return isNtVersion(6, 1);
    case 14:
      return isNtVersion(6, 2) && !facts.is64Bit;
    case 15:
      return isNtVersion(6, 2) && facts.is64Bit;
    case 16:
      return isNtVersion(6, 2);
    case 101:
      return isNt;
    case 102:
      return isNt && facts.major >= 5;
    case 103:
      return isNt && IsAtLeast(facts, 5, 1, 0);
    case 104:
      return isNt && IsAtLeast(facts, 5, 1, 2);
    case 105:
      return isNt && IsAtLeast(facts, 5, 1, 3);
    case 106:
      return isNt && facts.major >= 6;
    case 107:
      return isNt && IsAtLeast(facts, 6, 0, 1);
    case 108:
      return isNt && IsAtLeast(facts, 6, 0, 2);
    case 109:
      // Not IsAtLeast(6, 1): a system that reports 10.0 must fail.
      return isNt && facts.major >= 6 && facts.minor >= 1;
    case 110:
      return isNt && IsAtLeast(facts, 6, 1, 1);
    case 111:
      return isNt && IsAtLeast(facts, 6, 2, 0);
    case 112:
      return isNt && isServer;
    default:
      return false;
  }
}

bool IsWindowsVersion(DWORD code) noexcept {
  const VersionAnswer& answer = WindowsAnswer();
  return answer.error == ERROR_SUCCESS && MatchesWindowsVersion(code, answer.facts);
}

DWORD GetWindowsVersionError() noexcept {
  return WindowsAnswer().error;
}

WORD GetNativeArchitecture() noexcept {
  static const WORD architecture = AskNativeArchitecture();
  return architecture;
}

bool Is64BitSystem() noexcept {
  const WORD architecture = GetNativeArchitecture();
  return architecture == PROCESSOR_ARCHITECTURE_AMD64 || architecture == PROCESSOR_ARCHITECTURE_IA64 ||
         architecture == kArchitectureArm64;
}

bool IsAmd64System() noexcept {
  return GetNativeArchitecture() == PROCESSOR_ARCHITECTURE_AMD64;
}

std::wstring_view GetProcessBaseName(std::wstring_view executable) noexcept {
  const std::size_t separator = executable.find_last_of(L"\\/:");
  if (separator != std::wstring_view::npos) {
    executable.remove_prefix(separator + 1);
  }
  return executable.substr(0, executable.rfind(L'.'));
}

int FindProcessByName(std::wstring_view baseName, DWORD& processId) noexcept {
  processId = 0;
  const FileHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPALL, 0));
  if (!snapshot) {
    return -1;
  }
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Process32FirstW(snapshot.Get(), &entry); more; more = ::Process32NextW(snapshot.Get(), &entry)) {
    if (String::EqualsIgnoringAsciiCase(GetProcessBaseName(entry.szExeFile), baseName)) {
      processId = entry.th32ProcessID;
      return 1;
    }
  }
  return 0;
}

bool IsProcessRunning(std::wstring_view baseName) noexcept {
  DWORD processId = 0;
  return FindProcessByName(baseName, processId) > 0;
}

}  // namespace OrCommon::System
