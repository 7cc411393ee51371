// Power goes at any instant. The real program is ended from outside, with everything that it started, at an instant
// that nobody chose. Then the command runs again. The machine must be as after one undisturbed run.
//
// Half of the instants are drawn from the time of an undisturbed run, half from the length of its log: most of the time
// of some commands belongs to regsvr32.exe, and most of the lines to the files.
//
//   VELA_ENDURANCE_COUNT    ends that hit a running program, for each command (default 3)
//   VELA_ENDURANCE_SEED     of the instants; it is printed
//   VELA_ENDURANCE_COMMAND  the command of this number (from 0) only
#include <doctest/doctest.h>

#include <windows.h>

#include <chrono>
#include <random>
#include <string>

#include "tests/endurance/Machine.h"
#include "tests/faults/Findings.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogFile.h"
#include "tests/support/RunVerdict.h"
#include "tests/support/TestFiles.h"

using namespace Endurance;
using TestSupport::TestProcess;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr DWORD kLimit = 60000;      // milliseconds
constexpr int kSecondEnd = 4;        // every n-th end that hits is followed by another one
constexpr unsigned kMostMisses = 4;  // for each end that hits

struct Plan {
  std::size_t command;  // in Commands()
  Stage before;
  bool fileInUse;
};

constexpr Plan kPlans[] = {{0, Stage::kAbsent, false},
                           {1, Stage::kSwitchedOn, true},
                           {2, Stage::kInstalled, false},
                           {3, Stage::kSwitchedOn, false},
                           {4, Stage::kSwitchedOn, true}};

// Differences from an undisturbed run that are meant: a second run cannot know what the first one did. '*' stands for
// any text.
struct Meant {
  const char* command;
  const char* difference;
  const char* reason;  // for the reader
  bool onlyIfGone;     // the path at the star does not exist
  bool isSwitch;       // the verdict says so, and -e and then -d repair it
};
constexpr Meant kMeant[] = {
    {"-I", "~* attributes", "a copy gets its time before its attributes; with that time it counts as up to date", false,
     false},
    {"-p", "~* attributes", "the same", false, false},
    {"-d", "~*\"VELAEnable\" REG_DWORD 1 <- REG_DWORD 0",
     "a start-up value that is gone already counts as a failure, after which the switch keeps its value", false, true},
    {"-U", "+at restart: \\??\\* -> ", "a folder that is gone is scheduled again; the restart finds nothing", true,
     false},
};

const Meant* FindMeant(const std::string& command, const std::string& difference) {
  for (const Meant& row : kMeant) {
    if (command == row.command && IsLike(difference, row.difference)) {
      const std::string pattern = row.difference;
      const std::string path = difference.substr(pattern.find('*'), difference.size() - (pattern.size() - 1));
      return row.onlyIfGone && TestSupport::Exists(std::wstring(path.begin(), path.end())) ? nullptr : &row;
    }
  }
  return nullptr;
}

class Power {
 public:
  Power(const Plan& plan, unsigned long long seed)
      : plan_(plan), command_(Commands()[plan.command]), machine_(plan.before), random_(seed + plan.command) {
    Prepare();
    const long long log = TestSupport::LogFileSize();
    TestProcess program = machine_.Started(command_);
    const auto begin = Clock::now();
    program.Resume();
    CHECK(program.Finish(kLimit).exitCode == command_.exitCode);
    duration_ = std::chrono::duration_cast<microseconds>(Clock::now() - begin);
    logged_ = TestSupport::LogFileSize() - log;
    undisturbed_ = std::make_unique<MachineState>(machine_.State());
  }

  void EndOften(unsigned wanted) {
    for (unsigned tries = 0; hits_ < static_cast<int>(wanted) && tries < wanted * kMostMisses; ++tries) {
      Try();
    }
  }

  void Report(unsigned wanted, unsigned long long seed) const {
    Faults::ReportRow(std::string(command_.name) + ", seed " + std::to_string(seed), {ends_, hits_, twice_, meant_},
                      findings_);
    CHECK(hits_ >= static_cast<int>(wanted));
    CHECK_MESSAGE(findings_.Runs() == 0, std::string(command_.name), ", seed ", seed, ":\n", findings_.Text());
  }

