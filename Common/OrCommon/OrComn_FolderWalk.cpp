#include "Common/OrCommon/OrComn_FolderWalk.h"

#include "Common/OrCommon/OrComn_Path.h"

namespace OrCommon::Storage::File {

void FolderWalk::Fail() noexcept {
  (levels_.empty() ? succeeded_ : levels_.back().succeeded) = false;
}

bool FolderWalk::Enter() {
  FindHandle search(::FindFirstFileW(SystemPath(WithSeparator(path_) + pattern_).c_str(), &entry_));
  if (!search) {
    error_ = ::GetLastError();
    Fail();
    return false;
  }
  levels_.push_back({std::move(search), path_.size(), true, true});
  return true;
}

bool FolderWalk::Next() {
  while (!levels_.empty()) {
    Level& level = levels_.back();
    path_.resize(level.length);
    const bool isThere = level.isFresh || ::FindNextFileW(level.search.Get(), &entry_);
    level.isFresh = false;
    if (!isThere) {
      const bool succeeded = level.succeeded;
      levels_.pop_back();
      if (succeeded) {
        error_ = ERROR_SUCCESS;
      } else {
        Fail();
      }
      isLeaving_ = true;
      return !levels_.empty();
    }
    if (!IsDotEntry(entry_.cFileName)) {
      path_ = WithSeparator(path_) + entry_.cFileName;
      isLeaving_ = false;
      return true;
    }
  }
  return false;
}

}  // namespace OrCommon::Storage::File
