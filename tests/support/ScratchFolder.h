// A separate folder for one test, and helpers for the files in it.
#pragma once

#include <windows.h>

#include <string>

#include "tests/support/TestFiles.h"

namespace TestSupport {

// "C:\VelaTest\<name>": empty at first, removed at the end with all read-only files.
class ScratchFolder {
 public:
  explicit ScratchFolder(const std::wstring& name);
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  const std::wstring& Path() const { return path_; }
  std::wstring Path(const std::wstring& below) const { return path_ + L"\\" + below; }

  // Creates a folder below it, with its parents.
  void MakeFolder(const std::wstring& below) const;
  // Creates a file with its parents, last written at TimeOf(`seconds`). Returns its full path.
  std::wstring MakeFile(const std::wstring& below, const std::string& content, int seconds = 0) const;

 private:
  std::wstring path_;
};

// A fixed time plus this many seconds. It has a fraction that a file system with whole seconds would lose.
FILETIME TimeOf(int seconds);

void SetTimes(const std::wstring& file, const FILETIME& accessed, const FILETIME& written);
FILETIME LastWriteOf(const std::wstring& file);
FILETIME LastAccessOf(const std::wstring& file);
bool SameTime(const FILETIME& left, const FILETIME& right);

// Keeps a file open, as another program would. `sharing` says how others may open it (FILE_SHARE_READ ...). With 0,
// nobody can.
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
