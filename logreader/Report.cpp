#include "logreader/Report.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "logreader/Encoding.h"

namespace LogReader {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kWidth = 100;         // characters of a line for people
constexpr std::size_t kLongestShown = 600;  // bytes of an entry

constexpr const char* kKindNames[] = {"unknown", "frame",   "expected", "usual", "notice",
                                      "left",    "restart", "problem",  "fatal"};
constexpr const char* kUnknownMeaning = "This line is unknown.";

// A name of a file may be no valid UTF-8: U+FFFD replaces what cannot be shown.
std::string TextOf(const Json& json) {
  constexpr int kIndent = 1;
  return json.dump(kIndent, ' ', false, Json::error_handler_t::replace);
}

const char* NameOf(Kind kind) {
  return kKindNames[static_cast<int>(kind)];
}

std::string_view LevelNameOf(Level level) {
  const std::string_view prefix = PrefixOf(level);
  return prefix.substr(0, prefix.find_first_of(" :"));
}

// ---- for people

// The marks of code are for the pages.
std::string WithoutMarks(std::string_view text) {
  std::string plain(text);
  plain.erase(std::remove(plain.begin(), plain.end(), '`'), plain.end());
  return plain;
}

void WriteWrapped(std::string_view words, std::size_t indent, const Writer& write) {
  const std::string margin(indent, ' ');
  const std::string text = WithoutMarks(words);
  std::string line;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    if (!line.empty() && indent + line.size() + 1 + (end - at) > kWidth) {
      write(margin + line + "\n", Color::kPlain);
      line.clear();
    }
    line += (line.empty() ? "" : " ") + text.substr(at, end - at);
    at = end + 1;
  }
  write(margin + line + "\n", Color::kPlain);
}

// An entry may have several lines.
std::string Shown(std::string_view bytes, std::size_t indent) {
  const bool isLong = bytes.size() > kLongestShown;
  std::string shown;
  std::string_view rest = bytes.substr(0, kLongestShown);
  while (true) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    shown += ToPrintable(rest.substr(0, end));
    if (end == rest.size()) {
      return isLong ? shown + " ..." : shown;
    }
    shown += "\n" + std::string(indent, ' ');
    rest.remove_prefix(end + 1);
  }
}

struct Heading {
  Kind from;
  Kind to;
  const char* title;
};
// In the order in which the findings are sorted.
constexpr Heading kHeadings[] = {{Kind::kProblem, Kind::kFatal, "What failed"},
                                 {Kind::kLeft, Kind::kLeft, "Left, because a mail client runs"},
                                 {Kind::kRestart, Kind::kRestart, "Waits for the restart"},
                                 {Kind::kNotice, Kind::kNotice, "Worth knowing"}};

// The entries of a finding.
void WriteEntries(const Finding& finding, const Writer& write) {
  for (const LineCopy& line : finding.lines) {
    write("  Line " + std::to_string(line.number) + ": " + Shown(line.text, 4) + "\n", Color::kPlain);
  }
  const long long more = finding.count - static_cast<long long>(finding.lines.size());
  if (more > 0) {
    write("  ... and " + std::to_string(more) + " more.\n", Color::kPlain);
  }
}

// What the entries mean, and what to do about them.
void WriteMeaning(const Finding& finding, const Writer& write) {
  const std::size_t indent = finding.lines.empty() ? 2 : 4;
  const std::string_view meaning = finding.Meaning();
  WriteWrapped(meaning.empty() ? kUnknownMeaning : meaning, indent, write);
  if (!finding.Remedy().empty()) {
    WriteWrapped("What to do: " + std::string(finding.Remedy()), indent, write);
  }
}

// The lines of several clients often mean the same.
bool MeanTheSame(const Finding& one, const Finding& other) {
  return !one.lines.empty() && !other.lines.empty() && one.Meaning() == other.Meaning() &&
         one.Remedy() == other.Remedy();
}

