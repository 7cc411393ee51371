#include "install/FolderListing.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_Handles.h"

namespace VELAUtility {

void ListSubfolders(const std::wstring& folder, std::vector<std::wstring>& names) {
  WIN32_FIND_DATAW entry;
  const OrCommon::FindHandle search(::FindFirstFileW((folder + L"\\*").c_str(), &entry));
  for (BOOL more = search ? TRUE : FALSE; more; more = ::FindNextFileW(search.Get(), &entry)) {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
        !OrCommon::Storage::File::IsDotEntry(entry.cFileName)) {
      names.emplace_back(entry.cFileName);
    }
  }
}

}  // namespace VELAUtility
