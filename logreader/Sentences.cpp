#include "logreader/Sentences.h"

#include <algorithm>
#include <iterator>

#include "logreader/Clients.h"
#include "logreader/Encoding.h"
#include "logreader/Texts.h"

namespace LogReader {
namespace {

// What a command achieved. The reason follows the colon of `part` and `notDone`.
struct Sentences {
  Command command;
  const char* done;
  const char* restart;  // null: no line of the command waits for the restart
  const char* part;
  const char* notDone;
};

constexpr Sentences kSentences[] = {
    {Command::kInstall, "Installed: the files are in place, and regsvr32.exe was started for every module.",
     "Installed, but files that are in use are replaced only at the next restart of the machine.",
     "Installed in part: ", "Not installed: "},
    {Command::kEnable, "Filtering is switched on.", nullptr,
     "Filtering is switched on in part: ", "Filtering was not switched on: "},
    {Command::kDisable, "Filtering is switched off.", nullptr,
     "Filtering is switched off in part: ", "Filtering was not switched off: "},
    {Command::kStatus, "The state of filtering was read.", nullptr,
     "The state of filtering was read in part: ", "The state of filtering is not known: "},
    {Command::kUpgrade,
     "Upgraded: the installed files are those of the source, and running mail clients were notified.",
     "Upgraded, but files that are in use are replaced only at the next restart of the machine.",
     "Upgraded in part: ", "Not upgraded: "},
    {Command::kReload, "Every running mail client was notified.", nullptr,
     "Not every mail client was notified: ", "No mail client was notified: "},
    {Command::kUninstall, "Uninstalled; files that were in use, if any, are removed at the next restart.",
     "Uninstalled, but the rest is removed only at the next restart of the machine.",
     "Uninstalled in part: ", "Not uninstalled: "},
    {Command::kUnknown, "The run was completed.", nullptr, "The run cannot be judged as done: ", "Nothing was done: "},
};

bool HasLine(const Run& run, std::string_view text) {
  return std::any_of(run.lines.begin(), run.lines.end(), [&](const Line& line) { return line.Is(text); });
}

// Sentences of a good run that depend on its lines.
struct Detail {
  Command command;
  std::string_view text;  // of the line
  const char* sentence;
};
constexpr Detail kDetails[] = {
    {Command::kInstall, Texts::kSwitchStaysOn,
     "Installed, and filtering stays on: the files are in place, and regsvr32.exe was started for every module."},
    {Command::kInstall, Texts::kSwitchNotRead,
     "Installed, and filtering is off until -e: the files are in place, and regsvr32.exe was started for every "
     "module."},
    {Command::kEnable, Texts::kMonitorsFailed,
     "Filtering is switched on; no monitor was started now, Windows starts them at the next log-on."},
    {Command::kDisable, Texts::kSwitchFailed, "Filtering was off already, and stays off."},
};

std::string DoneSentence(const Run& run, const Sentences& sentences) {
  for (const Detail& detail : kDetails) {
    if (detail.command == run.command && HasLine(run, detail.text)) {
      return detail.sentence;
    }
  }
  const bool isNotified = std::any_of(std::begin(kClients), std::end(kClients),
                                      [&](const Client& client) { return HasLine(run, client.notified); });
  if (run.command == Command::kReload && !isNotified) {
    return "No mail client runs, so none had to be notified.";
  }
  for (const Line& line : run.lines) {
    if (line.Is(Texts::kState)) {
      const std::string state(line.GetValues().front());
      return state == "0"   ? "The stored state of filtering is off."
             : state == "1" ? "The stored state of filtering is on."
                            : "The stored state of filtering is " + ToPrintable(state) + ".";
    }
  }
  return sentences.done;
}

// The findings are sorted: the first one is the worst.
std::string ReasonOf(const Verdict& verdict) {
  if (verdict.findings.empty()) {
    return "see the log.";
  }
  const Finding& worst = verdict.findings.front();
  if (worst.rule != nullptr && !worst.rule->reason.empty()) {
    return std::string(worst.rule->reason) + ".";
  }
  if (worst.kind == Kind::kLeft) {
    return "a mail client was running.";
  }
  long long failures = 0;
  long long first = 0;
  for (const Finding& finding : verdict.findings) {
    if (finding.kind >= Kind::kProblem) {
      failures += std::max(finding.count, 1LL);
      if (!finding.lines.empty() && (first == 0 || finding.lines.front().number < first)) {
        first = finding.lines.front().number;
      }
    }
  }
  const std::string place = first == 0 ? "" : ", line " + std::to_string(first) + (failures == 1 ? "" : " first");
  return (failures == 1 ? "one line reports a failure" : std::to_string(failures) + " lines report failures") + place +
         ".";
}

std::string UnfinishedSentence(const Run& run) {
  const std::string line = std::to_string(run.lastLine);
  if (run.endsInLine) {
    return "The log of this run ends within line " + line + "; what the run did after that is not known.";
  }
  return "The run did not finish, or still runs: it has no closing line, and line " + line + " is its last.";
}

}  // namespace

std::string SentenceOf(const Run& run, const Verdict& verdict) {
  const auto* const sentences = std::find_if(std::begin(kSentences), std::end(kSentences),
                                             [&](const Sentences& row) { return row.command == run.command; });
  switch (verdict.outcome) {
    case Outcome::kDone:
      return DoneSentence(run, *sentences);
    case Outcome::kRestart:
      return sentences->restart != nullptr ? sentences->restart : sentences->done;
    case Outcome::kPart:
      return sentences->part + ReasonOf(verdict);
    case Outcome::kNotDone:
      return sentences->notDone + ReasonOf(verdict);
    default:  // a run is never kNoRun
      return UnfinishedSentence(run);
  }
}

}  // namespace LogReader