void WriteFindings(const Verdict& verdict, const Writer& write) {
  for (const Heading& heading : kHeadings) {
    std::vector<const Finding*> findings;
    for (const Finding& finding : verdict.findings) {
      if (finding.kind >= heading.from && finding.kind <= heading.to) {
        findings.push_back(&finding);
      }
    }
    for (std::size_t index = 0; index < findings.size(); ++index) {
      const bool continues = index > 0 && MeanTheSame(*findings[index - 1], *findings[index]);
      if (!continues) {
        write(index == 0 ? "\n" + std::string(heading.title) + "\n" : "\n", Color::kHeading);
      }
      WriteEntries(*findings[index], write);
      if (index + 1 == findings.size() || !MeanTheSame(*findings[index], *findings[index + 1])) {
        WriteMeaning(*findings[index], write);
      }
    }
  }
  if (verdict.unknown > 0) {
    write("\nUnknown lines: " + std::to_string(verdict.unknown) + "\n", Color::kPlain);
  }
}

std::string_view MeaningOf(const Line& line) {
  Finding finding;
  finding.message = line.message;
  finding.rule = line.rule;
  const std::string_view meaning = finding.Meaning();
  return meaning.empty() ? kUnknownMeaning : meaning;
}

void WriteLines(const Run& run, const Writer& write) {
  write("\nAll lines\n", Color::kHeading);
  for (const Line& line : run.lines) {
    const std::string kind = line.isOutside ? "between two runs" : NameOf(line.kind);
    write("  Line " + std::to_string(line.entry.line) + " (" + kind +
              "): " + Shown(std::string(PrefixOf(line.entry.level)) + line.entry.text, 4) + "\n",
          Color::kPlain);
    // Most lines of a run are of few kinds: a meaning is written once, after all lines in a row that have it.
    const std::string_view meaning = MeaningOf(line);
    if (&line == &run.lines.back() || MeaningOf(*(&line + 1)) != meaning) {
      WriteWrapped(meaning, 6, write);
    }
  }
  if (run.leftOut > 0) {
    write("  " + std::to_string(run.leftOut) + " more lines are not shown.\n", Color::kPlain);
  }
}

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  for (char& character : upper) {
    character = character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
  }
  return upper;
}

Color ColorOf(Outcome outcome) {
  return outcome == Outcome::kDone                                   ? Color::kGood
         : outcome == Outcome::kRestart || outcome == Outcome::kPart ? Color::kWarning
                                                                     : Color::kBad;
}

// ---- JSON

Json JsonOf(const Finding& finding) {
  Json lines = Json::array();
  for (const LineCopy& line : finding.lines) {
    lines.push_back({{"line", line.number}, {"text", ToUtf8(line.text)}});
  }
  return {{"kind", NameOf(finding.kind)},
          {"rule", finding.rule != nullptr ? Json(finding.rule->name) : Json()},
          {"message", finding.message != nullptr ? Json(finding.message->anchor) : Json()},
          {"count", finding.count},
          {"lines", lines},
          {"meaning", finding.Meaning()},
          {"remedy", finding.Remedy()}};
}

Json JsonOf(const Line& line) {
  return {{"line", line.entry.line},
          {"level", LevelNameOf(line.entry.level)},
          {"text", ToUtf8(line.entry.text)},
          {"kind", NameOf(line.kind)},
          {"rule", line.rule != nullptr ? Json(line.rule->name) : Json()},
          {"message", line.message != nullptr ? Json(line.message->anchor) : Json()},
          {"outside", line.isOutside},
          {"meaning", MeaningOf(line)}};
}

// "2026/11/21 17:26:24" as "2026-11-21T17:26:24"; null if it is no such time.
Json TimeOf(const std::string& time) {
  constexpr std::string_view kForm = "0000/00/00 00:00:00";
  std::string text = time;
  bool isTime = text.size() == kForm.size();
  for (std::size_t index = 0; isTime && index < kForm.size(); ++index) {
    const bool isDigit = text[index] >= '0' && text[index] <= '9';
    isTime = kForm[index] == '0' ? isDigit : text[index] == kForm[index];
    text[index] = text[index] == '/' ? '-' : text[index] == ' ' ? 'T' : text[index];
  }
  return isTime ? Json(text) : Json();
}

