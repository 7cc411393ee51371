// What is said about a run: small logs and their verdicts.
#include <doctest/doctest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "logreader/Log.h"
#include "logreader/Report.h"
#include "logreader/Verdict.h"
#include "tests/support/Approved.h"
#include "tests/support/Clients.h"
#include "tests/unit/logreader/SmallLogs.h"

using namespace LogReader;
using namespace SmallLogs;

namespace {

Verdict Judged(const std::string& log) {
  std::istringstream stream(log);
  return JudgeLast(stream);
}

// The number of this line without the lines of clients after the first three: a new client changes no number here.
long long NumberOf(long long line, const std::string& log) {
  std::istringstream stream(log);
  long long number = line;
  std::string text;
  bool isOfClient = false;
  for (long long before = 1; before < line && std::getline(stream, text); ++before) {
    isOfClient = isOfClient && text.find("ComModule() execute result") != std::string::npos;
    for (std::size_t index = 3; index < TestSupport::Clients().size(); ++index) {
      const std::string name = TestSupport::ToUtf8(TestSupport::Clients()[index].shortName);
      isOfClient = isOfClient || text.find("VELA_" + name) != std::string::npos ||
                   text.find(" " + name + " ") != std::string::npos;
    }
    number -= isOfClient ? 1 : 0;
  }
  return number;
}

// The same for the numbers in a sentence.
std::string WithNumbers(const std::string& sentence, const std::string& log) {
  constexpr std::string_view kLine = "line ";
  const std::size_t last = sentence.rfind(kLine);
  const std::size_t digits = last == std::string::npos ? sentence.size() : last + kLine.size();
  const std::size_t end = std::min(sentence.find_first_not_of("0123456789", digits), sentence.size());
  return digits == end ? sentence
                       : sentence.substr(0, digits) +
                             std::to_string(NumberOf(std::stoll(sentence.substr(digits, end - digits)), log)) +
                             sentence.substr(end);
}

// "rule: first line of the log" for each finding, or the kind of line instead of the rule.
Lines Summary(const Verdict& verdict, const std::string& log = {}) {
  constexpr const char* kKinds[] = {"", "", "", "", "notice", "left", "restart", "problem", "fatal"};
  Lines summary;
  for (const Finding& finding : verdict.findings) {
    std::string text = kKinds[static_cast<int>(finding.kind)];
    text += finding.rule != nullptr ? " " + std::string(finding.rule->name) : "";
    for (const LineCopy& line : finding.lines) {
      text += " " + std::to_string(NumberOf(line.number, log));
    }
    summary.push_back(text);
  }
  return summary;
}

// What the reports of these runs say below their heads: each line once.
Lines reported;

void NoteReport(const Run& run, const Verdict& verdict) {
  std::string text;
  WriteRun(run, verdict, false, [&](std::string_view part, Color) { text += part; });
  std::istringstream report(text.substr(text.find("\n\n") + 2));
  for (std::string line; std::getline(report, line);) {
    line += !line.empty() && line.back() == ' ' ? "\xC2\xB7" : "";  // a middle dot
    if (std::find(reported.begin(), reported.end(), line) == reported.end()) {
      reported.push_back(line);
    }
  }
}

// Names of rules that a test has seen in a verdict, or in the kind of a line.
std::set<std::string> seenRules;

void CheckVerdict(const Lines& entries, Outcome outcome, const std::string& sentence, const Lines& findings,
                  const std::string& after = {}) {
  const std::string log = LogOf(entries) + after;
  std::istringstream stream(log);
  Verdict last;
  ReadRuns(stream, [&](Run& run, const Verdict& verdict) {
    last = verdict;
    NoteReport(run, verdict);
    for (const Line& line : run.lines) {
      if (line.rule != nullptr) {
        CHECK(line.kind >= Kind::kUsual);
        seenRules.emplace(line.rule->name);
      }
    }
    for (const Finding& finding : verdict.findings) {
      if (finding.rule != nullptr) {
        seenRules.emplace(finding.rule->name);
      }
    }
  });
  CAPTURE(last.sentence);
  CHECK(NameOf(last.outcome) == NameOf(outcome));
  CHECK(WithNumbers(last.sentence, log) == sentence);
  CHECK_LINES(Summary(last, log), (findings));
}

// Without the command of this module and its result.
Lines WithoutModule(Lines entries, const std::string& module) {
  const auto command = std::find_if(entries.begin(), entries.end(), [&](const std::string& entry) {
    return entry.find(module + "\"") != std::string::npos;
  });
  REQUIRE(command != entries.end());
  entries.erase(command, command + 2);
  return entries;
}

const std::string kCopyFailed = "LOG_ERROR: ::CopyFile() failed: err(32), src(C:\\x\\a), dst(C:\\y\\a)";

Lines Good(Command command) {
  return GoodRun(command);
}

const std::string kFirstInstall =
    "Installed, and filtering is off until -e: the files are in place, and regsvr32.exe was started for every module.";

TEST_CASE("good runs") {
  CheckVerdict(Good(Command::kInstall), Outcome::kDone, kFirstInstall, {});
  CheckVerdict(Good(Command::kEnable), Outcome::kDone, "Filtering is switched on.", {});
  CheckVerdict(Good(Command::kDisable), Outcome::kDone, "Filtering is switched off.", {});
  CheckVerdict(Good(Command::kStatus), Outcome::kDone, "The stored state of filtering is on.", {});
  CheckVerdict(Good(Command::kUpgrade), Outcome::kDone,
               "Upgraded: the installed files are those of the source, and running mail clients were notified.", {});
  CheckVerdict(Good(Command::kReload), Outcome::kDone, "Every running mail client was notified.", {});
  CheckVerdict(Good(Command::kUninstall), Outcome::kDone,
               "Uninstalled; files that were in use, if any, are removed at the next restart.", {});
}

TEST_CASE("good runs with another result") {
  CheckVerdict(
      Instead(Good(Command::kInstall), "QueryStringValue", {"LOG_INFO : There is no any Mail Client Running."}),
      Outcome::kDone,
      "Installed, and filtering stays on: the files are in place, and regsvr32.exe was started for every module.", {});
  CheckVerdict(Without(Good(Command::kInstall), "QueryStringValue"), Outcome::kDone,
               "Installed: the files are in place, and regsvr32.exe was started for every module.", {});
  CheckVerdict(Instead(Good(Command::kStatus), "GetStatus!!!!! 1", {"LOG_INFO : GetStatus!!!!! 0"}), Outcome::kDone,
               "The stored state of filtering is off.", {});
  CheckVerdict(Instead(Good(Command::kStatus), "GetStatus!!!!! 1", {"LOG_INFO : GetStatus!!!!! 7"}), Outcome::kDone,
               "The stored state of filtering is 7.", {});
  CheckVerdict(Instead(Good(Command::kStatus), "GetStatus!!!!! 1", {"LOG_INFO : GetStatus!!!!! \xE9\x1B"}),
               Outcome::kDone, "The stored state of filtering is \xC3\xA9\\x1B.", {});
  CheckVerdict(Without(Good(Command::kReload), "OL has been notified"), Outcome::kDone,
               "No mail client runs, so none had to be notified.", {});
}

TEST_CASE("the exit code for deployment tools") {
  CHECK(ExitCodeOf(Outcome::kDone) == 0);
  CHECK(ExitCodeOf(Outcome::kRestart) == 3010);
  CHECK(ExitCodeOf(Outcome::kPart) == 1);
  CHECK(ExitCodeOf(Outcome::kNotDone) == 1);
  CHECK(ExitCodeOf(Outcome::kUnfinished) == 1);
  CHECK(ExitCodeOf(Outcome::kNoRun) == 2);
  CHECK(NameOf(Outcome::kDone) == "done");
  CHECK(NameOf(Outcome::kRestart) == "restart needed");
  CHECK(NameOf(Outcome::kPart) == "done in part");
  CHECK(NameOf(Outcome::kNotDone) == "not done");
  CHECK(NameOf(Outcome::kUnfinished) == "did not finish");
}

TEST_CASE("a log without a run has a verdict too") {
  for (const std::string log : {"", "\r\n", "some other file\r\n"}) {
    const Verdict verdict = Judged(log);
    CHECK(verdict.outcome == Outcome::kNoRun);
    CHECK(verdict.sentence == "There is no run in this log.");
  }
}

TEST_CASE("the last run is the one that began last") {
  CHECK(Judged(LogOf(Joined(Good(Command::kStatus), {"LOG_INFO : [t] VELA END!!! RetrunCode:0"}))).outcome ==
        Outcome::kNotDone);
}

TEST_CASE("a saved copy in another encoding is read like the log") {
  const std::string log = LogOf(Good(Command::kEnable));
  std::string utf16 = "\xFF\xFE";
  for (const char byte : log) {
    utf16 += byte;
    utf16 += '\0';
  }
  CHECK(Judged(utf16).outcome == Outcome::kDone);
  CHECK(Judged("\xEF\xBB\xBF" + log).outcome == Outcome::kDone);
}

TEST_CASE("lines of the catalogue alone") {
  CheckVerdict(Behind(Good(Command::kInstall), "GetOutlookVersion return", {"LOG_ERROR: Fail to Install VELA_WLM !!"}),
               Outcome::kPart, "Installed in part: one line reports a failure, line 20.", {"problem 20"});
  CheckVerdict(Behind(Behind(Good(Command::kInstall), "GetOutlookVersion return",
                             {"LOG_ERROR: Fail to Install VELA_WLM !!", "LOG_ERROR: Fail to Install VELA_WLM !!"}),
                      "Install ===", {"LOG_WARN : Fail to copy VELA_OL.ini !"}),
               Outcome::kPart, "Installed in part: 3 lines report failures, line 7 first.",
               {"problem 7", "problem 21 22"});
  CheckVerdict(Instead(Good(Command::kStatus), "GetStatus!!!!! 1", {"LOG_INFO : REG Open Fail"}), Outcome::kNotDone,
               "The state of filtering is not known: one line reports a failure, line 7.", {"fatal 7"});
  CheckVerdict(
      Behind(Good(Command::kUninstall), "Success of", {"LOG_WARN : plugVELA_Uninstall(), OL is still running!."}),
      Outcome::kRestart, "Uninstalled, but the rest is removed only at the next restart of the machine.",
      {"restart 13"});
}

TEST_CASE("what a running client left is worse than what waits for the restart, and a failure is worse than both") {
  Lines left = Behind(Good(Command::kUninstall), "Success of",
                      {"LOG_WARN : plugVELA_Uninstall(), OL is still running!.",
                       "LOG_WARN : plugVELA_Uninstall(), OE is still running!."});
  for (const char* const module : {"oeapiinitcom.dll", "oecom.dll", "oestore.dll", "VELA_OEWab.dll"}) {
    left = WithoutModule(left, module);
  }
  CheckVerdict(left, Outcome::kPart, "Uninstalled in part: a mail client was running.", {"left 14", "restart 13"});
  CheckVerdict(Behind(left, "OE is still running", {"LOG_ERROR: Unregistry WLM COM objects failed"}), Outcome::kPart,
               "Uninstalled in part: one line reports a failure, line 15.", {"problem 15", "left 14", "restart 13"});
}

TEST_CASE("many lines with one meaning are one finding") {
  Lines failures;
  for (int line = 0; line < 7; ++line) {
    failures.emplace_back("LOG_ERROR: Path not exists: C:\\a");
  }
  const std::string log = LogOf(Behind(Good(Command::kUpgrade), "Upgrade VELA", failures));
  const Verdict verdict = Judged(log);
  CHECK_LINES(Summary(verdict, log), {"problem 7 8 9 10 11"});
  CHECK(verdict.findings[0].count == 7);
  CHECK(verdict.findings[0].lines[0].text == "LOG_ERROR: Path not exists: C:\\a");
  CHECK(verdict.sentence == "Upgraded in part: 7 lines report failures, line 7 first.");
}

// ---- the frame

TEST_CASE("command lines that do nothing") {
  CheckVerdict({"LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:0"}, Outcome::kNotDone,
               "Nothing was done: the program was not called with three arguments.",
               {"fatal wrong-number-of-arguments 2"});
  CheckVerdict({"LOG_INFO :  cmd:-i\n src:a\ndest:b", "LOG_INFO : Pn error.\n",
                "LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:0"},
               Outcome::kNotDone, "Nothing was done: the switch is unknown.", {"fatal unknown-switch 5"});
  // The line about it is lost.
  CheckVerdict({"LOG_INFO :  cmd:-i\n src:a\ndest:b", "LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:0"},
               Outcome::kNotDone, "Nothing was done: the switch is unknown.", {"fatal unknown-switch"});
}

TEST_CASE("without its beginning a run is never done") {
  Lines run = Good(Command::kEnable);
  run.erase(run.begin());
  CheckVerdict(run, Outcome::kPart,
               "Filtering is switched on in part: the log does not have the beginning of this run.",
               {"problem beginning-missing"});
  CHECK(Judged("LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:0").findings[0].rule->name ==
        "beginning-missing");
  CHECK(Judged(LogOf({"LOG_INFO : CopyFile(a, b) successed.", "LOG_INFO : [t] VELA END!!! RetrunCode:0"})).sentence ==
        "The run cannot be judged as done: the log does not have the beginning of this run.");
}

TEST_CASE("a run that did not finish names its last line") {
  const Lines run = UpTo(Good(Command::kInstall), "oecom.dll");
  CheckVerdict(run, Outcome::kUnfinished,
               "The run did not finish, or still runs: it has no closing line, and line 26 is its last.",
               {"problem did-not-finish 26"}, "\r\n");
  CheckVerdict(run, Outcome::kUnfinished,
               "The log of this run ends within line 26; what the run did after that is not known.",
               {"problem log-lost 26"});
  // What failed before is told too.
  CheckVerdict(Behind(run, "GetOutlookVersion return", {"LOG_ERROR: Fail to Install VELA_WLM !!"}),
               Outcome::kUnfinished,
               "The run did not finish, or still runs: it has no closing line, and line 27 is its last.",
               {"problem 20", "problem did-not-finish 27"}, "\r\n");
}

TEST_CASE("the last line may be the beginning of one that would explain the line before it") {
  const Lines run = UpTo(Good(Command::kInstall), "oecom.dll");
  const std::string sentence = "The log of this run ends within line 27; what the run did after that is not known.";
  CheckVerdict(Joined(run, {"LOG_INFO : RegisterComMod"}), Outcome::kUnfinished, sentence, {"problem log-lost 27"});
  CheckVerdict(Joined(run, {"LOG_INFO : Something"}), Outcome::kUnfinished, sentence,
               {"problem module-not-run 26", "problem log-lost 27"});
  const Lines copies = Joined(UpTo(Good(Command::kUpgrade), "Upgrade VELA"), {kCopyFailed});
  CheckVerdict(Joined(copies, {"LOG_INFO : RebootMo"}), Outcome::kUnfinished,
               "The log of this run ends within line 8; what the run did after that is not known.",
               {"problem log-lost 8"});
}

TEST_CASE("an exit code that the lines do not explain") {
  const auto ends = [](Command command, const std::string& code) {
    return Instead(Good(command), "VELA END", {"LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:" + code});
  };
  CheckVerdict(ends(Command::kEnable, "5"), Outcome::kPart,
               "Filtering is switched on in part: the exit code does not fit the lines of the run.",
               {"problem exit-code 16"});
  CheckVerdict(ends(Command::kReload, "0"), Outcome::kPart,
               "Not every mail client was notified: the exit code does not fit the lines of the run.",
               {"problem exit-code 10"});
  CheckVerdict(Instead(ends(Command::kReload, "0"), "OL has been notified",
                       {"LOG_ERROR: Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_OL! ErrCode:5"}),
               Outcome::kPart, "Not every mail client was notified: one line reports a failure, line 8.",
               {"problem 8"});
  CheckVerdict(ends(Command::kInstall, "-520159231"), Outcome::kPart,
               "Installed in part: the exit code does not fit the lines of the run.", {"problem exit-code 40"});
  CheckVerdict(Joined(UpTo(Good(Command::kInstall), "QueryStringValue"),
                      {"LOG_ERROR: Fail to set VELA enable/disable status to reg !!",
                       "LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:-520159231"}),
               Outcome::kNotDone, "Not installed: one line reports a failure, line 19.", {"fatal 19"});
}

TEST_CASE("memory ran out") {
  const std::string end = "LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:-520159230";
  CheckVerdict(Joined(UpTo(Good(Command::kInstall), "QueryStringValue"), {end}), Outcome::kNotDone,
               "Not installed: memory ran out.", {"fatal broken-off 19"});
  CheckVerdict(Joined(UpTo(Good(Command::kStatus), "GetStatus ==="), {end}), Outcome::kNotDone,
               "The state of filtering is not known: memory ran out.", {"fatal broken-off 7"});
  CheckVerdict({end}, Outcome::kNotDone, "Nothing was done: memory ran out.", {"fatal broken-off 2"});
}

TEST_CASE("a line that every completed run has is missing") {
  const struct {
    Command command;
    const char* line;
  } kCases[] = {{Command::kInstall, "GetOutlookVersion return"},
                {Command::kInstall, "Install ==="},
                {Command::kEnable, "dwSessionId"},
                {Command::kEnable, "VELA OL activated"},
                {Command::kEnable, "VELA WLM activated"},
                {Command::kDisable, "VELA Disable OK"},
                {Command::kDisable, "dwSessionId"},
                {Command::kDisable, "OL deactivated"},
                {Command::kDisable, "WLM deactivated"},
                {Command::kDisable, "Check if need"},
                {Command::kStatus, "GetStatus!!!!! 1"},
                {Command::kUpgrade, "PreInstallVELA_MUI"},
                {Command::kUpgrade, "PreInstallVELA_OL"},
                {Command::kUpgrade, "PreInstallVELA_WLM"},
                {Command::kUpgrade, "Upgrade() Retrun"},
                {Command::kUpgrade, "Enter VELA"},
                {Command::kUpgrade, "Leave VELA"},
                {Command::kUpgrade, "NotifyReloadVELAEngine() RetrunCode"},
                {Command::kReload, "Enter VELA"},
                {Command::kReload, "Leave VELA"},
                {Command::kUninstall, "VELA is still"},
                {Command::kUninstall, "dwSessionId"},
                {Command::kUninstall, "OL deactivated"},
                {Command::kUninstall, "WLM deactivated"},
                {Command::kUninstall, "Check if need"},
                {Command::kUninstall, "registry Success"},
                {Command::kUninstall, "Success to delete folder"}};
  for (const auto& [command, part] : kCases) {
    const std::string line(part);
    CAPTURE(line);
    const Verdict verdict = Judged(LogOf(Without(Good(command), line)));
    CHECK(verdict.outcome == Outcome::kPart);
    bool isFound = false;
    for (const Finding& finding : verdict.findings) {
      isFound = isFound || (finding.rule != nullptr && finding.rule->name == "lines-missing");
    }
    CHECK(isFound);
  }
  CheckVerdict(Without(Good(Command::kReload), "Leave VELA"), Outcome::kPart,
               "Not every mail client was notified: lines are missing in the log.", {"problem lines-missing"});
}

TEST_CASE("a module of which no line is left") {
  for (const char* const module : {"VELA_OLA.dll", "oecom.dll", "WLMailApiContacts.dll"}) {
    CAPTURE(module);
    CheckVerdict(WithoutModule(Good(Command::kInstall), module), Outcome::kPart,
                 "Installed in part: lines are missing in the log.", {"problem lines-missing"});
    CheckVerdict(WithoutModule(Good(Command::kUninstall), module), Outcome::kPart,
                 "Uninstalled in part: lines are missing in the log.", {"problem lines-missing"});
  }
}

TEST_CASE("after a failure the modules of Outlook and of Outlook Express are not tried further") {
  const std::string init =
      "LOG_INFO : RegisterComModule() command line: regsvr32.exe /s \"C:\\Bastion\\Orvane "
      "Labs\\VELA\\VELA_WLM\\WLMailApiInit.dll\"";
  Lines run = Good(Command::kInstall);
  Lines modules = {"VELA_OEWab.dll", "oestore.dll", "oecom.dll", "oeapiinitcom.dll"};
  for (const char* const failed : {"Failed to register oestore.dll !!", "Failed to register oecom.dll !! C:\\a",
                                   "Failed to register oeapiinitcom.dll !!  C:\\a"}) {
    CAPTURE(failed);
    run = WithoutModule(run, modules.front());
    modules.erase(modules.begin());
    CHECK(Judged(LogOf(run)).findings.front().rule->name == "lines-missing");
    const std::string log = LogOf(Instead(run, "Init.dll\"", {std::string("LOG_ERROR: ") + failed, init}));
    CHECK_LINES(Summary(Judged(log), log),
                {"problem " + std::to_string(26 + 2 * static_cast<int>(modules.size()) - 2)});
  }
  CheckVerdict(Instead(WithoutModule(Good(Command::kInstall), "VELA_OLA.dll"), "oeapiinitcom.dll\"",
                       {"LOG_ERROR: Failed to register Redemption.dll !! C:\\a",
                        "LOG_INFO : RegisterComModule() command line: regsvr32.exe /s \"C:\\Bastion\\Orvane "
                        "Labs\\VELA\\VELA_OE\\oeapiinitcom.dll\""}),
               Outcome::kPart, "Installed in part: one line reports a failure, line 22.", {"problem 22"});
}

// ---- lines that do not fit

TEST_CASE("lines that nobody knows") {
  CheckVerdict(Behind(Good(Command::kStatus), "GetStatus ===", {"LOG_INFO : Something new", "LOG_INFO : Another"}),
               Outcome::kDone, "The stored state of filtering is on.", {"notice unknown-line 7 8"});
  CheckVerdict(Behind(Good(Command::kStatus), "GetStatus ===", {"LOG_EVENT :Something new", "LOG_INFO : Another"}),
               Outcome::kPart, "The state of filtering was read in part: one line reports a failure, line 7.",
               {"problem unknown-failure 7", "notice unknown-line 8"});
  CHECK(Judged(LogOf(Behind(Good(Command::kStatus), "GetStatus ===", {"LOG_INFO : Something new"}))).unknown == 1);
}

TEST_CASE("a part of an overwritten entry") {
  const Verdict verdict = Judged(
      LogOf(Instead(Good(Command::kStatus), "GetStatus!!!!! 1", {"tatus!!!!! 1", "LOG_INFO : GetStatus!!!!! 1"})));
  CHECK(verdict.outcome == Outcome::kPart);
  CHECK(verdict.sentence == "The state of filtering was read in part: the log is damaged here.");
  CheckVerdict(Instead(Good(Command::kStatus), "GetStatus!!!!! 1", {"tatus!!!!! 1", "LOG_INFO : GetStatus!!!!! 1"}),
               Outcome::kPart, "The state of filtering was read in part: the log is damaged here.",
               {"problem damaged 7"});
}

TEST_CASE("a line of another command") {
  CheckVerdict(Behind(Good(Command::kStatus), "GetStatus ===", {"LOG_INFO : Enable OK"}), Outcome::kDone,
               "The stored state of filtering is on.", {"notice line-of-another-command 7", "notice two-runs"});
  CheckVerdict(Behind(Good(Command::kStatus), "GetStatus ===", {"LOG_ERROR: Fail to Install VELA_OL !!"}),
               Outcome::kPart, "The state of filtering was read in part: the log has lines of another run here.",
               {"problem line-of-another-command 7", "notice two-runs"});
}

TEST_CASE("two runs at the same time") {
  // The installation goes on where the upgrade ends.
  Lines entries = UpTo(Good(Command::kInstall), "Resource");
  entries = Joined(entries, Good(Command::kUpgrade));
  const Lines install = Good(Command::kInstall);
  const std::string rest = LogOf({install.begin() + 4, install.end()});
  std::vector<Verdict> verdicts;
  std::istringstream stream(LogOf(entries) + install[3] + rest);
  ReadRuns(stream, [&](Run&, const Verdict& verdict) { verdicts.push_back(verdict); });
  REQUIRE(verdicts.size() == 2);
  CHECK(verdicts[0].outcome == Outcome::kDone);
  CHECK_LINES(Summary(verdicts[0]), {"notice two-runs"});
  CHECK(verdicts[1].outcome == Outcome::kDone);
  CHECK_LINES(Summary(verdicts[1]), {"notice two-runs"});
}

TEST_CASE("a failure that both runs can have written counts for both") {
  Lines entries = Joined(UpTo(Good(Command::kUpgrade), "Upgrade VELA"), Good(Command::kUpgrade));
  entries = UpTo(Behind(entries, "base.rul", {"LOG_ERROR: Path not exists: C:\\Bastion\\a"}), "VELA END");
  const Lines whole = Good(Command::kUpgrade);
  std::vector<Verdict> verdicts;
  std::istringstream stream(LogOf(entries) + whole[2] + LogOf({whole.begin() + 3, whole.end()}));
  ReadRuns(stream, [&](Run& run, const Verdict& verdict) {
    CHECK(run.isMixed);
    verdicts.push_back(verdict);
    for (const Finding& finding : verdict.findings) {
      if (finding.rule != nullptr) {
        seenRules.emplace(finding.rule->name);
      }
    }
  });
  REQUIRE(verdicts.size() == 2);
  CHECK(verdicts[0].outcome == Outcome::kPart);
  CHECK(verdicts[1].outcome == Outcome::kPart);
}

TEST_CASE("what a running client left counts for both runs that can have written it") {
  const Lines whole = Good(Command::kUninstall);
  Lines entries = Joined(UpTo(whole, "Uninstall ==="), whole);
  entries = UpTo(Behind(entries, "Success of", {"LOG_WARN : plugVELA_Uninstall(), OE is still running!."}), "VELA END");
  std::istringstream stream(LogOf(entries) + whole[2] + LogOf({whole.begin() + 3, whole.end()}));
  std::vector<Lines> summaries;
  ReadRuns(stream, [&](Run&, const Verdict& verdict) { summaries.push_back(Summary(verdict)); });
  REQUIRE(summaries.size() == 2);
  for (const Lines& summary : summaries) {
    CHECK(TestSupport::LinesWith(summary, "left ").size() == 1);
  }
}

TEST_CASE("more lines than are kept") {
  Lines copied(1500, "LOG_INFO : CopyFile(C:\\Setup\\rule\\a, C:\\b) successed.");
  CheckVerdict(Behind(Good(Command::kUpgrade), "Upgrade VELA", copied), Outcome::kDone,
               "Upgraded: the installed files are those of the source, and running mail clients were notified.",
               {"notice too-many-lines"});
  Lines failed(1500, "LOG_ERROR: Path not exists: C:\\b");
  CheckVerdict(Behind(Good(Command::kUpgrade), "Upgrade VELA", failed), Outcome::kPart,
               "Upgraded in part: 1001 lines report failures, line 7 first.",
               {"problem 7 8 9 10 11", "problem too-many-lines"});
}

// ---- copying

TEST_CASE("a file in use waits for the restart") {
  const Lines waits = {kCopyFailed, "LOG_INFO : RebootMove('C:\\x\\a', 'C:\\y\\a') succeeded"};
  CheckVerdict(Behind(Good(Command::kUpgrade), "Upgrade VELA", waits), Outcome::kRestart,
               "Upgraded, but files that are in use are replaced only at the next restart of the machine.",
               {"restart 8"});
  CheckVerdict(Behind(Good(Command::kInstall), "Install ===", waits), Outcome::kRestart,
               "Installed, but files that are in use are replaced only at the next restart of the machine.",
               {"restart 8"});
}

TEST_CASE("a file that was neither copied nor waits") {
  CheckVerdict(Behind(Good(Command::kUpgrade), "Upgrade VELA",
                      {kCopyFailed, "LOG_ERROR: CoreAgentUtility::File::copyFileEx(a,b) failed, err=5"}),
               Outcome::kPart, "Upgraded in part: one line reports a failure, line 8.", {"problem 8"});
  CheckVerdict(
      Behind(Good(Command::kUpgrade), "Upgrade VELA", {kCopyFailed, "LOG_ERROR: MoveFileEx(a,b) failed, err=5"}),
      Outcome::kPart, "Upgraded in part: one line reports a failure, line 8.", {"problem 8"});
  // The line that says so is lost.
  CheckVerdict(Behind(Good(Command::kUpgrade), "Upgrade VELA", {kCopyFailed}), Outcome::kPart,
               "Upgraded in part: one line reports a failure, line 7.", {"problem copy-failed 7"});
}

Lines WithoutAll(Lines entries, const std::string& part) {
  Lines kept;
  for (const std::string& entry : entries) {
    if (entry.find(part) == std::string::npos) {
      kept.push_back(entry);
    }
  }
  return kept;
}

TEST_CASE("an upgrade that copied nothing closes with 1") {
  CheckVerdict(WithoutAll(Good(Command::kUpgrade), "CopyFile("), Outcome::kNotDone, "Not upgraded: no file was copied.",
               {"fatal nothing-copied"});
  CheckVerdict(WithoutAll(Good(Command::kInstall), "CopyFile("), Outcome::kNotDone,
               "Not installed: no file was copied.", {"fatal nothing-copied"});
}

TEST_CASE("a folder of the source of which a client got fewer files") {
  const std::string reason = "not every folder of the source was copied completely.";
  const auto lacks = [](Command command, const std::string& source, const std::string& part) {
    return Without(Good(command), source + ", C:\\Bastion\\Orvane Labs\\VELA\\" + part);
  };
  CheckVerdict(lacks(Command::kUpgrade, "base.rul", "VELA_WLM"), Outcome::kPart, "Upgraded in part: " + reason,
               {"problem files-missing"});
  CheckVerdict(lacks(Command::kUpgrade, "base.rul", "VELA_OL"), Outcome::kPart, "Upgraded in part: " + reason,
               {"problem files-missing"});
  CheckVerdict(lacks(Command::kInstall, "vela.ptn", "VELA_OL"), Outcome::kPart, "Installed in part: " + reason,
               {"problem files-missing"});
  // A file that could not be copied was found in the source.
  CheckVerdict(
      Instead(Good(Command::kUpgrade), "VELA_OL\\rule\\base.rul",
              {"LOG_ERROR: ::CopyFile() failed: err(5), src(C:\\Setup\\rule\\base.rul), dst(C:\\Bastion\\Orvane "
               "Labs\\VELA\\VELA_OL\\rule\\base.rul)"}),
      Outcome::kPart, "Upgraded in part: one line reports a failure, line 11.", {"problem copy-failed 11"});
  // Of Outlook Express only if it got anything.
  CheckVerdict(Behind(Good(Command::kUpgrade), "Upgrade VELA",
                      {"LOG_INFO : CopyFile(C:\\Setup\\OE64\\a.dll, C:\\Bastion\\Orvane "
                       "Labs\\VELA\\VELA_OE\\a.dll) successed."}),
               Outcome::kPart, "Upgraded in part: " + reason, {"problem files-missing"});
  CheckVerdict(Behind(Good(Command::kUpgrade), "Upgrade VELA",
                      {"LOG_INFO : CopyFile(C:\\Setup\\rule\\base.rul, C:\\Bastion\\Orvane "
                       "Labs\\VELA\\VELA_OE\\rule\\base.rul) successed."}),
               Outcome::kDone,
               "Upgraded: the installed files are those of the source, and running mail clients were notified.", {});
}

TEST_CASE("an upgrade may have only some folders, an installation may not") {
  CheckVerdict(WithoutAll(Good(Command::kUpgrade), "base.rul"), Outcome::kDone,
               "Upgraded: the installed files are those of the source, and running mail clients were notified.", {});
  for (const char* const part : {"base.rul", "vela.ptn", "VELA_MUI.ini"}) {
    CAPTURE(part);
    CheckVerdict(WithoutAll(Good(Command::kInstall), part), Outcome::kPart,
                 "Installed in part: not every folder of the source was copied completely.", {"problem files-missing"});
  }
}

TEST_CASE("a source folder with a backslash at its end doubles it in some lines") {
  Lines run = Good(Command::kInstall);
  for (std::string& entry : run) {
    for (const std::string part : {"C:\\Setup\\OL", "C:\\Setup\\WLM"}) {
      const std::size_t at = entry.find(part);
      if (at != std::string::npos) {
        entry.insert(at + 8, "\\");
      }
    }
    if (entry.find(" src:C:\\Setup") != std::string::npos) {
      entry.insert(entry.find("C:\\Setup") + 8, "\\");
    }
  }
  CheckVerdict(run, Outcome::kDone, kFirstInstall, {});
}

// ---- registrations

TEST_CASE("a register command without a result was not run") {
  CheckVerdict(Behind(Instead(Instead(Good(Command::kInstall), "Redemption.dll\"", {}), "execute result",
                              {"LOG_INFO : RegisterComModule() command line: regsvr32.exe /s \"C:\\Bastion\\Orvane "
                               "Labs\\VELA\\VELA_OL\\Redemption.dll\"",
                               "LOG_ERROR: Failed to register Redemption.dll !! C:\\a"}),
                      "Redemption.dll !!", {"LOG_ERROR: Fail to Install VELA_OL !!"}),
               Outcome::kPart, "Installed in part: 3 lines report failures, line 20 first.",
               {"problem module-not-run 20", "problem 21", "problem 22"});
}

TEST_CASE("a module that took long has its result behind that line") {
  CheckVerdict(
      Behind(Good(Command::kInstall), "oecom.dll\"", {"LOG_WARN : Wait to register COM object more than 3 seconds."}),
      Outcome::kDone, kFirstInstall, {"notice 27"});
  CheckVerdict(Behind(Good(Command::kUninstall), "oecom.dll\"",
                      {"LOG_WARN : Wait to unregister COM object more than 3 seconds."}),
               Outcome::kDone, "Uninstalled; files that were in use, if any, are removed at the next restart.",
               {"notice 20"});
  CheckVerdict(Instead(Good(Command::kUninstall), "oecom.dll\"",
                       {"LOG_INFO : UnregisterComModule() command line: regsvr32.exe /u /s \"C:\\oecom.dll\"",
                        "LOG_WARN : Wait to unregister COM object more than 3 seconds.",
                        "LOG_ERROR: VELA OE UnInstall Fail !!"}),
               Outcome::kPart, "Uninstalled in part: 2 lines report failures, line 19 first.",
               {"problem module-not-run 19", "problem 21", "notice 20"});
}

TEST_CASE("a module that is registered but was not copied") {
  CheckVerdict(Without(Good(Command::kInstall), "VELA_OL\\VELA_OLA.dll) successed"), Outcome::kPart,
               "Installed in part: a module that is registered was not copied.", {"problem module-not-copied 21"});
  // That waits for the restart.
  CheckVerdict(
      Instead(Good(Command::kInstall), "VELA_OL\\VELA_OLA.dll) successed",
              {"LOG_ERROR: ::CopyFile() failed: err(32), src(C:\\Setup\\OL\\VELA_OLA.dll), dst(C:\\Bastion\\Orvane "
               "Labs\\VELA\\VELA_OL\\VELA_OLA.dll)",
               "LOG_INFO : RebootMove('C:\\Setup\\OL\\VELA_OLA.dll', 'C:\\Bastion\\Orvane "
               "Labs\\VELA\\VELA_OL\\VELA_OLA.dll') succeeded"}),
      Outcome::kRestart, "Installed, but files that are in use are replaced only at the next restart of the machine.",
      {"restart 10"});
}

TEST_CASE("an Outlook that is called not installed") {
  const auto finds = [](const Lines& lines) {
    return Instead(Good(Command::kInstall), "GetOutlookVersion return", lines);
  };
  const std::string none = "LOG_INFO : MS Office Outlook is not installed !";
  CheckVerdict(finds({"LOG_INFO : GetOutlookVersion return=7",
                      "LOG_INFO : GetOutlookVersion return OL_LATER_THAN_2010 !", none}),
               Outcome::kDone, kFirstInstall, {"notice 20", "notice outlook-not-supported 21"});
  CheckVerdict(finds({"LOG_INFO : GetOutlookVersion return=2", "LOG_INFO : GetOutlookVersion return OL_2000 !", none}),
               Outcome::kDone, kFirstInstall, {"notice 20", "notice outlook-not-supported 21"});
  CheckVerdict(finds({"LOG_INFO : GetOutlookVersion return=3", none}), Outcome::kDone, kFirstInstall,
               {"notice outlook-not-supported 20"});
  CheckVerdict(
      finds({"LOG_INFO : GetOutlookVersion return=0", "LOG_INFO : GetOutlookVersion return OL_NOT_INSTALLED !", none}),
      Outcome::kDone, kFirstInstall, {"notice 21"});
}

TEST_CASE("an installation beside a running client has switched filtering off") {
  const Lines run =
      Instead(Good(Command::kInstall), "QueryStringValue", {"LOG_INFO : There is a Mail Client Running."});
  CheckVerdict(run, Outcome::kPart, "Installed in part: filtering was switched off, because a mail client was running.",
               {"left switched-off-by-installation 18"});
  CheckVerdict(Behind(run, "There is a Mail", {"LOG_ERROR: Fail to set REG_ZENTA_VELA_ENABLE_KEY value !!"}),
               Outcome::kPart, "Installed in part: one line reports a failure, line 19.", {"problem 19", "left 18"});
}

TEST_CASE("Outlook was started during the installation") {
  const std::string runs = "LOG_INFO : MS Office Outlook is running during installing !";
  const Lines on =
      Instead(Good(Command::kInstall), "QueryStringValue", {"LOG_INFO : There is no any Mail Client Running."});
  CheckVerdict(Behind(on, "GetOutlookVersion return", {runs}), Outcome::kPart,
               "Installed in part: Outlook was started meanwhile, and its add-in is registered as off.",
               {"left outlook-started-meanwhile 20"});
  CheckVerdict(Behind(Good(Command::kInstall), "GetOutlookVersion return", {runs}), Outcome::kDone, kFirstInstall,
               {"notice 20"});
}

// ---- switching on and off

const Lines kStaysOn = {"LOG_ERROR: Fail to DeleteRegStringValue() of g_szWLM_OEM !",
                        "LOG_ERROR: *** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()"};

Lines FailedDisable() {
  return Without(
      Instead(Instead(Good(Command::kDisable), "WLM deactivated", kStaysOn), "Disable OK",
              {"LOG_ERROR: HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! strVELAInstallPath = a"}),
      "VELA Disable OK");
}

TEST_CASE("activated successfully, behind the write that failed") {
  CheckVerdict(Behind(Good(Command::kEnable), "GetCurrentUserID",
                      {"LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 3!!"}),
               Outcome::kPart, "Filtering is switched on in part: one line reports a failure, line 10.",
               {"problem 10"});
}

TEST_CASE("no client was switched, and nothing was stored") {
  const Lines on =
      Instead(Behind(Behind(Good(Command::kEnable), "GetCurrentUserID",
                            {"LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 3!!"}),
                     "OL activated", {"LOG_ERROR: Failed to WriteRegStringValue of Run Key for WLMMon !!"}),
              "VELA Enable OK", {"LOG_INFO : VELA Enable Fail 5"});
  CheckVerdict(on, Outcome::kNotDone,
               "Filtering was not switched on: no client was switched on, and the new state was not stored.",
               {"fatal nothing-switched-on", "problem 10", "problem 12", "problem switched-not-stored 17"});
  // One client was.
  CheckVerdict(Without(on, "WLMMon !!"), Outcome::kPart,
               "Filtering is switched on in part: 2 lines report failures, line 10 first.",
               {"problem 10", "problem switched-not-stored 16"});
  const Lines off = Instead(FailedDisable(), "OL deactivated",
                            {"LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 2!!",
                             "LOG_ERROR: *** SetAntiSpamEnable() - failed on VELA_DeActivateOL()"});
  CheckVerdict(off, Outcome::kNotDone,
               "Filtering was not switched off: no client was switched off, and the new state was not stored.",
               {"fatal nothing-switched-off", "problem 8", "problem start-value-stays 10", "notice 14"});
  CheckVerdict(Behind(off, "DeActivateOL", {"LOG_INFO : SetAntiSpamEnable() - VELA OE deactivated successfully."}),
               Outcome::kPart, "Filtering is switched off in part: 2 lines report failures, line 8 first.",
               {"problem 8", "problem start-value-stays 11", "notice 15"});
}

TEST_CASE("switched, but not stored") {
  CheckVerdict(Instead(Good(Command::kEnable), "VELA Enable OK", {"LOG_INFO : VELA Enable Fail 5"}), Outcome::kPart,
               "Filtering is switched on in part: the clients were switched, but the new state was not stored.",
               {"problem switched-not-stored 15"});
  CheckVerdict(Instead(Good(Command::kDisable), "VELA Disable OK", {"LOG_INFO : REG Open Fail"}), Outcome::kPart,
               "Filtering is switched off in part: the clients were switched, but the new state was not stored.",
               {"problem switched-not-stored 13"});
  CheckVerdict(Instead(Good(Command::kDisable), "VELA Disable OK", {"LOG_INFO : VELA Disable Fail"}), Outcome::kPart,
               "Filtering is switched off in part: the clients were switched, but the new state was not stored.",
               {"problem switched-not-stored 13"});
}

TEST_CASE("switched on without a user") {
  Lines run = Good(Command::kEnable);
  run.erase(std::remove_if(run.begin(), run.end(),
                           [](const std::string& entry) {
                             return entry.find("ImpersonateLoggedOnUser") != std::string::npos ||
                                    entry.find("Succeeded in calling") != std::string::npos;
                           }),
            run.end());
  CheckVerdict(
      Instead(run, "dwSessionId", {"LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: "}),
      Outcome::kPart, "Filtering is switched on in part: the user at the console is not known.",
      {"problem no-user 8", "problem no-monitor"});
  // The user is known, but could not be impersonated when the monitors were due.
  CheckVerdict(run, Outcome::kPart, "Filtering is switched on in part: no monitor was started.",
               {"problem no-monitor"});
  // -d needs no user.
  CheckVerdict(Instead(Good(Command::kDisable), "dwSessionId",
                       {"LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: "}),
               Outcome::kDone, "Filtering is switched off.", {});
}

TEST_CASE("the -e for the start-up values starts no monitor") {
  const auto failed = [](const std::string& monitor, const std::string& code) {
    return "LOG_ERROR: Failed to call CreateProcessAsUser() to launch " + monitor + " " + code;
  };
  const auto ends = [](const std::string& destination, Lines failures) {
    failures.emplace_back("LOG_ERROR: !!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()");
    return Instead(Instead(Good(Command::kEnable), "Succeeded in calling", failures), " cmd:-e",
                   {"LOG_INFO :  cmd:-e\n src:.\ndest:" + destination});
  };
  const std::string product = "C:\\Bastion\\Orvane Labs\\VELA";
  const std::string noLiveMail = failed("VELA_WLMMon.exe", "3 C:\\a b\\VELA_WLMMon.exe");
  const std::string on =
      "Filtering is switched on; no monitor was started now, Windows starts them at the next log-on.";
  CheckVerdict(ends(product, {noLiveMail}), Outcome::kDone, on, {"notice start-values-only 13"});
  CheckVerdict(ends(product + "\\", {failed("VELA_OEMon.exe", "3 C:\\a"), noLiveMail}), Outcome::kDone, on,
               {"notice start-values-only 13", "notice start-values-only 14"});
  // Any other destination is wrong for the start-up values.
  const std::string part = "Filtering is switched on in part: 2 lines report failures, line 13 first.";
  for (const char* const other :
       {"C:\\VELA", "C:\\Bastion\\Orvane Labs", "C:\\Bastion\\Orvane Labs\\VELA\\a", "", "\\"}) {
    CAPTURE(other);
    CheckVerdict(ends(other, {noLiveMail}), Outcome::kPart, part, {"problem 13", "problem 14"});
  }
  // Any other failure is one.
  CheckVerdict(ends(product, {failed("VELA_WLMMon.exe", "5 C:\\a")}), Outcome::kPart, part,
               {"problem 13", "problem 14"});
  CheckVerdict(ends(product, {failed("VELA_OEMon.exe", "5 C:\\a"), noLiveMail}), Outcome::kPart, part,
               {"problem 13", "problem 15", "notice start-values-only 14"});
  CheckVerdict(ends(product, {failed("VELA_OEMon.exe", "8 "), noLiveMail}), Outcome::kPart, part,
               {"problem 13", "problem 15", "notice start-values-only 14"});
  CheckVerdict(ends(product, {}), Outcome::kPart,
               "Filtering is switched on in part: one line reports a failure, line 13.", {"problem 13"});
}

TEST_CASE("switching off twice is no failure, if the log has the first time") {
  CheckVerdict(Joined(Good(Command::kDisable), FailedDisable()), Outcome::kDone,
               "Filtering was off already, and stays off.", {"notice switched-off-before 26"});
  CheckVerdict(
      Joined(Joined(Joined(Good(Command::kDisable), FailedDisable()), Good(Command::kStatus)), FailedDisable()),
      Outcome::kDone, "Filtering was off already, and stays off.", {"notice switched-off-before 46"});
  CheckVerdict(Joined(Good(Command::kUninstall), FailedDisable()), Outcome::kDone,
               "Filtering was off already, and stays off.", {"notice switched-off-before 53"});
  CheckVerdict(Joined(Good(Command::kInstall), FailedDisable()), Outcome::kDone,
               "Filtering was off already, and stays off.", {"notice switched-off-before 52"});
}

TEST_CASE("a start value that could not be deleted") {
  const std::string sentence =
      "Filtering is switched off in part: the start of a monitor could not be deleted, or did not exist.";
  CheckVerdict(FailedDisable(), Outcome::kPart, sentence, {"problem start-value-stays 9", "notice 13"});
  CheckVerdict(Joined(Good(Command::kEnable), FailedDisable()), Outcome::kPart, sentence,
               {"problem start-value-stays 24", "notice 28"});
  CheckVerdict(Joined(Joined(Good(Command::kDisable), Good(Command::kEnable)), FailedDisable()), Outcome::kPart,
               sentence, {"problem start-value-stays 37", "notice 41"});
  // An installation over another one says nothing about the start values.
  CheckVerdict(Joined(Joined(Good(Command::kEnable), Instead(Good(Command::kInstall), "QueryStringValue",
                                                             {"LOG_INFO : There is no any Mail Client Running."})),
                      FailedDisable()),
               Outcome::kPart, sentence, {"problem start-value-stays 63", "notice 67"});
  // A start value of Outlook Express stayed, although the run switched the clients off that Windows has.
  const Lines before =
      Behind(Good(Command::kDisable), "OL deactivated", {"LOG_ERROR: Fail to DeleteRegStringValue() of g_szOE_OEM !"});
  CheckVerdict(Joined(before, FailedDisable()), Outcome::kPart, sentence,
               {"problem start-value-stays 23", "notice 27"});
  // Neither does a run that was ended.
  CheckVerdict(Joined(UpTo(Good(Command::kDisable), "WLM deactivated"), FailedDisable()), Outcome::kPart, sentence,
               {"problem start-value-stays 17", "notice 21"});
}

TEST_CASE("a switch that failed for no reason that the log has") {
  CheckVerdict(Without(Instead(Good(Command::kDisable), "Disable OK",
                               {"LOG_ERROR: HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! "
                                "strVELAInstallPath = a"}),
                       "VELA Disable OK"),
               Outcome::kPart, "Filtering is switched off in part: the log does not show why the state was not stored.",
               {"problem switch-failed 12"});
}

TEST_CASE("no session at the console") {
  CheckVerdict({"LOG_INFO :  cmd:-d\n src:a\ndest:b", "LOG_INFO : ======== Disable =========\n",
                "LOG_ERROR: *** CProviderAntiSpam::SetAntiSpamEnable() - failed to get active session id. error=0",
                "LOG_ERROR: HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! strVELAInstallPath = b",
                "LOG_INFO : [t] VELA END!!! RetrunCode:0"},
               Outcome::kNotDone, "Filtering was not switched off: one line reports a failure, line 7.",
               {"fatal 7", "notice 8"});
}

TEST_CASE("monitors that stay, because a client runs") {
  CheckVerdict(
      Instead(Good(Command::kDisable), "Success of OpenEvent", {"LOG_INFO : Not Send VELA_DISABLE_NOTIFY_EVENT"}),
      Outcome::kPart,
      "Filtering is switched off in part: the monitors were not ended, because a mail client was running.",
      {"left monitors-left 11"});
}

// ---- uninstalling

TEST_CASE("uninstalling what was never registered") {
  const Lines run =
      Instead(Behind(Instead(Good(Command::kUninstall), "OL deactivated",
                             {"LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 2!!",
                              "LOG_ERROR: *** SetAntiSpamEnable() - failed on VELA_DeActivateOL()"}),
                     "registry Success",
                     {"LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\WLMAilApiCppDllClient !!"}),
              "registry Success", {"LOG_INFO :  IsRegistryExisted(HKEY_LOCAL_MACHINE, g_szOLActivateKey) = FALSE "});
  CheckVerdict(run, Outcome::kDone, "Uninstalled; files that were in use, if any, are removed at the next restart.",
               {"notice 35"});
  // The key is there, but could not be written.
  CheckVerdict(Instead(Good(Command::kUninstall), "OL deactivated",
                       {"LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 2!!",
                        "LOG_ERROR: *** SetAntiSpamEnable() - failed on VELA_DeActivateOL()"}),
               Outcome::kPart, "Uninstalled in part: one line reports a failure, line 9.", {"problem 9"});
}

TEST_CASE("a folder of the users' data that could not be emptied") {
  CheckVerdict(Instead(Good(Command::kUninstall), "dwRtnValue:3",
                       {"LOG_ERROR: OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:5"}),
               Outcome::kPart, "Uninstalled in part: 2 lines report failures, line 39 first.",
               {"problem 39", "problem data-folder-stays 40"});
  CheckVerdict(Without(Good(Command::kUninstall), "dwRtnValue:3"), Outcome::kPart,
               "Uninstalled in part: a folder of the users' data could not be emptied.",
               {"problem data-folder-stays 39"});
  CheckVerdict(Instead(Good(Command::kUninstall), "dwRtnValue:3",
                       {"LOG_ERROR: OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:2"}),
               Outcome::kDone, "Uninstalled; files that were in use, if any, are removed at the next restart.", {});
}

TEST_CASE("uninstalling twice is no failure, if the log has the first time") {
  const auto again = [](const std::string& folder) {
    return Instead(
        Instead(Good(Command::kUninstall), "DeleteAllFiles succeeded",
                {"LOG_ERROR: OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:3"}),
        "Success to delete folder",
        {"LOG_ERROR: VELAUtility::DeleteFolderFiles(), Failed to delete folder: " + folder + " dwRtnValue:0"});
  };
  const std::string folder = "C:\\Bastion\\Orvane Labs\\VELA";
  CheckVerdict(Joined(Good(Command::kUninstall), again(folder)), Outcome::kDone,
               "Uninstalled; files that were in use, if any, are removed at the next restart.", {});
  // Another folder, or one of which the log knows nothing: perhaps the wrong one.
  const std::string sentence = "Uninstalled in part: one line reports a failure, line ";
  CheckVerdict(Joined(Good(Command::kUninstall), again("C:\\Bastion\\VELA")), Outcome::kPart, sentence + "77.",
               {"problem 77"});
  CheckVerdict(again(folder), Outcome::kPart, sentence + "37.", {"problem 37"});
  CheckVerdict(Joined(Joined(Good(Command::kUninstall), Good(Command::kInstall)), again(folder)), Outcome::kPart,
               sentence + "116.", {"problem 116"});
  CheckVerdict(Joined(Joined(Good(Command::kUninstall), Good(Command::kUpgrade)), again(folder)), Outcome::kPart,
               sentence + "101.", {"problem 101"});
}

// ---- the rules

TEST_CASE("the rules have names of their own, and texts") {
  std::set<std::string_view> names;
  for (int index = 0; index < kRuleCount; ++index) {
    const Rule& rule = kRules[index];
    CAPTURE(std::string(rule.name));
    CHECK(names.insert(rule.name).second);
    CHECK(rule.commands != 0);
    CHECK((rule.apply != nullptr));
    CHECK((rule.reason.empty() || rule.reason.back() != '.'));
  }
}

// The last tests look back at the others.
TEST_CASE("people read reviewed texts") {
  TestSupport::CheckApproved("what is said of the runs in these tests", reported);
}

TEST_CASE("every rule was seen in one of these tests") {
  Lines unseen;
  for (int index = 0; index < kRuleCount; ++index) {
    if (seenRules.count(std::string(kRules[index].name)) == 0) {
      unseen.emplace_back(kRules[index].name);
    }
  }
  CHECK_LINES(unseen, {});
}

}  // namespace
