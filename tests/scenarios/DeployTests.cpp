// The command files of deploy/: the whole way from an empty machine to a removal that leaves nothing, and what they
// notice on the way. Their folders have names that a command interpreter could misread.
//
// Not run here, because Wine cannot: the task at log-on and icacls. A 32-bit command interpreter is simulated. Folders
// with percent signs are not tried: Wine 8 expands them again and again.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/FolderLink.h"
#include "tests/support/LogFile.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestRegistry.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::FileContent;
using TestSupport::FixturePath;
using TestSupport::KeyExists;
using TestSupport::LogFilePath;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::TestProcess;
using TestSupport::ToUtf8;

namespace {

constexpr DWORD kDone = 0;
constexpr DWORD kFailed = 1;
constexpr DWORD kRestart = 3010;

const std::wstring kOddSource = L"C:\\VelaTest\\so&u (1)^! r;c,e=";
const std::wstring kOddRoot = L"C:\\VelaTest\\it's & (x86)^! ro;o,t=";
const std::wstring kSaid = L"C:\\VelaTest\\said.txt";
const std::wstring kLogFolder = L"C:\\windows\\Temp\\QRTX_Debug";

// The release on a share.
class Share {
 public:
  explicit Share(World& world, const std::wstring& folder = L"C:\\VelaTest\\R&D (x86) ^up!") : folder_(folder) {
    for (const wchar_t* const program : {L"\\VELAutil.exe", L"\\VELAlog.exe"}) {
      TestSupport::CopyTestFile(TestSupport::BuildFolder() + program, folder_ + program);
    }
    TestSupport::CopyTree(FixturePath(L"deploy"), folder_ + L"\\deploy");
    world.WithFolder(folder_);
    PlaceFileCompare();
    TestSupport::KeepLog();
    TestSupport::RemoveTree(kLogFolder);
  }

  const std::wstring& Folder() const { return folder_; }

  // Runs a command file. `arguments` are written as in a script. Keeps what it says.
  DWORD Run(const std::wstring& name, const std::wstring& arguments) { return RunFrom(folder_, name, arguments); }
  DWORD RunFrom(const std::wstring& release, const std::wstring& name, const std::wstring& arguments) {
    const std::wstring line =
        first_ + L"@\"" + release + L"\\deploy\\" + name + L".cmd\" " + arguments + L" >" + kSaid + L" 2>&1\r\n";
    TestSupport::WriteTestFile(kCaller, std::string(line.begin(), line.end()));
    const auto ended = TestProcess(kCaller, {}).Finish(kLimit);
    CHECK_FALSE(ended.timedOut);
    return ended.exitCode;
  }
  // The next runs have this environment variable. (Wine's loader removes some that a parent process has set.)
  void Set(const std::wstring& variable, const std::wstring& value) {
    first_ += L"@set " + variable + L"=" + value + L"\r\n";
  }
  // Starts it directly, as a tool does.
  DWORD Start(const std::wstring& name, const std::vector<std::wstring>& arguments) {
    return TestProcess(folder_ + L"\\deploy\\" + name + L".cmd", arguments).Finish(kLimit).exitCode;
  }

  static bool Said(const std::string& text) {
    const std::string said = FileContent(kSaid);
    const bool found = said.find(text) != std::string::npos;
    CHECK_MESSAGE(found, "said instead of \"", text, "\":\n", said);
    return found;
  }

 private:
  static constexpr wchar_t kCaller[] = L"C:\\VelaTest\\caller.cmd";
  static constexpr DWORD kLimit = 120000;

  // Wine's own fc.exe compares nothing.
  static void PlaceFileCompare() {
    TestSupport::CopyTestFile(FixturePath(L"StandInFc.exe"), L"C:\\windows\\system32\\fc.exe");
    TestSupport::MakeKey({HKEY_CURRENT_USER, L"Software\\Wine\\DllOverrides", KEY_WOW64_64KEY},
                         {{L"fc.exe", L"native"}});
  }

