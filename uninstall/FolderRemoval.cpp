#include "uninstall/FolderRemoval.h"

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_System.h"
#include "cli/RunLog.h"
#include "install/DataFolder.h"
#include "settings/ProductFolders.h"

namespace VELAUtility {

namespace {

std::wstring ProductDataFolder() {
  return ProductFolders::GetBaseFolder(GetCommonDataFolder());
}

// `path` as the system reads it; as it is where it cannot be read.
std::wstring FullPath(const std::wstring& path) {
  std::wstring full(::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  const DWORD length = ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  if (length == 0 || length >= full.size()) {
    return path;
  }
  full.resize(length);
  return full;
}

// True where `folder` lies in the data of all users, and its way leads through a link in the place of the product's
// folder there: any user may make that folder where it is missing, and what lies behind a link is not the product's.
bool IsBehindLink(const std::wstring& folder) {
  const std::wstring productData = ProductDataFolder();
  const std::wstring start = FullPath(folder).substr(0, productData.size());
  return OrCommon::System::EqualsIgnoringAsciiCase(start, FullPath(productData)) &&
         OrCommon::Storage::File::IsLink(productData);
}

}  // namespace

bool DeleteFolderFiles(const std::wstring& folder, int& restartNeeded, DWORD* error) {
  const bool refused = IsBehindLink(folder);
  DWORD code = refused ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
  const bool succeeded = !refused && OrCommon::Storage::File::DeleteAllFiles(folder, restartNeeded, &code);
  if (succeeded) {
    RunLog::Info() << L"OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:" << code;
  } else {
    RunLog::Error() << L"OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:" << code;
  }
  if (error != nullptr) {
    *error = code;
  }
  if (!refused && !::RemoveDirectoryW(folder.c_str()) && !folder.empty()) {
    ::MoveFileExW(folder.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
  }
  return succeeded;
}

void RemoveVELAProgramData() {
  constexpr const wchar_t* kFolders[] = {L"OL", L"OE", L"WLM", L"VELA_common"};
  const std::wstring productData = ProductDataFolder();
  for (const wchar_t* const name : kFolders) {
    const std::wstring folder = productData + name;
    int restartNeeded = 0;
    if (!DeleteFolderFiles(folder, restartNeeded, nullptr)) {
      RunLog::Warn() << L"VELAUtility::RemoveVELAProgramData(), Failed to delete folder: " << folder;
    }
  }
}

}  // namespace VELAUtility
