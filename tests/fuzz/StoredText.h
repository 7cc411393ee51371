// A text as stored in the registry. The terminator may be missing or repeated, a character may be cut in two, or the
// text may be longer than any reader expects.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/fuzz/Input.h"
#include "tests/fuzz/host/windows.h"

namespace Fuzz {

class StoredText {
 public:
  // Three lines of the input: the text, the number of repetitions, and the error at its end.
  explicit StoredText(Input& input) {
    const std::wstring text = input.Text();
    for (std::uint32_t times = input.Number() % kMostRepetitions; times != 0; --times) {
      text_ += text;
    }
    const std::uint32_t fault = input.Number() % kFaults;
    for (const wchar_t character : text_) {
      Add(character);
    }
    if (fault == 1) {
      return;  // no terminator
    }
    if (fault == 2) {
      bytes_.push_back(0);  // half a terminator
      return;
    }
    Add(L'\0');
    if (fault == 3) {
      Add(L'x');  // more text after it
    }
  }

  const std::vector<BYTE>& Bytes() const { return bytes_; }
  // The text up to its end.
  const std::wstring& Read() const { return text_; }

 private:
  static constexpr std::uint32_t kMostRepetitions = 300;
  static constexpr std::uint32_t kFaults = 4;

  void Add(wchar_t character) {
    bytes_.push_back(static_cast<BYTE>(character & 0xFF));
    bytes_.push_back(static_cast<BYTE>(character >> 8));
  }

  std::wstring text_;
  std::vector<BYTE> bytes_;
};

}  // namespace Fuzz
