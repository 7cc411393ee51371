// One sentence about a run, in plain words.
#pragma once

#include <string>

#include "logreader/Findings.h"
#include "logreader/Runs.h"

namespace LogReader {

// From the outcome and the findings of the verdict.
std::string SentenceOf(const Run& run, const Verdict& verdict);

}  // namespace LogReader
