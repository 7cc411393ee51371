#include "uninstall/FolderRemoval.h"

#include "Common/OrCommon/OrComn_File.h"
#include "cli/RunLog.h"
#include "install/DataFolder.h"
#include "settings/ProductFolders.h"

namespace VELAUtility {

bool DeleteFolderFiles(const std::wstring& folder, int& restartNeeded, DWORD* error) {
  DWORD code = ERROR_SUCCESS;
  const bool succeeded = OrCommon::Storage::File::DeleteAllFiles(folder, restartNeeded, &code);
  if (succeeded) {
    RunLog::Info() << L"OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:" << code;
  } else {
    RunLog::Error() << L"OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:" << code;
  }
  if (error != nullptr) {
    *error = code;
  }
  if (!::RemoveDirectoryW(folder.c_str()) && !folder.empty()) {
    ::MoveFileExW(folder.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
  }
  return succeeded;
}

void RemoveVELAProgramData() {
  constexpr const wchar_t* kFolders[] = {L"OL", L"OE", L"WLM", L"VELA_common"};
  const std::wstring productData = ProductFolders::GetBaseFolder(GetCommonDataFolder());
  // Any user may make a folder where this one is missing: a link in its place leads to folders that are not ours.
  const bool isLink = OrCommon::Storage::File::IsLink(productData);
  for (const wchar_t* const name : kFolders) {
    const std::wstring folder = productData + name;
    int restartNeeded = 0;
    if (isLink || !DeleteFolderFiles(folder, restartNeeded, nullptr)) {
      RunLog::Warn() << L"VELAUtility::RemoveVELAProgramData(), Failed to delete folder: " << folder;
    }
  }
}

}  // namespace VELAUtility
