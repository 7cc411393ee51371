// Command lines that name no command, and other ways to name the installation.
#include <doctest/doctest.h>

#include "tests/scenarios/PlainRuns.h"

using namespace Scenarios;

namespace {

// The log of a run that does nothing. For an unknown switch it has the line about it, otherwise only the closing line.
Lines NothingDone(const std::wstring& arguments = L"") {
  Lines lines = {"exit code: 0", "log:"};
  if (!arguments.empty()) {
    lines.insert(lines.end(), {"  LOG_INFO :  cmd:" + TestSupport::ToUtf8(arguments), "   src:[source]",
                               "  dest:[dest]", "  LOG_INFO : Pn error.", "  \xC2\xB7"});
  }
  lines.emplace_back("  LOG_INFO : [time] VELA END!!! RetrunCode:0");
  return lines;
}

TEST_CASE("with any number of arguments but three, only the closing line is logged") {
  const std::vector<std::wstring> all = {L"-I", World::kSource, World::kDestination, L"more", L"and more"};
  for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{4}, std::size_t{5}}) {
    CAPTURE(count);
    World world;
    world.WithSampleSource();
    CHECK_LINES(Told(world.RunWithArguments({all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)})),
                (NothingDone()));
  }
}

TEST_CASE("an unknown switch is logged and does nothing") {
  for (const wchar_t* const command :
       {L"-i", L"-u", L"-E", L"-x", L"/I", L"I", L"-", L" -I", L"--Install", L"?", L"\x00DF"}) {
    World world;
    world.WithSampleSource();
    CHECK_LINES(Told(world.Run(command, World::kSource, World::kDestination)), (NothingDone(command)));
  }
  World world;
  CHECK_LINES(TestSupport::LinesWith(world.Run(L"", World::kSource, World::kDestination).log, "cmd:"),
              {"LOG_INFO :  cmd:"});
}

TEST_CASE("only the first two characters of the switch count") {
  const Lines& plain = PlainInstall();
  for (const wchar_t* const command : {L"-Install", L"-Ix", L"-II", L"-I -U"}) {
    World world;
    world.OnWindows(WindowsVersion::kVista).WithSampleSource();
    Lines told = Told(world.Run(command, World::kSource, World::kDestination));
    REQUIRE(told.size() > 3);
    CHECK(told[2] == "  LOG_INFO :  cmd:" + TestSupport::ToUtf8(command));
    told[2] = "  LOG_INFO :  cmd:-I";
    CHECK_LINES(told, (plain));
  }
}

TEST_CASE("wildcards, blanks, quotes and thousands of characters in an argument arrive unchanged") {
  for (const std::wstring& argument : {std::wstring(L"*.txt"), std::wstring(L"C:\\a \"quoted\" folder\\"),
                                       std::wstring(L"  "), std::wstring(10000, L'l')}) {
    World world;
    world.WithFile(L"C:\\VelaTest\\other.txt").InFolder(World::kRoot);
    const Outcome outcome = world.Run(L"-x", argument, argument);
    CHECK(outcome.exitCode == 0);
    const std::string given = TestSupport::ToUtf8(argument);
    CHECK_LINES(outcome.log, {"LOG_INFO :  cmd:-x", " src:" + given, "dest:" + given, "LOG_INFO : Pn error.", "",
                              "LOG_INFO : [time] VELA END!!! RetrunCode:0"});
  }
}

}  // namespace
