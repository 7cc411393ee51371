#include "uninstall/FolderRemoval.h"

#include <iterator>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_System.h"
#include "cli/RunLog.h"
#include "install/DataFolder.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"

namespace VELAUtility {

namespace {

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

// Why `folder` must not be deleted; ERROR_SUCCESS where it may be.
//
// A folder in the data of all users must not when its way leads through a link in the place of the product's folder
// there: any user may make that folder where it is missing, and what lies behind a link is not the product's. Where the
// system cannot name the data of all users, the product's folder there is a path below the current folder, and what
// lies there is anybody's.
DWORD RefusalOf(const std::wstring& folder) {
  const std::wstring commonData = GetCommonDataFolder();
  const std::wstring productData = ProductFolders::GetBaseFolder(commonData);
  if (commonData.empty()) {
    return folder.compare(0, productData.size(), productData) == 0 ? ERROR_PATH_NOT_FOUND : ERROR_SUCCESS;
  }
  const std::wstring start = FullPath(folder).substr(0, productData.size());
  const bool isBehindLink = OrCommon::System::EqualsIgnoringAsciiCase(start, FullPath(productData)) &&
                            OrCommon::Storage::File::IsLink(productData);
  return isBehindLink ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

}  // namespace

bool DeleteFolderFiles(const std::wstring& folder, int& restartNeeded, DWORD* error) {
  DWORD code = RefusalOf(folder);
  const bool refused = code != ERROR_SUCCESS;
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
  static_assert(std::size(kFolders) == std::size(kMailClients) + 1, "each client's folder, and the common one");
  const std::wstring productData = ProductFolders::GetBaseFolder(GetCommonDataFolder());
  for (const wchar_t* const name : kFolders) {
    const std::wstring folder = productData + name;
    int restartNeeded = 0;
    if (!DeleteFolderFiles(folder, restartNeeded, nullptr)) {
      RunLog::Warn() << L"VELAUtility::RemoveVELAProgramData(), Failed to delete folder: " << folder;
    }
  }
}

}  // namespace VELAUtility
