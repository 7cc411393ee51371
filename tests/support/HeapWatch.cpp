#include "tests/support/HeapWatch.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

using TestSupport::HeapLimit;

long long g_liveBlocks = 0;
long long g_liveBytes = 0;
long long g_mostBytes = 0;
long long g_allocations = 0;
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
  if (block != nullptr) {
    ++g_liveBlocks;
    ++g_allocations;
    g_liveBytes += static_cast<long long>(::_msize(block));
    g_mostBytes = std::max(g_mostBytes, g_liveBytes);
  }
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
  if (block != nullptr) {
    --g_liveBlocks;
    g_liveBytes -= static_cast<long long>(::_msize(block));
  }
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

long long Allocations() noexcept {
  return g_allocations;
}

HeapPeak::HeapPeak() noexcept : before_(g_liveBytes) {
  g_mostBytes = before_;
}

long long HeapPeak::Bytes() const noexcept {
  return g_mostBytes - before_;
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
