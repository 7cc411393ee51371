// The sweeps find what they must find: for each kind of broken promise, there is a run that breaks it.
#include "tests/faults/RunChecks.h"

#include <doctest/doctest.h>

#include <stdexcept>
#include <string>

#include "tests/faults/FaultWorld.h"
#include "tests/faults/ProductTrees.h"
#include "tests/faults/SubjectProcess.h"

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
  outcome.noted = outcome.logPossible = true;
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
  const std::string missing = "the closing line is missing or has another exit code: \"";
  for (const Row& row : {
           Row{"-s", Ended(0, kClosing), {}},
           Row{"-s", without, {}},
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
