// The sweeps find what they must find: for each kind of broken promise, there is a run that breaks it.
#include "tests/faults/RunChecks.h"

#include <doctest/doctest.h>

#include <stdexcept>
#include <string>

#include "tests/faults/FaultWorld.h"
#include "tests/faults/ProductTrees.h"
#include "tests/faults/SubjectProcess.h"
#include "tests/faults/VerdictChecks.h"

using namespace Faults;
using TestSupport::Lines;
using TestSupport::LinesWith;

namespace {

const Scenario& Named(const std::string& name) {
  for (const Scenario& scenario : Scenarios()) {
    if (name == scenario.name) {
      return scenario;
    }
  }
  throw std::logic_error("no such scenario");
}

SubjectOutcome Ended(DWORD exitCode, const std::string& lastLine) {
  SubjectOutcome outcome;
  outcome.exitCode = exitCode;
  outcome.noted = outcome.returned = outcome.logPossible = true;
  outcome.log = {"LOG_INFO : something", lastLine};
  return outcome;
}

constexpr char kClosing[] = "LOG_INFO : [2026/01/02 03:04:05] VELA END!!! RetrunCode:0";

TEST_CASE("each way in which a run can fail its checks is a finding") {
  struct Row {
    const char* scenario;
    SubjectOutcome outcome;
    Lines broken;
  };
  SubjectOutcome without = Ended(0, "");
  without.logPossible = false;
  without.log.clear();
  SubjectOutcome died = Ended(0xC0000005, "LOG_INFO : half a li");
  died.noted = false;
  SubjectOutcome hung = Ended(0, kClosing);
  hung.timedOut = true;
  SubjectOutcome brokenOff = Ended(kBrokenOff, " VELA END!!! RetrunCode:-520159230");
  const SubjectOutcome withMemory = brokenOff;
  brokenOff.refused = 7;
  SubjectOutcome abortedAtStart = brokenOff;
  abortedAtStart.returned = false;
  SubjectOutcome aborted = abortedAtStart;
  aborted.log.insert(aborted.log.begin(), "LOG_INFO :  cmd:-s");
  const std::string missing = "the closing line is missing or has another exit code: \"";
  for (const Row& row : {
           Row{"-s", Ended(0, kClosing), {}},
           Row{"-s", without, {}},
           Row{"-s", brokenOff, {}},
           Row{"-s", abortedAtStart, {}},
           Row{"-s", aborted, {"the run aborted in the middle of its command"}},
           Row{"-s", withMemory, {"exit code 0xE0FF0002, expected 0x0"}},
           Row{"-s", died, {"the run crashed: exit code 0xC0000005"}},
           Row{"-s", hung, {"the run timed out"}},
           Row{"-s", Ended(0, "LOG_INFO : GetStatus!!!!! 1"), {missing + "LOG_INFO : GetStatus!!!!! 1\""}},
           Row{"-s", Ended(1, kClosing), {missing + kClosing + "\"", "exit code 0x1, expected 0x0"}},
           Row{"-r", Ended(0, kClosing), {"exit code 0x0, expected 0x1"}},
           Row{"-I", Ended(0xE0FF0001, " VELA END!!! RetrunCode:-520159231"), {"exit code 0xE0FF0001, expected 0x0"}},
       }) {
    CHECK_LINES(BrokenPromises(Named(row.scenario), row.outcome), (row.broken));
  }
}

TEST_CASE("each kind of note is a finding, and so is impersonation that stays or that changes anything") {
  SubjectOutcome outcome = Ended(0, kClosing);
  outcome.remarks = {"left CreateFileW 0 handle",
                     "stray CloseHandle 0 handle",
                     "outside DeleteFileW 0 C:\\x",
                     "relative DeleteFileW 0 dest\\x",
                     "unknown NewFunction",
                     "left CreateEnvironmentBlock 0 x",
                     "left LoadLibraryW 0 module",
                     "left ImpersonateLoggedOnUser 0 impersonation",
                     "impersonating RegSetValueExW 0 change"};
  CHECK(BrokenPromises(Named("-s"), outcome).size() == outcome.remarks.size());
  outcome.remarks.emplace_back("session failed");
  CHECK(BrokenPromises(Named("-s"), outcome).size() == outcome.remarks.size() - 1);
}

TEST_CASE(
    "an allocation that fails is noted with the functions in which it failed, and the later ones are as ordered") {
  FaultWorld world(Named("-r"), Modules::kNone);
  world.Reset();
  const int last = RunSubject(L"-r", "plain").allocations;
  const SubjectOutcome alone = RunSubject(L"-r", "plain", "alone " + std::to_string(last));
  CHECK(alone.refused == last);
  Lines places;
  for (const std::string& place : alone.refusedIn) {
    places.push_back(PlaceName(place));
  }
  CHECK(LinesWith(places, "VELAUtility::NotifyReloadVELAEngine").size() == 1);
  CHECK(alone.exitCode == kBrokenOff);
  CHECK(RunSubject(L"-r", "plain", "lasting " + std::to_string(last)).exitCode == kBrokenOff);
  CHECK(RunSubject(L"-r", "plain", "alone " + std::to_string(last + 1)).refused == 0);
}

constexpr char kStatus[] =
    "\r\nLOG_INFO :  cmd:-s\r\n src:C:\\a\r\ndest:C:\\b\r\nLOG_INFO : ======= GetStatus ========\r\n";

JudgedRun Judged(const Lines& entries, const Lines& started) {
  SubjectOutcome outcome;
  outcome.logText = kStatus;
  for (const std::string& entry : entries) {
    outcome.log.push_back(entry);
    outcome.logText += "\r\n" + entry;
  }
  outcome.started = started;
  return {outcome, MachineState()};
}

TEST_CASE("a verdict that does not agree with what the run left is a finding") {
  const std::string on = "LOG_INFO : GetStatus!!!!! 1";
  const std::string failure = "LOG_ERROR: something new failed";
  const JudgedRun undisturbed = Judged({on, kClosing}, {"set an event"});
  CHECK(undisturbed.verdict.outcome == LogReader::Outcome::kDone);
  NotedCall failed;
  failed.function = "SetEvent";
  const auto check = [&](const char* scenario, const Lines& entries, const Lines& started) {
    return CheckVerdict(Named(scenario), failed, undisturbed, Judged(entries, started));
  };
  const auto isOnly = [](const VerdictCheck& result, const std::string& part) {
    return !result.isListed && result.wrong.size() == 1 && LinesWith(result.wrong, part).size() == 1;
  };
  for (const VerdictCheck& agrees : {check("-s", {on, kClosing}, {"set an event"}),
                                     check("-s", {on, failure, kClosing}, {"set an event", "started x"}),
                                     check("-s", {"LOG_INFO : REG Open Fail", kClosing}, {"set an event"})}) {
    CHECK(agrees.wrong.empty());
    CHECK_FALSE(agrees.isListed);
  }
  CHECK(isOnly(check("-s", {on, kClosing}, {}), "its log says nothing of: -set an event (SetEvent in "));
  CHECK(isOnly(check("-s", {on, kClosing}, {"set an event", "started x"}), ": +started x ("));
  CHECK(isOnly(check("-s", {"LOG_INFO : GetStatus!!!!! 0", on, kClosing}, {"set an event"}), "GetStatus!!!!! 0 ("));
  CHECK(isOnly(check("-s", {on, failure, kClosing}, {"set an event"}), "its verdict names: unknown-failure ("));
  // The table lists this one for -r.
  const VerdictCheck listed = check("-r", {on, kClosing}, {});
  CHECK(listed.wrong.empty());
  CHECK(listed.isListed);
}

TEST_CASE("which paths count as inside the product's trees") {
  for (const wchar_t* const path :
       {L"C:\\VelaFaults\\dest", L"c:\\velafaults\\DEST\\VELA\\a.dll", L"C:\\ProgramData\\Orvane Labs\\OL\\",
        L"C:\\users\\somebody\\Application Data\\Microsoft\\Outlook\\Extend.dat",
        L"C:\\VelaFaults\\Office14\\ADDINS\\Redemption.ECF"}) {
    CHECK(LiesInProductTrees(path));
  }
  for (const wchar_t* const path :
       {L"C:\\VelaFaults\\destination", L"C:\\VelaFaults\\source\\OL", L"C:\\ProgramData", L"C:\\ProgramData\\",
        L"C:\\windows\\system32", L"C:\\VelaFaults\\Office14\\outlook.exe", L"C:\\"}) {
    CHECK_FALSE(LiesInProductTrees(path));
  }
}

TEST_CASE("a resource that is never released is noted with the function that took it") {
  FaultWorld world(Named("-s"), Modules::kNone);
  world.Reset();
  const SubjectOutcome kept = RunSubject(L"-s", "count forget");
  CHECK(kept.noted);
  const Lines broken = BrokenPromises(Named("-s"), kept);
  CHECK(LinesWith(broken, "left RegOpenKeyExW in (anonymous namespace)::OpenProductKey").size() == 1);
}

}  // namespace
