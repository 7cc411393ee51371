// The entries of a log as runs of the program.
//
// A run begins with its header and ends with its closing line. A closing line alone is a whole run: the program was
// called with a wrong number of arguments. A run without a closing line was ended, or still runs, or the rest of its
// log was lost.
//
// Two runs may write at the same time. An entry belongs to the run that can have written it: by its command, and by the
// folders of its command line. If several can, the run that began last gets it. Such runs are marked as mixed.
#pragma once

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "logreader/Catalogue.h"
#include "logreader/Entries.h"

namespace LogReader {

struct Rule;  // Findings.h

// An entry with its message.
struct Line {
  Entry entry;
  const Message* message = nullptr;  // null: unknown
  Kind kind = Kind::kNever;          // by Judge; kNever: unknown, or this command does not write the message
  const Rule* rule = nullptr;        // by Judge: what gave the kind; null: the catalogue
  bool isOutside = false;            // between two runs

  bool Is(std::string_view text) const { return message != nullptr && message->text == text; }
  Values GetValues() const;
};

struct Run {
  // Limits of what is kept of a run, so that the memory does not depend on the log.
  static constexpr long long kMostAlike = 1000;  // lines with the same message
  static constexpr std::size_t kMostText = 16U * 1024 * 1024;
  static constexpr std::size_t kMostShared = 100;

  long long number = 0;  // in the log, from 1
  Command command = Command::kUnknown;
  bool hasHeader = false;
  bool hasBanner = false;
  std::string givenSwitch;
  std::string source;
  std::string destination;

  bool isClosed = false;
  std::string time;  // of the closing line: "2026/11/21 17:26:24"
  std::string code;  // the exit code

  bool isMixed = false;     // another run wrote at the same time
  bool endsInLine = false;  // not closed, and its last line has no end: the rest of its log was lost

  std::vector<Line> lines;           // in their order, up to the limits
  long long leftOut = 0;             // lines beyond the limits
  Kind worstLeftOut = Kind::kNever;  // of these
  std::vector<Line> shared;          // lines of another run at the same time, that this run can have written too
  long long firstLine = 0;           // numbers in the log
  long long lastLine = 0;
  std::string lastText;  // the beginning of its last entry before the closing line

  bool IsUnknownSwitch() const { return hasHeader && command == Command::kUnknown; }
};

// Takes entries and passes on each run when it is over, in the order in which they began.
class RunReader {
 public:
  using Sink = std::function<void(Run&&)>;
  explicit RunReader(Sink sink) : sink_(std::move(sink)) {}

  void Take(Entry&& entry);
  // The log ends here.
  void Finish();

 private:
  // A run that is not passed on yet.
  struct Slot {
    Run run;
    bool isOpen = true;
    unsigned possible = 0;  // bits of the commands that can have written all its lines
    std::vector<long long> alike;
    std::size_t keptText = 0;
    std::size_t keptOutside = 0;  // lines between two runs
  };

  Slot& AddSlot();
  void BeginRun(Line&& header);
  void TakeClosing(Line&& closing);
  void TakeOther(Line&& line);
  void TakeOutside(Line&& line);
  Slot* FindWriter(const Line& line);
  Slot* FindClosed(const Line& closing);
  Slot* Newest(const std::vector<Slot*>& slots) const;
  std::vector<Slot*> OpenSlots();
  void NoteMixed(const Slot& writer, const Line& line);
  void GiveUpOlderThanClosed();
  void NoteEnd(long long breaksOfNext);
  void PassOver(bool isEnd);
  void Add(Slot& slot, Line&& line);

  static bool CanWrite(const Slot& slot, const Line& line);  // the line has a message
  static bool Names(const Run& run, const Line& line);

  Sink sink_;
  std::list<Slot> slots_;       // in the order in which they began
  Slot* last_ = nullptr;        // the run of the last entry, if it is open
  long long lastBreaks_ = 0;    // after that entry, without those of its own text
  bool wasClosing_ = false;     // that entry was a closing line
  long long closedNumber_ = 0;  // of the run that a closing line closed last
  long long count_ = 0;
  std::vector<Line> outside_;  // before the first run
  long long outsideLeftOut_ = 0;
};

}  // namespace LogReader