  std::wstring folder_;
  std::wstring first_;
};

std::wstring Quoted(const std::wstring& path) {
  return L"\"" + path + L"\"";
}

// An ordinary machine, and the sample source with an odd name.
World& Prepare(World& world, WindowsVersion version = WindowsVersion::kWindows10) {
  world.OnWindows(version).WithSampleSource().WithKey(MachineKey64(World::kCoreAgentKey));
  TestSupport::CopyTree(World::kSource, kOddSource);
  return world;
}

const std::wstring kBoth = Quoted(kOddSource) + L" " + Quoted(kOddRoot);

TEST_CASE("installed, switched on, upgraded and removed, by folders with odd names") {
  for (const WindowsVersion version : {WindowsVersion::kVista, WindowsVersion::kWindows10}) {
    World world;
    Prepare(world, version);
    Share share(world);
    const std::wstring product = kOddRoot + L"\\Orvane Labs\\VELA";
    const std::wstring copies = kOddRoot + L"\\VELA setup";

    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("VELA: not installed in \"C:\\VelaTest\\it's & (x86)^! ro;o,t=\\Orvane Labs\"."));
    // A backslash before the quotation mark.
    CHECK(share.Run(L"install", Quoted(kOddSource + L"\\") + L" " + Quoted(kOddRoot + L"\\")) == kDone);
    CHECK(FilesBelow(copies + L"\\source") == FilesBelow(kOddSource));
    CHECK(world.RegisteredModules().size() == (version == WindowsVersion::kVista ? 10 : 6));
    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kDone);
    // The copies know their install root.
    CHECK(share.RunFrom(copies, L"detect", L"") == kDone);
    CHECK(Share::Said("VELA: installed in "));

    CHECK(share.RunFrom(copies, L"enable", L"/logon") == kDone);
    for (const Client& client : Clients()) {
      if (client.hasMonitor && world.Handles(client)) {
        const std::wstring monitor = product + L"\\" + client.FolderName() + L"\\" + client.MonitorName();
        CHECK_FALSE(Exists(monitor.substr(0, monitor.rfind(L'.')) + L".trace"));
      }
    }
    CHECK(share.RunFrom(copies, L"enable", L"") == kDone);
    world.EndMonitors(product);

    TestSupport::WriteTestFile(kOddSource + L"\\rule\\base.rul", "newer rules");
    CHECK(share.Run(L"upgrade", kBoth) == kDone);
    CHECK(FileContent(product + L"\\VELA_OL\\rule\\base.rul") == "newer rules");

    CHECK(share.RunFrom(copies, L"uninstall", L"") == kDone);
    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
    CHECK(KeyExists(MachineKey32(World::kProductKey)));
    CHECK(Exists(LogFilePath()));
    TestSupport::KeepLog();
    CHECK(share.Run(L"uninstall", Quoted(kOddRoot) + L" /all") == kDone);
    CHECK_FALSE(KeyExists(MachineKey32(World::kProductKey)));
    CHECK_FALSE(Exists(kOddRoot));
    CHECK_FALSE(Exists(kLogFolder));
    CHECK_FALSE(Exists(kCommonBase));
  }
}

TEST_CASE("a root whose name the program does not accept: the other folder is found") {
  World world;
  Prepare(world);
  Share share(world);
  const std::wstring root = L"C:\\VelaTest\\Caf\u00e9";
  CHECK(share.Start(L"install", {kOddSource, root}) == kDone);
  CHECK(Exists(kCommonBase + L"VELA\\VELA_OL\\VELA_OLA.dll"));
  CHECK(share.Start(L"detect", {root + L"\\"}) == kDone);
  CHECK(share.Start(L"enable", {root, L"/logon"}) == kDone);
  CHECK(share.Start(L"uninstall", {root}) == kDone);
  CHECK_FALSE(Exists(kCommonBase + L"VELA"));
}

