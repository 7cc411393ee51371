// What must be true after a run with failures.
#pragma once

#include <windows.h>

#include "tests/faults/FaultWorld.h"
#include "tests/faults/SubjectProcess.h"
#include "tests/support/TextLines.h"

namespace Faults {

// The exit code of a run whose memory ran out, if no command caught that.
inline constexpr DWORD kBrokenOff = 0xE0FF0002;

// One line for each promise that the run broke; empty if it kept all.
TestSupport::Lines BrokenPromises(const Scenario& scenario, const SubjectOutcome& outcome);

}  // namespace Faults
