#include "logreader/Runs.h"

#include <algorithm>
#include <utility>

namespace LogReader {
namespace {

// Of more runs at the same time, the oldest counts as not closed.
constexpr std::size_t kMostOpen = 4;
constexpr std::size_t kMostWaiting = 64;
constexpr std::size_t kMostOutside = 100;  // lines between two runs
constexpr std::size_t kLastTextLength = 300;
constexpr std::string_view kHeaderBeginning = " cmd:";
constexpr unsigned kEveryCommand = (1U << kCommandCount) - 1;

bool StartsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

// The text after the mark, up to the end of the line. Empty if there is no mark.
std::string After(std::string_view text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  if (at == std::string_view::npos) {
    return {};
  }
  const std::string_view rest = text.substr(at + mark.size());
  return std::string(rest.substr(0, rest.find('\n')));
}

const CommandName* BannerOf(const Line& line) {
  const auto* const end = kCommandNames + kCommandCount;
  const auto* const found =
      std::find_if(kCommandNames, end, [&](const CommandName& name) { return line.Is(name.banner); });
  return found == end ? nullptr : found;
}

// The commands that write this message, as bits.
unsigned WritersOf(const Message& message) {
  unsigned writers = 0;
  for (int command = 0; command < kCommandCount; ++command) {
    writers |= message.kinds[command] != Kind::kNever ? 1U << command : 0U;
  }
  return writers;
}

// The command, if exactly one bit is set.
Command OnlyOf(unsigned commands) {
  for (int command = 0; command < kCommandCount; ++command) {
    if (commands == 1U << command) {
      return static_cast<Command>(command);
    }
  }
  return Command::kUnknown;
}

bool CanEndWith(Command command, std::string_view code) {
  if (code == kBrokenOffCode) {
    return true;
  }
  switch (command) {
    case Command::kInstall:
      return code == "0" || code == "-520159231";
    case Command::kUpgrade:
    case Command::kReload:
      return code == "0" || code == "1";
    case Command::kUnknown:
      return true;
    default:
      return code == "0";
  }
}

// The text of a banner, and that of "Pn error.", ends in a line break.
long long OwnBreaksOf(const Line& line) {
  return BannerOf(line) != nullptr || line.Is(kUnknownSwitchText) ? 1 : 0;
}

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(' ') == std::string_view::npos;
}

}  // namespace

Values Line::GetValues() const {
  Values values;
  if (message != nullptr) {
    FindMessage(entry.level, entry.text, values);
  }
  return values;
}

void RunReader::Take(Entry&& entry) {
  Line line;
  line.entry = std::move(entry);
  Values values;
  if (line.entry.level != kNoLevel) {
    line.message = FindMessage(line.entry.level, line.entry.text, values);
  }
  // The entry of a run that is still open would be on the line of the closing line, which nothing ends. So a run that
  // began before the closed one will not write any more.
  if (wasClosing_ && line.entry.beginsLine) {
    GiveUpOlderThanClosed();
  }
  const long long breaks = line.entry.breaks - OwnBreaksOf(line);
  if (line.entry.level == kInfo && StartsWith(line.entry.text, kHeaderBeginning)) {
    BeginRun(std::move(line));
  } else if (line.Is(kClosingText) && !values[1].empty()) {
    TakeClosing(std::move(line));
  } else if (line.entry.level != kNoLevel || !IsBlank(line.entry.text)) {
    TakeOther(std::move(line));
  }
  lastBreaks_ = breaks;
  PassOver(false);
}

void RunReader::Finish() {
  NoteEnd(0);
  for (Slot* const slot : OpenSlots()) {
    slot->isOpen = false;
  }
  PassOver(true);
}

// The program writes a line break before it writes the next entry. If the last entry of a run has none, besides that of
// the next run, it could not write any more: the run was not just ended. `breaksOfNext`: line breaks of the next run.
void RunReader::NoteEnd(long long breaksOfNext) {
  if (last_ != nullptr) {
    last_->run.endsInLine = lastBreaks_ <= breaksOfNext;
  }
}

RunReader::Slot& RunReader::AddSlot() {
  slots_.emplace_back();
  Slot& slot = slots_.back();
  slot.possible = kEveryCommand;
  slot.alike.resize(static_cast<std::size_t>(kMessageCount) + 1);
  slot.run.number = ++count_;
  for (Line& line : std::exchange(outside_, {})) {
    slot.run.lines.push_back(std::move(line));
    ++slot.keptOutside;
  }
  slot.run.leftOut = std::exchange(outsideLeftOut_, 0);
  const std::vector<Slot*> open = OpenSlots();
  if (open.size() > kMostOpen) {
    open.front()->isOpen = false;
  }
  if (slots_.size() > kMostWaiting) {
    slots_.front().isOpen = false;
  }
  return slot;
}

