// The messages of the run log, from docs/messages: what an entry says, what kind of line it is, and what to do about
// it.
//
// The texts are bytes of the log (Latin-1), without the line breaks at their end. '\1' takes the place of a value. The
// build writes the table (scripts/messages.py table).
#pragma once

#include <string_view>
#include <vector>

namespace LogReader {

// The order of Message::kinds. kUnknown: an unknown switch, or the log does not show the command.
enum class Command : unsigned char { kInstall, kEnable, kDisable, kStatus, kUpgrade, kReload, kUninstall, kUnknown };
inline constexpr int kCommandCount = 7;

// A set of commands is a number with these bits.
constexpr unsigned BitOf(Command command) {
  return 1U << static_cast<unsigned>(command);
}

// kNever: the command does not write this message. From kFrame on, from the best to the worst.
enum class Kind : unsigned char { kNever, kFrame, kExpected, kUsual, kNotice, kLeft, kRestart, kProblem, kFatal };

enum Level : unsigned char { kNoLevel = 0, kInfo = 1, kError = 2, kWarn = 4, kEvent = 8 };

// Another kind if the of-th value (from 1) is this text.
struct ValueRule {
  int of;
  std::string_view is;
  Kind kind;
};

struct Message {
  std::string_view text;
  unsigned char levels;     // of Level
  std::string_view anchor;  // in docs/messages.md
  Kind kinds[kCommandCount];
  int first_rule;  // in kValueRules
  int rules;
  std::string_view meaning;  // UTF-8
  std::string_view remedy;   // UTF-8, or empty
};

extern const Message kMessages[];
extern const int kMessageCount;
extern const ValueRule kValueRules[];

using Values = std::vector<std::string_view>;

// The message with the most fixed text that the entry can be, and its values (parts of `text`); null if there is none.
// A blank at the end of a message may be missing in the entry.
const Message* FindMessage(Level level, std::string_view text, Values& values);

// True if the text can be the beginning of a message of this level: the log ended within it.
bool BeginsMessage(Level level, std::string_view text);

// The kind of line for this command. For kUnknown it is the worst one of all commands.
Kind KindOf(const Message& message, Command command, const Values& values);

bool IsWrittenBy(const Message& message, Command command);

// What begins an entry of this level: "LOG_INFO : ". Empty for kNoLevel.
std::string_view PrefixOf(Level level);

// The message of exactly this text, or null.
const Message* MessageOf(std::string_view text);

// The messages of the frame of a run, which the reader itself must know.
inline constexpr std::string_view kHeaderText = " cmd:\1\n src:\1\ndest:\1";
inline constexpr std::string_view kClosingText = "\1 VELA END!!! RetrunCode:\1";
inline constexpr std::string_view kUnknownSwitchText = "Pn error.";
// The exit code of a run whose memory ran out; any command can have it.
inline constexpr std::string_view kBrokenOffCode = "-520159230";

struct CommandName {
  Command command;
  std::string_view name;    // "-I"
  std::string_view plain;   // "install"
  std::string_view banner;  // its message
};
// In the order of Command, without kUnknown.
extern const CommandName kCommandNames[kCommandCount];

// Only the first two characters of a switch count.
Command CommandOfSwitch(std::string_view given);

}  // namespace LogReader
