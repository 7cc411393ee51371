// Closing folders in which every user may write.
#pragma once

#include <string>
#include <utility>

#include <boost/noncopyable.hpp>

namespace OrCommon::AccessControl {

// Gives folders to the administrators, with an access list of the local system and the administrators alone, so that no
// ordinary user can make one of them a link afterwards. What lies in them keeps its lists; what is made there later
// inherits theirs. A folder is closed once where the paths come in the order of a walk: only the way of the last one is
// kept, because how many folders there are is up to whoever may write there.
class FolderCloser : private boost::noncopyable {
 public:
  // `root`: the full path of the uppermost folder that is closed; empty: none is.
  explicit FolderCloser(std::wstring root) : root_(std::move(root)) {}

  // Closes every folder on the way from the root down to the full path `path`, and the folder `path` itself; not a file
  // or a link in its place. True where all of them are closed, and where `path` does not lie below the root.
  bool Close(const std::wstring& path);

 private:
  bool CloseNext(const std::wstring& folder);

  const std::wstring root_;
  std::wstring way_;          // the folder that was tried last; those above it are closed
  bool isWayClosed_ = false;  // that folder, too
};

}  // namespace OrCommon::AccessControl
