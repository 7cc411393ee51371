#include "logreader/Catalogue.h"

#include <algorithm>
#include <string>

namespace LogReader {

// Each row gets the members in their order. The compiler checks that the rows have these types.
constexpr Message kMessages[] = {
#include "logreader_table.inc"
};
constexpr int kMessageCount = sizeof kMessages / sizeof kMessages[0];

#define LOGREADER_VALUE_RULES
constexpr ValueRule kValueRules[] = {
#include "logreader_table.inc"
};
#undef LOGREADER_VALUE_RULES

constexpr CommandName kCommandNames[kCommandCount] = {
    {Command::kInstall, "-I", "install", "======== Install ========="},
    {Command::kEnable, "-e", "enable", "======== Enable =========="},
    {Command::kDisable, "-d", "disable", "======== Disable ========="},
    {Command::kStatus, "-s", "status", "======= GetStatus ========"},
    {Command::kUpgrade, "-p", "upgrade", "======= Upgrade VELA ========"},
    {Command::kReload, "-r", "reload", "======= Notify Reload Engine and Pattern ========"},
    {Command::kUninstall, "-U", "uninstall", "======= Uninstall ========"},
};

namespace {

constexpr char kValue = '\1';

struct LevelName {
  Level level;
  std::string_view prefix;
};
constexpr LevelName kLevelNames[] = {
    {kInfo, "LOG_INFO : "}, {kError, "LOG_ERROR: "}, {kWarn, "LOG_WARN : "}, {kEvent, "LOG_EVENT :"}};

// The fixed text up to the first value.
std::string_view HeadOf(const Message& message) {
  return message.text.substr(0, message.text.find(kValue));
}

std::size_t FixedLength(const Message& message) {
  return message.text.size() - static_cast<std::size_t>(std::count(message.text.begin(), message.text.end(), kValue));
}

bool StartsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

bool IsValue(std::string_view text) {
  return text.find('\n') == std::string_view::npos;
}

// Each value ends where the fixed text behind it occurs first; the last one, at the end of the text.
bool Matches(std::string_view text, std::string_view pattern, Values& values) {
  values.clear();
  const std::string_view head = pattern.substr(0, pattern.find(kValue));
  if (!StartsWith(text, head)) {
    return false;
  }
  text.remove_prefix(head.size());
  pattern.remove_prefix(head.size());
  while (!pattern.empty()) {
    pattern.remove_prefix(1);  // the value
    const std::size_t next = pattern.find(kValue);
    const std::string_view fixed = pattern.substr(0, next);
    std::size_t end = text.find(fixed);
    if (next == std::string_view::npos) {
      end = text.size() < fixed.size() || text.substr(text.size() - fixed.size()) != fixed ? std::string_view::npos
                                                                                           : text.size() - fixed.size();
    }
    if (end == std::string_view::npos || !IsValue(text.substr(0, end))) {
      return false;
    }
    values.push_back(text.substr(0, end));
    text.remove_prefix(end + fixed.size());
    pattern.remove_prefix(fixed.size());
  }
  return text.empty();
}

// The messages by the first byte of their text. A log has millions of entries, and most of them can be only a few
// messages.
class Index {
 public:
  Index() {
    for (const Message& message : kMessages) {
      const std::string_view head = HeadOf(message);
      if (head.empty()) {
        for (auto& messages : byFirst_) {
          messages.push_back(&message);
        }
      } else {
        byFirst_[static_cast<unsigned char>(head.front())].push_back(&message);
      }
    }
  }
  const std::vector<const Message*>& Candidates(std::string_view text) const {
    return byFirst_[text.empty() ? 0 : static_cast<unsigned char>(text.front())];
  }

 private:
  std::vector<const Message*> byFirst_[256];
};

const Index& TheIndex() {
  static const Index index;
  return index;
}

// True if `candidate` says more about the entry than `best`.
bool IsCloser(const Message& candidate, std::size_t values, const Message& best, std::size_t bestValues) {
  const std::size_t fixed = FixedLength(candidate);
  const std::size_t bestFixed = FixedLength(best);
  return fixed > bestFixed || (fixed == bestFixed && values < bestValues);
}

const Message* FindExactly(Level level, std::string_view text, Values& values) {
  const Message* best = nullptr;
  Values found;
  for (const Message* const message : TheIndex().Candidates(text)) {
    if ((message->levels & level) != 0 && Matches(text, message->text, found) &&
        (best == nullptr || IsCloser(*message, found.size(), *best, values.size()))) {
      best = message;
      values.swap(found);
    }
  }
  return best;
}

}  // namespace

const Message* FindMessage(Level level, std::string_view text, Values& values) {
  values.clear();
  if (const Message* const message = FindExactly(level, text, values)) {
    return message;
  }
  // Some editors cut the blanks at the end of a line off. No message ends in more than one.
  for (const Message* const message : TheIndex().Candidates(text)) {
    if ((message->levels & level) == 0) {
      continue;
    }
    if (!message->text.empty() && message->text.back() == ' ' &&
        Matches(text, message->text.substr(0, message->text.size() - 1), values)) {
      return message;
    }
    const std::size_t end = message->text.size();
    if (end > 1 && message->text.substr(end - 2) == " \1" && Matches(text, message->text.substr(0, end - 2), values)) {
      values.push_back(text.substr(text.size()));
      return message;
    }
  }
  values.clear();
  return nullptr;
}

bool BeginsMessage(Level level, std::string_view text) {
  Values values;
  for (const Message* const message : TheIndex().Candidates(text)) {
    if ((message->levels & level) == 0) {
      continue;
    }
    const std::string_view whole = message->text;
    if (StartsWith(HeadOf(*message), text)) {
      return true;
    }
    for (std::size_t value = whole.find(kValue); value != std::string_view::npos;
         value = whole.find(kValue, value + 1)) {
      if (value > 0 && Matches(text, whole.substr(0, value + 1), values)) {
        return true;
      }
    }
  }
  return text.empty();
}

Kind KindOf(const Message& message, Command command, const Values& values) {
  for (int index = message.first_rule; index < message.first_rule + message.rules; ++index) {
    const ValueRule& rule = kValueRules[index];
    const auto place = static_cast<std::size_t>(rule.of) - 1;
    if (place < values.size() && values[place] == rule.is) {
      return rule.kind;
    }
  }
  if (command != Command::kUnknown) {
    return message.kinds[static_cast<int>(command)];
  }
  return *std::max_element(std::begin(message.kinds), std::end(message.kinds));
}

bool IsWrittenBy(const Message& message, Command command) {
  return command == Command::kUnknown || message.kinds[static_cast<int>(command)] != Kind::kNever;
}

std::string_view PrefixOf(Level level) {
  for (const LevelName& name : kLevelNames) {
    if (name.level == level) {
      return name.prefix;
    }
  }
  return {};
}

const Message* MessageOf(std::string_view text) {
  for (const Message& message : kMessages) {
    if (message.text == text) {
      return &message;
    }
  }
  return nullptr;
}

Command CommandOfSwitch(std::string_view given) {
  for (const CommandName& name : kCommandNames) {
    if (StartsWith(given, name.name)) {
      return name.command;
    }
  }
  return Command::kUnknown;
}

}  // namespace LogReader
