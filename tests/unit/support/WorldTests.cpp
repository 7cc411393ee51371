// The scenario host itself: what it prepares is there, what it reports is true, what it leaves is nothing.
#include "tests/support/World.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <stdexcept>

#include "tests/support/Approved.h"
#include "tests/support/TestFiles.h"

using namespace TestSupport;

namespace {

TEST_CASE("a run gives its exit code, its own log lines and nothing else that changed") {
  World world;
  const Outcome first = world.RunWithArguments({});
  CHECK(first.exitCode == 0);
  CHECK_FALSE(first.timedOut);
  CHECK_LINES(first.log, {"LOG_INFO : [time] VELA END!!! RetrunCode:0"});
  CHECK(first.registryDiff.empty());
  CHECK(first.fileDiff.empty());
  CHECK(first.moduleDiff.empty());
  CHECK(first.pending.empty());

  const Outcome second = world.Run(L"-x", L"C:\\a b\\", L"C:\\dest\\");
  CHECK_LINES(second.log, {"LOG_INFO :  cmd:-x", " src:C:\\a b\\", "dest:C:\\dest\\", "LOG_INFO : Pn error.", "",
                           "LOG_INFO : [time] VELA END!!! RetrunCode:0"});
}

TEST_CASE("arguments with quotes, blanks and backslashes arrive as they are") {
  World world;
  const Outcome outcome = world.Run(L"\"-x", L"C:\\two  blanks\\\\", L"");
  CHECK_LINES(LinesWith(outcome.log, ":"), {"LOG_INFO :  cmd:\"-x", " src:C:\\two  blanks\\\\", "dest:",
                                            "LOG_INFO : Pn error.", "LOG_INFO : [time] VELA END!!! RetrunCode:0"});
}

TEST_CASE("an installation in a prepared world shows in all reports") {
  World world;
  world.OnWindows(WindowsVersion::kVista)
      .WithProductKey({{L"VELAEnable", 1}})
      .WithOutlook(L"14", L"C:\\VelaTest\\Office14\\")
      .WithUserHive(L"S-1-5-21-1-2-3-1001")
      .WithSampleSource();
  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
  CHECK(outcome.exitCode == 0);
  CHECK(outcome.log.back() == "LOG_INFO : [time] VELA END!!! RetrunCode:0");
  CHECK_LINES(LinesWith(outcome.registryDiff, "VELAInstallPath"),
              {"+HKLM\\Software\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [32] \"VELAInstallPath\" REG_SZ "
               "\"C:\\VelaTest\\dest\\Orvane Labs\\\""});
  CHECK(LinesWith(outcome.registryDiff, "HKU\\S-1-5-21-1-2-3-1001\\Software\\Microsoft\\Office").size() > 4);
  CHECK(outcome.moduleDiff.size() == 10);
  CHECK_LINES(LinesWith(outcome.moduleDiff, "oecom"),
              {"+oecom.dll C:\\VelaTest\\dest\\Orvane Labs\\VELA\\VELA_OE\\oecom.dll"});
  CHECK_LINES(LinesWith(outcome.fileDiff, "OE\\engine.ini"), {"+dest\\Orvane Labs\\VELA\\VELA_OE\\engine.ini"});

  const Outcome again = world.Run(L"-I", World::kSource, World::kDestination);
  CHECK(again.fileDiff.empty());
  CHECK(again.registryDiff.empty());
  CHECK(again.moduleDiff.empty());
}

TEST_CASE("a running client is seen, and ended with its world") {
  {
    World world;
    world.WithRunning(L"OUTLOOK.EXE").WithProductKey({{L"VELAEnable", 1}}).WithStandInRegsvr32();
    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
    CHECK(LinesWith(outcome.log, "There is a Mail Client Running.").size() == 1);
    CHECK(CountProcesses(L"outlook.exe") == 1);
  }
  CHECK(CountProcesses(L"outlook.exe") == 0);
}

TEST_CASE("a key that cannot be written, until its world ends") {
  {
    World world;
    world.WithProductKey().WithAccess(MachineKey32(World::kProductKey), kReadOnlyAccess);
    const Outcome outcome = world.WithStandInRegsvr32().Run(L"-I", World::kSource, World::kDestination);
    CHECK(outcome.exitCode == 0xE0FF0001);
    CHECK(LinesWith(outcome.registryDiff, "OrvaneLabs").empty());
  }
  World next;
  CHECK_FALSE(KeyExists(MachineKey32(World::kProductKey)));
}

TEST_CASE("a run that takes too long is ended and told") {
  World world;
  world.WithSampleSource().WithStandInRegsvr32("sleep 2900").Within(1);
  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
  CHECK(outcome.timedOut);
  CHECK(outcome.milliseconds < 6000);
  CHECK(CountProcesses(L"VELAutil.exe") == 0);
}

TEST_CASE("a folder is locked, or the world says that this program writes everywhere") {
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
    ::DeleteFileW(file.c_str());  // Wine answers that it has, where it cannot
    CHECK(Exists(file) == locked);
  }
  wchar_t rights[16] = {};
  if (::GetEnvironmentVariableW(L"VELA_TEST_RIGHTS", rights, 16) != 0) {
    CHECK(locked);
  }
  CHECK_FALSE(Exists(World::kRoot));
}

