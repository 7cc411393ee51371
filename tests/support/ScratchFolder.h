// A folder of its own for one test, and what tests put there and look at.
#pragma once

#include <windows.h>

#include <string>

#include "tests/support/TestFiles.h"

namespace TestSupport {

// "C:\VelaTest\<name>", empty at first and gone at the end, read-only files included.
class ScratchFolder {
 public:
  explicit ScratchFolder(const std::wstring& name);
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  const std::wstring& Path() const { return path_; }
  std::wstring Path(const std::wstring& below) const { return path_ + L"\\" + below; }

  // Makes a folder below, with its parents.
  void MakeFolder(const std::wstring& below) const;
  // Makes a file with its parents, last written at TimeOf(`seconds`). Gives its full path.
  std::wstring MakeFile(const std::wstring& below, const std::string& content, int seconds = 0) const;

 private:
  std::wstring path_;
};

// A fixed moment and so many seconds, with a fraction that no file system of whole seconds would keep.
FILETIME TimeOf(int seconds);

void SetTimes(const std::wstring& file, const FILETIME& accessed, const FILETIME& written);
FILETIME LastWriteOf(const std::wstring& file);
FILETIME LastAccessOf(const std::wstring& file);
bool SameTime(const FILETIME& left, const FILETIME& right);

// Keeps a file open, as another program would. Others may open it as `sharing` says (FILE_SHARE_READ ...), or not at
// all.
class HeldFile {
 public:
  explicit HeldFile(const std::wstring& file, DWORD sharing = 0);
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;
  ~HeldFile();

 private:
  HANDLE handle_;
};

}  // namespace TestSupport
