// The reader of the run log (logreader/): whatever a log contains, every byte of it belongs to one entry, every entry
// to one run, the result does not depend on the sizes of the parts, and a run is only called done if it can be.
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "logreader/Entries.h"
#include "logreader/Report.h"
#include "logreader/Runs.h"
#include "logreader/Verdict.h"
#include "tests/fuzz/Input.h"

using Fuzz::Require;
using namespace LogReader;

namespace {

// A log that resembles one. A byte from 0xF0 on becomes a part of a run; all others stay as they are.
std::string LogOf(const std::uint8_t* data, std::size_t size) {
  std::string log;
  for (std::size_t at = 0; at < size; ++at) {
    const unsigned byte = data[at];
    if (byte >= 0xF0 && byte < 0xF0 + kCommandCount) {
      const CommandName& name = kCommandNames[byte - 0xF0];
      log += "\r\nLOG_INFO :  cmd:" + std::string(name.name) +
             "\r\n src:C:\\a\r\ndest:C:\\b\r\nLOG_INFO : " + std::string(name.banner) + "\r\n";
    } else if (byte == 0xF7 || byte == 0xF8 || byte == 0xF9) {
      constexpr const char* kCodes[] = {"0", "1", "-520159231"};
      log += std::string("LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:") + kCodes[byte - 0xF7];
    } else if ((byte == 0xFA || byte == 0xFB) && at + 1 < size) {
      const Message& message = kMessages[data[++at] % static_cast<unsigned>(kMessageCount)];
      const unsigned levels = message.levels;
      const auto level = static_cast<Level>(levels & (~levels + 1U));  // the lowest bit
      log += "\r\n" + std::string(PrefixOf(level));
      for (const char character : message.text) {
        log += character != '\1' ? std::string(1, character) : byte == 0xFA ? "3" : "C:\\a\\b";
      }
    } else if (byte == 0xFC) {
      log += "\r\n";
    } else if (byte == 0xFD) {
      log += "LOG_WARN : ";
    } else {
      log += static_cast<char>(byte);
    }
  }
  return log;
}

using Place = std::pair<long long, std::string>;  // of an entry: its line and its text

struct Reading {
  std::vector<Place> entries;
  std::vector<Place> lines;  // of all runs
  std::string text;          // all that is printed
  std::string json;
  long long size = 0;
  long long leftOut = 0;
  long long runs = 0;
};

bool IsBlank(const Entry& entry) {
  return entry.level == kNoLevel && entry.text.find_first_not_of(' ') == std::string::npos;
}

void CheckVerdict(const Run& run, const Verdict& verdict) {
  Require(!verdict.sentence.empty() && verdict.outcome != Outcome::kNoRun, "a run has a verdict");
  Require(run.isClosed == (verdict.outcome != Outcome::kUnfinished), "only a closed run is finished");
  if (verdict.outcome == Outcome::kDone || verdict.outcome == Outcome::kRestart) {
    Require(run.hasHeader && run.hasBanner, "what is done has its beginning");
    for (const Line& line : run.lines) {
      Require(line.isOutside || (line.kind < Kind::kProblem && line.kind != Kind::kLeft),
              "what is done has no failure");
    }
  }
}

Reading Read(const std::string& log, std::size_t partSize) {
  Reading reading;
  const Writer write = [&](std::string_view part, Color) { reading.text += part; };
  JsonReport json([&](std::string_view part, Color) { reading.json += part; }, "log", "1");
  Judge judge;
  RunReader runs([&](Run&& run) {
    const Verdict verdict = judge.Take(run);
    CheckVerdict(run, verdict);
    WriteRun(run, verdict, true, write);
    json.Add(run, verdict, true);
    ++reading.runs;
    Require(run.number == reading.runs, "runs come in their order");
    reading.leftOut += run.leftOut;
    for (const Line& line : run.lines) {
      reading.lines.emplace_back(line.entry.line, line.entry.text);
    }
  });
  EntryReader entries([&](Entry&& entry) {
    reading.size += entry.size;
    if (!IsBlank(entry)) {
      reading.entries.emplace_back(entry.line, entry.text);
    }
    runs.Take(std::move(entry));
  });
  for (std::size_t at = 0; at < log.size(); at += partSize) {
    entries.Feed(std::string_view(log).substr(at, partSize));
  }
  entries.Finish();
  runs.Finish();
  json.End(Outcome::kDone, "");
  return reading;
}

// How often each line of the log is named in "All lines".
std::size_t NamedLines(const std::string& text) {
  std::size_t named = 0;
  bool isAll = false;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    isAll = line == "All lines" || (isAll && line.compare(0, 4, "Run ") != 0);
    named += isAll && line.compare(0, 7, "  Line ") == 0 ? 1 : 0;
  }
  return named;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string log = LogOf(data + 1, size - 1);
  const Reading reading = Read(log, log.size() + 1);
  Require(reading.size == static_cast<long long>(log.size()), "every byte belongs to an entry");
  if (reading.runs > 0) {
    std::map<Place, long long> unseen;
    for (const Place& entry : reading.entries) {
      ++unseen[entry];
    }
    for (const Place& line : reading.lines) {
      Require(unseen[line]-- > 0, "a line of a run is an entry, once");
    }
    Require(reading.lines.size() + static_cast<std::size_t>(reading.leftOut) == reading.entries.size(),
            "every entry is a line of a run");
    Require(NamedLines(reading.text) == reading.lines.size(), "every line is printed once");
  }
  Require(nlohmann::json::parse(reading.json).at("runs").size() == static_cast<std::size_t>(reading.runs),
          "JSON is read back");

  const Reading parted = Read(log, 1 + data[0] % 64U);
  Require(parted.text == reading.text && parted.json == reading.json, "the result does not depend on the parts");
  return 0;
}
