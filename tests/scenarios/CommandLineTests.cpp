// Command lines that no command is named by, and those that name the installation in another way.
#include <doctest/doctest.h>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"

using namespace Expected;
using TestSupport::Outcome;

namespace {

void CheckNothingHappened(const Outcome& outcome) {
  CHECK(outcome.exitCode == 0);
  CHECK(outcome.registryDiff.empty());
  CHECK(outcome.fileDiff.empty());
  CHECK(outcome.moduleDiff.empty());
}

TEST_CASE("another number of arguments than three leaves the closing line and nothing else") {
  const std::vector<std::wstring> all = {L"-I", World::kSource, World::kDestination, L"more", L"and more"};
  for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{4}, std::size_t{5}}) {
    CAPTURE(count);
    World world;
    world.WithSampleSource();

    const Outcome outcome = world.RunWithArguments({all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)});

    CHECK_LINES(outcome.log, (RunEnds(0)));
    CheckNothingHappened(outcome);
  }
}

TEST_CASE("a switch that is none is told and does nothing") {
  for (const wchar_t* const command :
       {L"-i", L"-u", L"-E", L"-x", L"/I", L"I", L"-", L"", L" -I", L"--Install", L"?", L"\x00DF"}) {
    CAPTURE(TestSupport::ToUtf8(command));
    World world;
    world.WithSampleSource();

    const Outcome outcome = world.Run(command, World::kSource, World::kDestination);

    CHECK_LINES(outcome.log,
                (Joined({RunBegins(command, World::kSource, World::kDestination, "Pn error."), RunEnds(0)})));
    CheckNothingHappened(outcome);
  }
}

TEST_CASE("only the first two characters of the switch count") {
  for (const wchar_t* const command : {L"-Install", L"-Ix", L"-II", L"-I -U"}) {
    CAPTURE(TestSupport::ToUtf8(command));
    World world;
    world.WithSampleSource().WithProductKey({{L"VELAEnable", 1}});

    const Outcome outcome = world.Run(command, World::kSource, World::kDestination);

    CHECK_LINES(outcome.log,
                (Joined({RunBegins(command, World::kSource, World::kDestination, "======== Install ========="),
                         FilesStaged(OutlookExpress::kLeftOut), NoClientRuns(), OutlookMissing(), ClientsRegistered(),
                         RunEnds(0)})));
  }
}

TEST_CASE("wildcards in an argument are not expanded") {
  World world;
  world.WithSampleSource().WithFile(L"C:\\VelaTest\\other.txt").InFolder(World::kRoot);

  const Outcome outcome = world.RunWithArguments({L"-x", L"C:\\VelaTest\\*", L"*.txt"});

  CHECK_LINES(outcome.log, (Joined({RunBegins(L"-x", L"C:\\VelaTest\\*", L"*.txt", "Pn error."), RunEnds(0)})));
}

TEST_CASE("blanks and quotes in an argument arrive as they were given") {
  World world;
  const std::wstring odd = L"C:\\a \"quoted\" folder\\";

  const Outcome outcome = world.Run(L"-x", odd, L"  ");

  CHECK_LINES(outcome.log, (Joined({RunBegins(L"-x", odd, L"  ", "Pn error."), RunEnds(0)})));
}

TEST_CASE("arguments of thousands of characters are logged whole") {
  World world;
  const std::wstring longOne(10000, L'l');

  const Outcome outcome = world.Run(L"-x", longOne, longOne);

  CHECK_LINES(outcome.log, (Joined({RunBegins(L"-x", longOne, longOne, "Pn error."), RunEnds(0)})));
  CHECK(outcome.exitCode == 0);
}

}  // namespace
