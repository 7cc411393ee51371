#include "uninstall/FolderRemoval.h"

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_FolderCloser.h"
#include "cli/RunLog.h"
#include "install/DataFolder.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"

namespace VELAUtility {

namespace {

namespace AccessControl = OrCommon::AccessControl;
namespace File = OrCommon::Storage::File;

// The product's folder in the data of all users.
struct ProductData {
  const std::wstring commonData = GetCommonDataFolder();
  const std::wstring folder = ProductFolders::GetBaseFolder(commonData);
  // Every user may write there.
  AccessControl::FolderCloser closer{commonData.empty() ? std::wstring() : File::FullPath(folder)};
};

// Why `folder` must not be deleted; ERROR_SUCCESS if it may be.
//
// Refuse a folder below "Orvane Labs" in the common data folder if that is a reparse point: any user can create it, and
// its target is not the product's. Refuse it also if the system can name no common data folder: the path is then
// relative to the current folder, which may belong to any user.
DWORD RefusalOf(const std::wstring& folder, const ProductData& data) {
  if (data.commonData.empty()) {
    return folder.compare(0, data.folder.size(), data.folder) == 0 ? ERROR_PATH_NOT_FOUND : ERROR_SUCCESS;
  }
  const std::wstring path = File::FullPath(folder);
  const std::wstring dataPath = File::FullPath(data.folder);
  return File::IsSameOrBelow(path, dataPath) && File::IsLink(data.folder) ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

// Removes the emptied folder, or schedules that for the next restart. A folder below "Orvane Labs" in the common data
// folder is closed before it is scheduled, with the folders from there down to it; if that fails, it is not scheduled.
// A missing one is not closed: its name is the product's own, so a deletion that is diverted finds nothing of value
// under that name, and other products need the folders above as they are.
void RemoveFolder(const std::wstring& folder, ProductData& data) {
  const std::wstring full = File::FullPath(folder);
  const std::wstring path = File::SystemPath(full);
  if (::RemoveDirectoryW(path.c_str()) || folder.empty()) {
    return;
  }
  const DWORD error = ::GetLastError();
  const bool isMissing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
  if (isMissing || data.closer.Close(full)) {
    ::MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
  }
}

bool DeleteFolder(const std::wstring& folder, int& restartNeeded, DWORD* error, ProductData& data) {
  // Until the restart a parent folder could become a link.
  const auto closeWay = [&](const std::wstring& path) { return data.closer.Close(path); };
  DWORD code = RefusalOf(folder, data);
  const bool refused = code != ERROR_SUCCESS;
  const bool succeeded = !refused && File::DeleteAllFiles(folder, restartNeeded, &code, closeWay);
  if (succeeded) {
    RunLog::Info() << L"OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:" << code;
  } else {
    RunLog::Error() << L"OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:" << code;
  }
  if (error != nullptr) {
    *error = code;
  }
  if (!refused) {
    RemoveFolder(folder, data);
  }
  return succeeded;
}

}  // namespace

bool DeleteFolderFiles(const std::wstring& folder, int& restartNeeded, DWORD* error) {
  ProductData data;
  return DeleteFolder(folder, restartNeeded, error, data);
}

void RemoveVELAProgramData() {
  ProductData data;
  const auto remove = [&data](const wchar_t* name) {
    const std::wstring folder = data.folder + name;
    int restartNeeded = 0;
    if (!DeleteFolder(folder, restartNeeded, nullptr, data)) {
      RunLog::Warn() << L"VELAUtility::RemoveVELAProgramData(), Failed to delete folder: " << folder;
    }
  };
  for (const MailClientFacts& facts : kMailClients) {
    remove(facts.shortName);
  }
  remove(L"VELA_common");
}

}  // namespace VELAUtility