TEST_CASE("a world leaves nothing behind, in its folder and elsewhere") {
  {
    World world;
    world.OnWindows(WindowsVersion::kXp64)
        .WithProductKey({{L"VELAEnable", 0}})
        .WithUserHive(L"S-1-5-21-1-2-3-1001")
        .WithOutlook(L"12", L"C:\\VelaTest\\Office12\\", KEY_WOW64_64KEY)
        .WithKey(MachineKey64(L"Software\\Nektra\\WLMailAPi"))
        .WithFile(L"C:\\users\\velatest\\a\\b.txt", "x")
        .WithSampleSource();
    world.WithFolder(L"C:\\VelaElsewhere\\a");
    CHECK(world.Run(L"-I", World::kSource, World::kDestination).moduleDiff.size() == 10);
  }
  for (const wchar_t* const path : {World::kRoot, L"C:\\users\\velatest", L"C:\\VelaElsewhere"}) {
    CHECK_FALSE(Exists(path));
  }
  CHECK(Exists(L"C:\\users"));
  for (const auto& key : {MachineKey32(L"Software\\OrvaneLabs"), MachineKey64(L"Software\\Nektra"),
                          MachineKey32(L"Software\\Microsoft\\Office"), MachineKey64(L"Software\\Microsoft\\Office"),
                          UsersKey(L"S-1-5-21-1-2-3-1001")}) {
    CHECK_FALSE(KeyExists(key));
  }
  CHECK(World().RegisteredModules().empty());
}

TEST_CASE("the text of a run names the folders, and a blank that ends a line can be seen") {
  Outcome outcome;
  outcome.exitCode = 0xE0FF0001;
  outcome.log = {"C:\\to\\a  ", "", "\xE9"};
  outcome.fileDiff = {"+to\\a", "-C:\\to\\b"};
  CHECK_LINES(TestSupport::RunText(outcome, {{L"C:\\to", "[to]"}}),
              {"exit code: e0ff0001", "log:", "  [to]\\a\xC2\xB7\xC2\xB7", "  \xC2\xB7", "  \xC3\xA9",
               "files:", "  +C:\\VelaTest\\to\\a", "  -[to]\\b"});
}

TEST_CASE("changes tell what is missing, what came and where") {
  const Lines plain = {"a", "same", "b", "same", "c", "d", "e", "f", "g"};
  CHECK_LINES(TestSupport::Changes(plain, plain), {});
  CHECK_LINES(TestSupport::Changes(plain, {"new", "a", "same", "B", "same", "also", "c", "d", "e", "f", "g"}),
              {"+ new", "- b", "+ B", "  same [2]", "+ also"});
  CHECK_LINES(TestSupport::Changes(plain, {"a", "same", "b"}), {"- same [2]", "- [5 more]"});
}

}  // namespace