void RunReader::BeginRun(Line&& header) {
  NoteEnd(1);
  Slot& slot = AddSlot();
  Run& run = slot.run;
  run.hasHeader = true;
  run.givenSwitch = After(header.entry.text, kHeaderBeginning);
  run.source = After(header.entry.text, "\n src:");
  run.destination = After(header.entry.text, "\ndest:");
  run.command = CommandOfSwitch(run.givenSwitch);
  Add(slot, std::move(header));
  last_ = &slot;
  wasClosing_ = false;
}

void RunReader::TakeClosing(Line&& closing) {
  Slot* slot = FindClosed(closing);
  if (slot == nullptr) {
    const bool isFirst = count_ == 0;
    slot = &AddSlot();
    slot->run.isMixed = !isFirst && !closing.entry.beginsLine;
  }
  NoteMixed(*slot, closing);
  Run& run = slot->run;
  const Values values = closing.GetValues();
  run.isClosed = true;
  run.time = std::string(values[0]);
  if (run.time.size() > 2 && run.time.front() == '[' && run.time.back() == ']') {
    run.time = run.time.substr(1, run.time.size() - 2);
  }
  run.code = std::string(values[1]);
  const std::string lastText = run.lastText;
  Add(*slot, std::move(closing));
  run.lastText = lastText;
  slot->isOpen = false;
  closedNumber_ = run.number;
  wasClosing_ = true;
  last_ = nullptr;
}

void RunReader::TakeOther(Line&& line) {
  Slot* slot = FindWriter(line);
  if (slot == nullptr) {
    if (line.entry.level == kNoLevel) {
      TakeOutside(std::move(line));
      return;
    }
    // The beginning of its run is not in the log.
    const bool isFirst = count_ == 0;
    slot = &AddSlot();
    slot->run.isMixed = !isFirst;
  }
  NoteMixed(*slot, line);
  Add(*slot, std::move(line));
  last_ = slot;
  wasClosing_ = false;
}

void RunReader::TakeOutside(Line&& line) {
  line.isOutside = true;
  const bool isFirst = slots_.empty();  // before the first run
  const std::size_t kept = isFirst ? outside_.size() : slots_.back().keptOutside;
  if (kept >= kMostOutside) {
    ++(isFirst ? outsideLeftOut_ : slots_.back().run.leftOut);
  } else if (isFirst) {
    outside_.push_back(std::move(line));
  } else {
    slots_.back().run.lines.push_back(std::move(line));
    ++slots_.back().keptOutside;
  }
}

std::vector<RunReader::Slot*> RunReader::OpenSlots() {
  std::vector<Slot*> open;
  for (Slot& slot : slots_) {
    if (slot.isOpen) {
      open.push_back(&slot);
    }
  }
  return open;
}

// Of several that can have written an entry. While two runs are known to be mixed, the one that wrote before goes on.
RunReader::Slot* RunReader::Newest(const std::vector<Slot*>& slots) const {
  const bool isMixed = std::any_of(slots.begin(), slots.end(), [](const Slot* slot) { return slot->run.isMixed; });
  if (isMixed && std::find(slots.begin(), slots.end(), last_) != slots.end()) {
    return last_;
  }
  return slots.empty() ? nullptr : slots.back();
}

RunReader::Slot* RunReader::FindWriter(const Line& line) {
  const std::vector<Slot*> open = OpenSlots();
  if (line.message == nullptr) {
    return last_ != nullptr && last_->isOpen ? last_ : Newest(open);
  }
  std::vector<Slot*> able;
  std::vector<Slot*> named;
  for (Slot* const slot : open) {
    if (CanWrite(*slot, line)) {
      able.push_back(slot);
      if (Names(slot->run, line)) {
        named.push_back(slot);
      }
    }
  }
  if (able.empty()) {
    return last_ != nullptr && last_->isOpen ? last_ : Newest(open);
  }
  Slot* const writer = named.size() == 1 ? named.front() : Newest(named.empty() ? able : named);
  for (Slot* const other : named.size() == 1 ? named : able) {
    if (other != writer && other->run.shared.size() < Run::kMostShared) {
      other->run.shared.push_back(line);
    }
  }
  return writer;
}

