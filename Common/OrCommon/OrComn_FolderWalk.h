// Listing folders: the entries of one, or everything below it.
//
// A listing tells of a link, it does not follow it. Whether a link is entered is up to who lists: a walk enters only
// what its caller enters, and deletion and stamping never enter one.
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

  // ERROR_SUCCESS, or the code of why the folder cannot be listed: there are no entries then.
  DWORD Error() const noexcept { return error_; }

  // Puts the next entry (at the first call: the first) into `entry`, the one given at the start. False where there is
  // no more.
  bool Next(WIN32_FIND_DATAW& entry);

 private:
  FindHandle search_;
  bool isFresh_ = false;  // the first entry is waiting
  DWORD error_ = ERROR_SUCCESS;
};

// A walk over everything below a folder. It keeps its places in a list and not on the stack: how deep the
// folders lie in one another is up to whoever may write there.
//
//   FolderWalk walk(folder, L"*");
//   for (walk.Enter(); walk.Next();) { ... walk.Path() ... walk.Enter() ... }
class FolderWalk : private boost::noncopyable {
 public:
  // Stands at `folder` (see FullPath) and has not entered it. `pattern` must match every name.
  FolderWalk(const std::wstring& folder, const wchar_t* pattern) : path_(folder), pattern_(pattern) {}

  // Lists the folder at which the walk stands. False where that fails.
  bool Enter();

  // Goes on to the next entry of the folder entered last, or, after its last one, back to that folder (IsLeaving) and
  // out of it. False where that folder is the first.
  bool Next();

  // The plain path of the entry, without a separator at its end.
  const std::wstring& Path() const noexcept { return path_; }
  bool IsLeaving() const noexcept { return isLeaving_; }
  // As listed; of an entry at which the walk has just arrived.
  DWORD Attributes() const noexcept { return entry_.dwFileAttributes; }

  // False once a folder could not be listed. The code is that of the last one, or ERROR_SUCCESS where a folder that was
  // left after it had been listed whole.
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
