// A folder tree to be copied, and the lines that its copying leaves in the run log.
#pragma once

#include <string>

#include "tests/support/FileSnapshot.h"
#include "tests/support/TextLines.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"

namespace TestSupport {

inline constexpr int kCopyNow = 0;

// Made in the order in which the file system lists them, files and folders mixed.
struct CopiedTree {
  PendingMoves pending;
  ScratchFolder folder{L"Tree"};
  std::wstring from = folder.Path(L"src");
  std::wstring to = folder.Path(L"dst");

  CopiedTree() {
    folder.MakeFolder(L"src");
    folder.MakeFolder(L"dst");
  }
  void MakeSource(const std::wstring& name, const std::string& content = "new") const {
    folder.MakeFile(L"src\\" + name, content, 10);
  }
  void MakeDestination(const std::wstring& name, const std::string& content = "old") const {
    folder.MakeFile(L"dst\\" + name, content, 1);
  }
  Lines Copied() const {
    FileSnapshot snapshot;
    snapshot.Add(to);
    return snapshot.AsLines();
  }
};

inline std::string Copied(const std::string& name) {
  return "LOG_INFO : CopyFile(C:\\VelaTest\\Tree\\src\\" + name + ", C:\\VelaTest\\Tree\\dst\\" + name + ") successed.";
}

inline std::string NotCopied(int error, const std::string& name) {
  return "LOG_ERROR: ::CopyFile() failed: err(" + std::to_string(error) + "), src(C:\\VelaTest\\Tree\\src\\" + name +
         "), dst(C:\\VelaTest\\Tree\\dst\\" + name + ")";
}

inline std::string LeftToRestart(const std::string& name) {
  return "LOG_INFO : RebootMove('C:\\VelaTest\\Tree\\src\\" + name + "', 'C:\\VelaTest\\Tree\\dst\\" + name +
         "') succeeded";
}

inline std::string NotScheduled(int error, const std::string& name) {
  return "LOG_ERROR: MoveFileEx(C:\\VelaTest\\Tree\\dst\\" + name + ".tmp_,C:\\VelaTest\\Tree\\dst\\" + name +
         ") failed, err=" + std::to_string(error);
}

}  // namespace TestSupport
