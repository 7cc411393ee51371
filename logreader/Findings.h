// What is said about a run.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "logreader/Catalogue.h"

namespace LogReader {

// From the best to the worst.
enum class Outcome {
  kDone,
  kRestart,     // done, except what waits for the restart
  kPart,        // a step failed, or was left because a mail client runs
  kNotDone,     // the command as a whole did not do its work
  kUnfinished,  // the log has no end of the run
  kNoRun        // the log has no run
};

// "done in part"
std::string_view NameOf(Outcome outcome);

// The exit code that deployment tools expect: 0, 3010 (restart), 1, or 2 for kNoRun.
int ExitCodeOf(Outcome outcome);

class Case;

// What is known about lines that depend on others, and about lines that are missing. Texts are UTF-8. An empty meaning
// or remedy is that of the line's message.
struct Rule {
  std::string_view name;
  unsigned commands;        // see BitOf
  std::string_view reason;  // completes "Installed in part: ..."; or empty
  std::string_view meaning;
  std::string_view remedy;
  void (*apply)(Case&);
};

struct LineCopy {
  long long number = 0;  // in the log
  std::string text;      // the entry with its level, as bytes of the log
};

// Something that a reader of the log should know. It may concern several lines.
struct Finding {
  static constexpr std::size_t kMostShown = 5;

  Kind kind = Kind::kNotice;
  const Rule* rule = nullptr;        // null: by the catalogue
  const Message* message = nullptr;  // null: unknown lines, or none
  std::vector<LineCopy> lines;       // the first kMostShown
  long long count = 0;               // of all

  std::string_view Meaning() const;
  std::string_view Remedy() const;
};

struct Verdict {
  Outcome outcome = Outcome::kNoRun;
  std::string sentence;           // plain words, UTF-8
  std::vector<Finding> findings;  // the worst first, then in the order of the log
  long long unknown = 0;          // lines that are not in the catalogue, or not of this command
};

}  // namespace LogReader
