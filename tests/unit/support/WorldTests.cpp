// The scenario host itself: what it prepares is there, what it reports is true, what it leaves is nothing.
#include "tests/support/World.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <stdexcept>

#include "tests/support/TestFiles.h"

using TestSupport::Lines;
using TestSupport::LinesWith;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::Outcome;
using TestSupport::UsersKey;
using TestSupport::WindowsVersion;
using TestSupport::World;

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

TEST_CASE("the Windows version is what was asked for, and only for this world") {
  // The files of Outlook Express are staged on Vista and left out on Windows 7.
  constexpr struct {
    WindowsVersion version;
    bool staged;
  } kRows[] = {{WindowsVersion::kXp64, true},
               {WindowsVersion::kVista, true},
               {WindowsVersion::kWindows7, false},
               {WindowsVersion::kWindows10, false}};
  for (const auto& row : kRows) {
    CAPTURE(static_cast<int>(row.version));
    World world;
    const Outcome outcome = world.OnWindows(row.version)
                                .WithSampleSource()
                                .WithStandInRegsvr32()
                                .Run(L"-I", World::kSource, World::kDestination);
    CHECK(LinesWith(outcome.fileDiff, "VELA_OE\\oecom.dll").empty() == !row.staged);
  }
}

TEST_CASE("a running client is seen, and ended with its world") {
  {
    World world;
    world.WithRunning(L"OUTLOOK.EXE").WithProductKey({{L"VELAEnable", 1}}).WithStandInRegsvr32();
    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
    CHECK(LinesWith(outcome.log, "There is a Mail Client Running.").size() == 1);
    CHECK(TestSupport::CountProcesses(L"outlook.exe") == 1);
  }
  CHECK(TestSupport::CountProcesses(L"outlook.exe") == 0);
}

TEST_CASE("regsvr32.exe in three forms") {
  World world;
  world.WithSampleSource();
  SUBCASE("a stand-in that notes its calls") {
    world.WithStandInRegsvr32("exit 3").InFolder(L"C:\\windows");
    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
    CHECK(LinesWith(outcome.log, "execute result: 1").size() == 10);
    CHECK(world.RegistrationCalls().size() == 10);
    CHECK(world.RegistrationFolders() == Lines(10, "C:\\windows"));
    CHECK(world.RegistrationCalls()[0] ==
          "regsvr32.exe /s \"C:\\VelaTest\\dest\\Orvane Labs\\VELA\\VELA_OL\\Redemption.dll\"");
    CHECK(LinesWith(outcome.fileDiff, "regsvr32").empty());
  }
  SUBCASE("one that cannot be started") {
    const Outcome outcome = world.WithBrokenRegsvr32().Run(L"-I", World::kSource, World::kDestination);
    CHECK(LinesWith(outcome.log, "execute result: 1").empty());
    CHECK(LinesWith(outcome.log, "execute result: 0").size() == 6);
  }
  SUBCASE("none at all") {
    const Outcome outcome = world.WithoutRegsvr32().Run(L"-I", World::kSource, World::kDestination);
    CHECK(LinesWith(outcome.log, "execute result: 1").empty());
    CHECK(LinesWith(outcome.log, "execute result: 0").size() == 6);
    CHECK_FALSE(TestSupport::Exists(L"C:\\windows\\system32\\regsvr32.exe"));
  }
}

TEST_CASE("a key that cannot be written, until its world ends") {
  {
    World world;
    world.WithProductKey().WithAccess(MachineKey32(World::kProductKey), TestSupport::kReadOnlyAccess);
    const Outcome outcome = world.WithStandInRegsvr32().Run(L"-I", World::kSource, World::kDestination);
    CHECK(outcome.exitCode == 0xE0FF0001);
    CHECK(LinesWith(outcome.registryDiff, "OrvaneLabs").empty());
  }
  World next;
  CHECK_FALSE(TestSupport::KeyExists(MachineKey32(World::kProductKey)));
}

TEST_CASE("a file in use is replaced at the restart") {
  World world;
  world.WithSampleSource().WithFile(L"C:\\VelaTest\\dest\\Orvane Labs\\VELA\\VELA_OL\\engine.ini", "old");
  world.WithStandInRegsvr32().WithOpenFile(L"C:\\VelaTest\\dest\\Orvane Labs\\VELA\\VELA_OL\\engine.ini",
                                           FILE_SHARE_READ);
  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
  CHECK(outcome.pending.size() == 1);
  CHECK(LinesWith(outcome.pending, "engine.ini").size() == 1);
  CHECK(LinesWith(outcome.fileDiff, "~dest\\Orvane Labs\\VELA\\VELA_OL\\engine.ini").empty());
}

TEST_CASE("a file in use is the new one after the restart") {
  const std::wstring file = L"C:\\VelaTest\\dest\\Orvane Labs\\VELA\\VELA_OL\\engine.ini";
  World world;
  world.WithSampleSource().WithFile(file, "old");
  {
    const HANDLE holder =
        ::CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    CHECK(world.Run(L"-p", World::kSource, World::kDestination).pending.size() == 1);
    ::CloseHandle(holder);
  }
  CHECK(TestSupport::FileContent(file) == "old");
  world.CarryOutPendingRenames();
  CHECK(TestSupport::FileContent(file) == TestSupport::FileContent(L"C:\\VelaTest\\source\\Common\\win32\\engine.ini"));
  CHECK(TestSupport::PendingRenames().empty());
}

