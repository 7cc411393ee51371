// The heap of this test program: what is taken and not given back, and attempts that fail.
#pragma once

#include <cstddef>

namespace OrCommonTests {

// Blocks from operator new that nobody has given back so far. Compare two readings with no check between them: the test
// framework keeps blocks of its own.
long long LiveBlocks() noexcept;

// While it lives, the heap has no block of `size` bytes or more, neither for those who ask with an exception at failure
// nor for those who take a null pointer. Each may be left alone with kAnySize.
class HeapLimit {
 public:
  static constexpr std::size_t kAnySize = static_cast<std::size_t>(-1);

  explicit HeapLimit(std::size_t size) noexcept : HeapLimit(size, size) {}
  HeapLimit(std::size_t throwing, std::size_t quiet) noexcept;
  HeapLimit(const HeapLimit&) = delete;
  HeapLimit& operator=(const HeapLimit&) = delete;
  ~HeapLimit();

  unsigned Refused() const noexcept;  // attempts
};

}  // namespace OrCommonTests