TEST_CASE("nothing is run with a source that lacks a file, or with a torn copy") {
  World world;
  Prepare(world);
  Share share(world);
  SUBCASE("a module is missing") {
    TestSupport::RemoveTree(kOddSource + L"\\WLM\\VELA_WLMA.dll");
    CHECK(share.Run(L"install", kBoth) == kFailed);
    CHECK(Share::Said("is no complete source, or cannot be read. Missing: WLM\\VELA_WLMA.dll"));
  }
  SUBCASE("the source is not there") {
    CHECK(share.Run(L"install", L"C:\\VelaTest\\none " + Quoted(kOddRoot)) == kFailed);
  }
  SUBCASE("a file of the copy differs") {
    world.WithFile(L"C:\\VelaTest\\fc.txt", "blocked.lst");
    CHECK(share.Run(L"install", kBoth) == kFailed);
    CHECK(Share::Said("is not the same as its source"));
  }
  SUBCASE("a file of the source cannot be read") {
    const TestSupport::HeldFile held(kOddSource + L"\\rule\\lists\\blocked.lst");
    CHECK(share.Run(L"install", kBoth) == kFailed);
  }
  SUBCASE("the program's own copy differs") {
    world.WithFile(L"C:\\VelaTest\\fc.txt", "VELAlog.exe");
    CHECK(share.Run(L"install", kBoth) == kFailed);
  }
  CHECK_FALSE(Exists(LogFilePath()));
  CHECK_FALSE(Exists(kOddRoot + L"\\Orvane Labs"));
}

TEST_CASE("a torn upgrade keeps the last source") {
  World world;
  Prepare(world);
  Share share(world);
  REQUIRE(share.Run(L"install", kBoth) == kDone);
  TestSupport::WriteTestFile(kOddSource + L"\\rule\\base.rul", "newer rules");
  world.WithFile(L"C:\\VelaTest\\fc.txt", "blocked.lst");
  CHECK(share.Run(L"upgrade", kBoth) == kFailed);
  CHECK(FileContent(kOddRoot + L"\\VELA setup\\source\\rule\\base.rul") != "newer rules");
  CHECK(FileContent(kOddRoot + L"\\Orvane Labs\\VELA\\VELA_OL\\rule\\base.rul") != "newer rules");
}

TEST_CASE("a failure that the program cannot see, and failures that its log shows") {
  World world;
  Prepare(world);
  Share share(world);
  SUBCASE("a module that is none: regsvr32.exe was started, and failed") {
    TestSupport::WriteTestFile(kOddSource + L"\\OL\\Redemption.dll", "no module");
    CHECK(share.Run(L"install", kBoth) == kFailed);
    CHECK(Share::Said("VELA: VELA_OL\\Redemption.dll is not registered: regsvr32.exe ended with 3."));
    // Mended.
    TestSupport::CopyTestFile(std::wstring(World::kSource) + L"\\OL\\Redemption.dll",
                              kOddSource + L"\\OL\\Redemption.dll");
    CHECK(share.Run(L"install", kBoth) == kDone);
  }
  SUBCASE("regsvr32.exe cannot be started") {
    world.WithoutRegsvr32();
    CHECK(share.Run(L"install", kBoth) == kFailed);
  }
  SUBCASE("the program cannot be started: the verdict is not that of an older run") {
    REQUIRE(share.Run(L"install", kBoth) == kDone);
    TestSupport::WriteTestFile(share.Folder() + L"\\VELAutil.exe", "no program");
    CHECK(share.Run(L"upgrade", kBoth) == kFailed);
    CHECK(Share::Said("could not be started, or could not write"));
  }
  SUBCASE("a mail client runs: filtering was on, and is off now") {
    REQUIRE(share.Run(L"install", kBoth) == kDone);
    REQUIRE(share.Run(L"enable", Quoted(kOddRoot) + L" /logon") == kDone);
    world.WithRunning(L"OUTLOOK.EXE");
    CHECK(share.Run(L"install", kBoth) == kFailed);
  }
  SUBCASE("the start-up values cannot be written") {
    REQUIRE(share.Run(L"install", kBoth) == kDone);
    world.WithAccess(MachineKey64(kRunKey), TestSupport::kReadOnlyAccess);
    CHECK(share.Run(L"enable", Quoted(kOddRoot) + L" /logon") == kFailed);
    CHECK(Share::Said("VELA: the start-up value WLM is wrong."));
  }
}

