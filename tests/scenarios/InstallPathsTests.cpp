// Sources and destinations that are missing, odd, or in the way.
#include <doctest/doctest.h>

#include <windows.h>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"
#include "tests/support/TestFiles.h"

using namespace Expected;
using TestSupport::Outcome;
using TestSupport::RemoveTree;
using TestSupport::WindowsVersion;

namespace {

// The registry of a fresh installation whose base folder is not the usual one.
Lines RegistryWithBase(const std::wstring& base) {
  return Sorted(Joined({SettingsWritten(ProductKey::kMissing, 0, base), AddinKeysWritten(2), PluginListed()}));
}

// On Vista, which has all three clients.
Lines InstallLog(const std::wstring& source, const std::wstring& destination, const Lines& staging,
                 const std::wstring& base) {
  return Joined({InstallBegins(source, destination), staging, SwitchUnreadable(2), OutlookMissing(),
                 ClientsRegistered(base), RunEnds(0)});
}

TEST_CASE("a destination with a backslash at its end gets no second one") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const std::wstring destination = World::kDestination + std::wstring(L"\\");

  const Outcome outcome = world.Run(L"-I", World::kSource, destination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, (InstallLog(World::kSource, destination, FilesStaged(OutlookExpress::kStaged), kBase)));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFreshInstall()));
}

TEST_CASE("a source with a backslash at its end is doubled where the clients' own folders are appended") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();

  const Outcome outcome = world.Run(L"-I", World::kSource + std::wstring(L"\\"), World::kDestination);

  CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(OutlookExpress::kStaged)));
  CHECK(TestSupport::LinesWith(outcome.log, "CopyFile(C:\\VelaTest\\source\\\\OL\\VELA_OLA.dll, ").size() == 1);
  CHECK(TestSupport::LinesWith(outcome.log, "CopyFile(C:\\VelaTest\\source\\Resource\\x64\\VELA_MUI.ini, ").size() ==
        1);
  CHECK(TestSupport::LinesWith(outcome.log, "failed").empty());
}

TEST_CASE("a missing source leaves empty folders, and the clients are registered all the same") {
  World world;
  world.OnWindows(WindowsVersion::kVista);

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log,
              (InstallLog(World::kSource, World::kDestination, StagingHasNoSource(OutlookExpress::kStaged), kBase)));
  CHECK_LINES(Sorted(outcome.fileDiff), (FoldersMade(OutlookExpress::kStaged)));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFreshInstall()));
  CHECK(outcome.moduleDiff.empty());
}

TEST_CASE("an empty source is the root of the current drive, where nothing lies") {
  World world;
  world.OnWindows(WindowsVersion::kVista).InFolder(World::kRoot);

  const Outcome outcome = world.Run(L"-I", L"", World::kDestination);

  CHECK_LINES(outcome.log, (InstallLog(L"", World::kDestination, StagingHasNoSource(OutlookExpress::kStaged), kBase)));
}

TEST_CASE("a source that is a file is a source with nothing in it") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithFile(World::kSource, "a file");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log,
              (InstallLog(World::kSource, World::kDestination, StagingHasNoSource(OutlookExpress::kStaged), kBase)));
}

TEST_CASE("a relative source is looked for in the current folder") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource().InFolder(World::kRoot);

  const Outcome outcome = world.Run(L"-I", L"source", World::kDestination);

  CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(OutlookExpress::kStaged)));
  CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesRegistered(OutlookExpress::kStaged)));
  CHECK(TestSupport::LinesWith(outcome.log, "CopyFile(source\\OL\\VELA_OLA.dll, C:\\VelaTest\\dest\\").size() == 1);
}

TEST_CASE("a source folder that cannot be listed is passed over in silence") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const std::wstring rules = World::kSource + std::wstring(L"\\rule");
  RemoveTree(rules);
  world.WithFile(rules, "a file");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log,
              (InstallLog(World::kSource, World::kDestination, FilesStaged(OutlookExpress::kStaged), kBase)));
  CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(OutlookExpress::kStaged)));
}

TEST_CASE("no folder can be made below a destination that is relative, empty, a file, or on a missing drive") {
  struct Case {
    const wchar_t* destination;
    const wchar_t* base;
  };
  for (const Case& bad : {Case{L"dest", L"dest\\Orvane Labs\\"}, Case{L"", L"Orvane Labs\\"},
                          Case{L"C:\\VelaTest\\file", L"C:\\VelaTest\\file\\Orvane Labs\\"},
                          Case{L"Q:\\dest", L"Q:\\dest\\Orvane Labs\\"}}) {
    CAPTURE(TestSupport::ToUtf8(bad.destination));
    World world;
    world.OnWindows(WindowsVersion::kVista)
        .WithSampleSource()
        .WithFile(L"C:\\VelaTest\\file", "a file")
        .InFolder(World::kRoot);

    const Outcome outcome = world.Run(L"-I", World::kSource, bad.destination);

    CHECK(outcome.exitCode == 0);
    CHECK_LINES(outcome.log, (InstallLog(World::kSource, bad.destination,
                                         StagingHasNoFolders(OutlookExpress::kStaged, bad.base), bad.base)));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithBase(bad.base)));
    CHECK(outcome.fileDiff.empty());
    CHECK(outcome.moduleDiff.empty());
  }
}