// The open run that this line closes. Null if it is a run of its own.
RunReader::Slot* RunReader::FindClosed(const Line& closing) {
  std::vector<Slot*> open = OpenSlots();
  const std::string_view code = closing.GetValues()[1];
  // Two closing lines on two lines: the line break belongs to a run that writes nothing else.
  if (open.empty() || (wasClosing_ && closing.entry.beginsLine && code == "0")) {
    return nullptr;
  }
  std::vector<Slot*> able;
  std::copy_if(open.begin(), open.end(), std::back_inserter(able),
               [&](const Slot* slot) { return CanEndWith(slot->run.command, code); });
  const std::vector<Slot*>& from = able.empty() ? open : able;
  return std::find(from.begin(), from.end(), last_) != from.end() ? last_ : from.back();
}

// Marks the runs that wrote at the same time as this line shows.
void RunReader::NoteMixed(const Slot& writer, const Line& line) {
  const bool sharesLine = wasClosing_ && !line.entry.beginsLine;
  bool isMixed = sharesLine;
  for (const Slot& slot : slots_) {
    isMixed = isMixed || (slot.isOpen && slot.run.number > writer.run.number);
  }
  if (line.message != nullptr && line.entry.level != kNoLevel && !CanWrite(writer, line) && !line.Is(kClosingText)) {
    isMixed = true;  // by a run that began before the log did
  }
  for (Slot& slot : slots_) {
    const bool isInvolved =
        slot.isOpen ? slot.run.number >= writer.run.number : sharesLine && slot.run.number == closedNumber_;
    slot.run.isMixed = slot.run.isMixed || (isMixed && isInvolved);
  }
}

void RunReader::GiveUpOlderThanClosed() {
  for (Slot& slot : slots_) {
    slot.isOpen = slot.isOpen && slot.run.number > closedNumber_;
  }
}

void RunReader::PassOver(bool isEnd) {
  if (last_ != nullptr && !last_->isOpen) {
    last_ = nullptr;
  }
  // The last run may get lines that follow it.
  while (!slots_.empty() && !slots_.front().isOpen && (isEnd || slots_.size() > 1)) {
    Run run = std::move(slots_.front().run);
    slots_.pop_front();
    sink_(std::move(run));
  }
}

bool RunReader::CanWrite(const Slot& slot, const Line& line) {
  const Run& run = slot.run;
  if (run.IsUnknownSwitch() || line.Is(kUnknownSwitchText)) {
    return run.IsUnknownSwitch() && line.Is(kUnknownSwitchText);
  }
  const bool isBanner = BannerOf(line) != nullptr;
  if (isBanner ? run.hasBanner : run.hasHeader && !run.hasBanner) {
    return false;
  }
  return run.command != Command::kUnknown ? IsWrittenBy(*line.message, run.command)
                                          : (slot.possible & WritersOf(*line.message)) != 0;
}

// True if the line contains a folder of the run.
bool RunReader::Names(const Run& run, const Line& line) {
  constexpr std::size_t kLongest = 1024;  // of a folder; a search for a longer one takes too long in a hostile log
  const auto contains = [&](const std::string& folder) {
    return folder.size() > 2 && folder.size() <= kLongest && line.entry.text.find(folder) != std::string::npos;
  };
  return contains(run.source) || contains(run.destination);
}

void RunReader::Add(Slot& slot, Line&& line) {
  Run& run = slot.run;
  run.endsInLine = false;
  run.firstLine = run.firstLine == 0 ? line.entry.line : run.firstLine;
  run.lastLine = line.entry.line + std::count(line.entry.text.begin(), line.entry.text.end(), '\n');
  if (line.message != nullptr && !run.hasHeader && CanWrite(slot, line)) {
    slot.possible &= WritersOf(*line.message);
    run.command = OnlyOf(slot.possible);
  }
  const CommandName* const banner = BannerOf(line);
  run.hasBanner = run.hasBanner || (banner != nullptr && banner->command == run.command);
  run.lastText = (std::string(PrefixOf(line.entry.level)) + line.entry.text).substr(0, kLastTextLength);

  const auto index = line.message != nullptr ? static_cast<std::size_t>(line.message - kMessages) + 1 : 0;
  const std::size_t keptText = slot.keptText + line.entry.text.size();
  if (++slot.alike[index] <= Run::kMostAlike && keptText <= Run::kMostText) {
    slot.keptText = keptText;
    run.lines.push_back(std::move(line));
    return;
  }
  ++run.leftOut;
  const Kind kind = line.message != nullptr ? KindOf(*line.message, run.command, line.GetValues()) : Kind::kNever;
  run.worstLeftOut = std::max(run.worstLeftOut, kind);
}

}  // namespace LogReader
