// Runs the subject as a child process and reads its notes.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/TextLines.h"

namespace Faults {

// A call as the subject noted it.
struct NotedCall {
  int number = 0;
  int change = 0;  // its number among the changes; 0: it changes nothing
  std::string function;
  std::string place;  // hexadecimal, as in the linker map
};

struct SubjectOutcome {
  DWORD exitCode = 0;
  bool timedOut = false;
  bool noted = false;     // it ran to its end
  bool returned = false;  // and the command returned
  int calls = 0;
  int changes = 0;
  int allocations = 0;                 // see Allocations.h
  int allocationsAtStart = 0;          // of them before the product's first call
  int refused = 0;                     // the first that failed
  std::vector<std::string> refusedIn;  // the calling functions, innermost first; hexadecimal
  bool changedNothing = false;
  std::vector<NotedCall> list;    // of a counting run
  std::vector<NotedCall> failed;  // the first call that was made to fail, if any
  TestSupport::Lines remarks;     // the notes "left", "stray", "outside", "relative" and "unknown"
  bool logPossible = false;       // the log's folder exists
  TestSupport::Lines log;
  std::string logText;         // the same, as the bytes of the file
  TestSupport::Lines started;  // what it did besides files and registry: "started <command line>", "set an event"
};

// `order`: see SubjectRun.h; `memory`: see Allocations.h. Removes the log first.
SubjectOutcome RunSubject(const std::wstring& commandSwitch, const std::string& order, const std::string& memory = {});

// The function that contains the place, and the offset in it: "VELAUtility::CopyFileKeepingTimes+0x4a".
std::string PlaceName(const std::string& place);

}  // namespace Faults
