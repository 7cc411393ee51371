#include "tests/support/HeapWatch.h"

#include <cstdlib>
#include <new>

namespace {

using TestSupport::HeapLimit;

long long g_liveBlocks = 0;
std::size_t g_throwingLimit = HeapLimit::kAnySize;
std::size_t g_quietLimit = HeapLimit::kAnySize;
unsigned g_refused = 0;

void* Take(std::size_t size, std::size_t limit) noexcept {
  if (size >= limit) {
    ++g_refused;
    return nullptr;
  }
  // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): operator new gets its memory here
  void* const block = std::malloc(size != 0 ? size : 1);
  g_liveBlocks += block != nullptr ? 1 : 0;
  return block;
}

void* TakeOrThrow(std::size_t size) {
  void* const block = Take(size, g_throwingLimit);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void* TakeOrNull(std::size_t size) noexcept {
  return Take(size, g_quietLimit);
}

void GiveBack(void* block) noexcept {
  g_liveBlocks -= block != nullptr ? 1 : 0;
  std::free(block);  // NOLINT(cppcoreguidelines-no-malloc): as above
}

}  // namespace

void* operator new(std::size_t size) {
  return TakeOrThrow(size);
}
void* operator new[](std::size_t size) {
  return TakeOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return TakeOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return TakeOrNull(size);
}
void operator delete(void* block) noexcept {
  GiveBack(block);
}
void operator delete[](void* block) noexcept {
  GiveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
  GiveBack(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  GiveBack(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  GiveBack(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  GiveBack(block);
}

namespace TestSupport {

long long LiveBlocks() noexcept {
  return g_liveBlocks;
}

HeapLimit::HeapLimit(std::size_t throwing, std::size_t quiet) noexcept {
  g_throwingLimit = throwing;
  g_quietLimit = quiet;
  g_refused = 0;
}

HeapLimit::~HeapLimit() {
  g_throwingLimit = kAnySize;
  g_quietLimit = kAnySize;
}

unsigned HeapLimit::Refused() const noexcept {
  return g_refused;
}

}  // namespace TestSupport
