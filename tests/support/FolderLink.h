// Links of the file system. This Wine shows the host's symbolic links to folders as reparse points (attributes 0x410)
// but cannot make or remove them, so the host's own programs do; on Windows it is Windows.
#pragma once

#include <string>

namespace OrCommonTests {

// Makes `link` lead to the folder `target`. Throws std::runtime_error where there is no such link afterwards.
void MakeFolderLink(const std::wstring& link, const std::wstring& target);

// Removes the link itself, as RemoveDirectoryW does on Windows; false where it is still there. Meant for the place of
// RemoveDirectoryW: calls nothing that a test may have redirected before.
bool RemoveFolderLink(const std::wstring& link);

// Made here, gone with it if it is still there.
class FolderLink {
 public:
  FolderLink(const std::wstring& link, const std::wstring& target) : link_(link) { MakeFolderLink(link, target); }
  FolderLink(const FolderLink&) = delete;
  FolderLink& operator=(const FolderLink&) = delete;
  ~FolderLink() { RemoveFolderLink(link_); }

 private:
  std::wstring link_;
};

// A link to a device of Wine's host on which every write fails because the disk is full. Make it behind the world that
// it lies in, so that it goes first: Windows programs can write to it but see no attributes of it, and cannot clear it
// away.
class FullDiskFile {
 public:
  // The folder of `path` must exist, and the file must not.
  explicit FullDiskFile(const std::wstring& path);
  FullDiskFile(const FullDiskFile&) = delete;
  FullDiskFile& operator=(const FullDiskFile&) = delete;
  ~FullDiskFile();

 private:
  std::wstring path_;
};

}  // namespace OrCommonTests
