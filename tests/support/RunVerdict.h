// What VELAlog.exe says about a log, by its own libraries.
#pragma once

#include <string>

#include "logreader/Findings.h"

namespace TestSupport {

// The verdict on the last run of a log, which is given as the bytes of the file.
LogReader::Verdict LastVerdict(const std::string& log);

// The same as one line: "done: Filtering is switched on." Its numbers of lines count from the beginning of that run.
std::string LastVerdictText(const std::string& log);

}  // namespace TestSupport
