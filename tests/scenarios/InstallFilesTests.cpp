// Staging over existing files: unchanged, newer, in use, or on a full disk.
#include <doctest/doctest.h>

#include <windows.h>

#include <optional>
#include <utility>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/FolderLink.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::FileContent;
using TestSupport::FileSnapshot;
using TestSupport::RemoveTree;

namespace {

const std::wstring kSource = World::kSource;
// The file that blocks the copy. Others follow it in its folder.
const std::wstring kFile = L"\\Orvane Labs\\VELA\\VELA_OL\\Redemption.dll";
const std::wstring kStaged = World::kDestination + kFile;

TEST_CASE("a second run with the same source logs the same and changes nothing, even if the files are in use") {
  CheckInstall("a second run", [](World& world) {
    Install(world);
    for (const std::wstring& file : FilesBelow(kProduct)) {
      world.WithOpenFile(kProduct + file, FILE_SHARE_READ);
    }
  });
}

TEST_CASE("a second run copies what changed in the source, and nothing else") {
  World world;
  Install(WithSource(world));
  const Lines second = Told(Install(world));
  world.WithFile(kSource + L"\\rule\\base.rul", "another rule").WithFile(kSource + L"\\OL\\new.txt", "new");
  CheckRun("a second run with a newer source", second, Told(Install(world)));
}

TEST_CASE("files of the destination that the source does not have stay") {
  World world;
  WithSource(world).WithFile(kProduct + L"\\VELA_OL\\own.txt", "somebody's own");
  Install(world);
  CHECK(FileContent(kProduct + L"\\VELA_OL\\own.txt") == "somebody's own");
}

// Sets old last-write times on the files of a folder tree. Each is different from all others.
void MakeOld(const std::wstring& folder) {
  for (const std::wstring& file : FilesBelow(folder)) {
    const std::wstring path = folder + file;
    const HANDLE opened = ::CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    REQUIRE(opened != INVALID_HANDLE_VALUE);
    const FILETIME longAgo = {0x12345678, 0x01C00000 + static_cast<DWORD>(path.size())};
    const BOOL written = ::SetFileTime(opened, nullptr, nullptr, &longAgo);
    ::CloseHandle(opened);
    REQUIRE(written);
  }
}

TEST_CASE("staged files have exactly the contents, times and attributes of the source") {
  World world;
  WithSource(world);
  MakeOld(kSource);
  Install(world);
  // Several trees share a client's folder, so other files there are new. No file of the tree may be missing or changed.
  for (const auto& [tree, staged] : {std::pair{L"\\Resource\\x64", L"\\Resource"},
                                     {L"\\rule", L"\\VELA_OE\\rule"},
                                     {L"\\OE64", L"\\VELA_OE"},
                                     {L"\\Common\\win64", L"\\VELA_OE"}}) {
    FileSnapshot from;
    FileSnapshot to;
    from.Add(kSource + tree);
    to.Add(kProduct + std::wstring(staged));
    CHECK_FALSE(from.AsLines().empty());
    for (const std::string& change : FileSnapshot::Changes(from, to)) {
      CHECK(change.front() == '+');
    }
  }
}

TEST_CASE("a file in use is replaced at the restart") {
  const Lines& plain = PlainInstall();
  World world;
  WithSource(world).WithFile(kStaged, "in use").WithOpenFile(kStaged, FILE_SHARE_READ);

  CheckRun("a file in use", plain, Told(Install(world)));

  CHECK(FileContent(kStaged) == "in use");
  CHECK(FileContent(kStaged + L".tmp_") == FileContent(kSource + L"\\OL\\Redemption.dll"));
}

TEST_CASE("a file that cannot be scheduled, or read, ends the copy of its folder; a settings file is a warning") {
  CheckInstall("a file in use, and its waiting copy, too", [](World& world) {
    world.WithFile(kStaged, "in use").WithOpenFile(kStaged, FILE_SHARE_READ);
    world.WithFile(kStaged + L".tmp_", "in use too").WithOpenFile(kStaged + L".tmp_", FILE_SHARE_READ);
  });
  CheckInstall("a source file that cannot be read",
               [](World& world) { world.WithOpenFile(kSource + L"\\OL\\Redemption.dll", 0); });
  CheckInstall("settings that cannot be copied", [](World& world) {
    world.WithOpenFile(kSource + L"\\Resource\\common\\VELA_OL.ini", 0);
    RemoveTree(kSource + L"\\Resource\\common\\VELA_WLM.ini");
  });
}

// A destination that the world does not watch: reading a file on a full disk never ends.
struct FullDisk {
  const std::wstring folder = L"C:\\VelaFullDisk";
  const std::wstring file = folder + kFile;

  FullDisk() {
    RemoveTree(folder);
    TestSupport::MakeFolder(file.substr(0, file.rfind(L'\\')));
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;
  ~FullDisk() { RemoveTree(folder); }
};

TEST_CASE("if the disk is full, a file is scheduled; if its waiting copy does not fit either, its folder ends") {
  const Lines& plain = PlainInstall();
  for (const bool waitingToo : {false, true}) {
    World world;
    WithSource(world);
    const FullDisk disk;
    const TestSupport::FullDiskFile file(disk.file);
    std::optional<TestSupport::FullDiskFile> waiting;
    if (waitingToo) {
      waiting.emplace(disk.file + L".tmp_");
    }
    CheckRun(waitingToo ? "a full disk, also for the waiting copy" : "a full disk", plain,
             Told(world.Run(L"-I", World::kSource, disk.folder), disk.folder));
  }
}

}  // namespace
