// Memory runs out: each allocation of each command fails, alone and with every later one.
//
//   VELA_FAULTS_STRIDE    every n-th allocation only (default 1: all of them)
//   VELA_FAULTS_SCENARIO  the scenario of this number (from 0) only
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "tests/faults/FaultWorld.h"
#include "tests/faults/Findings.h"
#include "tests/faults/MachineState.h"
#include "tests/faults/RunChecks.h"
#include "tests/faults/SubjectProcess.h"
#include "tests/faults/SweepOptions.h"
#include "tests/faults/VerdictChecks.h"

using namespace Faults;
using TestSupport::Lines;

namespace {

class MemorySweep {
 public:
  explicit MemorySweep(const Scenario& scenario) : scenario_(scenario), world_(scenario, Modules::kNone) {
    world_.Reset();
    untouched_ = std::make_unique<MachineState>();
    counted_ = RunSubject(scenario.commandSwitch, WithSuffix(scenario, "plain"));
    undisturbed_ = std::make_unique<JudgedRun>(counted_, MachineState());
    findings_.Add("the run with enough memory", BrokenPromises(scenario, counted_));
  }

  const SubjectOutcome& Counted() const { return counted_; }

  // In short runs more often, to test at least a few. Those of the start are the same for each command.
  int Stride(int stride) const { return std::max(1, std::min(stride, counted_.allocations / 8)); }

  void FailEach(int stride) {
    for (int number = 1; number <= counted_.allocations; ++number) {
      if (number % stride == 0) {
        Run("alone", number);
      }
      if ((number + stride / 2) % stride == 0) {
        Run("lasting", number);
      }
    }
  }

  void Report() const {
    ReportRow(scenario_.name, {counted_.allocations, runs_, brokenOff_, endedAtStart_}, findings_);
    CHECK_MESSAGE(findings_.Runs() == 0, std::string(scenario_.name), ": ", findings_.Runs(), " runs with findings\n",
                  findings_.Text());
  }

 private:
  void Run(const std::string& order, int number) {
    world_.Reset();
    const SubjectOutcome outcome =
        RunSubject(scenario_.commandSwitch, WithSuffix(scenario_, "plain"), order + " " + std::to_string(number));
    ++runs_;
    std::string told = "allocation " + std::to_string(number) + " fails, " + order + ":";
    for (const std::string& place : outcome.refusedIn) {
      told += " < " + PlaceName(place);
    }
    findings_.Add(told, !outcome.noted && number <= counted_.allocationsAtStart ? BrokenAtStart(outcome)
                                                                                : Broken(number, outcome));
  }

  // The runtime copies the arguments before the product's first line, and does not check whether it has the memory.
  Lines BrokenAtStart(const SubjectOutcome& outcome) {
    ++endedAtStart_;
    Lines broken = Differences(*untouched_, MachineState());
    if (outcome.exitCode != STATUS_ACCESS_VIOLATION || outcome.timedOut || outcome.logPossible) {
      broken.push_back("the run crashed, but not at the start of the runtime");
    }
    return broken;
  }

  Lines Broken(int number, const SubjectOutcome& outcome) {
    Lines broken = BrokenPromises(scenario_, outcome);
    if (outcome.noted && outcome.refused != number) {
      broken.push_back("no allocation has this number now: the run differs from the counting run");
    }
    if (outcome.noted) {
      const JudgedRun run(outcome, MachineState());
      if (outcome.exitCode == kBrokenOff) {
        ++brokenOff_;
        if (run.verdict.outcome != LogReader::Outcome::kNotDone) {
          broken.push_back("the run broke off, but its verdict is: " + std::string(NameOf(run.verdict.outcome)));
        }
      } else {
        const VerdictCheck check = CheckVerdict(scenario_, FailedIn(outcome), *undisturbed_, run);
        broken.insert(broken.end(), check.wrong.begin(), check.wrong.end());
      }
    }
    return broken;
  }

  // The innermost function of the product in which the allocation failed.
  static NotedCall FailedIn(const SubjectOutcome& outcome) {
    constexpr std::string_view kNotOfTheProduct[] = {"__wrap_", "operator new", "std::", "__cxa", "__gnu"};
    NotedCall call;
    call.function = "memory";
    for (const std::string& place : outcome.refusedIn) {
      const std::string name = PlaceName(place);
      call.place = place;
      if (std::none_of(std::begin(kNotOfTheProduct), std::end(kNotOfTheProduct),
                       [&](std::string_view part) { return name.find(part) != std::string::npos; })) {
        break;
      }
    }
    return call;
  }

  const Scenario& scenario_;
  FaultWorld world_;
  SubjectOutcome counted_;
  std::unique_ptr<MachineState> untouched_;  // before any run
  std::unique_ptr<JudgedRun> undisturbed_;
  Findings findings_;
  int runs_ = 0;
  int brokenOff_ = 0;
  int endedAtStart_ = 0;
};

TEST_CASE("every command ends properly when its memory runs out, at whichever allocation") {
  const int stride = Number("VELA_FAULTS_STRIDE", 1);
  REQUIRE(stride > 0);
  for (std::size_t index = 0; index < Scenarios().size(); ++index) {
    if (IsSwept(index)) {
      MemorySweep sweep(Scenarios()[index]);
      REQUIRE(sweep.Counted().allocations > 10);
      sweep.FailEach(sweep.Stride(stride));
      sweep.Report();
    }
  }
}

}  // namespace
