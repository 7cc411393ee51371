// What the command files find on a machine: the list for the restart, the log's folder, drives, tasks, 32-bit programs.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/scenarios/DeployShare.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/FolderLink.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::FileContent;
using TestSupport::LogFilePath;
using TestSupport::MachineKey64;

namespace {

constexpr wchar_t kShutdownEvent[] = L"Global\\{DD2A6866-95FD-47a8-A48D-CDB025648C09}";

// The list for the restart as Windows' reg.exe shows it, to the entry that ends with this: it leaves out empty strings,
// and Wine's does not. So they are left out in the registry.
class ListOfWindows {
 public:
  explicit ListOfWindows(const std::wstring& last) : before_(TestSupport::PendingRenames()) {
    std::wstring text;
    for (const auto& [source, target] : before_) {
      text += source + L'\0' + (target.empty() ? L"" : target + L'\0');
      if (source.size() >= last.size() && source.compare(source.size() - last.size(), last.size(), last) == 0) {
        Store(text);
        return;
      }
    }
    FAIL("not in the list: ", TestSupport::ToUtf8(last));
  }
  ListOfWindows(const ListOfWindows&) = delete;
  ListOfWindows& operator=(const ListOfWindows&) = delete;
  ~ListOfWindows() {
    std::wstring text;
    for (const auto& [source, target] : before_) {
      text += source + L'\0' + target + L'\0';
    }
    Store(text);
  }

