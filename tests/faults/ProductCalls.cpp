#include "tests/faults/ProductCalls.h"

namespace Faults {

const char* NameOf(ProductCall call) {
#define FAULTS_NAME(name) #name,
#define FAULTS_BOUND_NAME(name, ...) #name,
  // clang-format off
  static constexpr const char* kNames[] = {
      FAULTS_IMPORTED_CALLS(FAULTS_NAME)
      FAULTS_BOUND_CALLS(FAULTS_BOUND_NAME)
  };
  // clang-format on
#undef FAULTS_NAME
#undef FAULTS_BOUND_NAME
  static_assert(sizeof kNames / sizeof kNames[0] == kCallCount);
  return kNames[static_cast<int>(call)];
}

}  // namespace Faults
