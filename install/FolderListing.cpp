#include "install/FolderListing.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_FolderWalk.h"

namespace VELAUtility {

void ListSubfolders(const std::wstring& folder, std::vector<std::wstring>& names) {
  WIN32_FIND_DATAW entry;
  OrCommon::Storage::File::FolderEntries entries(folder + L"\\*", entry);
  while (entries.Next(entry)) {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      names.emplace_back(entry.cFileName);
    }
  }
}

}  // namespace VELAUtility
