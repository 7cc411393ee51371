// VELAlog.exe is asked about each run in which one call failed. Its verdict must agree with what the run left.
#pragma once

#include <string>

#include "logreader/Findings.h"
#include "tests/faults/FaultWorld.h"
#include "tests/faults/MachineState.h"
#include "tests/faults/SubjectProcess.h"
#include "tests/support/TextLines.h"

namespace Faults {

// What a run left, and what its log says.
struct JudgedRun {
  MachineState machine;
  TestSupport::Lines deeds;  // what else it did: processes, events, the answer of -s
  LogReader::Verdict verdict;

  JudgedRun(const SubjectOutcome& outcome, MachineState left);
};

struct VerdictCheck {
  TestSupport::Lines wrong;  // one line for each disagreement
  bool isListed = false;     // there is a disagreement, and all of it is in the tables
};

// Compares the run in which this call failed with the undisturbed one. If it left something else, its verdict must name
// a failure that the other one does not name, and only then. The tables in VerdictChecks.cpp have the exceptions.
VerdictCheck CheckVerdict(const Scenario& scenario, const NotedCall& failed, const JudgedRun& undisturbed,
                          const JudgedRun& run);

// Each exception of the tables as a line, with the number of its uses so far in front. scripts/prove.sh reports those
// that no full sweep uses.
std::string ExceptionUses();

}  // namespace Faults
