// The verdict of a run: by the catalogue, which judges each line alone, and by named rules for what it cannot.
#pragma once

#include "logreader/Case.h"
#include "logreader/Findings.h"
#include "logreader/Runs.h"

namespace LogReader {

extern const Rule kRules[];
extern const int kRuleCount;

// Judges the runs of one log in their order: some lines depend on what the runs before have left.
class Judge {
 public:
  // Also sets the kind of each line of the run.
  Verdict Take(Run& run);

 private:
  Before before_;
};

}  // namespace LogReader
