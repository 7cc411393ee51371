// What a run leaves on a machine.
#pragma once

#include "tests/support/FileSnapshot.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/TextLines.h"

namespace Faults {

// The state of the machine now: files, registry, and what is scheduled for the restart.
struct MachineState {
  TestSupport::FileSnapshot files;
  TestSupport::RegistrySnapshot registry;
  TestSupport::Lines pending;  // sorted; an entry that is in the list twice counts once

  MachineState();  // of the world of the sweeps
  MachineState(TestSupport::FileSnapshot itsFiles, TestSupport::RegistrySnapshot itsRegistry);
};

// One line for each difference.
TestSupport::Lines Differences(const MachineState& wanted, const MachineState& actual);

}  // namespace Faults
