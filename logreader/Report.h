// What the reader says about runs: for people, and as JSON for other programs.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "logreader/Findings.h"
#include "logreader/Runs.h"

namespace LogReader {

enum class Color { kPlain, kHeading, kGood, kWarning, kBad };

// Takes UTF-8. Lines end in LF.
using Writer = std::function<void(std::string_view text, Color color)>;

// The plain name of its command, for instance "install"; "unknown switch" or "unknown" without one.
std::string CommandOf(const Run& run);

// `withLines`: also every line of the run, with its kind and its meaning.
void WriteRun(const Run& run, const Verdict& verdict, bool withLines, const Writer& write);

// One JSON document: the runs, then the verdict of the last one. Nothing is kept, so a log may have any number of runs.
class JsonReport {
 public:
  // `log`: the path, in UTF-8. `version`: of this program.
  JsonReport(Writer write, std::string_view log, std::string_view version);

  void Add(const Run& run, const Verdict& verdict, bool withLines);
  // `error`: why the log could not be read (to its end), or empty.
  void End(Outcome outcome, std::string_view error);

 private:
  Writer write_;
  bool isFirst_ = true;
};

}  // namespace LogReader
