// The scenario host itself: what it prepares exists, what it reports is true, and it leaves nothing behind.
#include "tests/support/World.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <stdexcept>

#include "tests/support/Approved.h"
#include "tests/support/TestFiles.h"

using namespace TestSupport;

namespace {

TEST_CASE("a run that takes too long is ended and reported as timed out") {
  World world;
  world.WithSampleSource().WithStandInRegsvr32("sleep 2900").Within(1);
  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
  CHECK(outcome.timedOut);
  CHECK(outcome.milliseconds < 6000);
  CHECK(CountProcesses(L"VELAutil.exe") == 0);
}

TEST_CASE("a folder is locked, or the world reports that this program can write everywhere") {
  const std::wstring file = World::kRoot + std::wstring(L"\\locked\\folder\\file");
  bool locked = true;
  {
    World world;
    world.WithFile(file, "text");
    try {
      world.WithLocked(World::kRoot + std::wstring(L"\\locked"));
    } catch (const std::runtime_error&) {
      locked = false;
    }
    for (const DWORD access : {DWORD{GENERIC_READ}, DWORD{GENERIC_WRITE}}) {
      const HANDLE opened = ::CreateFileW(file.c_str(), access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
      CHECK((opened != INVALID_HANDLE_VALUE) == (access == GENERIC_READ || !locked));
      if (opened != INVALID_HANDLE_VALUE) {
        ::CloseHandle(opened);
      }
    }
    CHECK((::GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY) == 0);
    ::DeleteFileW(file.c_str());  // Wine reports success, also if it cannot do this
    CHECK(Exists(file) == locked);
  }
  wchar_t rights[16] = {};
  if (::GetEnvironmentVariableW(L"VELA_TEST_RIGHTS", rights, 16) != 0) {
    CHECK(locked);
  }
  CHECK_FALSE(Exists(World::kRoot));
}

TEST_CASE("a world leaves nothing behind, in its folder and elsewhere") {
  const KeyPlace closed = MachineKey64(L"Software\\VelaClosed");
  {
    World world;
    world.OnWindows(WindowsVersion::kXp64)
        .WithProductKey({{L"VELAEnable", 0}})
        .WithUserHive(L"S-1-5-21-1-2-3-1001")
        .WithOutlook(L"12", L"C:\\VelaTest\\Office12\\", KEY_WOW64_64KEY)
        .WithKey(MachineKey64(L"Software\\Nektra\\WLMailAPi"))
        .WithKey(closed)
        .WithAccess(closed, kReadOnlyAccess)
        .WithRunning(L"OUTLOOK.EXE")
        .WithFile(L"C:\\users\\velatest\\a\\b.txt", "x")
        .WithFolder(L"C:\\VelaElsewhere\\a")
        .WithSampleSource();
    CHECK(world.Run(L"-I", World::kSource, World::kDestination).moduleDiff.size() == TestSupport::AllModules());
    CHECK(CountProcesses(L"outlook.exe") == 1);
  }
  CHECK(CountProcesses(L"outlook.exe") == 0);
  for (const wchar_t* const path : {World::kRoot, L"C:\\users\\velatest", L"C:\\VelaElsewhere"}) {
    CHECK_FALSE(Exists(path));
  }
  CHECK(Exists(L"C:\\users"));
  MakeKey(closed);  // may be written again
  RemoveKey(closed);
  for (const auto& key : {MachineKey32(L"Software\\OrvaneLabs"), MachineKey64(L"Software\\Nektra"),
                          MachineKey32(L"Software\\Microsoft\\Office"), MachineKey64(L"Software\\Microsoft\\Office"),
                          UsersKey(L"S-1-5-21-1-2-3-1001")}) {
    CHECK_FALSE(KeyExists(key));
  }
  CHECK(World().RegisteredModules().empty());
}

TEST_CASE("the text of a run shows names for folders, and marks blanks at the end of a line") {
  Outcome outcome;
  outcome.exitCode = 0xE0FF0001;
  outcome.log = {"C:\\to\\a  ", "", "\xE9"};
  outcome.fileDiff = {"+to\\a", "-C:\\to\\b"};
  CHECK_LINES(TestSupport::RunText(outcome, {{L"C:\\to", "[to]"}}),
              {"exit code: e0ff0001", "log:", "  [to]\\a\xC2\xB7\xC2\xB7", "  \xC2\xB7", "  \xC3\xA9",
               "files:", "  +C:\\VelaTest\\to\\a", "  -[to]\\b"});
}

TEST_CASE("changes show which lines are missing, which are new, and where") {
  const Lines plain = {"a", "same", "b", "same", "c", "d", "e", "f", "g"};
  CHECK_LINES(TestSupport::Changes(plain, plain), {});
  CHECK_LINES(TestSupport::Changes(plain, {"new", "a", "same", "B", "same", "also", "c", "d", "e", "f", "g"}),
              {"+ new", "- b", "+ B", "  same [2]", "+ also"});
  CHECK_LINES(TestSupport::Changes(plain, {"a", "same", "b"}), {"- same [2]", "- [5 more]"});
}

}  // namespace
