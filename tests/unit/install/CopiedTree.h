// A folder tree to be copied, and the lines that its copying leaves in the run log.
#pragma once

#include <string>

#include "install/FileCopy.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

inline constexpr int kCopyNow = 0;

// Created in the order in which the file system lists them, files and folders mixed.
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
  // The result, the flag for a restart, and the lines of the log.
  Lines Copy(int moveAtRestart = kCopyNow) const {
    const LogCapture log;
    const CountCalls searches("FindFirstFileW");
    const CountCalls closes("FindClose");
    int restart = 7;
    const DWORD result = VELAUtility::CopyFolderTree(from, to, &restart, moveAtRestart);
    CHECK(closes.Calls() == searches.Calls());
    Lines lines = log.Lines();
    lines.insert(lines.begin(), "result " + std::to_string(result) + ", restart " + std::to_string(restart));
    return lines;
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
