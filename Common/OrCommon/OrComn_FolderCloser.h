// Closing folders in which every user may write.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <boost/noncopyable.hpp>

namespace OrCommon::AccessControl {

// Gives folders to the administrators, with an access list of the local system and the administrators alone, so that no
// ordinary user can make one of them a link afterwards. What lies in them keeps its lists; what is made there later
// inherits theirs. Each folder is closed once.
class FolderCloser : private boost::noncopyable {
 public:
  // `root`: the full path of the uppermost folder that is closed; empty: none is.
  explicit FolderCloser(std::wstring root) : root_(std::move(root)) {}

  // Closes every folder on the way from the root down to the full path `path`, and the folder `path` itself; not a file
  // or a link in its place. True where all of them are closed, and where `path` does not lie below the root.
  bool Close(const std::wstring& path);

 private:
  bool CloseOnce(const std::wstring& folder);

  const std::wstring root_;
  std::vector<std::pair<std::wstring, bool>> closed_;  // each folder that was tried
};

}  // namespace OrCommon::AccessControl
