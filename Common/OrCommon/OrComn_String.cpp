#include "Common/OrCommon/OrComn_String.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <memory>
#include <new>

namespace OrCommon::String {
namespace {

wchar_t ToAsciiLower(wchar_t character) noexcept {
  return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a') : character;
}

// Both in characters, both 0 until the first use. Atomic because traces of any thread are formatted here.
std::atomic<std::size_t> g_initialCapacity = 0;
std::atomic<std::size_t> g_growthStep = 0;

constexpr std::size_t kCharacters = 256;

std::size_t InitialCapacity() noexcept {
  if (g_initialCapacity == 0) {
    g_initialCapacity = kCharacters;
  }
  return g_initialCapacity;
}

std::size_t GrowthStep() noexcept {
  if (g_growthStep == 0) {
    g_growthStep = kCharacters;
  }
  return g_growthStep;
}

// The lines that identify the two operations in an exception.
constexpr DWORD kFormatLine = 55;
constexpr DWORD kFormatVLine = 84;

enum class Outcome { kFits, kTooSmall, kNoMemory };

// Formats into at most `capacity` characters, the terminator included.
Outcome Attempt(std::wstring& text, std::size_t capacity, const wchar_t* format, std::va_list arguments) {
  if (capacity == 0) {
    return Outcome::kTooSmall;
  }
  if (capacity > PTRDIFF_MAX / sizeof(wchar_t)) {
    return Outcome::kNoMemory;  // the allocation below would throw for a size that no address space has
  }
  const std::unique_ptr<wchar_t[]> buffer(new (std::nothrow) wchar_t[capacity]());
  if (!buffer) {
    return Outcome::kNoMemory;
  }
  // The truncating formatter of the platform's runtime, whose %s is wide text, into a zeroed buffer and one character
  // short of it: a text that fits is always terminated. vswprintf would read %s as narrow text and truncate silently,
  // and the checked variant does not exist on Windows 5.2.
  if (::_vsnwprintf(buffer.get(), capacity - 1, format, arguments) < 0) {
    return Outcome::kTooSmall;
  }
  try {
    text.assign(buffer.get());
  } catch (const std::bad_alloc&) {
    return Outcome::kNoMemory;
  }
  return Outcome::kFits;
}

}  // namespace

bool Format(std::wstring& text, const wchar_t* format, ...) {
  text.clear();
  std::va_list arguments;
  va_start(arguments, format);
  Outcome outcome = Outcome::kTooSmall;
  for (std::size_t capacity = InitialCapacity(); outcome == Outcome::kTooSmall; capacity += GrowthStep()) {
    std::va_list attempt;
    va_copy(attempt, arguments);
    outcome = Attempt(text, capacity, format, attempt);
    va_end(attempt);
  }
  va_end(arguments);
  if (outcome == Outcome::kNoMemory) {
    throw new Exception(kFormatLine);
  }
  return true;
}

bool FormatV(std::wstring& text, std::size_t& capacity, const wchar_t* format, std::va_list arguments) {
  switch (Attempt(text, capacity, format, arguments)) {
    case Outcome::kFits:
      return true;
    case Outcome::kNoMemory:
      throw new Exception(kFormatVLine);
    case Outcome::kTooSmall:
      break;
  }
  capacity += GrowthStep();
  return false;
}

bool EqualsIgnoringAsciiCase(std::wstring_view left, std::wstring_view right) noexcept {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](wchar_t a, wchar_t b) { return ToAsciiLower(a) == ToAsciiLower(b); });
}

}  // namespace OrCommon::String
