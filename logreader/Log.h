// A whole log.
#pragma once

#include <functional>
#include <istream>

#include "logreader/Findings.h"
#include "logreader/Runs.h"

namespace LogReader {

// Reads a log to its end and passes on each run with its verdict, in the order in which the runs began. The memory that
// it needs does not depend on the log.
using RunSink = std::function<void(Run& run, const Verdict& verdict)>;
void ReadRuns(std::istream& log, const RunSink& sink);

// The verdict of the last run; Outcome::kNoRun if there is none.
Verdict JudgeLast(std::istream& log);

}  // namespace LogReader
