// Two at once: every command with every command, begun at the same moment on two processors. Exit codes, files and
// registry must be those of one order of the two, or of a mixture that is meant. The log keeps what it had, and each
// line is whole or put together from parts of lines of the two runs.
//
//   VELA_ENDURANCE_COUNT    rounds for each pair (default 1)
//   VELA_ENDURANCE_COMMAND  the pairs whose first command has this number, from 0 (default 3: -d with -d, -U, -r and
//   -s)
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

#include "logreader/Catalogue.h"
#include "tests/endurance/Machine.h"
#include "tests/faults/Findings.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogFile.h"

using namespace Endurance;
using TestSupport::TestProcess;

namespace {

constexpr DWORD kLimit = 60000;        // milliseconds
constexpr std::size_t kMostParts = 8;  // of a line of the log

// What may differ from both orders. '*' stands for any text.
struct Mixture {
  const char* pair;
  const char* difference;
  const char* reason;  // for the reader
};
constexpr char kOtherOrder[] = "as in the other order";  // in place of a difference
constexpr Mixture kMixtures[] = {
    {"*", "+*.tmp_", "an entry of the list for the restart was lost; the file is harmless, and -U deletes it"},
    {"-I -d", "~*\\Addins\\*\"LoadBehavior\" REG_DWORD 3 <- *", "-I reads the switch before -d turns it off"},
    {"-d -d", "~*\"VELAEnable\" REG_DWORD 1 <- REG_DWORD 0",
     "each finds a start-up value that the other one has deleted, which counts as a failure; -e and then -d repair it"},
    {"-I -U", kOtherOrder, "each file and each registration is as the run left it that came there last"},
    {"-p -U", kOtherOrder, "the same for each file"},
    {"-e -d", kOtherOrder, "each value is as the run left it that came there last"},
    {"-e -U", kOtherOrder, "the same"},
};

// The entry that a line of differences is about: a path, a key or a value.
std::string EntryOf(const std::string& line) {
  std::string entry = line.substr(1, line.find("\" REG_") - 1);
  for (const char* const what : {" attributes", " time", " content"}) {
    const std::size_t length = std::string(what).size();
    if (line[0] == '~' && entry.size() > length && entry.compare(entry.size() - length, length, what) == 0) {
      entry.resize(entry.size() - length);
    }
  }
  return entry;
}

std::string LogFrom(long long start) {
  return TestSupport::FileContent(TestSupport::LogFilePath()).substr(static_cast<std::size_t>(start));
}

// Lines that are in no run that is alone, because of the other run. With a second level in it, it is no whole line.
bool IsMessage(const std::string& line) {
  if (line.find("LOG_", 1) != std::string::npos) {
    return false;
  }
  for (const LogReader::Level level : {LogReader::kInfo, LogReader::kError, LogReader::kWarn, LogReader::kEvent}) {
    const std::string_view prefix = LogReader::PrefixOf(level);
    LogReader::Values values;
    if (line.compare(0, prefix.size(), prefix) == 0 &&
        LogReader::FindMessage(level, std::string_view(line).substr(prefix.size()), values) != nullptr) {
      return true;
    }
  }
  return false;
}

struct MixedLog {
  Lines faults;
  int cut = 0;   // lines that are put together from parts
  int lost = 0;  // lines of both orders that are not there as a whole: overwritten, or the run took another way
};

// No line break ends the closing line of a run. So the next entry of the other run shares a line with it.
Lines LinesOf(const std::string& log) {
  constexpr std::string_view kCode = "VELA END!!! RetrunCode:";
  Lines lines;
  for (const std::string& line : TestSupport::Split(log)) {
    const std::size_t closing = line.find(kCode);
    const std::size_t end = closing == std::string::npos
                                ? line.size()
                                : std::min(line.find_first_not_of("0123456789", closing + kCode.size()), line.size());
    lines.push_back(line.substr(0, end));
    if (end != line.size()) {
      lines.push_back(line.substr(end));
    }
  }
  return lines;
}

long Count(const Lines& lines, const std::string& line) {
  return static_cast<long>(std::count(lines.begin(), lines.end(), line));
}

// `orders`: the lines of each order. A run appends each line by a seek to the end and a write, so it can overwrite what
// the other one wrote in between.
MixedLog CheckLog(const std::string& log, const Lines (&orders)[2]) {
  MixedLog result;
  const Lines lines = LinesOf(log);
  std::string parts = "\n";  // what lines may be put together from
  for (const Lines& order : orders) {
    for (const std::string& line : order) {
      parts += line + "\n";
    }
  }
  for (const std::string& line : lines) {
    if (IsMessage(line)) {
      parts += line + "\n";
    }
  }
  for (const std::string& line : lines) {
    std::size_t count = 0;
    for (std::size_t at = 0; at < line.size(); ++count) {
      std::size_t length = 0;
      while (at + length < line.size() && parts.find(line.substr(at, length + 1)) != std::string::npos) {
        ++length;
      }
      if (length == 0) {
        break;
      }
      at += length;
    }
    const bool whole = line.empty() || parts.find("\n" + line + "\n") != std::string::npos;
    result.cut += whole ? 0 : 1;
    if (!whole && (count == 0 || count > kMostParts)) {
      result.faults.push_back("log, " + std::to_string(count) + " parts: " + line);
    }
  }
  if (log.find("VELA END!!! RetrunCode:") == std::string::npos) {
    result.faults.push_back("log: no closing line");
  }
  for (const std::string& line : std::set<std::string>(orders[0].begin(), orders[0].end())) {
    const long there = Count(lines, line);
    const long wanted = std::min(Count(orders[0], line), Count(orders[1], line));
    result.lost += static_cast<int>(std::max(wanted - there, 0L));
  }
  return result;
}

// All pairs of a command: their row.
struct Result {
  int rounds = 0;
  int together = 0;  // in which both had begun before one ended
  int mixed = 0;     // that left a mixture
  int cut = 0;       // lines
  int lost = 0;
  Faults::Findings findings;
};

class Pair {
 public:
  Pair(Machine& machine, const Command& first, const Command& second, Result& result)
      : machine_(machine),
        first_(first),
        second_(second),
        name_(std::string(first.name) + " " + second.name),
        result_(result) {
    orders_.push_back(Order(first, second, logs_[0]));
    orders_.push_back(Order(second, first, logs_[1]));
  }

