// Which part of a sweep runs.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <string>

#include "tests/faults/FaultWorld.h"

namespace Faults {

inline int Number(const char* variable, int otherwise) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? std::atoi(text) : otherwise;
}

inline bool IsSwept(std::size_t scenario) {
  const int only = Number("VELA_FAULTS_SCENARIO", -1);
  return only < 0 || static_cast<std::size_t>(only) == scenario;
}

// The order for the subject, on the machine of this scenario.
inline std::string WithSuffix(const Scenario& scenario, const std::string& order) {
  return scenario.shellOnly ? order + " shell" : order;
}

}  // namespace Faults
