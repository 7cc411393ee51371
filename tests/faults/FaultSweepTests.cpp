// Each Windows call of each command fails: alone, and together with every later one.
//
//   VELA_FAULTS_STRIDE    every n-th call only (default 1: all of them)
//   VELA_FAULTS_SCENARIO  the scenario of this number (from 0) only
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <set>
#include <string>

#include "tests/faults/FaultWorld.h"
#include "tests/faults/Findings.h"
#include "tests/faults/MachineState.h"
#include "tests/faults/ProductCalls.h"
#include "tests/faults/RunChecks.h"
#include "tests/faults/SubjectProcess.h"
#include "tests/faults/SweepOptions.h"
#include "tests/faults/VerdictChecks.h"
#include "tests/support/FailureReturns.h"

using namespace Faults;
using TestSupport::Lines;

namespace {

class Sweep {
 public:
  explicit Sweep(const Scenario& scenario) : scenario_(scenario), world_(scenario, Modules::kNone) {
    world_.Reset();
    untouchedMachine_ = MachineState();
    counted_ = RunSubject(scenario.commandSwitch, WithSuffix(scenario, "count"));
    undisturbed_ = std::make_unique<JudgedRun>(counted_, MachineState());
    findings_.Add("the run without a failing call", BrokenPromises(scenario, counted_));
  }

  const SubjectOutcome& Counted() const { return counted_; }

  // Every n-th call, but in short runs more often, to test at least a few.
  int Stride(int stride) const { return std::max(1, std::min(stride, counted_.calls / 4)); }

  void FailEach(int stride) {
    for (const NotedCall& call : counted_.list) {
      if (call.number % stride != 0) {
        continue;
      }
      const auto* const errors = ErrorsOf(call.function.c_str());
      for (std::size_t place = 0; place < errors->size(); ++place) {
        const std::string number = std::to_string(call.number);
        Run(call, "fail " + number + " " + std::to_string(place),
            "call " + number + " fails with " + std::to_string((*errors)[place]), true);
        ++single_;
      }
    }
  }

  void FailLasting(int stride) {
    for (const NotedCall& call : counted_.list) {
      if ((call.number + stride / 2) % stride == 0) {
        const std::string number = std::to_string(call.number);
        Run(call, "lasting " + number, "call " + number + " fails, and every later one", false);
        ++lasting_;
      }
    }
  }

  void Report() const {
    ReportRow(scenario_.name, {counted_.calls, single_, lasting_, listed_}, findings_);
    WriteRowFile(".uses", ExceptionUses());
    CHECK_MESSAGE(findings_.Runs() == 0, std::string(scenario_.name), ": ", findings_.Runs(), " runs with findings\n",
                  findings_.Text());
  }

 private:
  void Run(const NotedCall& call, const std::string& order, const std::string& what, bool isJudged) {
    const std::string told = what + ": " + call.function + " in " + PlaceName(call.place);
    if (!untouched_) {
      world_.Reset();
    }
    const SubjectOutcome outcome = RunSubject(scenario_.commandSwitch, WithSuffix(scenario_, order));
    untouched_ = outcome.changedNothing;
    Lines broken = BrokenPromises(scenario_, outcome);
    // The calls before the failing one are the same as in the counting run. So the failing call must be the same, too.
    if (outcome.noted && (outcome.failed.empty() || outcome.failed.front().place != call.place)) {
      broken.push_back("another call has this number now: the run differs from the counting run");
    }
    // A run that could not open its log has no verdict.
    if (isJudged && outcome.noted && !outcome.logText.empty()) {
      const JudgedRun run(outcome, untouched_ ? untouchedMachine_ : MachineState());
      const VerdictCheck check = CheckVerdict(scenario_, call, *undisturbed_, run);
      broken.insert(broken.end(), check.wrong.begin(), check.wrong.end());
      listed_ += check.isListed ? 1 : 0;
    }
    findings_.Add(told, broken);
  }

  const Scenario& scenario_;
  FaultWorld world_;
  SubjectOutcome counted_;
  MachineState untouchedMachine_;  // before any run
  std::unique_ptr<JudgedRun> undisturbed_;
  Findings findings_;
  bool untouched_ = false;
  int single_ = 0;
  int lasting_ = 0;
  int listed_ = 0;  // runs whose verdict is not that of the machine, as the tables say
};

// Functions that no undisturbed command calls here, but the product's libraries do.
constexpr const char* kReachedByNoCommand[] = {
    "GetSystemDirectoryW",  // only if the search for libraries cannot be limited
    "RegEnumValueW",        // of the registry classes
    "MultiByteToWideChar"   // of the trace, which nothing in the program switches on
};

// The scenarios cover enough: together they make every call that can fail.
void CheckReached(const std::set<std::string>& reached) {
  for (int number = 0; number < kCallCount; ++number) {
    const std::string name = NameOf(static_cast<ProductCall>(number));
    const bool meant = std::find(std::begin(kReachedByNoCommand), std::end(kReachedByNoCommand), name) ==
                       std::end(kReachedByNoCommand);
    if (!ErrorsOf(name.c_str())->empty()) {
      CHECK_MESSAGE((reached.count(name) != 0) == meant, name,
                    " must be either called here or listed in kReachedByNoCommand");
    }
  }
}

TEST_CASE("every Windows function that the product calls is listed with the errors that it can return") {
  for (int number = 0; number < kCallCount; ++number) {
    const char* const name = NameOf(static_cast<ProductCall>(number));
    const auto* const errors = ErrorsOf(name);
    CHECK_MESSAGE(errors != nullptr, std::string(name), " is not listed in ProductCalls.h");
    if (errors != nullptr && !errors->empty()) {
      CHECK_NOTHROW_MESSAGE(TestSupport::FailureReturn::Of(name, errors->front()), std::string(name));
    }
  }
}

TEST_CASE("every command ends properly and releases everything, whichever Windows call fails") {
  const int stride = Number("VELA_FAULTS_STRIDE", 1);
  REQUIRE(stride > 0);
  std::set<std::string> reached;
  for (std::size_t index = 0; index < Scenarios().size(); ++index) {
    if (!IsSwept(index)) {
      continue;
    }
    Sweep sweep(Scenarios()[index]);
    REQUIRE(sweep.Counted().calls > 10);
    REQUIRE(sweep.Counted().list.size() == static_cast<std::size_t>(sweep.Counted().calls));
    sweep.FailEach(sweep.Stride(stride));
    sweep.FailLasting(sweep.Stride(stride));
    sweep.Report();
    for (const NotedCall& call : sweep.Counted().list) {
      reached.insert(call.function);
    }
  }
  if (std::getenv("VELA_FAULTS_SCENARIO") == nullptr) {
    CheckReached(reached);
  }
}

}  // namespace