Json JsonOf(const Run& run, const Verdict& verdict, bool withLines) {
  Json findings = Json::array();
  for (const Finding& finding : verdict.findings) {
    findings.push_back(JsonOf(finding));
  }
  const auto given = [&](const std::string& text) { return run.hasHeader ? Json(ToUtf8(text)) : Json(); };
  Json json = {{"run", run.number},
               {"first_line", run.firstLine},
               {"last_line", run.lastLine},
               {"time", TimeOf(run.time)},
               {"switch", given(run.givenSwitch)},
               {"command", CommandOf(run)},
               {"source", given(run.source)},
               {"destination", given(run.destination)},
               {"closed", run.isClosed},
               {"result", run.isClosed ? Json(ToUtf8(run.code)) : Json()},
               {"mixed", run.isMixed},
               {"verdict", NameOf(verdict.outcome)},
               {"exit_code", ExitCodeOf(verdict.outcome)},
               {"sentence", verdict.sentence},
               {"unknown_lines", verdict.unknown},
               {"findings", findings}};
  if (withLines) {
    Json lines = Json::array();
    for (const Line& line : run.lines) {
      lines.push_back(JsonOf(line));
    }
    json["lines"] = lines;
    json["lines_left_out"] = run.leftOut;
  }
  return json;
}

}  // namespace

std::string CommandOf(const Run& run) {
  for (const CommandName& name : kCommandNames) {
    if (name.command == run.command) {
      return std::string(name.plain);
    }
  }
  return run.hasHeader ? "unknown switch" : "unknown";
}

void WriteRun(const Run& run, const Verdict& verdict, bool withLines, const Writer& write) {
  const auto row = [&](const char* name, const std::string& value) {
    write("  " + std::string(name) + value + "\n", Color::kPlain);
  };
  write("Run " + std::to_string(run.number) + ", lines " + std::to_string(run.firstLine) + " to " +
            std::to_string(run.lastLine) + "\n",
        Color::kHeading);
  row("Time         ", run.time.empty() ? "not known, there is no closing line" : ToPrintable(run.time));
  row("Command      ", (run.hasHeader ? ToPrintable(run.givenSwitch) + " " : "") + "(" + CommandOf(run) + ")");
  if (run.hasHeader) {
    row("Source       ", ToPrintable(run.source));
    row("Destination  ", ToPrintable(run.destination));
  }
  row("Exit code    ", run.isClosed ? ToPrintable(run.code) : "not known, there is no closing line");
  write("\n" + UpperCase(NameOf(verdict.outcome)), ColorOf(verdict.outcome));
  write(": " + verdict.sentence + "\n", Color::kPlain);
  WriteFindings(verdict, write);
  if (withLines) {
    WriteLines(run, write);
  }
}

JsonReport::JsonReport(Writer write, std::string_view log, std::string_view version) : write_(std::move(write)) {
  const Json begin = {{"program", "VELAlog"}, {"version", version}, {"log", log}};
  std::string text = TextOf(begin);
  text.erase(text.rfind('\n'));  // the object goes on
  write_(text + ",\n \"runs\": [", Color::kPlain);
}

void JsonReport::Add(const Run& run, const Verdict& verdict, bool withLines) {
  write_((isFirst_ ? "\n" : ",\n") + TextOf(JsonOf(run, verdict, withLines)), Color::kPlain);
  isFirst_ = false;
}

void JsonReport::End(Outcome outcome, std::string_view error) {
  const Json end = {{"error", error.empty() ? Json() : Json(error)},
                    {"verdict", NameOf(outcome)},
                    {"exit_code", ExitCodeOf(error.empty() ? outcome : Outcome::kNoRun)}};
  const std::string text = TextOf(end);
  write_((isFirst_ ? "]," : "\n ],") + text.substr(1) + "\n", Color::kPlain);
}

}  // namespace LogReader
