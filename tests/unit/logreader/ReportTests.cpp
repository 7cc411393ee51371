// What the reader prints.
#include <doctest/doctest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "logreader/Log.h"
#include "logreader/Report.h"
#include "tests/unit/logreader/SmallLogs.h"

using namespace LogReader;
using namespace SmallLogs;
using Json = nlohmann::json;

namespace {

std::string TextOf(const std::string& log, bool withLines = false) {
  std::string text;
  std::istringstream stream(log);
  ReadRuns(stream, [&](Run& run, const Verdict& verdict) {
    WriteRun(run, verdict, withLines, [&](std::string_view part, Color) { text += part; });
  });
  return text;
}

std::string JsonOf(const std::string& log, bool withLines = false) {
  std::string text;
  std::istringstream stream(log);
  JsonReport report([&](std::string_view part, Color) { text += part; }, "C:\\vela.log", "1.2.3");
  Outcome last = Outcome::kNoRun;
  ReadRuns(stream, [&](Run& run, const Verdict& verdict) {
    report.Add(run, verdict, withLines);
    last = verdict.outcome;
  });
  report.End(last, last == Outcome::kNoRun ? "no run" : "");
  return text;
}

TEST_CASE("a good run: who, when, what, and one sentence") {
  CHECK_LINES(TestSupport::Split(TextOf(LogOf(GoodRun(Command::kReload)))),
              {"Run 1, lines 2 to 10", "  Time         2026/11/21 17:26:24", "  Command      -r (reload)",
               "  Source       C:\\Setup", "  Destination  C:\\Bastion\\Orvane Labs", "  Exit code    1", "",
               "DONE: Every running mail client was notified."});
}

TEST_CASE("what failed, what is left, what waits, and what else is worth knowing") {
  Lines run = Behind(GoodRun(Command::kInstall), "Install ===",
                     {"LOG_INFO : --- Find DBCS Character by IsDBCSLeadByte() !! --- idx=3",
                      "LOG_ERROR: ::CopyFile() failed: err(32), src(a), dst(b)",
                      "LOG_INFO : RebootMove('a', 'b') succeeded", "LOG_INFO : Caf\xE9 \x1B[1m",
                      "LOG_ERROR: Fail to Install VELA_OL !!", "LOG_ERROR: Fail to Install VELA_WLM !!"});
  run = Instead(run, "QueryStringValue", {"LOG_INFO : There is a Mail Client Running."});
  const Lines text = TestSupport::Split(TextOf(LogOf(run)));
  Lines headings;
  for (const std::string& line : text) {
    if (!line.empty() && line[0] != ' ') {
      headings.push_back(line);
    }
  }
  headings.erase(headings.begin());  // the number of its lines depends on the clients
  CHECK_LINES(headings,
              {"DONE IN PART: Installed in part: 2 lines report failures, line 11 first.", "What failed",
               "Left, because a mail client runs", "Waits for the restart", "Worth knowing", "Unknown lines: 1"});
  // Lines of one meaning have it once.
  CHECK_LINES(TestSupport::LinesWith(text, "VELA_WLM !!"), {"  Line 12: LOG_ERROR: Fail to Install VELA_WLM !!"});
  CHECK(TestSupport::LinesWith(text, "A summary of the lines above").size() == 1);
  CHECK(TestSupport::LinesWith(text, "What to do: ").size() == 5);
  // No control character reaches the console.
  CHECK_LINES(TestSupport::LinesWith(text, "Caf"), {"  Line 10: LOG_INFO : Caf\xC3\xA9 \\x1B[1m"});
  for (const std::string& line : text) {
    CHECK(line.find('`') == std::string::npos);
    CHECK((line.find("Line ") == 2 || line.size() <= 100));
  }
}

TEST_CASE("more lines than are shown") {
  const Lines failed(8, "LOG_ERROR: Path not exists: C:\\b");
  const Lines text = TestSupport::Split(TextOf(LogOf(Behind(GoodRun(Command::kUpgrade), "Upgrade VELA", failed))));
  CHECK(TestSupport::LinesWith(text, "  Line ").size() == 5);
  CHECK_LINES(TestSupport::LinesWith(text, "more"), {"  ... and 3 more."});
}

TEST_CASE("what is not known of a run is not shown") {
  const Lines unfinished = TestSupport::Split(TextOf(LogOf(UpTo(GoodRun(Command::kEnable), "dwSessionId"))));
  CHECK_LINES(
      TestSupport::LinesWith(unfinished, "not known"),
      {"  Time         not known, there is no closing line", "  Exit code    not known, there is no closing line",
       "DID NOT FINISH: The log of this run ends within line 8; what the run did after that is not known."});
  const Lines bare = TestSupport::Split(TextOf("\r\nLOG_INFO : [t] VELA END!!! RetrunCode:0"));
  CHECK_LINES(TestSupport::LinesWith(bare, "Command "), {"  Command      (unknown)"});
  CHECK(TestSupport::LinesWith(bare, "Source").empty());
  CHECK_LINES(
      TestSupport::LinesWith(TestSupport::Split(TextOf("\r\nLOG_INFO :  cmd:-q\r\n src:\r\ndest:\r\n")), "Command "),
      {"  Command      -q (unknown switch)"});
}

TEST_CASE("the further lines of an entry stand below its first one") {
  const Lines text = TestSupport::Split(TextOf("\r\nLOG_INFO :  cmd:-q\r\n src:C:\\Setup\r\ndest:C:\\Bastion\r\n"));
  CHECK_LINES(TestSupport::LinesWith(text, "dest:"), {"    dest:C:\\Bastion"});
}

TEST_CASE("a very long line is shown in part") {
  const Lines run = Behind(GoodRun(Command::kStatus), "GetStatus ===", {"LOG_INFO : " + std::string(5000, 'x')});
  const Lines lines = TestSupport::LinesWith(TestSupport::Split(TextOf(LogOf(run))), "xxx");
  REQUIRE(lines.size() == 1);
  CHECK(lines[0].find("xxx") != std::string::npos);
  CHECK(std::count(lines[0].begin(), lines[0].end(), 'x') == 589);  // 600 bytes with "LOG_INFO : "
  CHECK(lines[0].substr(lines[0].size() - 5) == "x ...");
}

TEST_CASE("every line with its kind and its meaning") {
  const std::string log = LogOf(GoodRun(Command::kStatus)) + "\r\na note";
  const Lines text = TestSupport::Split(TextOf(log, true));
  CHECK_LINES(TestSupport::LinesWith(text, "  Line "),
              {"  Line 2 (frame): LOG_INFO :  cmd:-s", "  Line 5 (frame): LOG_INFO : ======= GetStatus ========",
               "  Line 7 (expected): LOG_INFO : GetStatus!!!!! 1",
               "  Line 8 (frame): LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:0",
               "  Line 9 (between two runs): a note"});
  CHECK_LINES(TestSupport::LinesWith(text, "src:"), {"     src:C:\\Setup"});
  CHECK_LINES(TestSupport::LinesWith(text, "Banner:"), {"      Banner: the run logs the state of the switch."});
  CHECK_LINES(TestSupport::LinesWith(text, "unknown"), {"      This line is unknown."});
}

TEST_CASE("the lines that were too many to keep are counted") {
  const Lines many(1200, "LOG_INFO : CopyFile(C:\\Setup\\rule\\a, b) successed.");
  const Lines text = TestSupport::Split(TextOf(LogOf(Behind(GoodRun(Command::kUpgrade), "Upgrade VELA", many)), true));
  REQUIRE(!text.empty());
  CHECK(text.back().find(" more lines are not shown.") != std::string::npos);
}

TEST_CASE("headings have their color") {
  const Lines run =
      Behind(GoodRun(Command::kUpgrade), "Upgrade VELA", {"LOG_ERROR: Path not exists: C:\\b", "LOG_INFO : x"});
  std::istringstream stream(LogOf(run));
  Lines headings;
  ReadRuns(stream, [&](Run& read, const Verdict& verdict) {
    WriteRun(read, verdict, true, [&](std::string_view part, Color color) {
      if (color == Color::kHeading) {
        headings.emplace_back(part);
      }
    });
  });
  CHECK_LINES(headings, {"Run 1, lines 2 to 27\n", "\nWhat failed\n", "\nWorth knowing\n", "\nAll lines\n"});
}

TEST_CASE("each outcome has its color") {
  const auto check = [](const Lines& entries, const std::string& outcome, Color wanted) {
    std::istringstream stream(LogOf(entries));
    std::vector<Color> colors;
    ReadRuns(stream, [&](Run& run, const Verdict& verdict) {
      WriteRun(run, verdict, false, [&](std::string_view part, Color color) {
        if (part == "\n" + outcome) {
          colors.push_back(color);
        }
      });
    });
    CHECK((colors == std::vector<Color>{wanted}));
  };
  const Lines good = GoodRun(Command::kUninstall);
  check(good, "DONE", Color::kGood);
  check(Behind(good, "Success of", {"LOG_WARN : plugVELA_Uninstall(), OL is still running!."}), "RESTART NEEDED",
        Color::kWarning);
  check(Behind(good, "Success of", {"LOG_ERROR: Unregistry WLM COM objects failed"}), "DONE IN PART", Color::kWarning);
  check(UpTo(good, "Success of"), "DID NOT FINISH", Color::kBad);
}

TEST_CASE("JSON is read back") {
  const std::string log =
      LogOf(Joined(GoodRun(Command::kStatus), Behind(GoodRun(Command::kReload), "Reload Engine and Pattern",
                                                     {"LOG_INFO : Caf\xE9 \"\x1B\"", "LOG_EVENT :new"})));
  const std::string text = JsonOf(log, true);
  CHECK(text.find("Caf\xC3\xA9") != std::string::npos);  // as it is, in UTF-8
  const Json json = Json::parse(text);
  CHECK(json["program"] == "VELAlog");
  CHECK(json["version"] == "1.2.3");
  CHECK(json["log"] == "C:\\vela.log");
  CHECK(json["error"].is_null());
  CHECK(json["verdict"] == "done in part");
  CHECK(json["exit_code"] == 1);
  REQUIRE(json["runs"].size() == 2);
  const Json& first = json["runs"][0];
  CHECK(first["run"] == 1);
  CHECK(first["first_line"] == 2);
  CHECK(first["last_line"] == 8);
  CHECK(first["time"] == "2026-11-21T17:26:24");
  CHECK(first["switch"] == "-s");
  CHECK(first["command"] == "status");
  CHECK(first["source"] == "C:\\Setup");
  CHECK(first["destination"] == "C:\\Bastion\\Orvane Labs");
  CHECK(first["closed"] == true);
  CHECK(first["result"] == "0");
  CHECK(first["mixed"] == false);
  CHECK(first["verdict"] == "done");
  CHECK(first["exit_code"] == 0);
  CHECK(first["sentence"] == "The stored state of filtering is on.");
  CHECK(first["unknown_lines"] == 0);
  CHECK(first["findings"].empty());
  REQUIRE(first["lines"].size() == 4);
  CHECK(first["lines_left_out"] == 0);
  CHECK(first["lines"][2]["line"] == 7);
  CHECK(first["lines"][2]["level"] == "LOG_INFO");
  CHECK(first["lines"][2]["text"] == "GetStatus!!!!! 1");
  CHECK(first["lines"][2]["kind"] == "expected");
  CHECK(first["lines"][2]["message"] == "getstatus-x");
  CHECK(first["lines"][2]["rule"].is_null());
  CHECK(first["lines"][2]["outside"] == false);
  CHECK(first["lines"][0]["text"] == " cmd:-s\n src:C:\\Setup\ndest:C:\\Bastion\\Orvane Labs");
  const Json& findings = json["runs"][1]["findings"];
  REQUIRE(findings.size() == 2);
  CHECK(findings[0]["kind"] == "problem");
  CHECK(findings[0]["rule"] == "unknown-failure");
  CHECK(findings[0]["message"].is_null());
  CHECK(findings[0]["count"] == 1);
  CHECK(findings[0]["lines"][0]["line"] == 15);
  CHECK(findings[0]["lines"][0]["text"] == "LOG_EVENT :new");
  CHECK(findings[1]["lines"][0]["text"] == "LOG_INFO : Caf\xC3\xA9 \"\x1B\"");
  CHECK(json["runs"][1]["unknown_lines"] == 2);
}

TEST_CASE("JSON of a log that could not be read to its end") {
  std::string text;
  JsonReport report([&](std::string_view part, Color) { text += part; }, "a", "1");
  std::istringstream stream(LogOf(GoodRun(Command::kStatus)));
  ReadRuns(stream, [&](Run& run, const Verdict& verdict) { report.Add(run, verdict, false); });
  report.End(Outcome::kDone, "cannot be read");
  const Json json = Json::parse(text);
  CHECK(json["runs"].size() == 1);
  CHECK(json["error"] == "cannot be read");
  CHECK(json["verdict"] == "done");
  CHECK(json["exit_code"] == 2);
}

TEST_CASE("JSON of a log whose name is no valid text") {
  std::string text;
  JsonReport report([&](std::string_view part, Color) { text += part; }, "C:\\\xED\xA0\x80.log", "1");
  report.End(Outcome::kNoRun, "cannot be read: C:\\\xED\xA0\x80.log");
  const std::string log = Json::parse(text)["log"];
  CHECK(log.substr(0, 6) == "C:\\\xEF\xBF\xBD");
}

TEST_CASE("JSON of a log without runs, and of what is not known") {
  const Json none = Json::parse(JsonOf(""));
  CHECK(none["runs"].empty());
  CHECK(none["verdict"] == "no run");
  CHECK(none["exit_code"] == 2);
  CHECK(none["error"] == "no run");
  const Json open = Json::parse(JsonOf(LogOf(UpTo(GoodRun(Command::kEnable), "dwSessionId"))));
  CHECK(open["runs"][0]["time"].is_null());
  CHECK(open["runs"][0]["result"].is_null());
  CHECK(open["runs"][0]["closed"] == false);
  CHECK_FALSE(open["runs"][0].contains("lines"));
  const Json bare = Json::parse(JsonOf("\r\nLOG_INFO : [2026/11/21 17:26] VELA END!!! RetrunCode:0"));
  CHECK(bare["runs"][0]["time"].is_null());  // no such time
  CHECK(bare["runs"][0]["switch"].is_null());
  CHECK(bare["runs"][0]["source"].is_null());
}

}  // namespace