  void Play(unsigned rounds) {
    for (unsigned round = 0; round < rounds; ++round) {
      Round(round % 2 == 0);
    }
  }

 private:
  MachineState Order(const Command& first, const Command& second, Lines& log) {
    machine_.Reset();
    const long long start = TestSupport::LogFileSize();
    machine_.Run(first);
    machine_.Run(second);
    for (const std::string& line : TestSupport::Split(LogFrom(start))) {
      if (line.find("VELA END!!!") == std::string::npos) {
        log.push_back(line);
      }
    }
    return machine_.StateAfterRestart();
  }

  void Round(bool firstFirst) {
    machine_.Reset();
    const std::string before = TestSupport::FileContent(TestSupport::LogFilePath());
    TestProcess one = machine_.Started(firstFirst ? first_ : second_);
    TestProcess other = machine_.Started(firstFirst ? second_ : first_);
    one.Resume();
    other.Resume();
    const TestSupport::ProcessOutcome ended[] = {one.Finish(kLimit), other.Finish(kLimit)};
    Lines broken;
    for (const bool isOne : {true, false}) {
      const DWORD code = ended[isOne ? 0 : 1].exitCode;
      if (code != (isOne == firstFirst ? first_ : second_).exitCode) {
        broken.push_back("exit code " + std::to_string(code));
      }
    }
    CompareState(machine_.StateAfterRestart(), broken);

    const std::string log = TestSupport::FileContent(TestSupport::LogFilePath());
    if (log.compare(0, before.size(), before) != 0) {
      broken.push_back("log: earlier lines are changed");
    }
    const std::string written = log.substr(std::min(before.size(), log.size()));
    const MixedLog mixed = CheckLog(written, logs_);
    broken.insert(broken.end(), mixed.faults.begin(), mixed.faults.end());
    result_.cut += mixed.cut;
    result_.lost += mixed.lost;
    const std::size_t end = written.find("VELA END!!!");
    const std::size_t begun = written.find(" cmd:", written.find(" cmd:") + 1);
    result_.together += begun < end ? 1 : 0;
    ++result_.rounds;
    result_.findings.Add(name_, broken);
  }

  void CompareState(const MachineState& state, Lines& broken) {
    Lines least;
    std::set<std::string> inBoth;
    for (const MachineState& order : orders_) {
      const Lines differences = Differences(order, state);
      std::set<std::string> entries;
      for (const std::string& line : differences) {
        entries.insert(EntryOf(line));
      }
      if (&order == &orders_[0]) {
        least = differences;
        inBoth = entries;
        continue;
      }
      std::set<std::string> both;
      std::set_intersection(entries.begin(), entries.end(), inBoth.begin(), inBoth.end(),
                            std::inserter(both, both.end()));
      inBoth = both;
      if (differences.size() < least.size()) {
        least = differences;
      }
    }
    bool isMixture = false;
    for (const std::string& line : least) {
      const bool meant = std::any_of(std::begin(kMixtures), std::end(kMixtures), [&](const Mixture& row) {
        return IsLike(name_, row.pair) &&
               (row.difference == kOtherOrder ? inBoth.count(EntryOf(line)) == 0 : IsLike(line, row.difference));
      });
      isMixture |= meant;
      if (!meant) {
        broken.push_back((inBoth.count(EntryOf(line)) != 0 ? "in neither order: " : "from the other order: ") + line);
      }
    }
    result_.mixed += isMixture ? 1 : 0;
  }

  Machine& machine_;
  const Command& first_;
  const Command& second_;
  std::string name_;
  Lines logs_[2];
  std::vector<MachineState> orders_;
  Result& result_;
};

TEST_CASE("two commands at the same moment leave what one after the other leaves, or a mixture that is meant") {
  const auto rounds = static_cast<unsigned>(Setting("VELA_ENDURANCE_COUNT", 1));
  const std::size_t count = Commands().size();
  const auto first = static_cast<std::size_t>(Setting("VELA_ENDURANCE_COMMAND", 3));
  const Command& command = Commands().at(first);
  Machine machine(Stage::kSwitchedOn);
  Result result;
  for (std::size_t second = first; second < count; ++second) {
    Pair(machine, command, Commands()[second], result).Play(rounds);
  }
  Faults::ReportRow(command.name, {result.rounds, result.together, result.mixed, result.cut, result.lost},
                    result.findings);
  CHECK(result.rounds == static_cast<int>((count - first) * rounds));
  CHECK_MESSAGE(result.findings.Runs() == 0, std::string(command.name), ":\n", result.findings.Text());
}

}  // namespace
