// A run log as entries: docs/log.md has its grammar.
//
// A level is usually at the beginning of a line. Where two runs write at the same time it can be anywhere, because
// nothing ends the closing line; and a line can begin with the rest of an entry that was overwritten. Therefore:
//   - A level begins an entry wherever it is.
//   - What follows the number of a closing line on the same line is a piece of its own.
//   - The second and third line of a header belong to it. Any other line without a level is a piece of its own, with
//     the level kNoLevel. Empty lines belong to the entry or piece before them.
//   - Line breaks are CR LF. LF alone counts too, for logs that were copied through other systems.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "logreader/Catalogue.h"

namespace LogReader {

struct Entry {
  Level level = kNoLevel;
  std::string text;    // bytes of the log, without level; '\n' between the lines of a header; cut after kLongestText
  long long line = 1;  // the number of the line where it begins
  bool beginsLine = true;  // false: it shares this line with the entry before it
  long long breaks = 0;    // line breaks that end it
  bool isCut = false;      // the text is longer
  long long size = 0;      // bytes in the log, level and line breaks included
};

// Reads bytes and passes on each entry when the next one begins. The result does not depend on the sizes of the parts.
// The memory that it needs does not depend on the log.
class EntryReader {
 public:
  // Two paths of the greatest length that Windows has, and some text.
  static constexpr std::size_t kLongestText = 2 * 32768 + 1024;

  using Sink = std::function<void(Entry&&)>;
  explicit EntryReader(Sink sink) : sink_(std::move(sink)) {}

  void Feed(std::string_view bytes);
  // The log ends here: passes on the last entry.
  void Finish();

 private:
  // What the next bytes of the current entry may be.
  enum class Part { kText, kSourceLine, kDestinationLine, kClosingCode };

  void Take(char byte);
  void TakeLineBreak();
  bool Hold(char byte);
  void ReleaseHeld();
  bool IsMarkOrBeginning(std::string_view held) const;
  void TakeMark();
  void Append(std::string_view bytes);
  void AppendToText(std::string_view bytes);
  void NoteClosingLine();
  void Begin(Level level);
  void Pass();

  Sink sink_;
  Entry entry_;
  bool isOpen_ = false;  // entry_ has begun
  Part part_ = Part::kText;
  std::string held_;        // the beginning of a level or of the next line of a header, or text
  bool hasReturn_ = false;  // a CR, which belongs to the line break if an LF follows
  std::size_t codeAt_ = 0;  // where the number of a closing line begins
  long long line_ = 1;
};

}  // namespace LogReader
