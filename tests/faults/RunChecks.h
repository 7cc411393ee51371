// What must be true after a run with failures.
#pragma once

#include "tests/faults/FaultWorld.h"
#include "tests/faults/SubjectProcess.h"
#include "tests/support/TextLines.h"

namespace Faults {

// One line for each promise that the run broke; empty if it kept all.
TestSupport::Lines BrokenPromises(const Scenario& scenario, const SubjectOutcome& outcome);

}  // namespace Faults
