// Taking folders away from ordinary users.
#pragma once

#include <string>
#include <utility>

#include <boost/noncopyable.hpp>

namespace OrCommon::AccessControl {

// Closes folders: makes the administrators their owner and allows only them and the local system. No ordinary user can
// then replace one of them by a reparse point. Existing entries keep their access lists; new ones inherit the folder's.
//
// Only the last path is remembered, because any user decides how many folders there are. Paths in the order of a walk
// close each folder once.
class FolderCloser : private boost::noncopyable {
 public:
  // `root`: the full path of the topmost folder to close. Empty: close none.
  explicit FolderCloser(std::wstring root) : root_(std::move(root)) {}

  // Closes every folder from the root down to the full path `path`, and `path` itself if it is a folder and no reparse
  // point. True if all of them are closed, and if `path` is not below the root.
  bool Close(const std::wstring& path);

 private:
  bool CloseNext(const std::wstring& folder);

  const std::wstring root_;
  std::wstring way_;          // the last folder that was tried; its parents are closed
  bool isWayClosed_ = false;  // the folder itself is closed, too
};

}  // namespace OrCommon::AccessControl
