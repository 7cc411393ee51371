// A fresh installation on each Windows that the program knows.
#include <doctest/doctest.h>

#include <windows.h>

#include <utility>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"
#include "tests/scenarios/WindowsSystems.h"
#include "tests/support/FileSnapshot.h"

using namespace Expected;
using TestSupport::FileSnapshot;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

TEST_CASE("a fresh installation stages, registers and records everything") {
  for (const WindowsSystem& system : kEverySystem) {
    CAPTURE(system.name);
    World world;
    world.OnWindows(system.version).WithSampleSource().WithUserHive(L"S-1-5-21-1-2-3-1001");

    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

    CHECK(outcome.exitCode == 0);
    CHECK_FALSE(outcome.timedOut);
    CHECK_LINES(outcome.log, (Joined({InstallBegins(), FilesStaged(system.outlookExpress), SwitchUnreadable(2),
                                      OutlookMissing(), ClientsRegistered(), RunEnds(0)})));
    CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFreshInstall()));
    CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(system.outlookExpress)));
    CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesRegistered(system.outlookExpress)));
    CHECK(outcome.pending.empty());
  }
}

// Writes last-write times of long ago into the files of a folder tree, so that they differ from all others.
void MakeOld(const std::wstring& folder) {
  for (const std::wstring& file : FilesInCopyOrder(folder)) {
    const std::wstring path = folder + file;
    const HANDLE opened = ::CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    REQUIRE(opened != INVALID_HANDLE_VALUE);
    const FILETIME longAgo = {0x12345678, 0x01C00000 + static_cast<DWORD>(path.size())};
    const BOOL written = ::SetFileTime(opened, nullptr, nullptr, &longAgo);
    ::CloseHandle(opened);
    REQUIRE(written);
  }
}

TEST_CASE("staged files are the source's to the byte, the second and the attribute") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  MakeOld(World::kSource);
  world.Run(L"-I", World::kSource, World::kDestination);

  for (const auto& [from, to] :
       {std::pair{L"\\Resource\\x64", L"VELA\\Resource"}, {L"\\rule", L"VELA\\VELA_OE\\rule"}}) {
    FileSnapshot source;
    FileSnapshot staged;
    source.Add(World::kSource + std::wstring(from));
    staged.Add(kBase + std::wstring(to));
    CHECK_LINES(FileSnapshot::Changes(source, staged), {});
    CHECK_FALSE(staged.AsLines().empty());
  }
  // Several trees share a client's folder; each file of theirs must be there as it is in its own tree.
  FileSnapshot client;
  client.Add(kBase + std::wstring(L"VELA\\VELA_OE"));
  for (const wchar_t* const tree : {L"\\OE64", L"\\Common\\win64"}) {
    FileSnapshot source;
    source.Add(World::kSource + std::wstring(tree));
    CHECK_FALSE(source.AsLines().empty());
    for (const std::string& change : FileSnapshot::Changes(source, client)) {
      CHECK(change.front() == '+');
    }
  }
}

TEST_CASE("an installation over a loaded hive of another user gives that user the add-in") {
  World world;
  world.WithSampleSource().WithUserHive(L"S-1-5-21-1-2-3-1001").WithUserHive(L"S-1-5-21-1-2-3-1001_Classes");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  // The key of Microsoft, three above the add-in's own, that key, and its four values.
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfFreshInstall()));
  CHECK(TestSupport::LinesWith(outcome.registryDiff, "HKU\\S-1-5-21-1-2-3-1001_Classes\\").size() == 9);
}

}  // namespace
