// The calls by which files are copied, in order, as lines:
//
//   CreateFileW a.txt for reading -> 1
//   GetFileTime 1 created accessed written
//   ReadFile 1 16383 bytes -> 20
//   CloseHandle 1
//
// A file that is opened in another way than the three that a copy uses shows its arguments in hexadecimal. Handles are
// numbered in the order in which they are opened, "none" is a failure. CloseHandle of anything else is not shown.
#pragma once

#include <windows.h>

#include <map>

#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

class FileCallTrace {
 public:
  FileCallTrace();
  const Lines& Calls() const { return calls_; }
  bool AllClosed() const { return open_.empty(); }

 private:
  std::string NameOf(HANDLE handle) const;

  Lines calls_;
  int opened_ = 0;
  std::map<HANDLE, int> open_;

  ImportRedirection createFile_;
  ImportRedirection getFileTime_;
  ImportRedirection getFileAttributes_;
  ImportRedirection compareFileTime_;
  ImportRedirection readFile_;
  ImportRedirection writeFile_;
  ImportRedirection setFileTime_;
  ImportRedirection setFileAttributes_;
  ImportRedirection moveFileEx_;
  ImportRedirection closeHandle_;
};

}  // namespace TestSupport
