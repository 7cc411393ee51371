#include "Common/OrCommon/OrComn_Path.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

#include "Common/OrCommon/OrComn_String.h"

namespace OrCommon::Storage::File {
namespace {

constexpr std::size_t kDriveRoot = 3;  // "C:\": without its backslash it is another folder

// Windows takes these names for devices, with any extension.
bool IsDeviceName(std::wstring_view name) {
  name = name.substr(0, name.find_first_of(L".:"));
  name = name.substr(0, name.find_last_not_of(L' ') + 1);
  constexpr std::size_t kPort = 3;  // letters before the number
  if (name.size() == kPort + 1) {
    constexpr std::wstring_view kNumbers = L"0123456789\x00B9\x00B2\x00B3";
    const std::wstring_view port = name.substr(0, kPort);
    return kNumbers.find(name.back()) != std::wstring_view::npos &&
           (String::EqualsIgnoringAsciiCase(port, L"COM") || String::EqualsIgnoringAsciiCase(port, L"LPT"));
  }
  constexpr const wchar_t* kDevices[] = {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"};
  return std::any_of(std::begin(kDevices), std::end(kDevices),
                     [&](const wchar_t* device) { return String::EqualsIgnoringAsciiCase(name, device); });
}

// Windows creates a folder by its plain path only if a short file name still fits after it.
constexpr std::size_t kFirstLong = MAX_PATH - 12;

}  // namespace

bool IsDotEntry(std::wstring_view name) noexcept {
  return name == L"." || name == L"..";
}

std::wstring WithoutSeparator(std::wstring path) {
  while (path.size() > kDriveRoot && (path.back() == L'\\' || path.back() == L'/')) {
    path.pop_back();
  }
  return path;
}

std::wstring WithSeparator(const std::wstring& folder) {
  return !folder.empty() && folder.back() == L'\\' ? folder : folder + L'\\';
}

bool IsReadAsAnother(std::wstring_view name) {
  return !name.empty() && (name.back() == L' ' || name.back() == L'.' || IsDeviceName(name));
}

std::wstring FullPath(const std::wstring& path) {
  std::wstring full(::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  const DWORD length = ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  if (length == 0 || length >= full.size()) {
    return path;
  }
  full.resize(length);
  return WithoutSeparator(full);
}

bool IsSameOrBelow(const std::wstring& path, const std::wstring& folder) {
  return String::EqualsIgnoringAsciiCase(std::wstring_view(path).substr(0, folder.size()), folder) &&
         (path.size() == folder.size() || path[folder.size()] == L'\\');
}

std::wstring SystemPath(const std::wstring& path) {
  const std::wstring_view view = path;
  if (view.size() < kDriveRoot) {
    return path;
  }
  const bool isOnDrive = view.substr(1, 2) == L":\\";
  const bool isOnShare = view.substr(0, 2) == L"\\\\" && view.substr(2, 1).find_first_of(L"?.") != 0;
  if ((!isOnDrive && !isOnShare) || view.find(L'/') != std::wstring_view::npos) {
    return path;
  }
  bool isWanted = path.size() >= kFirstLong;
  for (std::size_t begin = isOnDrive ? kDriveRoot : 2, end = 0; begin < view.size(); begin = end + 1) {
    end = std::min(view.find(L'\\', begin), view.size());
    const std::wstring_view name = view.substr(begin, end - begin);
    if (name.empty() || IsDotEntry(name)) {
      return path;  // the long form would take this for a name
    }
    isWanted = isWanted || IsReadAsAnother(name);
  }
  if (!isWanted) {
    return path;
  }
  return isOnDrive ? L"\\\\?\\" + path : L"\\\\?\\UNC" + path.substr(1);
}

}  // namespace OrCommon::Storage::File
