// What only the host of Wine can prepare.
#pragma once

#include <string>

namespace TestSupport {

// A link to a device on which every write fails because the disk is full. Make it behind the world that it lies in, so
// that it goes first: Windows programs can write to it but see no attributes of it, and cannot clear it away.
class FullDiskFile {
 public:
  // The folder of `path` must exist, and the file must not.
  explicit FullDiskFile(const std::wstring& path);
  FullDiskFile(const FullDiskFile&) = delete;
  FullDiskFile& operator=(const FullDiskFile&) = delete;
  ~FullDiskFile();

 private:
  std::string hostPath_;
};

// A link to a folder, as any user may put one in the place of a folder that the product is going to delete. Windows
// programs see a reparse point. Make it behind the world that it lies in, for the same reason.
class FolderLink {
 public:
  // The folder that holds `link` must exist, and `link` must not.
  FolderLink(const std::wstring& link, const std::wstring& target);
  FolderLink(const FolderLink&) = delete;
  FolderLink& operator=(const FolderLink&) = delete;
  ~FolderLink();

 private:
  std::string hostPath_;
};

}  // namespace TestSupport
