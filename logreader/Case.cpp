#include "logreader/Case.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>
#include <utility>

#include "logreader/Texts.h"

namespace LogReader {
namespace {

using namespace Texts;

std::string WithLevel(const Entry& entry) {
  return std::string(PrefixOf(entry.level)) + entry.text;
}

// Doubled backslashes, which a folder with a backslash at its end leaves, count as one. Not at the beginning of a
// share.
std::string PlainPath(std::string_view path) {
  std::string plain;
  for (const char character : path) {
    if (character != '\\' || plain.size() < 2 || plain.back() != '\\') {
      plain += character;
    }
  }
  return plain;
}

CopiedFile CopiedFileOf(std::string_view sourceFolder, std::string_view source, std::string_view destination,
                        bool isThere) {
  constexpr std::string_view kProduct = "Orvane Labs\\VELA\\";
  CopiedFile file{PlainPath(source), PlainPath(destination), {}, isThere};
  const std::string folder = PlainPath(sourceFolder);
  if (file.source.compare(0, folder.size(), folder) == 0) {
    file.source.erase(0, folder.size());
  }
  file.source.erase(0, std::min(file.source.find_first_not_of('\\'), file.source.size()));
  const std::size_t product = file.destination.rfind(kProduct);
  if (product != std::string::npos) {
    const std::string below = file.destination.substr(product + kProduct.size());
    file.part = below.substr(0, below.find('\\'));
  }
  return file;
}

// The finding that this line adds to, or a new one.
Finding& FindingFor(std::vector<Finding>& findings, Kind kind, const Rule* rule, const Message* message) {
  for (Finding& finding : findings) {
    if (finding.kind == kind && finding.rule == rule && finding.message == message) {
      return finding;
    }
  }
  findings.emplace_back();
  findings.back().kind = kind;
  findings.back().rule = rule;
  findings.back().message = message;
  return findings.back();
}

void AddLine(Finding& finding, long long number, const std::string& text) {
  ++finding.count;
  if (finding.lines.size() < Finding::kMostShown) {
    finding.lines.push_back({number, text});
  }
}

long long PlaceOf(const Finding& finding) {
  return finding.lines.empty() ? std::numeric_limits<long long>::max() : finding.lines.front().number;
}

Outcome OutcomeOf(const Run& run, Kind worst) {
  if (!run.isClosed) {
    return Outcome::kUnfinished;
  }
  switch (worst) {
    case Kind::kFatal:
      return Outcome::kNotDone;
    case Kind::kProblem:
    case Kind::kLeft:
      return Outcome::kPart;
    case Kind::kRestart:
      return Outcome::kRestart;
    default:
      return Outcome::kDone;
  }
}

// What is left because a client runs is worse than what waits for the restart: nobody does it later.
int Weight(Kind kind) {
  return kind == Kind::kLeft      ? static_cast<int>(Kind::kRestart)
         : kind == Kind::kRestart ? static_cast<int>(Kind::kLeft)
                                  : static_cast<int>(kind);
}

}  // namespace

void Before::Note(const Run& run) {
  const auto find = [&](std::string_view text) {
    return std::find_if(run.lines.begin(), run.lines.end(), [&](const Line& line) { return line.Is(text); });
  };
  const auto has = [&](std::string_view text) { return find(text) != run.lines.end(); };
  switch (run.command) {
    case Command::kInstall:
      removedFolder.clear();
      // The state of filtering was never stored, so it was never switched on.
      startValuesAreDeleted = startValuesAreDeleted || has(kSwitchNotRead);
      break;
    case Command::kUpgrade:
      removedFolder.clear();
      break;
    case Command::kEnable:
      startValuesAreDeleted = false;
      break;
    case Command::kDisable:
    case Command::kUninstall:
      startValuesAreDeleted =
          startValuesAreDeleted ||
          (run.isClosed && std::none_of(std::begin(kClients), std::end(kClients), [&](const Client& client) {
             return has(client.startStays) ||
                    (!client.startStays.empty() && client.isOnEveryWindows && !has(client.off));
           }));
      if (run.command == Command::kUninstall && has(kProductRemoved)) {
        removedFolder = std::string(find(kProductRemoved)->GetValues().front());
      }
      break;
    default:
      break;
  }
}

Case::Case(Run& judged, const Before& left) : run(judged), before(left) {
  for (Line& line : run.lines) {
    if (!line.isOutside) {
      own.push_back(&line);
      line.rule = nullptr;
      const bool isOurs = line.message != nullptr && IsWrittenBy(*line.message, run.command);
      line.kind = isOurs ? KindOf(*line.message, run.command, line.GetValues()) : Kind::kNever;
    }
  }
}

bool Case::Has(std::string_view text) const {
  return std::any_of(own.begin(), own.end(), [&](const Line* line) { return line->Is(text); });
}

bool Case::HasAny(std::initializer_list<std::string_view> texts) const {
  return std::any_of(texts.begin(), texts.end(), [&](std::string_view text) { return Has(text); });
}

bool Case::HasAnyOf(std::string_view Client::*text) const {
  return std::any_of(std::begin(kClients), std::end(kClients), [&](const Client& client) { return Has(client.*text); });
}

std::vector<Line*> Case::All(std::string_view text) const {
  std::vector<Line*> lines;
  std::copy_if(own.begin(), own.end(), std::back_inserter(lines), [&](const Line* line) { return line->Is(text); });
  return lines;
}

// The lines are parts of one array, so their addresses ascend.
const Line* Case::Next(const Line& line) const {
  const auto next = std::upper_bound(own.begin(), own.end(), &line, std::less<const Line*>());
  return next == own.end() ? nullptr : *next;
}

const Line* Case::Previous(const Line& line) const {
  const auto place = std::lower_bound(own.begin(), own.end(), &line, std::less<const Line*>());
  return place == own.begin() ? nullptr : *(place - 1);
}

// The first line of a log is empty: if the closing line is on the first one, the beginning was cut off.
bool Case::IsClosingLineOnly() const {
  return run.isClosed && !run.hasHeader && !run.isMixed && own.size() == 1 && own.front()->entry.line > 1;
}

bool Case::IsLastOfUnclosed(const Line& line) const {
  return !run.isClosed && &line == own.back();
}

std::vector<CopiedFile> Case::CopiedFiles() const {
  std::vector<CopiedFile> files;
  if (run.leftOut > 0) {
    return files;
  }
  for (const Line* const line : own) {
    const Values values = line->GetValues();
    if (line->Is(kCopied) || line->Is(kCopyWaits)) {
      files.push_back(CopiedFileOf(run.source, values[0], values[1], true));
    } else if (line->Is(kCopyFailed)) {
      files.push_back(CopiedFileOf(run.source, values[1], values[2], false));
    }
  }
  return files;
}

void Case::Set(Line& line, Kind kind) {
  line.kind = kind;
  line.rule = rule_;
}

void Case::Find(Kind kind) {
  FindingFor(found_, kind, rule_, nullptr);
}

void Case::Find(Kind kind, const Line& line) {
  AddLine(FindingFor(found_, kind, rule_, line.message), line.entry.line, WithLevel(line.entry));
}

void Case::Find(Kind kind, long long line, const std::string& text) {
  AddLine(FindingFor(found_, kind, rule_, nullptr), line, text);
}

void Case::Apply(const Rule& rule) {
  if ((rule.commands & BitOf(run.command)) != 0) {
    rule_ = &rule;
    rule.apply(*this);
  }
}

Verdict Case::Close() {
  Verdict verdict;
  verdict.findings = std::move(found_);
  Kind worst = Kind::kExpected;
  for (const Finding& finding : verdict.findings) {
    worst = std::max(worst, finding.kind, [](Kind one, Kind other) { return Weight(one) < Weight(other); });
  }
  for (const Line* const line : own) {
    verdict.unknown += line->message == nullptr || !IsWrittenBy(*line->message, run.command) ? 1 : 0;
    worst = std::max(worst, line->kind, [](Kind one, Kind other) { return Weight(one) < Weight(other); });
    if (line->kind >= Kind::kNotice) {
      AddLine(FindingFor(verdict.findings, line->kind, line->rule, line->message), line->entry.line,
              WithLevel(line->entry));
    }
  }
  std::stable_sort(verdict.findings.begin(), verdict.findings.end(), [](const Finding& one, const Finding& other) {
    return one.kind != other.kind ? Weight(one.kind) > Weight(other.kind) : PlaceOf(one) < PlaceOf(other);
  });
  verdict.outcome = OutcomeOf(run, worst);
  return verdict;
}

}  // namespace LogReader
