#include "install/DataFolder.h"

#include <windows.h>

#include <shlobj.h>

#include "Common/OrCommon/OrComn_Shell.h"
#include "cli/RunLog.h"
#include "settings/CommandLineFolders.h"
#include "settings/ProductFolders.h"

namespace VELAUtility {
namespace {

constexpr unsigned char kLastSingleByte = 127;

// `text` in the ANSI code page; empty if it cannot be converted.
std::string ToAnsi(const wchar_t* text) {
  const int size = ::WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 0) {
    return {};
  }
  std::string ansi(static_cast<std::size_t>(size), '\0');
  if (::WideCharToMultiByte(CP_ACP, 0, text, -1, ansi.data(), size, nullptr, nullptr) != size) {
    return {};
  }
  ansi.pop_back();  // the terminator
  return ansi;
}

}  // namespace

bool HasDoubleByteCharacters() {
  const std::string ansi = ToAnsi(DestPath);
  for (std::size_t index = 0; index < ansi.size(); ++index) {
    const auto byte = static_cast<unsigned char>(ansi[index]);
    if (::IsDBCSLeadByte(byte)) {
      RunLog::Info() << L"--- Find DBCS Character by IsDBCSLeadByte() !! --- idx=" << static_cast<DWORD>(index);
      return true;
    }
    if (byte > kLastSingleByte) {
      RunLog::Info() << L"--- Find DBCS Character by checking if ANSI character set --- idx="
                     << static_cast<DWORD>(index);
      return true;
    }
  }
  return false;
}

std::wstring GetCommonDataFolder() {
  wchar_t folder[MAX_PATH + 1] = {};
  if (OrCommon::Shell::SHGetSpecialFolderPathW(nullptr, folder, CSIDL_COMMON_APPDATA, FALSE)) {
    return folder;
  }
  wchar_t windowsFolder[MAX_PATH + 1] = {};
  OrCommon::Shell::SHGetFolderPathW(nullptr, CSIDL_WINDOWS, nullptr, 0, windowsFolder);
  return windowsFolder;
}

std::wstring ChooseBaseFolder(const std::wstring& destination) {
  return ProductFolders::GetBaseFolder(HasDoubleByteCharacters() ? GetCommonDataFolder() : destination);
}

}  // namespace VELAUtility