TEST_CASE("a folder of the destination that is a file keeps its client's files away and no other's") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  world.WithFile(kBase + std::wstring(L"VELA\\VELA_WLM\\rule"), "a file");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  // The folder counts as there; what is to be copied into it can be neither copied nor scheduled, which ends that tree.
  CHECK(TestSupport::LinesWith(outcome.log, "LOG_ERROR: ").size() == 2);
  CHECK_LINES(TestSupport::LinesWith(outcome.log, "SHCreateDirectoryEx"), {});
  CHECK(TestSupport::LinesWith(outcome.fileDiff, "VELA_OE\\rule\\base.rul").size() == 1);
  CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesRegistered(OutlookExpress::kStaged)));
}

// The log of the registrations where no module's path fits a command line.
Lines RegistrationsRefused(const std::wstring& base) {
  const std::string folder = TestSupport::ToUtf8(base) + "VELA\\";
  const auto commandLine = [](const std::string& module) {
    return Info("RegisterComModule() command line: regsvr32.exe /s \"" + module + "\"");
  };
  Lines lines = Joined({commandLine(folder + "VELA_OL\\Redemption.dll"),
                        Error("Failed to register Redemption.dll !! " + folder + "VELA_OL\\Redemption.dll"),
                        Error("Fail to Install VELA_OL !!"), commandLine(folder + "VELA_OE\\oeapiinitcom.dll"),
                        Error("Failed to register oeapiinitcom.dll !!  " + folder + "VELA_OE\\oeapiinitcom.dll"),
                        Error("Fail to Install VELA_OE !!")});
  for (const char* const name :
       {"WLMailApiInit.dll", "WLMailApiCom.dll", "WLMailApiStore.dll", "WLMailApiContacts.dll"}) {
    lines = Joined(
        {lines, commandLine(folder + "VELA_WLM\\" + name), Event(std::string("Failed to register ") + name + " !!")});
  }
  return Joined({lines, Error("Fatal Error, Registry WLM COM object false"), Error("Fail to Install VELA_WLM !!")});
}

// A destination of which a module's path below VELA_OL is `length` characters long with a name of `name` characters.
std::wstring DestinationFor(std::size_t length, std::size_t name) {
  const std::size_t below = std::wstring(L"\\Orvane Labs\\VELA\\VELA_OL\\").size() + name;
  const std::wstring root = L"C:\\VelaTest\\";
  return root + std::wstring(length - below - root.size(), L'd');
}

TEST_CASE("modules whose paths do not fit a command line are staged and not registered") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  RemoveTree(World::kSource + std::wstring(L"\\rule\\lists"));
  // The shortest of the command lines that come has 261 characters.
  const std::wstring destination = DestinationFor(261 - std::wstring(L"regsvr32.exe /s \"\"").size(), 14);
  const std::wstring base = destination + L"\\Orvane Labs\\";

  const Outcome outcome = world.Run(L"-I", World::kSource, destination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log,
              (Joined({InstallBegins(World::kSource, destination), FilesStaged(OutlookExpress::kStaged, base),
                       SwitchUnreadable(2), OutlookMissing(), RegistrationsRefused(base), RunEnds(0)})));
  CHECK_LINES(Sorted(outcome.registryDiff), (Sorted(SettingsWritten(ProductKey::kMissing, 0, base))));
  CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(OutlookExpress::kStaged, base)));
  CHECK(outcome.moduleDiff.empty());
}

// What is said about folders that cannot be made left out.
Lines WithoutFolderFailures(const Lines& lines) {
  Lines rest;
  for (const std::string& line : lines) {
    if (line.find("SHCreateDirectoryEx") == std::string::npos) {
      rest.push_back(line);
    }
  }
  return rest;
}

TEST_CASE("nothing is staged to a destination longer than any path, and no module registered") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const std::wstring destination = L"C:\\VelaTest\\" + std::wstring(5000, L'd');
  const std::wstring base = destination + L"\\Orvane Labs\\";

  const Outcome outcome = world.Run(L"-I", World::kSource, destination);

  CHECK(outcome.exitCode == 0);
  // Windows refuses to make such a folder, and Wine makes one of as many characters as it looks at.
  const Lines staging = WithoutFolderFailures(StagingHasNoFolders(OutlookExpress::kStaged, base));
  CHECK_LINES(WithoutFolderFailures(outcome.log),
              (Joined({InstallBegins(World::kSource, destination), staging, SwitchUnreadable(2), OutlookMissing(),
                       RegistrationsRefused(base), RunEnds(0)})));
  CHECK_LINES(Sorted(outcome.registryDiff), (Sorted(SettingsWritten(ProductKey::kMissing, 0, base))));
  CHECK(TestSupport::LinesWith(outcome.fileDiff, "VELA").empty());
}

TEST_CASE("a source longer than any path is a source with nothing in it") {
  World world;
  world.OnWindows(WindowsVersion::kVista);
  const std::wstring source = L"C:\\VelaTest\\" + std::wstring(5000, L's');

  const Outcome outcome = world.Run(L"-I", source, World::kDestination);

  CHECK_LINES(outcome.log,
              (InstallLog(source, World::kDestination, StagingHasNoSource(OutlookExpress::kStaged), kBase)));
}

}  // namespace
