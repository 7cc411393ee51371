#include "Common/OrCommon/OrComn_File.h"

#include <windows.h>

#include <string_view>

namespace OrCommon::Storage::File {

void GetTemporaryFolder(std::wstring& folder) {
  constexpr std::wstring_view kSuffix = L"\\Temp";
  constexpr UINT kCapacity = MAX_PATH + 1;  // characters, terminator included
  wchar_t windowsFolder[kCapacity] = {};
  const UINT length = ::GetWindowsDirectoryW(windowsFolder, kCapacity);
  if (length == 0 || length >= kCapacity || length + kSuffix.size() + 1 > kCapacity) {
    folder = L"C:\\WINDOWS\\Temp";
    return;
  }
  folder.assign(windowsFolder, length).append(kSuffix);
}

}  // namespace OrCommon::Storage::File