TEST_CASE("files in use: replaced and deleted at the restart") {
  World world;
  Prepare(world);
  Share share(world);
  REQUIRE(share.Run(L"install", kBoth) == kDone);
  const std::wstring rules = kOddRoot + L"\\Orvane Labs\\VELA\\VELA_OL\\rule\\base.rul";
  TestSupport::WriteTestFile(kOddSource + L"\\rule\\base.rul", "newer rules");
  {
    const TestSupport::HeldFile held(rules, FILE_SHARE_READ);
    CHECK(share.Run(L"upgrade", kBoth) == kRestart);
    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kRestart);
    CHECK(Share::Said("Files wait for the restart."));
  }
  world.CarryOutPendingRenames();
  CHECK(FileContent(rules) == "newer rules");
  CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kDone);
  {
    const TestSupport::HeldFile held(rules, FILE_SHARE_READ);
    CHECK(share.Run(L"uninstall", Quoted(kOddRoot) + L" /all") == kRestart);
    CHECK(Share::Said("is in use. It is deleted at the restart."));
    CHECK(Share::Said("/all does nothing yet"));
    CHECK(share.Run(L"install", kBoth) == kFailed);
    CHECK(Share::Said("an uninstallation waits for the restart"));
  }
  world.CarryOutPendingRenames();
  CHECK(share.Run(L"uninstall", Quoted(kOddRoot) + L" /all") == kDone);
  CHECK_FALSE(Exists(kOddRoot));
}

TEST_CASE("installed in part: what is missing is named") {
  World world;
  Prepare(world);
  Share share(world);
  REQUIRE(share.Run(L"install", kBoth) == kDone);
  SUBCASE("a file") {
    TestSupport::RemoveTree(kOddRoot + L"\\Orvane Labs\\VELA\\VELA_WLM\\VELA_WLMMon.exe");
    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("Missing: VELA_WLM\\VELA_WLMMon.exe"));
  }
  SUBCASE("a value") {
    TestSupport::RemoveValue(MachineKey64(L"Software\\Nektra\\WLMailAPi\\Plugins"), L"WLMAilApiCppDllClient");
    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("WLMAilApiCppDllClient"));
  }
  SUBCASE("all files") {
    TestSupport::RemoveTree(kOddRoot + L"\\Orvane Labs");
    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("installed in part"));
    CHECK(share.Run(L"enable", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("not installed in"));
  }
}

TEST_CASE("a log that is long is put aside; a link in the place of its folder is refused") {
  World world;
  Prepare(world);
  Share share(world);
  REQUIRE(share.Run(L"install", kBoth) == kDone);
  SUBCASE("long") {
    TestSupport::KeepLog();
    const std::string old(1100000, '\n');
    TestSupport::WriteTestFile(LogFilePath(), old);
    CHECK(share.Run(L"upgrade", kBoth) == kDone);
    CHECK(FileContent(kLogFolder + L"\\vela.old.log") == old);
    CHECK(TestSupport::LogFileSize() < 100000);
  }
  SUBCASE("a link") {
    TestSupport::KeepLog();
    TestSupport::RemoveTree(kLogFolder);
    world.WithFolder(L"C:\\VelaTest\\elsewhere");
    const TestSupport::FolderLink link(kLogFolder, L"C:\\VelaTest\\elsewhere");
    CHECK(share.Run(L"upgrade", kBoth) == kFailed);
    CHECK(Share::Said("is a link"));
    CHECK(FilesBelow(L"C:\\VelaTest\\elsewhere").empty());
  }
}

TEST_CASE("wrong arguments do nothing and are explained") {
  World world;
  Prepare(world);
  Share share(world);
  for (const wchar_t* const arguments : {L"", L"C:\\VelaTest\\source", L"a b c", L"a b /none"}) {
    CAPTURE(ToUtf8(arguments));
    CHECK(share.Run(L"install", arguments) == kFailed);
    CHECK(Share::Said("VELA: wrong arguments."));
  }
  CHECK(share.Run(L"uninstall", L"a b") == kFailed);
  CHECK(share.Run(L"detect", L"") == kFailed);
  CHECK_FALSE(Exists(LogFilePath()));
}

TEST_CASE("a 32-bit command interpreter starts the 64-bit one") {
  World world;
  Prepare(world);
  Share share(world);
  share.Set(L"PROCESSOR_ARCHITEW6432", L"AMD64");
  CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
  CHECK(Share::Said("started by a 32-bit program"));
  world.WithFolder(L"C:\\windows\\Sysnative");
  TestSupport::CopyTestFile(L"C:\\windows\\system32\\cmd.exe", L"C:\\windows\\Sysnative\\cmd.exe");
  CHECK(share.Run(L"install", kBoth) == kDone);
  CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kDone);
}

}  // namespace
