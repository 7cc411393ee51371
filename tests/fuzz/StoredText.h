// A text as it lies in the registry: who stored it may have left out the terminator, stored several, cut a character in
// two, or stored more than anybody reads.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/fuzz/Input.h"
#include "tests/fuzz/host/windows.h"

namespace Fuzz {

class StoredText {
 public:
  // Three lines of the input: the text, how often it is repeated, and what is wrong with its end.
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
      bytes_.push_back(0);  // half of one
      return;
    }
    Add(L'\0');
    if (fault == 3) {
      Add(L'x');  // more behind it
    }
  }

  const std::vector<BYTE>& Bytes() const { return bytes_; }
  // The text up to where it ends.
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
