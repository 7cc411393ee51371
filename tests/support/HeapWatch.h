// The heap of this test program: counts blocks and bytes that were not freed, and makes allocations fail.
#pragma once

#include <cstddef>

namespace TestSupport {

// Blocks from operator new that were not freed so far. Do not put a check between two readings that you compare: the
// test framework keeps blocks itself.
long long LiveBlocks() noexcept;

// Allocations by operator new so far.
long long Allocations() noexcept;

// The most bytes from operator new that were in use at once since it was created, beyond those in use then. There is
// one at a time.
class HeapPeak {
 public:
  HeapPeak() noexcept;
  long long Bytes() const noexcept;

 private:
  const long long before_;
};

// During its lifetime, every allocation of `size` bytes or more fails: by an exception or, for callers that ask for it,
// by a null pointer. kAnySize makes one of the two kinds work as usual.
class HeapLimit {
 public:
  static constexpr std::size_t kAnySize = static_cast<std::size_t>(-1);

  explicit HeapLimit(std::size_t size) noexcept : HeapLimit(size, size) {}
  HeapLimit(std::size_t throwing, std::size_t quiet) noexcept;
  HeapLimit(const HeapLimit&) = delete;
  HeapLimit& operator=(const HeapLimit&) = delete;
  ~HeapLimit();

  unsigned Refused() const noexcept;  // allocations
};

}  // namespace TestSupport
