// What must hold after a run in which something failed.
#pragma once

#include "tests/faults/FaultWorld.h"
#include "tests/faults/SubjectProcess.h"
#include "tests/support/TextLines.h"

namespace Faults {

// One line for each promise that the run broke; none where it kept them all.
TestSupport::Lines BrokenPromises(const Scenario& scenario, const SubjectOutcome& outcome);

}  // namespace Faults
