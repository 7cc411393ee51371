// Each Windows call of each command fails: it alone, and it with every later one.
//
//   VELA_FAULTS_STRIDE    every n-th call only (default 1: all of them)
//   VELA_FAULTS_SCENARIO  the scenario of this number (from 0) only
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>

#include "tests/faults/DocumentedErrors.h"
#include "tests/faults/FaultWorld.h"
#include "tests/faults/ProductCalls.h"
#include "tests/faults/RunChecks.h"
#include "tests/faults/SubjectProcess.h"
#include "tests/support/FailureReturns.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"

using namespace Faults;
using TestSupport::Lines;

namespace {

constexpr std::size_t kShownFindings = 40;

int Number(const char* variable, int otherwise) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? std::atoi(text) : otherwise;
}

bool IsSwept(std::size_t scenario) {
  const int only = Number("VELA_FAULTS_SCENARIO", -1);
  return only < 0 || static_cast<std::size_t>(only) == scenario;
}

std::string WithSuffix(const Scenario& scenario, const std::string& order) {
  return scenario.shellOnly ? order + " shell" : order;
}

// The findings of all runs, each told once with the number of runs that had it.
class Findings {
 public:
  void Add(const std::string& run, const Lines& broken) {
    runs_ += broken.empty() ? 0U : 1U;
    for (const std::string& line : broken) {
      auto& [count, first] = lines_[line];
      first = count++ == 0 ? run : first;
    }
  }
  unsigned Runs() const { return runs_; }
  std::string Text() const {
    std::string text;
    std::size_t shown = 0;
    for (const auto& [line, found] : lines_) {
      if (++shown > kShownFindings) {
        return text + "  and " + std::to_string(lines_.size() - kShownFindings) + " more\n";
      }
      text += "  " + line + "\n    in " + std::to_string(found.first) + " runs, the first: " + found.second + "\n";
    }
    return text;
  }

 private:
  unsigned runs_ = 0;
  std::map<std::string, std::pair<unsigned, std::string>> lines_;
};

class Sweep {
 public:
  explicit Sweep(const Scenario& scenario) : scenario_(scenario), world_(scenario, false) {
    world_.Reset();
    counted_ = RunSubject(scenario.commandSwitch, WithSuffix(scenario, "count"));
    findings_.Add("nothing fails", BrokenPromises(scenario, counted_));
  }

  const SubjectOutcome& Counted() const { return counted_; }

  void FailEach(int stride) {
    for (const NotedCall& call : counted_.list) {
      if (call.number % stride != 0) {
        continue;
      }
      const auto* const errors = ErrorsOf(call.function.c_str());
      for (std::size_t place = 0; place < errors->size(); ++place) {
        const std::string number = std::to_string(call.number);
        Run(call, "fail " + number + " " + std::to_string(place),
            "call " + number + " fails with " + std::to_string((*errors)[place]));
        ++single_;
      }
    }
  }

  void FailLasting(int stride) {
    for (const NotedCall& call : counted_.list) {
      if ((call.number + stride / 2) % stride == 0) {
        const std::string number = std::to_string(call.number);
        Run(call, "lasting " + number, "call " + number + " fails, and every later one");
        ++lasting_;
      }
    }
  }

  // A row of a table, and the findings.
  void Report() const {
    const std::string row = std::string("| `") + scenario_.name + "` | " + std::to_string(counted_.calls) + " | " +
                            std::to_string(single_) + " | " + std::to_string(lasting_) + " | " +
                            std::to_string(findings_.Runs()) + " |";
    std::printf("%s\n", row.c_str());
    if (const char* const file = std::getenv("VELA_FAULTS_ROWS")) {
      TestSupport::WriteTestFile(TestSupport::BuildFolder() + L"\\" + std::wstring(file, file + std::strlen(file)),
                                 row + "\n");
    }
    CHECK_MESSAGE(findings_.Runs() == 0, std::string(scenario_.name), ": ", findings_.Runs(), " runs with findings\n",
                  findings_.Text());
  }

 private:
  void Run(const NotedCall& call, const std::string& order, const std::string& what) {
    const std::string told = what + ": " + call.function + " in " + PlaceName(call.place);
    if (!untouched_) {
      world_.Reset();
    }
    const SubjectOutcome outcome = RunSubject(scenario_.commandSwitch, WithSuffix(scenario_, order));
    untouched_ = outcome.changedNothing;
    Lines broken = BrokenPromises(scenario_, outcome);
    // The calls before the failing one are those of the counting run, so the failing one must be what it was there.
    if (outcome.noted && (outcome.failed.empty() || outcome.failed.front().place != call.place)) {
      broken.push_back("another call stood in its place: the run is not the one that was counted");
    }
    findings_.Add(told, broken);
  }

  const Scenario& scenario_;
  FaultWorld world_;
  SubjectOutcome counted_;
  Findings findings_;
  bool untouched_ = false;
  int single_ = 0;
  int lasting_ = 0;
};

TEST_CASE("it is known how each Windows function that the product calls fails") {
  for (int number = 0; number < kCallCount; ++number) {
    const char* const name = NameOf(static_cast<ProductCall>(number));
    const auto* const errors = ErrorsOf(name);
    CHECK_MESSAGE(errors != nullptr, name);
    if (errors != nullptr && !errors->empty()) {
      CHECK_NOTHROW_MESSAGE(TestSupport::FailureReturn::Of(name, errors->front()), name);
    }
  }
}

TEST_CASE("every command keeps its promises whatever fails") {
  const int stride = Number("VELA_FAULTS_STRIDE", 1);
  REQUIRE(stride > 0);
  for (std::size_t index = 0; index < Scenarios().size(); ++index) {
    if (!IsSwept(index)) {
      continue;
    }
    Sweep sweep(Scenarios()[index]);
    REQUIRE(sweep.Counted().calls > 10);
    REQUIRE(sweep.Counted().list.size() == static_cast<std::size_t>(sweep.Counted().calls));
    sweep.FailEach(stride);
    sweep.FailLasting(stride);
    sweep.Report();
    std::fflush(stdout);
  }
}

}  // namespace
