// The command files of deploy/: the whole way from an empty machine to a removal that leaves nothing, and what they
// notice on the way. Their folders have names that a command interpreter could misread.
//
// Not run here, because Wine cannot: the task at log-on, icacls and find /i. A 32-bit command interpreter is simulated.
// Folders with percent signs are not tried: Wine 8 expands them again and again. Its command interpreter keeps the file
// open that it executes, so uninstall.cmd /all cannot delete the folder that it was started from. Wine 10's one can.
#include <doctest/doctest.h>

#include <windows.h>

#include "tests/scenarios/DeployShare.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/ScratchFolder.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::FileContent;
using TestSupport::KeyExists;
using TestSupport::LogFilePath;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::ToUtf8;

namespace {

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
    CHECK(FilesBelow(copies + L"\\deploy") == FilesBelow(share.Folder() + L"\\deploy"));
    std::size_t modules = 0;
    for (const Client& client : Clients()) {
      modules += world.Handles(client) ? client.modules.size() : 0;
    }
    CHECK(world.RegisteredModules().size() == modules);
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
    CHECK(share.RunFrom(copies, L"uninstall", L"") == kDone);
    CHECK(Share::Said("nothing to uninstall."));
    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
    CHECK(KeyExists(MachineKey32(World::kProductKey)));
    CHECK(Exists(LogFilePath()));
    TestSupport::KeepLog();
    // From the copies. Wine 8's rmdir stops at the folder that it cannot delete. Wine 10's interpreter can delete it.
    if (version == WindowsVersion::kVista) {
      Share::PlaceSysnative(world);
      share.StartFrom32Bit();
    }
    const DWORD code = share.RunFrom(copies, L"uninstall", L"/all");
    CHECK(code == (Exists(copies) ? kFailed : kDone));
    CHECK((code == kDone || Share::Said("\\VELA setup\" could not be deleted.")));
    CHECK_FALSE(Exists(copies + L"\\deploy\\common.cmd"));
    CHECK_FALSE(KeyExists(MachineKey32(World::kProductKey)));
    CHECK_FALSE(Exists(kLogFolder));
    CHECK_FALSE(Exists(kCommonBase));
    CHECK(share.Run(L"uninstall", Quoted(kOddRoot) + L" /all") == kDone);
    CHECK_FALSE(Exists(kOddRoot));
    CHECK_FALSE(Exists(kLogFolder));
  }
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
  SUBCASE("the files of every client are missing; each is named") {
    for (const Client& client : Clients()) {
      const std::wstring folder = client.shortName + std::wstring(client.has64BitFiles ? L"64" : L"");
      for (const std::wstring& file : NecessaryFiles(client)) {
        TestSupport::RemoveTree(kOddSource + L"\\" + folder + L"\\" + file);
      }
      TestSupport::RemoveTree(kOddSource + L"\\Resource\\common\\" + client.IniName());
    }
    CHECK(share.Run(L"install", kBoth) == kFailed);
    for (const Client& client : Clients()) {
      const std::wstring folder = client.shortName + std::wstring(client.has64BitFiles ? L"64" : L"");
      for (const std::wstring& file : NecessaryFiles(client)) {
        CHECK(Share::Said(" " + ToUtf8(folder + L"\\" + file)));
      }
      CHECK(Share::Said(" Resource\\common\\" + ToUtf8(client.IniName())));
    }
  }
  SUBCASE("folders that are copied as a whole have no file, or are missing; each is named") {
    TestSupport::RemoveTree(kOddSource + L"\\rule\\base.rul");
    TestSupport::RemoveTree(kOddSource + L"\\rule\\lists");
    CHECK(Exists(kOddSource + L"\\rule\\user"));
    for (const wchar_t* const folder : {L"\\Common\\win32", L"\\Common\\win64", L"\\Resource\\x64"}) {
      TestSupport::RemoveTree(kOddSource + folder);
    }
    CHECK(share.Run(L"install", kBoth) == kFailed);
    CHECK(Share::Said("Missing: Common\\win32\\* rule\\* Resource\\x64\\* Common\\win64\\*"));
  }
  SUBCASE("a folder of Outlook Express, which is not in the source") {
    TestSupport::RemoveTree(kOddSource + L"\\OE64");
    TestSupport::RemoveTree(kOddSource + L"\\Common\\win64");
    TestSupport::RemoveTree(kOddSource + L"\\Resource\\x64");
    CHECK(share.Run(L"install", kBoth) == kFailed);
    CHECK(Share::Said("Missing: Resource\\x64\\*\r\n"));
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

}  // namespace
