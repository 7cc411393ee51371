// The entries of a log as runs.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "logreader/Entries.h"
#include "logreader/Runs.h"
#include "tests/unit/logreader/SmallLogs.h"

using namespace LogReader;
using namespace SmallLogs;

namespace {

std::vector<Run> Runs(std::string_view log) {
  std::vector<Run> runs;
  RunReader reader([&](Run&& run) { runs.push_back(std::move(run)); });
  EntryReader entries([&](Entry&& entry) { reader.Take(std::move(entry)); });
  entries.Feed(log);
  entries.Finish();
  reader.Finish();
  return runs;
}

// "1 -I 0 mixed: 2 5 (7)": number, switch, exit code, marks, and the numbers of its lines; in brackets those outside
Lines Summary(const std::vector<Run>& runs) {
  Lines summary;
  for (const Run& run : runs) {
    std::string text = std::to_string(run.number) + " " + (run.hasHeader ? run.givenSwitch : "?") +
                       (run.isClosed ? " " + run.code : " open") + (run.isMixed ? " mixed" : "") +
                       (run.endsInLine ? " in line" : "") + ":";
    for (const Line& line : run.lines) {
      text += (line.isOutside ? " (" : " ") + std::to_string(line.entry.line) + (line.isOutside ? ")" : "");
    }
    summary.push_back(text);
  }
  return summary;
}

std::string Header(const std::string& name, const std::string& source = "a", const std::string& destination = "b") {
  return "LOG_INFO :  cmd:" + name + "\n src:" + source + "\ndest:" + destination;
}
std::string Banner(Command command) {
  return "LOG_INFO : " + std::string(kCommandNames[static_cast<int>(command)].banner) + "\n";
}
std::string Closing(const std::string& code) {
  return "LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:" + code;
}

const std::string kStatus = Banner(Command::kStatus);
const std::string kEnable = Banner(Command::kEnable);
const std::string kInstall = Banner(Command::kInstall);
const std::string kUpgrade = Banner(Command::kUpgrade);
const std::string kState = "LOG_INFO : GetStatus!!!!! 1";
const std::string kCopy = "LOG_INFO : CopyFile(x, y) successed.";
const std::string kRegister = "LOG_INFO : RegisterComModule() execute result: 1";
const std::string kLeave = "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()";

TEST_CASE("a time without its brackets stays as it is") {
  for (const std::string time : {"2026/11/21", "[2026/11/21", "2026/11/21]", "[]"}) {
    const std::vector<Run> runs =
        Runs(LogOf({Header("-s", "a", "b"), kStatus, kState, "LOG_INFO : " + time + " VELA END!!! RetrunCode:0"}));
    REQUIRE(runs.size() == 1);
    CHECK(runs[0].time == time);
  }
}

TEST_CASE("without its beginning, a run is of the only command that writes its lines") {
  const struct {
    const char* line;
    Command command;
  } kCases[] = {{"LOG_INFO : There is no any Mail Client Running.", Command::kInstall},
                {"LOG_INFO : GetStatus!!!!! 1", Command::kStatus},
                {"LOG_INFO : VELA Enable OK", Command::kEnable}};
  for (const auto& [line, command] : kCases) {
    const std::vector<Run> runs = Runs(LogOf({line, Closing("0")}));
    REQUIRE(runs.size() == 1);
    CHECK(runs[0].command == command);
  }
}

TEST_CASE("an argument may contain what begins the line of the next one") {
  const std::vector<Run> runs = Runs(LogOf({Header("-s src:a", "b dest:c", "dest:"), kStatus, kState, Closing("0")}));
  REQUIRE(runs.size() == 1);
  CHECK(runs[0].givenSwitch == "-s src:a");
  CHECK(runs[0].source == "b dest:c");
  CHECK(runs[0].destination == "dest:");
}

TEST_CASE("a log without runs") {
  CHECK(Runs("").empty());
  CHECK(Runs("\r\n").empty());
  CHECK(Runs("some text\r\nand more\r\n").empty());
}

TEST_CASE("a run and its parts") {
  const std::vector<Run> runs = Runs(LogOf({Header("-status", "C:\\a b", ""), kStatus, kState, Closing("0")}));
  REQUIRE(runs.size() == 1);
  const Run& run = runs[0];
  CHECK(run.command == Command::kStatus);
  CHECK(run.givenSwitch == "-status");
  CHECK(run.source == "C:\\a b");
  CHECK(run.destination.empty());
  CHECK(run.time == "2026/11/21 17:26:24");
  CHECK(run.code == "0");
  CHECK(run.firstLine == 2);
  CHECK(run.lastLine == 8);
  CHECK(run.lastText == kState);
  CHECK(run.lines.size() == 4);
  CHECK(run.hasBanner);
  CHECK_LINES(Summary(runs), {"1 -status 0: 2 5 7 8"});
}

TEST_CASE("runs one after the other, those that did nothing included") {
  CHECK_LINES(
      Summary(Runs(LogOf({Header("-s"), kStatus, kState, Closing("0"), Closing("0"), Closing("0"), Header("-x"),
                          "LOG_INFO : Pn error.\n", Closing("0"), Header("-s"), kStatus, kState, Closing("0")}))),
      {"1 -s 0: 2 5 7 8", "2 ? 0: 9", "3 ? 0: 10", "4 -x 0: 11 14 16", "5 -s 0: 17 20 22 23"});
}

TEST_CASE("a run that was ended leaves a line break, one whose log was lost does not") {
  const Lines begun = {Header("-s"), kStatus, kState};
  CHECK_LINES(Summary(Runs(LogOf(begun) + "\r\n")), {"1 -s open: 2 5 7"});
  CHECK_LINES(Summary(Runs(LogOf(begun))), {"1 -s open in line: 2 5 7"});
  const Lines next = {Header("-s"), kStatus, kState, Closing("0")};
  CHECK_LINES(Summary(Runs(LogOf(begun) + "\r\n" + LogOf(next))), {"1 -s open: 2 5 7", "2 -s 0: 9 12 14 15"});
  CHECK_LINES(Summary(Runs(LogOf(begun) + LogOf(next))), {"1 -s open in line: 2 5 7", "2 -s 0: 8 11 13 14"});
  // The text of a banner ends in a line break of its own.
  CHECK_LINES(Summary(Runs(LogOf({Header("-s"), kStatus}))), {"1 -s open in line: 2 5"});
  CHECK_LINES(Summary(Runs(LogOf({Header("-s"), kStatus}) + "\r\n")), {"1 -s open: 2 5"});
  CHECK_LINES(Summary(Runs(LogOf({Header("-x"), "LOG_INFO : Pn error.\n"}) + "\r\n")), {"1 -x open: 2 5"});
  CHECK_LINES(Summary(Runs(LogOf({Header("-s"), kStatus}) + "\r\n" + LogOf(next))),
              {"1 -s open: 2 5", "2 -s 0: 8 11 13 14"});
  CHECK_LINES(Summary(Runs(LogOf({Header("-s")}) + LogOf(next))), {"1 -s open in line: 2", "2 -s 0: 5 8 10 11"});
}

TEST_CASE("a header may be incomplete") {
  const std::vector<Run> runs = Runs("\r\nLOG_INFO :  cmd:-I\r\n src:C:\\a");
  REQUIRE(runs.size() == 1);
  CHECK(runs[0].command == Command::kInstall);
  CHECK(runs[0].source == "C:\\a");
  CHECK(runs[0].destination.empty());
  CHECK(runs[0].endsInLine);
  CHECK(runs[0].lines[0].message == nullptr);
}

TEST_CASE("a closing line may be incomplete") {
  for (const std::string closing : {"[2026/11/21 17:2", "[2026/11/21 17:26:24] VELA END!!! RetrunCode:"}) {
    const std::vector<Run> runs = Runs(LogOf({Header("-s"), kStatus, kState, "LOG_INFO : " + closing}));
    REQUIRE(runs.size() == 1);
    CHECK_FALSE(runs[0].isClosed);
    CHECK(runs[0].endsInLine);
  }
}

TEST_CASE("the beginning of a run may be missing") {
  const std::vector<Run> runs = Runs(LogOf({kCopy, kLeave, Closing("1"), Header("-s"), kStatus, kState, Closing("0")}));
  CHECK_LINES(Summary(runs), {"1 ? 1: 2 3 4", "2 -s 0: 5 8 10 11"});
  CHECK(runs[0].command == Command::kUpgrade);  // no other one writes both lines
  CHECK(Runs(LogOf({kCopy, Closing("0")}))[0].command == Command::kUnknown);
  CHECK(Runs(LogOf({kEnable, kCopy, Closing("0")}))[0].command == Command::kEnable);
}

TEST_CASE("text between two runs belongs to neither, and is kept with the one before it") {
  const std::string log = "a note" + LogOf({Header("-s"), kStatus, kState, Closing("0")}) + " and\r\na note" +
                          LogOf({Header("-s"), kStatus, kState, Closing("0")}) + "\r\nthe end\r\n";
  const std::vector<Run> runs = Runs(log);
  CHECK_LINES(Summary(runs), {"1 -s 0: (1) 2 5 7 8 (8) (9)", "2 -s 0: 10 13 15 16 (17)"});
  CHECK(runs[0].lastLine == 8);
  CHECK_FALSE(runs[0].isMixed);
}

TEST_CASE("of the text between two runs a limited part is kept") {
  std::string log = LogOf({Header("-s"), kStatus, kState, Closing("0")}) + "\r\n";
  for (int line = 0; line < 150; ++line) {
    log += "note\r\n";
  }
  const std::vector<Run> runs = Runs(log);
  REQUIRE(runs.size() == 1);
  CHECK(runs[0].lines.size() == 104);
  CHECK(runs[0].leftOut == 50);
  // That before the first run is kept with it, and counts.
  std::string notes;
  for (int line = 0; line < 150; ++line) {
    notes += "note\r\n";
  }
  const std::vector<Run> behind = Runs(notes + log);
  REQUIRE(behind.size() == 1);
  CHECK(behind[0].lines.size() == 104);
  CHECK(behind[0].leftOut == 200);
}

TEST_CASE("two runs of different commands are told apart by what they can write") {
  // -I registers and -p does not.
  const std::vector<Run> runs =
      Runs(LogOf({Header("-p", "C:\\p", "C:\\q"), kUpgrade, Header("-I", "C:\\i", "C:\\j"), kInstall, kRegister, kLeave,
                  kCopy, "LOG_INFO : CopyFile(C:\\p\\1, C:\\q\\1) successed.",
                  "LOG_INFO : CopyFile(C:\\i\\1, C:\\j\\1) successed.", Closing("1")}) +
           Closing("0"));
  CHECK_LINES(Summary(runs), {"1 -p 1 mixed: 2 5 13 14 15 17", "2 -I 0 mixed: 7 10 12 16 17"});
  // The copy that both can have written is noted with the other one.
  CHECK(runs[0].shared.empty());
  REQUIRE(runs[1].shared.size() == 1);
  CHECK(runs[1].shared[0].entry.line == 14);
}

TEST_CASE("the closing line of one run and an entry of the other on one line") {
  const std::string log = LogOf({Header("-I"), kInstall, Header("-I"), kInstall, kCopy, Closing("0")}) + kCopy +
                          LogOf({kRegister, Closing("0")});
  CHECK_LINES(Summary(Runs(log)), {"1 -I 0 mixed: 2 5 13 14 15", "2 -I 0 mixed: 7 10 12 13"});
}

TEST_CASE("a line of nobody marks the run that it is in, and not one that is over") {
  const std::vector<Run> runs = Runs(LogOf({Header("-p"), kUpgrade, Header("-s"), kStatus, kState, Closing("0"),
                                            Header("-s"), kStatus, kRegister, kState, Closing("0")}));
  REQUIRE(runs.size() == 3);
  CHECK_FALSE(runs[1].isMixed);
  CHECK(runs[2].isMixed);
}

TEST_CASE("a closing line right below another one is a whole run if its code is 0") {
  const Lines two = {Header("-s"), kStatus, Header("-p"), kUpgrade, kState, Closing("0")};
  CHECK_LINES(Summary(Runs(LogOf(Joined(two, {Closing("0")})))),
              {"1 -s 0 mixed: 2 5 12 13", "2 -p open mixed: 7 10", "3 ? 0: 14"});
  CHECK_LINES(Summary(Runs(LogOf(Joined(two, {Closing("1")})))), {"1 -s 0 mixed: 2 5 12 13", "2 -p 1 mixed: 7 10 14"});
}

TEST_CASE("a run that was ended before the next one began is not mixed with it") {
  const std::string log =
      LogOf({Header("-I"), kInstall, kCopy}) + "\r\n" +
      LogOf({Header("-I"), kInstall, kCopy, kRegister, Closing("0"), Header("-s"), kStatus, kState, Closing("0")});
  CHECK_LINES(Summary(Runs(log)), {"1 -I open: 2 5 7", "2 -I 0: 9 12 14 15 16", "3 -s 0: 17 20 22 23"});
}

TEST_CASE("the first line behind a header is the banner: another one is of the other run") {
  const std::string log =
      LogOf({Header("-I"), kInstall, Header("-I"), kCopy, kInstall, kRegister, Closing("0")}) + Closing("0");
  CHECK_LINES(Summary(Runs(log)), {"1 -I 0 mixed: 2 5 10 14", "2 -I 0 mixed: 7 11 13 14"});
}

TEST_CASE("a line that no open run can have written shows another run") {
  CHECK_LINES(Summary(Runs(LogOf({Header("-s"), kStatus, kCopy, kState, Closing("0")}))), {"1 -s 0 mixed: 2 5 7 8 9"});
  CHECK_LINES(Summary(Runs(LogOf({Header("-s"), kStatus, kState, Closing("0")}) + kCopy)),
              {"1 -s 0 mixed: 2 5 7 8", "2 ? open mixed in line: 8"});
}

TEST_CASE("every command can end because memory ran out") {
  const Lines begun = {Header("-I"), kInstall, Header("-x"), "LOG_INFO : Pn error.\n", kRegister};
  const std::vector<Run> runs = Runs(LogOf(begun) + LogOf({Closing("-520159230")}));
  REQUIRE(runs.size() == 2);
  CHECK(runs[0].code == "-520159230");
  CHECK_FALSE(runs[1].isClosed);
}

TEST_CASE("the closing line belongs to a run that can end with its code") {
  const std::string log = LogOf({Header("-p"), kUpgrade, Header("-I"), kInstall, kRegister, Closing("1")}) + kRegister +
                          LogOf({Closing("0")});
  CHECK_LINES(Summary(Runs(log)), {"1 -p 1 mixed: 2 5 13", "2 -I 0 mixed: 7 10 12 13 14"});
}

TEST_CASE("more than four runs at once: the oldest counts as not closed") {
  Lines entries;
  for (int run = 0; run < 6; ++run) {
    entries = Joined(entries, {Header("-s"), kStatus});
  }
  const std::vector<Run> runs = Runs(LogOf(entries));
  CHECK(runs.size() == 6);
  CHECK_FALSE(runs[0].isClosed);
}

TEST_CASE("runs are passed on in the order in which they began, as soon as they are over") {
  std::vector<long long> passed;
  RunReader reader([&](Run&& run) { passed.push_back(run.number); });
  EntryReader entries([&](Entry&& entry) { reader.Take(std::move(entry)); });
  for (int run = 0; run < 50; ++run) {
    entries.Feed(LogOf({Header("-s"), kStatus, kState, Closing("0")}));
    CHECK(static_cast<int>(passed.size()) >= run - 2);
  }
  entries.Finish();
  reader.Finish();
  REQUIRE(passed.size() == 50);
  CHECK(passed.front() == 1);
  CHECK(passed.back() == 50);
}

TEST_CASE("a run without an end does not hold back those after it for ever") {
  std::size_t passed = 0;
  RunReader reader([&](Run&&) { ++passed; });
  EntryReader entries([&](Entry&& entry) { reader.Take(std::move(entry)); });
  entries.Feed(LogOf({Header("-I"), kInstall}));
  for (int run = 0; run < 70; ++run) {
    entries.Feed(LogOf({Header("-s"), kStatus, kState, Closing("0")}));
  }
  CHECK(passed > 60);
  entries.Finish();
  reader.Finish();
  CHECK(passed == 71);
}

TEST_CASE("of a run that never ends a limited part is kept") {
  std::string log = LogOf({Header("-I"), kInstall});
  for (int line = 0; line < 3000; ++line) {
    log += "\r\n" + kCopy;
  }
  log += LogOf({"LOG_WARN : Fail to copy VELA_OL.ini !", Closing("0")});
  const std::vector<Run> runs = Runs(log);
  REQUIRE(runs.size() == 1);
  CHECK(runs[0].lines.size() == 4 + Run::kMostAlike);
  CHECK(runs[0].leftOut == 3000 - Run::kMostAlike);
  CHECK(runs[0].worstLeftOut == Kind::kExpected);
  CHECK(runs[0].lastText == "LOG_WARN : Fail to copy VELA_OL.ini !");

  std::string unknown = LogOf({Header("-I"), kInstall});
  for (int line = 0; line < 400; ++line) {
    unknown += "\r\nLOG_INFO : " + std::string(60000, 'x');
  }
  const std::vector<Run> big = Runs(unknown);
  REQUIRE(big.size() == 1);
  CHECK(big[0].leftOut > 100);
  CHECK(big[0].lines.size() + static_cast<std::size_t>(big[0].leftOut) == 402);
}

}  // namespace
