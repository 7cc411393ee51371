// Empties a folder and returns the result as one text.
#pragma once

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_File.h"
#include "tests/support/FileSnapshot.h"

namespace OrCommonTests {

// "done, error 0, restart 0" or "failed, ...".
inline std::string Empty(const std::wstring& folder) {
  int restartNeeded = 0;
  DWORD error = 4711;
  const bool succeeded = OrCommon::Storage::File::DeleteAllFiles(folder, restartNeeded, &error);
  return (succeeded ? "done, error " : "failed, error ") + std::to_string(error) + ", restart " +
         std::to_string(restartNeeded);
}
inline constexpr char kAllDone[] = "done, error 0, restart 0";
inline constexpr char kRestWaits[] = "done, error 0, restart 1";

inline TestSupport::Lines ListOf(const std::wstring& folder) {
  TestSupport::FileSnapshot snapshot;
  snapshot.Add(folder);
  return snapshot.AsLines();
}

}  // namespace OrCommonTests
