// Sources and destinations that are missing, unusual, or blocked.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::RemoveTree;

namespace {

const std::wstring kSource = World::kSource;

World& OnVista(World& world) {
  return world.OnWindows(WindowsVersion::kVista).InFolder(World::kRoot);
}

TEST_CASE("a destination with a backslash at its end gets no second one") {
  const Lines& plain = PlainInstall();
  World world;
  OnVista(world).WithSampleSource();
  CheckRun("a backslash after the destination", plain,
           Told(world.Run(L"-I", kSource, World::kDestination + std::wstring(L"\\"))));
}

TEST_CASE("a backslash at the end of the source is doubled before the clients' own folders") {
  World world;
  const Outcome outcome = OnVista(world).WithSampleSource().Run(L"-I", kSource + L"\\", World::kDestination);
  CHECK(TestSupport::LinesWith(outcome.log, "CopyFile(C:\\VelaTest\\source\\\\OL\\VELA_OLA.dll, ").size() == 1);
  CHECK(TestSupport::LinesWith(outcome.log, "CopyFile(C:\\VelaTest\\source\\Resource\\x64\\VELA_MUI.ini, ").size() ==
        1);
  CHECK(TestSupport::LinesWith(outcome.log, "failed").empty());
}

TEST_CASE("with a missing source, empty folders are created, and the clients are registered anyway") {
  const Lines& plain = PlainInstall();
  const auto install = [](const std::wstring& source) {
    World world;
    OnVista(world).WithFile(L"C:\\VelaTest\\file", "a file");
    return world.Run(L"-I", source, World::kDestination);
  };
  const Lines missing = Told(install(kSource));
  CheckRun("a missing source", plain, missing);
  CHECK_LINES(Told(install(L"C:\\VelaTest\\file"), World::kDestination, L"C:\\VelaTest\\file"), (missing));
  const std::wstring tooLong = L"C:\\VelaTest\\" + std::wstring(5000, L's');
  CHECK_LINES(Told(install(tooLong), World::kDestination, tooLong), (missing));
  // The root of the current drive, which contains nothing.
  CheckRun("an empty source", missing, Told(install(L"")));
}

TEST_CASE("a relative source is looked for in the current folder") {
  const Lines& plain = PlainInstall();
  World world;
  const Outcome outcome = OnVista(world).WithSampleSource().Run(L"-I", L"source", World::kDestination);
  CheckRun("a relative source", plain,
           TestSupport::RunText(outcome, {{World::kDestination, "[dest]"}, {L"(source", "([source]"}}));
}

TEST_CASE("a file in place of a source folder is skipped; in place of a destination folder, it blocks the copy") {
  CheckInstall("a source folder that is a file", [](World& world) {
    RemoveTree(kSource + L"\\rule");
    world.WithFile(kSource + L"\\rule", "a file");
  });
  // The folder counts as existing. Its first entry can neither be copied nor scheduled, and this ends that tree.
  CheckInstall("a folder of the destination is a file",
               [](World& world) { world.WithFile(kProduct + L"\\VELA_WLM\\rule", "a file"); });
}

TEST_CASE("no folder can be created below a destination that is relative, empty, a file, or on a missing drive") {
  const Lines& plain = PlainInstall();
  const auto install = [](const std::wstring& destination, const std::wstring& base) {
    World world;
    OnVista(world).WithSampleSource().WithFile(L"C:\\VelaTest\\file", "a file");
    return TestSupport::RunText(world.Run(L"-I", kSource, destination),
                                {{base, "[dest]\\Orvane Labs\\"}, {kSource, "[source]"}});
  };
  const Lines first = install(L"Q:\\dest", L"Q:\\dest\\Orvane Labs\\");
  CheckRun("a destination on a missing drive", plain, first);
  CheckRun("a relative destination", first, install(L"dest", L"dest\\Orvane Labs\\"));
  CheckRun("an empty destination", first, install(L"", L"Orvane Labs\\"));
  CheckRun("a destination that is a file", first, install(L"C:\\VelaTest\\file", L"C:\\VelaTest\\file\\Orvane Labs\\"));
}

// With this destination, a module below VELA_OL with a name of `name` characters has a path of `length` characters.
std::wstring DestinationFor(std::size_t length, std::size_t name) {
  const std::size_t below = std::wstring(L"\\Orvane Labs\\VELA\\VELA_OL\\").size() + name;
  const std::wstring root = L"C:\\VelaTest\\";
  return root + std::wstring(length - below - root.size(), L'd');
}

// An installation with fewer files.
Outcome InstallTo(const std::wstring& destination) {
  World world;
  OnVista(world).WithSampleSource();
  RemoveTree(kSource + L"\\rule\\lists");
  return world.Run(L"-I", kSource, destination);
}

TEST_CASE("modules whose paths are too long for the command line are staged but not registered") {
  const Lines plain = Told(InstallTo(World::kDestination));
  // The shortest of these command lines has 261 characters.
  const std::wstring destination = DestinationFor(261 - std::wstring(L"regsvr32.exe /s \"\"").size(), 14);
  const Lines notRegistered = Told(InstallTo(destination), destination);
  CheckRun("a long destination", plain, notRegistered);

  // Nothing is staged to a destination that is longer than any valid path. Windows refuses to create such a folder.
  // Wine creates one from as many characters as it reads.
  const std::wstring tooLong = L"C:\\VelaTest\\" + std::wstring(5000, L'd');
  Outcome outcome = InstallTo(tooLong);
  CHECK(TestSupport::LinesWith(outcome.fileDiff, "VELA").empty());
  outcome.fileDiff.clear();
  outcome.log.erase(
      std::remove_if(outcome.log.begin(), outcome.log.end(),
                     [](const std::string& line) { return line.find("SHCreateDirectoryEx") != std::string::npos; }),
      outcome.log.end());
  CheckRun("a destination longer than any path", notRegistered, Told(outcome, tooLong));
}

}  // namespace
