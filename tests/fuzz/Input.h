// The input of a fuzzer as lines, so that seeds are readable text files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace Fuzz {

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : next_(data), end_(data + size) {}

  bool AtEnd() const { return next_ == end_; }

  // The next line. A byte above 127 and the byte after it are one character. So any UTF-16 unit can occur, also halves
  // of surrogate pairs. No character is U+0000.
  std::wstring Text() {
    std::wstring text;
    while (next_ != end_ && *next_ != '\n') {
      unsigned character = *next_++;
      if (character >= 0x80 && next_ != end_) {
        character = character << 8U | *next_++;
      }
      if (character != 0) {
        text += static_cast<wchar_t>(character);
      }
    }
    SkipLineEnd();
    return text;
  }

  // The decimal digits of the next line, modulo 2^32.
  std::uint32_t Number() {
    std::uint32_t number = 0;
    for (; next_ != end_ && *next_ != '\n'; ++next_) {
      if (*next_ >= '0' && *next_ <= '9') {
        number = number * 10 + (*next_ - std::uint32_t{'0'});
      }
    }
    SkipLineEnd();
    return number;
  }

  bool Flag() { return Number() % 2 != 0; }

 private:
  void SkipLineEnd() {
    if (next_ != end_) {
      ++next_;
    }
  }

  const std::uint8_t* next_;
  const std::uint8_t* end_;
};

// A property that must hold for every input. The fuzzer keeps an input for which it does not hold.
inline void Require(bool holds, const char* property) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
  }
}

}  // namespace Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
