// Listing folders: the entries of one, or everything below it.
//
// A listing names a reparse point and does not follow it. The caller decides what is entered: deletion and access lists
// never enter a reparse point, the copy of an installation source does.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::Storage::File {

// The entries of one folder, in the order of the file system, without "." and "..".
class FolderEntries {
 public:
  // `pattern`: the folder's path, a separator and a pattern that matches every name. `entry` receives the first entry.
  FolderEntries(const std::wstring& pattern, WIN32_FIND_DATAW& entry);

  // False if the folder cannot be listed; Error() says why, and it has no entries.
  bool IsListed() const noexcept { return static_cast<bool>(search_); }
  DWORD Error() const noexcept { return error_; }

  // Puts the next entry into `entry`, the same object as given to the constructor. False after the last one.
  bool Next(WIN32_FIND_DATAW& entry);

 private:
  FindHandle search_;
  bool isFresh_ = false;  // the first entry is waiting
  DWORD error_ = ERROR_SUCCESS;
};

// A walk over everything below a folder. It does not recurse: any user decides how deep the folders are nested.
//
//   FolderWalk walk(folder, L"*");
//   for (walk.Enter(); walk.Next();) { ... walk.Path() ... walk.Enter() ... }
class FolderWalk : private boost::noncopyable {
 public:
  // Starts at `folder` (see FullPath), not yet entered. `pattern` must match every name.
  FolderWalk(const std::wstring& folder, const wchar_t* pattern) : path_(folder), pattern_(pattern) {}

  // Lists the current folder. False if that fails.
  bool Enter();

  // Goes to the next entry of the folder that was entered last. After the last entry it returns to that folder
  // (IsLeaving) and leaves it. False when the starting folder is left.
  bool Next();

  // The plain path of the entry, without a separator at its end.
  const std::wstring& Path() const noexcept { return path_; }
  bool IsLeaving() const noexcept { return isLeaving_; }
  // As listed. Only valid when the walk has just arrived at an entry.
  DWORD Attributes() const noexcept { return entry_.dwFileAttributes; }

  // False once a folder could not be listed. Error() is the code of the last such folder, or ERROR_SUCCESS if a folder
  // that was left later had been listed completely.
  bool Succeeded() const noexcept { return succeeded_; }
  DWORD Error() const noexcept { return error_; }

 private:
  struct Level {
    FolderEntries entries;
    std::size_t length;  // of the folder's path
    bool succeeded;
  };

  void Fail() noexcept;

  std::wstring path_;
  const std::wstring pattern_;
  std::vector<Level> levels_;
  WIN32_FIND_DATAW entry_ = {};
  bool isLeaving_ = false;
  bool succeeded_ = true;
  DWORD error_ = ERROR_SUCCESS;
};

}  // namespace OrCommon::Storage::File
