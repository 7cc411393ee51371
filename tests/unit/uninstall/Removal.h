// The removal of one folder, as lines: its result, and what it writes to the run log.
#pragma once

#include <windows.h>

#include <string>

#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TextLines.h"
#include "uninstall/FolderRemoval.h"

namespace TestSupport {

inline constexpr wchar_t kProgramData[] = L"C:\\ProgramData\\Orvane Labs";

// No data of all users exists before and after a test.
struct ClearedData {
  ClearedData() { RemoveTree(kProgramData); }
  ClearedData(const ClearedData&) = delete;
  ClearedData& operator=(const ClearedData&) = delete;
  ~ClearedData() { RemoveTree(kProgramData); }
};

inline Lines Remove(const std::wstring& folder) {
  const LogCapture log;
  int restart = 0;
  DWORD error = 4711;
  const bool succeeded = VELAUtility::DeleteFolderFiles(folder, restart, &error);
  Lines lines = log.Lines();
  lines.insert(lines.begin(), std::string(succeeded ? "succeeded" : "failed") + ", restart " + std::to_string(restart) +
                                  ", error " + std::to_string(error));
  return lines;
}

inline Lines FolderEmptied() {
  return {"LOG_INFO : OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:0"};
}

inline Lines FolderNotEmptied(int error) {
  return {"LOG_ERROR: OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:" + std::to_string(error)};
}

// The result of Remove.
inline Lines Removed(int restart = 0) {
  return {"succeeded, restart " + std::to_string(restart) + ", error 0", FolderEmptied().front()};
}

inline Lines NotRemoved(int error) {
  return {"failed, restart 0, error " + std::to_string(error), FolderNotEmptied(error).front()};
}

}  // namespace TestSupport
