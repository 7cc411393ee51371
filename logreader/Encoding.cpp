#include "logreader/Encoding.h"

#include <algorithm>
#include <utility>

namespace LogReader {
namespace {

constexpr std::string_view kMarkLittle = "\xFF\xFE";
constexpr std::string_view kMarkBig = "\xFE\xFF";
constexpr std::string_view kMarkUtf8 = "\xEF\xBB\xBF";

unsigned CodeOf(char byte) {
  return static_cast<unsigned char>(byte);
}

char Latin1Of(unsigned character) {
  return character <= 0xFF ? static_cast<char>(character) : '?';
}

// The characters of two bytes each. An odd byte at the end stays in `bytes`.
std::string FromUtf16(std::string& bytes, bool isLittle) {
  std::string text;
  std::size_t at = 0;
  for (; at + 1 < bytes.size(); at += 2) {
    const unsigned first = CodeOf(bytes[at]);
    const unsigned second = CodeOf(bytes[at + 1]);
    text += Latin1Of(isLittle ? second << 8U | first : first << 8U | second);
  }
  bytes.erase(0, at);
  return text;
}

// The length of the sequence that this byte begins; 1 if it begins none.
std::size_t SequenceLength(unsigned first) {
  if (first >= 0xC2 && first <= 0xDF) {
    return 2;
  }
  if (first >= 0xE0 && first <= 0xEF) {
    return 3;
  }
  return first >= 0xF0 && first <= 0xF4 ? 4 : 1;
}

// A byte that is no UTF-8 stays as it is. An incomplete sequence at the end stays in `bytes`, unless it is the end.
std::string FromUtf8(std::string& bytes, bool isEnd) {
  std::string text;
  std::size_t at = 0;
  while (at < bytes.size()) {
    const unsigned first = CodeOf(bytes[at]);
    const std::size_t length = SequenceLength(first);
    std::size_t next = at + 1;
    while (next < std::min(at + length, bytes.size()) && (CodeOf(bytes[next]) & 0xC0U) == 0x80) {
      ++next;
    }
    if (next == bytes.size() && next < at + length && !isEnd) {
      break;
    }
    if (next < at + length || length == 1) {
      text += bytes[at];
      ++at;
    } else {
      text += Latin1Of(length == 2 ? (first & 0x1FU) << 6U | (CodeOf(bytes[at + 1]) & 0x3FU) : 0x100);
      at = next;
    }
  }
  bytes.erase(0, at);
  return text;
}

bool CanBegin(std::string_view mark, std::string_view bytes) {
  return bytes.substr(0, mark.size()) == mark.substr(0, bytes.size());
}

}  // namespace

std::string ToUtf8(std::string_view latin1) {
  std::string text;
  text.reserve(latin1.size());
  for (const char byte : latin1) {
    const unsigned character = CodeOf(byte);
    if (character >= 0x80) {
      text += static_cast<char>(0xC0U | character >> 6U);
    }
    text += character < 0x80 ? byte : static_cast<char>(0x80U | (character & 0x3FU));
  }
  return text;
}

std::string ToPrintable(std::string_view latin1) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const char byte : latin1) {
    const unsigned character = CodeOf(byte);
    if (character < 0x20 || (character >= 0x7F && character < 0xA0)) {
      text += "\\x";
      text += kDigits[character >> 4U];
      text += kDigits[character & 0xFU];
    } else {
      text += byte;
    }
  }
  return ToUtf8(text);
}

std::string ByteRestorer::Restore(std::string_view part) {
  if (form_ == Form::kBytes) {
    return std::string(part);
  }
  pending_ += part;
  Decide(false);
  switch (form_) {
    case Form::kBytes:
      return std::exchange(pending_, {});
    case Form::kUtf16Little:
    case Form::kUtf16Big:
      return FromUtf16(pending_, form_ == Form::kUtf16Little);
    case Form::kUtf8:
      return FromUtf8(pending_, false);
    default:
      return {};
  }
}

std::string ByteRestorer::Finish() {
  Decide(true);
  return form_ == Form::kUtf8 ? FromUtf8(pending_, true) : std::exchange(pending_, {});
}

void ByteRestorer::Decide(bool isEnd) {
  if (form_ != Form::kUndecided) {
    return;
  }
  constexpr std::pair<std::string_view, Form> kForms[] = {
      {kMarkLittle, Form::kUtf16Little}, {kMarkBig, Form::kUtf16Big}, {kMarkUtf8, Form::kUtf8}};
  bool isPossible = false;
  for (const auto& [mark, form] : kForms) {
    if (pending_.size() >= mark.size() && CanBegin(mark, pending_)) {
      form_ = form;
      pending_.erase(0, mark.size());
      return;
    }
    isPossible = isPossible || CanBegin(mark, pending_);
  }
  if (!isPossible || isEnd) {
    form_ = Form::kBytes;
  }
}

}  // namespace LogReader
