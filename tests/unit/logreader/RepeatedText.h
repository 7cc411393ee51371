// A log of any size that needs no disk.
#pragma once

#include <algorithm>
#include <streambuf>
#include <string>
#include <utility>

#include "tests/support/HeapWatch.h"

namespace SmallLogs {

// The same text again and again.
class RepeatedText : public std::streambuf {
 public:
  RepeatedText(std::string text, int times) : text_(std::move(text)), left_(times) {}

  // The most blocks of the heap that were in use at once while the log was read.
  long long MostBlocks() const { return most_; }

 protected:
  int_type underflow() override {
    most_ = std::max(most_, TestSupport::LiveBlocks());
    if (left_-- == 0) {
      return traits_type::eof();
    }
    setg(text_.data(), text_.data(), text_.data() + text_.size());
    return traits_type::to_int_type(text_.front());
  }

 private:
  std::string text_;
  int left_;
  long long most_ = 0;
};

}  // namespace SmallLogs
