// How runs become text and text becomes runs again.
#include <doctest/doctest.h>

#include <stdexcept>

#include "tests/matrix/Chapter.h"

using Matrix::AsText;
using Matrix::Chapter;
using Matrix::FromText;
using TestSupport::Lines;
using TestSupport::World;

namespace {

TEST_CASE("a run is told whole") {
  World world;
  Chapter chapter;
  Matrix::Tell(chapter, world, "-s", {L"-s", World::kSource, L"C:\\VelaTest\\a place"});
  Matrix::Tell(chapter, world, "an argument is missing", {L"-s", World::kSource});
  CHECK_LINES(AsText(chapter), {"##### -s",
                                "VELAutil.exe -s C:\\VelaTest\\source \"C:\\VelaTest\\a place\"",
                                "exit code: 0",
                                "log:",
                                "  LOG_INFO :  cmd:-s",
                                "   src:C:\\VelaTest\\source",
                                "  dest:C:\\VelaTest\\a place",
                                "  LOG_INFO : ======= GetStatus ========",
                                "  \xC2\xB7",
                                "  LOG_INFO : REG Open Fail",
                                "  LOG_INFO : [time] VELA END!!! RetrunCode:0",
                                "registry: none",
                                "modules: none",
                                "files: none",
                                "at the restart: none",
                                "##### an argument is missing",
                                "VELAutil.exe -s C:\\VelaTest\\source",
                                "exit code: 0",
                                "log:",
                                "  LOG_INFO : [time] VELA END!!! RetrunCode:0",
                                "registry: none",
                                "modules: none",
                                "files: none",
                                "at the restart: none"});
}

TEST_CASE("changes and blanks at the end of a line are told") {
  World world;
  world.WithProductKey({{L"VELAEnable", 0}}).WithStandInRegsvr32();
  Chapter chapter;
  Matrix::Tell(chapter, world, "-e", {L"-e", World::kSource, World::kDestination});
  const Lines text = AsText(chapter);
  CHECK_LINES(TestSupport::LinesWith(text, "VELAEnable"),
              {"  ~HKLM\\Software\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [32] \"VELAEnable\" REG_DWORD 1 <- "
               "REG_DWORD 0"});
  CHECK_LINES(TestSupport::LinesWith(text, "GetCurrentUserID"),
              {"  LOG_INFO : GetCurrentUserID - szSidString: S-1-5-21-0-0-0-1000 strCurrentUserID:"});
  for (const std::string& line : text) {
    CHECK((line.empty() || line.back() != ' '));
  }
  Matrix::Tell(chapter, world, "-d", {L"-d", World::kSource, World::kDestination});
  CHECK_LINES(TestSupport::LinesWith(AsText(chapter), "Set Event to shutdown"),
              {"  LOG_INFO : Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon !\xC2\xB7"});
}

TEST_CASE("a text is cut into its runs again") {
  const Lines text = {"##### first", "exit code: 0", "log: none", "##### second", "exit code: 1"};
  const Chapter chapter = FromText(text);
  REQUIRE(chapter.size() == 2);
  CHECK(chapter[0].title == "first");
  CHECK_LINES(chapter[0].lines, {"exit code: 0", "log: none"});
  CHECK(chapter[1].title == "second");
  CHECK_LINES(chapter[1].lines, {"exit code: 1"});
  CHECK_LINES(AsText(chapter), (text));
  CHECK(FromText({}).empty());
  CHECK_THROWS_AS(FromText({"exit code: 0"}), std::runtime_error);
}

}  // namespace
