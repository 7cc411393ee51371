#include "tests/faults/MachineState.h"

#include <algorithm>
#include <utility>

#include "tests/faults/FaultWorld.h"
#include "tests/support/TestRegistry.h"

using TestSupport::Lines;

namespace Faults {

MachineState::MachineState() : MachineState(FaultWorld::Files(), FaultWorld::Registry()) {}

// For the second one of equal entries, nothing is left to do.
MachineState::MachineState(TestSupport::FileSnapshot itsFiles, TestSupport::RegistrySnapshot itsRegistry)
    : files(std::move(itsFiles)), registry(std::move(itsRegistry)) {
  for (const auto& [from, to] : TestSupport::PendingRenames()) {
    const std::string line = TestSupport::ToUtf8(from) + " -> " + TestSupport::ToUtf8(to);
    if (std::find(pending.begin(), pending.end(), line) == pending.end()) {
      pending.push_back(line);
    }
  }
  std::sort(pending.begin(), pending.end());
}

Lines Differences(const MachineState& wanted, const MachineState& actual) {
  Lines lines = TestSupport::FileSnapshot::Changes(wanted.files, actual.files);
  for (const std::string& line : TestSupport::RegistrySnapshot::Changes(wanted.registry, actual.registry)) {
    lines.push_back(line);
  }
  for (const std::string& line : wanted.pending) {
    if (std::find(actual.pending.begin(), actual.pending.end(), line) == actual.pending.end()) {
      lines.push_back("-at restart: " + line);
    }
  }
  for (const std::string& line : actual.pending) {
    if (std::find(wanted.pending.begin(), wanted.pending.end(), line) == wanted.pending.end()) {
      lines.push_back("+at restart: " + line);
    }
  }
  return lines;
}

}  // namespace Faults
