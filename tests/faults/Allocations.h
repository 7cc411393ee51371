// The memory that the subject's product takes from the heap, and its failure.
//
// The linker sends every call of malloc, calloc, realloc and _onexit in the whole program to Allocations.cpp (operator
// new and the runtime's own start call them, too). The product's calls of Windows functions that return memory come
// here through CallRedirections.cpp. The environment variable VELA_FAULTS_MEMORY controls which fail:
//   "alone <n>"    allocation n
//   "lasting <n>"  allocation n and every later one
// Allocations are counted from 1, from the start of the process. What the test code itself allocates is not counted.
#pragma once

#include <string>

#include "tests/faults/ProductCalls.h"

namespace Faults::Allocations {

// During its lifetime, allocations are those of the test code.
class Aside {
 public:
  Aside() noexcept;
  Aside(const Aside&) = delete;
  Aside& operator=(const Aside&) = delete;
  ~Aside();
};

// True for a Windows function that returns memory.
constexpr bool Takes(ProductCall call) {
  return call == ProductCall::kAllocateAndInitializeSid || call == ProductCall::kConvertSidToStringSidW ||
         call == ProductCall::kLocalAlloc || call == ProductCall::kSetEntriesInAclW;
}

// Counts an allocation of the product by such a function. True if it must fail.
bool Fails() noexcept;

// Notes: "allocations <number> <of them before the product's first call>", and "refused <number> <place>..." of the
// first that failed: the calling functions, innermost first.
std::string Notes();

// From here on, allocations belong to the product's own code, not to the start of the runtime.
void BeginProduct() noexcept;

}  // namespace Faults::Allocations
