// The process ends at each change that a command makes. Then the command runs again, completely. Files and registry
// must be the same as after one undisturbed run.
//
//   VELA_DEATHS_STRIDE    every n-th change only (default 1: all of them)
//   VELA_DEATHS_SCENARIO  the command of this number (from 0) only
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "tests/faults/FaultWorld.h"
#include "tests/faults/Findings.h"
#include "tests/faults/MachineState.h"
#include "tests/faults/RunChecks.h"
#include "tests/faults/SubjectProcess.h"
#include "tests/support/RunVerdict.h"
#include "tests/support/TestFiles.h"

using namespace Faults;
using TestSupport::Lines;

namespace {

constexpr DWORD kOrderedEnd = 0xDEAD;

const Scenario kDying[] = {
    {"-I", L"-I", {}, false, false}, {"-p", L"-p", {}, false, false}, {"-U", L"-U", {}, false, false}};

std::wstring Wide(const std::string& text) {
  return {text.begin(), text.end()};
}

// Differences that a second run cannot repair. They depend on the call at which the process ended.
bool IsExplained(const NotedCall& diedAt, const std::string& difference) {
  const auto begins = [&](std::string_view start) { return difference.compare(0, start.size(), start) == 0; };
  const auto ends = [&](std::string_view end) {
    return difference.size() > end.size() && difference.compare(difference.size() - end.size(), end.size(), end) == 0;
  };
  // A copied file gets its time first and its attributes last. If the process ends in between, the file counts as up to
  // date afterwards and keeps its attributes.
  if (diedAt.function == "SetFileAttributesW" && begins("~") && ends(" attributes")) {
    return true;
  }
  // A folder that is already deleted cannot be deleted again. It is scheduled for the restart, which will find nothing.
  constexpr std::string_view kDeletion = "+at restart: \\??\\";
  constexpr std::string_view kNothing = " -> ";
  return begins(kDeletion) && ends(kNothing) &&
         !TestSupport::Exists(
             Wide(difference.substr(kDeletion.size(), difference.size() - kDeletion.size() - kNothing.size())));
}

class DeathSweep {
 public:
  explicit DeathSweep(const Scenario& scenario) : scenario_(scenario), world_(scenario, Modules::kAll) {
    world_.Reset();
    counted_ = RunSubject(scenario.commandSwitch, "count register");
    findings_.Add("the undisturbed run", BrokenPromises(scenario, counted_));
    after_ = MachineState();
  }

  int Changes() const { return counted_.changes; }

  void DieAtEach(int stride) {
    for (const NotedCall& call : counted_.list) {
      if (call.change != 0 && call.change % stride == 0) {
        Die("die-before", call);
      }
      if (call.change == counted_.changes) {
        Die("die-after", call);
      }
    }
  }

  void Report() const {
    ReportRow(scenario_.name, {counted_.changes, deaths_, explained_}, findings_);
    CHECK_MESSAGE(findings_.Runs() == 0, std::string(scenario_.name), ": ", findings_.Runs(),
                  " runs that were ended early have findings\n", findings_.Text());
  }

 private:
  void Die(const char* order, const NotedCall& call) {
    const std::string told = std::string(order) + " change " + std::to_string(call.change) + ": " + call.function +
                             " in " + PlaceName(call.place);
    world_.Reset();
    const SubjectOutcome died =
        RunSubject(scenario_.commandSwitch, std::string(order) + " " + std::to_string(call.change) + " register");
    Lines broken;
    if (died.exitCode != kOrderedEnd) {
      broken.push_back("the process did not end at this change");
    }
    // Before the run opens its log, there is nothing to read.
    if (!died.log.empty() && TestSupport::LastVerdict(died.logText).outcome != LogReader::Outcome::kUnfinished) {
      broken.push_back("its verdict is not that it did not finish: " + TestSupport::LastVerdictText(died.logText));
    }
    const SubjectOutcome again = RunSubject(scenario_.commandSwitch, "count register");
    for (const std::string& line : BrokenPromises(scenario_, again)) {
      broken.push_back("second run: " + line);
    }
    bool explained = false;
    for (const std::string& line : Differences(after_, MachineState())) {
      if (IsExplained(call, line)) {
        explained = true;
      } else {
        broken.push_back(line);
      }
    }
    findings_.Add(told, broken);
    ++deaths_;
    explained_ += explained && broken.empty() ? 1 : 0;
  }

  const Scenario& scenario_;
  FaultWorld world_;
  SubjectOutcome counted_;
  MachineState after_;
  Findings findings_;
  int deaths_ = 0;
  int explained_ = 0;  // that left an expected difference
};

TEST_CASE("running a command again repairs the state after a run that ended in the middle") {
  const char* const strideText = std::getenv("VELA_DEATHS_STRIDE");
  const char* const only = std::getenv("VELA_DEATHS_SCENARIO");
  const int stride = strideText != nullptr ? std::atoi(strideText) : 1;
  REQUIRE(stride > 0);
  int index = 0;
  for (const Scenario& scenario : kDying) {
    if (only != nullptr && std::atoi(only) != index++) {
      continue;
    }
    DeathSweep sweep(scenario);
    REQUIRE(sweep.Changes() > 30);
    sweep.DieAtEach(stride);
    sweep.Report();
  }
}

}  // namespace