 private:
  void Prepare() {
    machine_.Reset();
    TestSupport::RemoveTree(TestSupport::LogFilePath());  // what it says about earlier runs is no longer true
    if (plan_.fileInUse) {
      machine_.HoldFile();
    }
  }

  template <class Number>
  Number Below(Number limit) {
    return std::uniform_int_distribution<Number>(0, limit)(random_);
  }

  // Runs the command and ends it. Returns what it had done, or nothing if it was faster.
  std::string End() {
    const long long log = TestSupport::LogFileSize();
    const bool byTime = Below(1) == 0;
    const microseconds wait(byTime ? Below(duration_.count()) : Below(1500LL));
    const long long lines = byTime ? 0 : Below(logged_);
    TestProcess program = machine_.Started(command_);
    auto begin = Clock::now();
    program.Resume();
    while (program.IsRunning() && TestSupport::LogFileSize() - log < lines) {
      ::Sleep(0);
      begin = Clock::now();
    }
    while (Clock::now() - begin < wait) {
      ::Sleep(wait - (Clock::now() - begin) > microseconds(2000) ? 1 : 0);
    }
    program.EndFamily();
    ++ends_;
    const bool hit = program.Finish(kLimit).exitCode == TestSupport::kEndedByTest;
    hits_ += hit ? 1 : 0;
    return hit ? std::to_string(TestSupport::LogFileSize() - log) + " bytes of " + std::to_string(logged_) : "";
  }

  void Try() {
    Prepare();
    std::string told = End();
    if (!told.empty() && hits_ % kSecondEnd == 0) {
      const std::string again = End();
      twice_ += again.empty() ? 0 : 1;
      told += ", then " + again;
    }
    machine_.Settle();
    TestProcess repeated = machine_.Started(command_);
    repeated.Resume();
    const TestSupport::ProcessOutcome ended = repeated.Finish(kLimit);
    Lines broken;
    if (ended.timedOut || ended.exitCode != command_.exitCode) {
      broken.push_back("the repeated run ended with " + std::to_string(ended.exitCode));
    }
    bool meant = false;
    bool repair = false;
    for (const std::string& line : Differences(*undisturbed_, machine_.State())) {
      const Meant* const row = FindMeant(command_.name, line);
      if (row == nullptr) {
        broken.push_back(line);
      } else {
        meant = true;
        repair |= row->isSwitch;
      }
    }
    if (repair) {
      if (TestSupport::LastVerdict(TestSupport::FileContent(TestSupport::LogFilePath())).outcome ==
          LogReader::Outcome::kDone) {
        broken.push_back("the verdict of the repeated run is that it is done");
      }
      machine_.Run(Commands()[2]);
      machine_.Run(Commands()[3]);
      for (const std::string& line : Differences(*undisturbed_, machine_.State())) {
        broken.push_back("after -e and -d: " + line);
      }
    }
    meant_ += meant && broken.empty() ? 1 : 0;
    findings_.Add("ended after " + told, broken);
  }

  const Plan& plan_;
  const Command& command_;
  Machine machine_;
  std::mt19937_64 random_;
  microseconds duration_ = {};
  long long logged_ = 0;
  std::unique_ptr<MachineState> undisturbed_;
  Faults::Findings findings_;
  int ends_ = 0;
  int hits_ = 0;
  int twice_ = 0;
  int meant_ = 0;
};

TEST_CASE("a command that is ended at any instant and repeated leaves what an undisturbed run leaves") {
  const auto wanted = static_cast<unsigned>(Setting("VELA_ENDURANCE_COUNT", 3));
  const auto seed = Setting("VELA_ENDURANCE_SEED", std::random_device()());
  const auto only = Setting("VELA_ENDURANCE_COMMAND", std::size(kPlans));
  for (const Plan& plan : kPlans) {
    if (only < std::size(kPlans) && &plan != &kPlans[only]) {
      continue;
    }
    Power power(plan, seed);
    power.EndOften(wanted);
    power.Report(wanted, seed);
  }
}

}  // namespace
