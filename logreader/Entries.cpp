#include "logreader/Entries.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace LogReader {
namespace {

constexpr Level kLevels[] = {kInfo, kError, kWarn, kEvent};
constexpr std::string_view kHeaderBeginning = " cmd:";
constexpr std::string_view kSourceMark = " src:";
constexpr std::string_view kDestinationMark = "dest:";
constexpr std::string_view kClosingMark = " VELA END!!! RetrunCode:";
// All exit codes that the program has.
constexpr std::string_view kCodes[] = {"0", "1", "-520159231", kBrokenOffCode};

bool StartsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// True if the digit can belong to the number `code`. The next bytes on the line may be those of another run, so a whole
// code of the program is not continued.
bool ContinuesCode(std::string_view code, char digit) {
  if (digit != '-' && (digit < '0' || digit > '9')) {
    return false;
  }
  const bool isWhole = std::find(std::begin(kCodes), std::end(kCodes), code) != std::end(kCodes);
  return !isWhole && (digit != '-' || code.empty());
}

// Bytes that need a closer look. Most of a log has none of them.
bool IsSpecial(char byte) {
  return byte == '\n' || byte == '\r' || byte == 'L' || byte == ':';
}

}  // namespace

void EntryReader::Feed(std::string_view bytes) {
  while (!bytes.empty()) {
    const bool isPlain = isOpen_ && entry_.breaks == 0 && held_.empty() && !hasReturn_ && part_ != Part::kClosingCode;
    const auto end = isPlain ? std::find_if(bytes.begin(), bytes.end(), IsSpecial) : bytes.begin();
    const auto count = static_cast<std::size_t>(end - bytes.begin());
    if (count > 0) {
      AppendToText(bytes.substr(0, count));
      bytes.remove_prefix(count);
    } else {
      Take(bytes.front());
      bytes.remove_prefix(1);
    }
  }
}

void EntryReader::Finish() {
  ReleaseHeld();
  if (hasReturn_) {
    hasReturn_ = false;
    Append("\r");
  }
  Pass();
}

void EntryReader::Take(char byte) {
  if (byte == '\n') {
    ReleaseHeld();
    TakeLineBreak();
    return;
  }
  if (hasReturn_) {
    hasReturn_ = false;
    Append("\r");
  }
  if (byte == '\r') {
    ReleaseHeld();
    hasReturn_ = true;
    return;
  }
  if (!Hold(byte)) {
    Append(std::string_view(&byte, 1));
  }
}

void EntryReader::TakeLineBreak() {
  if (!isOpen_) {
    Begin(kNoLevel);
  }
  const bool isHeader =
      entry_.level == kInfo && entry_.breaks == 0 && part_ == Part::kText && StartsWith(entry_.text, kHeaderBeginning);
  if (isHeader && entry_.text.find('\n') == std::string::npos) {
    part_ = Part::kSourceLine;
  } else if (part_ == Part::kClosingCode) {
    part_ = Part::kText;
  }
  entry_.size += hasReturn_ ? 2 : 1;
  hasReturn_ = false;
  ++entry_.breaks;
  ++line_;
}

// True if the byte is kept back, because it may belong to a mark.
bool EntryReader::Hold(char byte) {
  held_ += byte;
  if (!IsMarkOrBeginning(held_)) {
    held_.pop_back();
    ReleaseHeld();
    // No mark has the first byte of a level a second time, and the others are only at the beginning of a line.
    held_ = byte;
    if (!IsMarkOrBeginning(held_)) {
      held_.clear();
      return false;
    }
  }
  TakeMark();
  return true;
}

void EntryReader::ReleaseHeld() {
  if (!held_.empty()) {
    const std::string text = std::exchange(held_, {});
    Append(text);
  }
}

bool EntryReader::IsMarkOrBeginning(std::string_view held) const {
  const bool isLevel = std::any_of(std::begin(kLevels), std::end(kLevels),
                                   [&](Level level) { return StartsWith(PrefixOf(level), held); });
  const bool mayBeOfHeader = isOpen_ && entry_.breaks > 0;
  return isLevel || (mayBeOfHeader && part_ == Part::kSourceLine && StartsWith(kSourceMark, held)) ||
         (mayBeOfHeader && part_ == Part::kDestinationLine && StartsWith(kDestinationMark, held));
}

// Acts on the held bytes if they are a whole mark.
void EntryReader::TakeMark() {
  for (const Level level : kLevels) {
    if (held_ == PrefixOf(level)) {
      Begin(level);
      entry_.size = static_cast<long long>(std::exchange(held_, {}).size());
      return;
    }
  }
  if (held_ == kSourceMark || held_ == kDestinationMark) {
    part_ = held_ == kSourceMark ? Part::kDestinationLine : Part::kText;
    entry_.breaks = 0;
    const std::string mark = std::exchange(held_, {});
    AppendToText("\n");
    --entry_.size;  // the bytes of the line break are counted
    AppendToText(mark);
  }
}

void EntryReader::Append(std::string_view bytes) {
  for (const char byte : bytes) {
    const bool endsCode =
        part_ == Part::kClosingCode && !ContinuesCode(std::string_view(entry_.text).substr(codeAt_), byte);
    if (!isOpen_ || entry_.breaks > 0 || endsCode) {
      Begin(kNoLevel);
    }
    AppendToText(std::string_view(&byte, 1));
    if (byte == ':') {
      NoteClosingLine();
    }
  }
}

void EntryReader::AppendToText(std::string_view bytes) {
  entry_.size += static_cast<long long>(bytes.size());
  const std::size_t room = kLongestText - entry_.text.size();
  entry_.isCut = entry_.isCut || bytes.size() > room;
  entry_.text.append(bytes.substr(0, room));
}

void EntryReader::NoteClosingLine() {
  if (entry_.level == kInfo && !entry_.isCut && entry_.text.front() == '[' && EndsWith(entry_.text, kClosingMark)) {
    part_ = Part::kClosingCode;
    codeAt_ = entry_.text.size();
  }
}

void EntryReader::Begin(Level level) {
  const bool beginsLine = !isOpen_ || entry_.breaks > 0;
  Pass();
  isOpen_ = true;
  part_ = Part::kText;
  entry_.level = level;
  entry_.line = line_;
  entry_.beginsLine = beginsLine;
}

void EntryReader::Pass() {
  if (isOpen_) {
    isOpen_ = false;
    sink_(std::exchange(entry_, {}));
  }
}

}  // namespace LogReader
