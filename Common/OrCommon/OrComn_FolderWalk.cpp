#include "Common/OrCommon/OrComn_FolderWalk.h"

#include "Common/OrCommon/OrComn_Path.h"

namespace OrCommon::Storage::File {

FolderEntries::FolderEntries(const std::wstring& pattern, WIN32_FIND_DATAW& entry)
    : search_(::FindFirstFileW(pattern.c_str(), &entry)) {
  isFresh_ = IsListed();
  error_ = isFresh_ ? ERROR_SUCCESS : ::GetLastError();
}

bool FolderEntries::Next(WIN32_FIND_DATAW& entry) {
  while (search_ && (isFresh_ || ::FindNextFileW(search_.Get(), &entry))) {
    isFresh_ = false;
    if (!IsDotEntry(entry.cFileName)) {
      return true;
    }
  }
  return false;
}

void FolderWalk::Fail() noexcept {
  (levels_.empty() ? succeeded_ : levels_.back().succeeded) = false;
}

bool FolderWalk::Enter() {
  FolderEntries entries(SystemPath(WithSeparator(path_) + pattern_), entry_);
  if (!entries.IsListed()) {
    error_ = entries.Error();
    Fail();
    return false;
  }
  levels_.push_back({std::move(entries), path_.size(), true});
  return true;
}

bool FolderWalk::Next() {
  if (levels_.empty()) {
    return false;
  }
  Level& level = levels_.back();
  path_.resize(level.length);
  isLeaving_ = !level.entries.Next(entry_);
  if (!isLeaving_) {
    path_ = WithSeparator(path_) + entry_.cFileName;
    return true;
  }
  const bool succeeded = level.succeeded;
  levels_.pop_back();
  if (succeeded) {
    error_ = ERROR_SUCCESS;
  } else {
    Fail();
  }
  return !levels_.empty();
}

}  // namespace OrCommon::Storage::File
