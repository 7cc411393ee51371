// Running the subject from outside, and reading what it noted.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/TextLines.h"

namespace Faults {

// A call as the subject counted it.
struct NotedCall {
  int number = 0;
  int change = 0;  // its number among the changes; 0: it changes nothing
  std::string function;
  std::string place;  // hexadecimal, as the linker's map has it
};

struct SubjectOutcome {
  DWORD exitCode = 0;
  bool timedOut = false;
  bool noted = false;  // it reached its end
  int calls = 0;
  int changes = 0;
  bool changedNothing = false;
  std::vector<NotedCall> list;    // of a counting run
  std::vector<NotedCall> failed;  // the first call that was made to fail, if one was
  TestSupport::Lines remarks;     // the notes "left", "stray", "outside", "relative" and "unknown"
  bool logPossible = false;       // the log's folder is there
  TestSupport::Lines log;
};

// `order`: see SubjectRun.h. Clears the log before.
SubjectOutcome RunSubject(const std::wstring& commandSwitch, const std::string& order);

// The function that holds the place, and how far in: "VELAUtility::CopyFileKeepingTimes+0x4a".
std::string PlaceName(const std::string& place);

}  // namespace Faults
