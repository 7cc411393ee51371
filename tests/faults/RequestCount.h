// How often the product asks Windows for something.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "tests/faults/ProductCalls.h"
#include "tests/support/CallFailures.h"

namespace Faults {

// Counts the calls of every Windows function that can fail, as the list of the sweeps knows them, answered or not. The
// others read the process's own memory. What the C runtime writes to the log is not counted.
class RequestCount {
 public:
  RequestCount() {
    for (int number = 0; number < kCallCount; ++number) {
      const char* const name = NameOf(static_cast<ProductCall>(number));
      if (!ErrorsOf(name)->empty() && TestSupport::IsImported(name)) {
        functions_[name] =
            std::make_unique<TestSupport::CountedFunction>(name, nullptr, all_, TestSupport::FailureReturn{});
      }
    }
  }

  long long All() const { return all_->calls; }
  long long Of(const char* function) const { return functions_.at(function)->Calls(); }

 private:
  const std::shared_ptr<TestSupport::CallSequence> all_ = std::make_shared<TestSupport::CallSequence>();
  std::map<std::string, std::unique_ptr<TestSupport::CountedFunction>> functions_;
};

}  // namespace Faults
