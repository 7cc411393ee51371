#include "install/OutlookDetection.h"

#include <limits>

#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_System.h"
#include "cli/RunLog.h"

namespace VELAUtility {
namespace {

using OrCommon::RegistryKey;

constexpr wchar_t kCurrentVersionKey[] = L"Software\\Classes\\Outlook.Application\\CurVer\\";
constexpr wchar_t kOfficeKey[] = L"SOFTWARE\\Microsoft\\Office\\";
constexpr wchar_t kInstallRoot[] = L"\\Outlook\\InstallRoot";

constexpr DWORD kVersionBytes = 4096;
constexpr DWORD kPathBytes = 522;
constexpr DWORD kSubkeyNameCapacity = 260;  // characters

// Reads a text of at most `Bytes` bytes; false if there is none or it is longer. The type is not checked.
template <DWORD Bytes>
bool ReadText(HKEY key, const wchar_t* name, std::wstring& text) {
  wchar_t buffer[Bytes / sizeof(wchar_t) + 1] = {};  // the stored text may lack its terminator
  DWORD size = Bytes;
  if (::RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size) != ERROR_SUCCESS) {
    return false;
  }
  text = buffer;
  return true;
}

bool Open(const std::wstring& path, REGSAM rights, RegistryKey& key) {
  return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, rights, key.Receive()) == ERROR_SUCCESS;
}

// The first subkey of Office's key, in the order of the registry, whose name contains `release`.
bool FindReleaseKey(std::wstring_view release, std::wstring& name) {
  RegistryKey office;
  if (!Open(kOfficeKey, KEY_READ | KEY_WOW64_32KEY, office)) {
    return false;
  }
  wchar_t subkey[kSubkeyNameCapacity];
  for (DWORD index = 0; ::RegEnumKeyW(office.Get(), index, subkey, kSubkeyNameCapacity) == ERROR_SUCCESS; ++index) {
    if (std::wstring_view(subkey).find(release) != std::wstring_view::npos) {
      name = subkey;
      return true;
    }
  }
  return false;
}

// The release text and the program folder from the registry. The messages name GetOutlookVersion for every caller.
bool LookUpOutlook(std::wstring& release, std::wstring& folder) {
  RegistryKey currentVersion;
  if (::RegOpenKeyW(HKEY_LOCAL_MACHINE, kCurrentVersionKey, currentVersion.Receive()) != ERROR_SUCCESS) {
    return false;
  }
  RunLog::Info() << L"GetOutlookVersion(), Open registry key success: " << kCurrentVersionKey;
  std::wstring programName;
  if (!ReadText<kVersionBytes>(currentVersion.Get(), nullptr, programName)) {
    return false;
  }
  release = ReleaseTextOf(programName);
  RunLog::Info() << L"GetOutlookVersion(), RegQueryValueEx for strVer: " << release;

  std::wstring releaseKey;
  if (!FindReleaseKey(release, releaseKey)) {
    return false;
  }
  // A 64-bit Outlook is registered in this process's own view, a 32-bit one in the other.
  const std::wstring rootPath = kOfficeKey + releaseKey + kInstallRoot;
  RegistryKey installRoot;
  return (Open(rootPath, KEY_READ, installRoot) || Open(rootPath, KEY_READ | KEY_WOW64_32KEY, installRoot)) &&
         ReadText<kPathBytes>(installRoot.Get(), L"Path", folder);
}

}  // namespace

OutlookRelease ReleaseOfVersion(unsigned long majorVersion) noexcept {
  switch (majorVersion) {
    case 9:
      return OL_2000;
    case 10:
      return OL_2002;
    case 11:
      return OL_2003;
    case 12:
      return OL_2007;
    case 14:
      return OL_2010;
    default:
      return majorVersion >= 15 ? OL_LATER_THAN_2010 : OL_NOT_INSTALLED;
  }
}

std::wstring_view ReleaseTextOf(std::wstring_view programName) noexcept {
  return programName.substr(programName.rfind(L'.') + 1);  // npos + 1 is 0
}

unsigned long LeadingNumberOf(std::wstring_view text) noexcept {
  constexpr unsigned long kLargest = std::numeric_limits<unsigned long>::max();
  unsigned long number = 0;
  for (const wchar_t character : text) {
    if (character < L'0' || character > L'9') {
      break;
    }
    const auto digit = static_cast<unsigned long>(character - L'0');
    if (number > (kLargest - digit) / 10) {
      return kLargest;
    }
    number = number * 10 + digit;
  }
  return number;
}

OutlookRelease GetOutlookVersion() {
  std::wstring release;
  std::wstring folder;
  if (!LookUpOutlook(release, folder)) {
    return OL_NOT_INSTALLED;
  }
  const std::wstring program = folder + L"outlook.exe";  // as registered: no backslash is added
  RunLog::Info() << L"GetOutlookVersion(), Get outlook.exe path: " << program;
  if (::GetFileAttributesW(program.c_str()) == INVALID_FILE_ATTRIBUTES) {
    return OL_NOT_INSTALLED;
  }
  const unsigned long majorVersion = LeadingNumberOf(release);
  RunLog::Info() << L"GetOutlookVersion(), Success Get Outlook version: " << majorVersion;
  return ReleaseOfVersion(majorVersion);
}

bool IsOutlookSupported() {
  const OutlookRelease release = GetOutlookVersion();
  RunLog::Info() << L"GetOutlookVersion return=" << static_cast<DWORD>(release);
  switch (release) {
    case OL_NOT_INSTALLED:
      RunLog::Info() << L"GetOutlookVersion return OL_NOT_INSTALLED !";
      return false;
    case OL_LATER_THAN_2010:
      RunLog::Info() << L"GetOutlookVersion return OL_LATER_THAN_2010 !";
      return false;
    case OL_2000:
      RunLog::Info() << L"GetOutlookVersion return OL_2000 !";
      return false;
    case OL_2002:
      return !OrCommon::System::IsWindowsVersion(OrCommon::System::kWindowsXpX64Workstation);
    default:
      return true;
  }
}

bool GetOutlookInstallPath(std::wstring& folder) {
  std::wstring release;
  if (!LookUpOutlook(release, folder)) {
    folder.clear();
    return false;
  }
  RunLog::Info() << L"VELAUtility::GetOutlookInstallPath() success, the path: " << folder;
  return true;
}

}  // namespace VELAUtility
