// Links of the file system. This Wine shows the host's symbolic links to folders as reparse points (attributes 0x410)
// but cannot create or remove them. So programs of the host do it; on Windows, Windows does it.
#pragma once

#include <string>

namespace TestSupport {

// Creates the folder link `link` to `target`. Throws std::runtime_error if the link does not exist afterwards.
void MakeFolderLink(const std::wstring& link, const std::wstring& target);

// Removes the link itself, as RemoveDirectoryW does on Windows; false if the link still exists. It can replace
// RemoveDirectoryW in a test: it calls no function that a test may have redirected before.
bool RemoveFolderLink(const std::wstring& link);

// A link that is created here. The destructor removes it if it still exists.
class FolderLink {
 public:
  FolderLink(const std::wstring& link, const std::wstring& target) : link_(link) { MakeFolderLink(link, target); }
  FolderLink(const FolderLink&) = delete;
  FolderLink& operator=(const FolderLink&) = delete;
  ~FolderLink() { RemoveFolderLink(link_); }

 private:
  std::wstring link_;
};

// A drive that shows a folder. Its letter (L'v') must be free.
class FolderDrive {
 public:
  FolderDrive(wchar_t letter, const std::wstring& folder);
  FolderDrive(const FolderDrive&) = delete;
  FolderDrive& operator=(const FolderDrive&) = delete;
  ~FolderDrive();

 private:
  std::wstring drive_;  // "v:"
};

// A link to a device of Wine's host on which every write fails because the disk is full. Create it after the world that
// contains it, so that it is removed first. Windows programs can write to it, but they see no attributes of it and
// cannot delete it.
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

}  // namespace TestSupport