TEST_CASE("events of the plug-ins, and names that are taken") {
  World world;
  world.WithRunning(L"OUTLOOK.EXE").WithRunning(L"wlmail.exe");
  world.WithEvent(L"Global\\VELA_UPDATE_EVENT_OL").WithTakenName(L"Global\\VELA_UPDATE_EVENT_WLM");
  CHECK_FALSE(world.EventIsSet(L"Global\\VELA_UPDATE_EVENT_OL"));
  const Outcome outcome = world.Run(L"-r", L"", L"");
  CHECK(world.EventIsSet(L"Global\\VELA_UPDATE_EVENT_OL"));
  CHECK(LinesWith(outcome.log, "OL has been notified.").size() == 1);
  CHECK(LinesWith(outcome.log, "ErrCode:6").size() == 1);
  CHECK_THROWS_WITH(World().EventIsSet(L"Global\\VELA_UPDATE_EVENT_OE"), "no event Global\\VELA_UPDATE_EVENT_OE");
}

TEST_CASE("files outside of its folder are removed with a world") {
  {
    World world;
    world.WithFile(L"C:\\users\\velatest\\a\\b.txt", "x").WithFile(L"C:\\users\\velatest\\a\\c.txt");
    world.WithFolder(L"C:\\VelaElsewhere\\a");
    CHECK(TestSupport::Exists(L"C:\\users\\velatest\\a\\c.txt"));
    CHECK(TestSupport::Exists(L"C:\\VelaElsewhere\\a"));
  }
  CHECK_FALSE(TestSupport::Exists(L"C:\\users\\velatest"));
  CHECK_FALSE(TestSupport::Exists(L"C:\\VelaElsewhere"));
  CHECK(TestSupport::Exists(L"C:\\users"));
}

TEST_CASE("a monitor that the program starts tells how") {
  World world;
  world.WithProductKey().WithSampleSource().WithStandInRegsvr32().OnWindows(WindowsVersion::kVista);
  CHECK(world.Run(L"-I", World::kSource, World::kDestination).exitCode == 0);
  const std::wstring base = std::wstring(World::kDestination) + L"\\Orvane Labs";
  const Outcome outcome = world.Run(L"-e", World::kSource, base);
  CHECK(outcome.exitCode == 0);
  const std::string monitor = "C:\\VelaTest\\dest\\Orvane Labs\\VELA\\VELA_WLM\\VELA_WLMMon.exe";
  const Lines start = world.MonitorStart(base + L"\\VELA\\VELA_WLM\\VELA_WLMMon.exe");
  CHECK(start[1] == monitor);
  CHECK(start[2] == "1");
  CHECK(LinesWith(outcome.fileDiff, "trace").empty());
}

TEST_CASE("a run that takes too long is ended and told") {
  World world;
  world.WithSampleSource().WithStandInRegsvr32("sleep 2900").Within(1);
  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
  CHECK(outcome.timedOut);
  CHECK(outcome.milliseconds < 6000);
  CHECK(TestSupport::CountProcesses(L"VELAutil.exe") == 0);
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
    CHECK(TestSupport::Exists(file) == locked);
  }
  wchar_t rights[16] = {};
  if (::GetEnvironmentVariableW(L"VELA_TEST_RIGHTS", rights, 16) != 0) {
    CHECK(locked);
  }
  CHECK_FALSE(TestSupport::Exists(World::kRoot));
}

TEST_CASE("a world leaves nothing behind") {
  {
    World world;
    world.OnWindows(WindowsVersion::kXp64)
        .WithProductKey({{L"VELAEnable", 0}})
        .WithUserHive(L"S-1-5-21-1-2-3-1001")
        .WithOutlook(L"12", L"C:\\VelaTest\\Office12\\", KEY_WOW64_64KEY)
        .WithKey(MachineKey64(L"Software\\Nektra\\WLMailAPi"))
        .WithSampleSource();
    CHECK(world.Run(L"-I", World::kSource, World::kDestination).moduleDiff.size() == 10);
  }
  CHECK_FALSE(TestSupport::Exists(World::kRoot));
  CHECK_FALSE(TestSupport::KeyExists(MachineKey32(L"Software\\OrvaneLabs")));
  CHECK_FALSE(TestSupport::KeyExists(MachineKey64(L"Software\\Nektra")));
  CHECK_FALSE(TestSupport::KeyExists(MachineKey32(L"Software\\Microsoft\\Office")));
  CHECK_FALSE(TestSupport::KeyExists(MachineKey64(L"Software\\Microsoft\\Office")));
  CHECK_FALSE(TestSupport::KeyExists(UsersKey(L"S-1-5-21-1-2-3-1001")));
  CHECK(World().RegisteredModules().empty());
}

}  // namespace
