// How runs become text, and how the expected texts are read.
#include <doctest/doctest.h>

#include <stdexcept>

#include "tests/matrix/ExpectedTexts.h"

using Matrix::Chapter;
using Matrix::ExpectedTexts;
using TestSupport::Lines;
using TestSupport::World;

namespace {

TEST_CASE("a run is told whole") {
  World world;
  Chapter chapter;
  Matrix::Tell(chapter, world, "-s", {L"-s", World::kSource, L"C:\\VelaTest\\a place"});
  REQUIRE(chapter.size() == 1);
  CHECK(chapter[0].title == "-s");
  CHECK_LINES(chapter[0].lines,
              {"VELAutil.exe -s C:\\VelaTest\\source \"C:\\VelaTest\\a place\"", "exit code: 0",
               "log:", "  LOG_INFO :  cmd:-s", "   src:C:\\VelaTest\\source", "  dest:C:\\VelaTest\\a place",
               "  LOG_INFO : ======= GetStatus ========", "  \xC2\xB7", "  LOG_INFO : REG Open Fail",
               "  LOG_INFO : [time] VELA END!!! RetrunCode:0"});
}

TEST_CASE("changes and blanks at the end of a line are told") {
  World world;
  world.WithProductKey({{L"VELAEnable", 0}}).WithStandInRegsvr32();
  Chapter chapter;
  Matrix::Tell(chapter, world, "-e", {L"-e", World::kSource, World::kDestination});
  const Lines& text = chapter[0].lines;
  CHECK_LINES(TestSupport::LinesWith(text, "VELAEnable"),
              {"  ~HKLM\\Software\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [32] \"VELAEnable\" REG_DWORD 1 <- "
               "REG_DWORD 0"});
  CHECK_LINES(TestSupport::LinesWith(text, "GetCurrentUserID"),
              {"  LOG_INFO : GetCurrentUserID - szSidString: S-1-5-21-0-0-0-1000 strCurrentUserID:"});
  for (const std::string& line : text) {
    CHECK((line.empty() || line.back() != ' '));
  }
  Matrix::Tell(chapter, world, "-d", {L"-d", World::kSource, World::kDestination});
  CHECK_LINES(TestSupport::LinesWith(chapter[1].lines, "Set Event to shutdown"),
              {"  LOG_INFO : Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon !\xC2\xB7"});
}

const Lines kText = {"##### first",
                     "VELAutil.exe",
                     "log:",
                     "  one in C:\\a, C:\\a",
                     "  two",
                     "  three",
                     "  four",
                     "===== windows_7 windows_8.932",
                     "@@ 4",
                     "-  two",
                     "-[2 more, to]  four",
                     "+  2 to 4",
                     "===== windows_10",
                     "like windows_7.1252",
                     "@@ 5",
                     "+  five",
                     "##### second",
                     "like early: first",
                     "with C:\\bb for C:\\a",
                     "@@ 1",
                     "-VELAutil.exe",
                     "+VELAutil.exe -s",
                     "##### third",
                     "like early: second"};

Chapter Read(const std::string& cell, const Lines& text = kText) {
  return ExpectedTexts(cell).Read("early", text);
}

TEST_CASE("each cell has its own text") {
  const Lines all = {"VELAutil.exe", "log:", "  one in C:\\a, C:\\a", "  two", "  three", "  four"};
  const Lines fewer = {"VELAutil.exe", "log:", "  one in C:\\a, C:\\a", "  2 to 4"};
  const Lines more = {"VELAutil.exe", "log:", "  one in C:\\a, C:\\a", "  2 to 4", "  five"};
  for (const char* const cell : {"windows_xp.1252", "windows_8.1252", "windows_8_1.932"}) {
    CHECK_LINES(Read(cell)[0].lines, (all));
  }
  for (const char* const cell : {"windows_7.1252", "windows_7.932", "windows_8.932"}) {
    CHECK_LINES(Read(cell)[0].lines, (fewer));
  }
  CHECK_LINES(Read("windows_10.932")[0].lines, (more));

  ExpectedTexts texts("windows_7.932");
  const Chapter early = texts.Read("early", kText);
  const Lines second = {"VELAutil.exe -s", "log:", "  one in C:\\bb, C:\\bb", "  two", "  three", "  four"};
  REQUIRE(early.size() == 3);
  CHECK(early[1].title == "second");
  CHECK_LINES(early[1].lines, (second));
  CHECK_LINES(early[2].lines, (second));
  const Chapter late = texts.Read("late", {"##### first", "like early: third", "@@ 7", "+the end"});
  CHECK_LINES(late[0].lines,
              {"VELAutil.exe -s", "log:", "  one in C:\\bb, C:\\bb", "  two", "  three", "  four", "the end"});
}

TEST_CASE("a damaged text is told by its place") {
  const auto damaged = [](std::size_t line, const std::string& by) {
    Lines text = kText;
    text.at(line - 1) = by;
    try {
      Read("windows_xp.1252", text);
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  const std::string seven = "early.txt:8: ===== windows_7 windows_8.932: ";
  CHECK(damaged(4, "  ONE").empty());
  CHECK(damaged(1, "VELAutil.exe") == "early.txt:1: VELAutil.exe: not the beginning of a run");
  CHECK(damaged(8, "===== windows_7 windows_1") ==
        "early.txt:8: ===== windows_7 windows_1: no cell of the matrix: windows_1");
  CHECK(damaged(13, "===== windows_7") == "early.txt:13: ===== windows_7: said twice: windows_7.1252");
  CHECK(damaged(9, "@@ 8") == seven + "no such place in the text: line 8");
  CHECK(damaged(9, "@@ 0").compare(0, seven.size(), seven) == 0);
  CHECK(damaged(9, "  two") == seven + "not a change:   two");
  CHECK(damaged(10, "-  TWO") == seven + "takes away a line that is not there:   TWO");
  CHECK(damaged(11, "-[1 more, to]  four") == seven + "takes away a line that is not there:   four");
  CHECK(damaged(11, "-[9 more, to]  four") == seven + "takes away a line that is not there:   four");
  CHECK(damaged(14, "like windows_xp.1252") ==
        "early.txt:13: ===== windows_10: nothing was said before of: windows_xp.1252");
  CHECK(damaged(18, "like early: third") == "early.txt:17: ##### second: nothing was said before of: early: third");
  CHECK(damaged(19, "with C:\\bb") == "early.txt:17: ##### second: not an exchange: with C:\\bb");
  CHECK(damaged(23, "##### first") == "early.txt:23: ##### first: said twice");
}

}  // namespace
