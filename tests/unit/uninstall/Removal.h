// The removal of one folder: its results and its lines in the run log.
#pragma once

#include <windows.h>

#include <string>

#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"
#include "uninstall/FolderRemoval.h"

namespace TestSupport {

struct Removal {
  bool succeeded;
  int restartNeeded;
  DWORD error;
  Lines log;
};

inline Removal Remove(const std::wstring& folder) {
  const LogCapture log;
  int restartNeeded = 0;
  DWORD error = 4711;
  const bool succeeded = VELAUtility::DeleteFolderFiles(folder, restartNeeded, &error);
  return {succeeded, restartNeeded, error, log.Lines()};
}

inline Lines FolderEmptied() {
  return {"LOG_INFO : OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:0"};
}

inline Lines FolderNotEmptied(int error) {
  return {"LOG_ERROR: OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:" + std::to_string(error)};
}

}  // namespace TestSupport