 private:
  static void Store(const std::wstring& text) {
    // With the null character that ends the list.
    TestSupport::SetRawValue(MachineKey64(L"SYSTEM\\CurrentControlSet\\Control\\Session Manager"),
                             L"PendingFileRenameOperations", REG_MULTI_SZ, text.c_str(),
                             static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
  }

  std::vector<std::pair<std::wstring, std::wstring>> before_;
};

TEST_CASE("a root whose name the program does not accept: the other folder is found") {
  World world;
  Prepare(world);
  Share share(world);
  const std::wstring root = L"C:\\VelaTest\\Caf\u00e9";
  CHECK(share.Start(L"install", {kOddSource, root}) == kDone);
  CHECK(Exists(kCommonBase + L"VELA\\VELA_OL\\VELA_OLA.dll"));
  CHECK(share.Start(L"detect", {root + L"\\"}) == kDone);
  CHECK(share.Start(L"enable", {root, L"/logon"}) == kDone);
  // A monitor of another user: an administrator may not signal it, and it goes on.
  world.WithTakenName(kShutdownEvent);
  {
    const TestSupport::HeldFile monitor(kCommonBase + L"VELA\\VELA_WLM\\VELA_WLMMon.exe", FILE_SHARE_READ);
    CHECK(share.Start(L"uninstall", {root}) == kFailed);
  }
  world.CarryOutPendingRenames();
  CHECK(share.Start(L"uninstall", {root}) == kDone);
  CHECK_FALSE(Exists(kCommonBase + L"VELA"));
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
    for (const wchar_t* const name : {L"install", L"upgrade"}) {
      CHECK(share.Run(name, kBoth) == kFailed);
      CHECK(Share::Said("an uninstallation waits for the restart"));
    }
    {
      const ListOfWindows list(L"\\Orvane Labs\\VELA");
      CHECK(share.Run(L"uninstall", Quoted(kOddRoot)) == kRestart);
      CHECK(Share::Said("is in use. It is deleted at the restart."));
    }
  }
  // Nothing is in use any more, and another uninstallation deletes the rest. But the list stays.
  CHECK(share.Run(L"uninstall", Quoted(kOddRoot)) == kDone);
  CHECK(share.Run(L"install", kBoth) == kFailed);
  CHECK(Share::Said("an uninstallation waits for the restart"));
  world.CarryOutPendingRenames();
  CHECK(share.Run(L"uninstall", Quoted(kOddRoot) + L" /all") == kDone);
  CHECK_FALSE(Exists(kOddRoot));
}

TEST_CASE("rolled back before the restart: the copies of the newer source still wait") {
  World world;
  Prepare(world);
  Share share(world);
  REQUIRE(share.Run(L"install", kBoth) == kDone);
  const std::wstring newer = L"C:\\VelaTest\\newer";
  TestSupport::CopyTree(kOddSource, newer);
  TestSupport::WriteTestFile(newer + L"\\rule\\base.rul", "newer rules");
  const std::wstring rules = kOddRoot + L"\\Orvane Labs\\VELA\\VELA_OL\\rule\\base.rul";
  const std::string old = FileContent(rules);
  {
    const TestSupport::HeldFile held(rules, FILE_SHARE_READ);
    CHECK(share.Run(L"upgrade", Quoted(newer) + L" " + Quoted(kOddRoot)) == kRestart);
  }
  for (const wchar_t* const name : {L"upgrade", L"install"}) {
    CAPTURE(TestSupport::ToUtf8(name));
    CHECK(share.Run(name, kBoth) == kRestart);
    CHECK(Share::Said("At the restart they replace the installed files:"));
    CHECK(Share::Said("\\VELA_OL\\rule\\base.rul.tmp_\r\n"));
    CHECK(FileContent(rules) == old);
  }
  world.CarryOutPendingRenames();
  CHECK(FileContent(rules) == "newer rules");
}

TEST_CASE("a log that is long is put aside; what is in the place of its folder is noticed") {
  World world;
  Prepare(world);
  Share share(world);
  REQUIRE(share.Run(L"install", kBoth) == kDone);
  TestSupport::KeepLog();
  const std::string old(1100000, '\n');
  TestSupport::WriteTestFile(LogFilePath(), old);
  CHECK(share.Run(L"upgrade", kBoth) == kDone);
  CHECK(FileContent(kLogFolder + L"\\vela.old.log") == old);
  CHECK(TestSupport::LogFileSize() < 100000);
  TestSupport::KeepLog();
  TestSupport::RemoveTree(kLogFolder);
  SUBCASE("a link") {
    world.WithFolder(L"C:\\VelaTest\\elsewhere");
    const TestSupport::FolderLink link(kLogFolder, L"C:\\VelaTest\\elsewhere");
    CHECK(share.Run(L"uninstall", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("is a link"));
    CHECK(FilesBelow(L"C:\\VelaTest\\elsewhere").empty());
  }
  SUBCASE("a file") {
    TestSupport::WriteTestFile(kLogFolder, "");
    CHECK(share.Run(L"uninstall", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("could not be started, or could not write \"C:\\windows\\Temp\\QRTX_Debug\\vela.log\"."));
    CHECK_FALSE(Exists(kOddRoot + L"\\Orvane Labs\\VELA"));
    TestSupport::RemoveTree(kLogFolder);
  }
  SUBCASE("it cannot be created") {
    REQUIRE(::MoveFileW(L"C:\\windows\\Temp", L"C:\\windows\\Temp.hidden"));
    TestSupport::WriteTestFile(L"C:\\windows\\Temp", "");
    CHECK(share.Run(L"uninstall", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("could not be started, or could not write \"C:\\windows\\Temp\\QRTX_Debug\\vela.log\"."));
    TestSupport::RemoveTree(L"C:\\windows\\Temp");
    CHECK(::MoveFileW(L"C:\\windows\\Temp.hidden", L"C:\\windows\\Temp"));
  }
}

TEST_CASE("a 32-bit program installs from the root of a drive, with the task at log-on") {
  World world;
  Prepare(world);
  Share share(world);
  share.StartFrom32Bit();
  CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
  CHECK(Share::Said("started by a 32-bit program"));
  Share::PlaceSysnative(world);

  const TestSupport::FolderDrive drive(L'v', kOddSource);
  share.Begin(L"cd V:\\WLM");
  CHECK(share.Run(L"install", L"V:\\ " + Quoted(kOddRoot) + L" /task") == kFailed);
  // The path of the release's enable-task.xml is another one.
  CHECK(
      Share::Said("VELA: enable-task.xml does not name \"C:\\VelaTest\\it's & (x86)^! ro;o,t=\\VELA setup\\deploy\\"));
  const std::wstring task = share.Folder() + L"\\deploy\\enable-task.xml";
  std::string text = FileContent(task);
  TestSupport::RemoveTree(task);
  CHECK(share.Run(L"install", L"V:\\ " + Quoted(kOddRoot) + L" /task") == kFailed);
  CHECK(Share::Said("\\deploy\\enable-task.xml\" could not be read, or has no line with Arguments."));
  // Nothing was done.
  CHECK(FileContent(kTaskCalls).empty());
  CHECK_FALSE(Exists(kOddRoot));

  const std::string path = "C:\\Program Files\\Bastion";
  REQUIRE(text.find(path) != std::string::npos);
  text.replace(text.find(path), path.size(), "C:\\VelaTest\\it's &amp; (x86)^! ro;o,t=");
  TestSupport::WriteTestFile(task, text);
  CHECK(share.Run(L"install", L"\"V:\\\" " + Quoted(kOddRoot) + L" /task") == kDone);
  CHECK(FilesBelow(kOddRoot + L"\\VELA setup\\source") == FilesBelow(kOddSource));
  CHECK(FileContent(kTaskCalls)
            .find("/Create /F /TN \"VELA enable\" /XML "
                  "\"C:\\VelaTest\\it's & (x86)^! ro;o,t=\\VELA setup\\deploy\\enable-task.xml\"") !=
        std::string::npos);
  CHECK(share.Run(L"detect", Quoted(kOddRoot) + L" /task") == kDone);
  CHECK(FileContent(kTaskCalls).find("/Query /TN \"VELA enable\"") != std::string::npos);

  TestSupport::WriteTestFile(kTaskOrders, "exit 1");
  CHECK(share.Run(L"detect", Quoted(kOddRoot) + L" /task") == kFailed);
  CHECK(Share::Said(", but the task VELA enable is missing, or this user may not see it."));
  CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kDone);
  CHECK(share.Run(L"install", L"V:\\ " + Quoted(kOddRoot) + L" /task") == kFailed);
  CHECK(Share::Said("VELA: the task VELA enable could not be created."));
  CHECK(share.Run(L"uninstall", Quoted(kOddRoot)) == kDone);
  CHECK(FileContent(kTaskCalls).find("/Delete /F /TN \"VELA enable\"") != std::string::npos);
}

}  // namespace
