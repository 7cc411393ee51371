// The product is removed while its files are in use. tests/unit/OrCommon tests other files that are hard to delete.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::LinesWith;
using TestSupport::ToUtf8;

namespace {

// All folders that a removal deletes, with a file in each.
void MakeFolders(World& world) {
  world.WithFile(kProduct + L"\\VELA_OL\\plugin.dll");
  for (const std::wstring& folder : DataFolders()) {
    world.WithFile(kCommonBase + folder + L"\\Users\\log\\a.log");
  }
}

// The log if all of the folders exist, and everything can be deleted or scheduled.
void CheckFoldersLog(const Outcome& outcome) {
  CHECK(outcome.exitCode == 0);
  CHECK_LINES(
      LinesWith(outcome.log, "DeleteAllFiles"),
      (Lines(1 + DataFolders().size(), "LOG_INFO : OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:0")));
  CHECK_LINES(LinesWith(outcome.log, "elete folder"),
              {"LOG_INFO : VELAUtility::DeleteFolderFiles(), Success to delete folder: " + ToUtf8(kProduct)});
}

TEST_CASE("a read-only file in use is deleted with its folders at the restart, and everything else at once") {
  World world;
  MakeFolders(world);
  const std::wstring plugin = kProduct + L"\\VELA_OL\\plugin.dll";
  const std::wstring log = kCommonBase + L"WLM\\Users\\log\\a.log";
  world.WithFile(kProduct + L"\\VELA_OL\\free.dll").WithFile(kProduct + L"\\VELA_WLM\\free.dll");
  REQUIRE(::SetFileAttributesW(plugin.c_str(), FILE_ATTRIBUTE_READONLY));
  Outcome outcome;
  {
    const TestSupport::HeldFile heldPlugin(plugin, FILE_SHARE_READ);
    const TestSupport::HeldFile heldLog(log, FILE_SHARE_READ);
    outcome = Uninstall(world);
    CHECK((::GetFileAttributesW(plugin.c_str()) & FILE_ATTRIBUTE_READONLY) == 0);  // or the restart could not delete it
  }
  CheckFoldersLog(outcome);
  CHECK_LINES(outcome.pending, {ToUtf8(plugin) + " -> ", ToUtf8(kProduct) + "\\VELA_OL -> ", ToUtf8(kProduct) + " -> ",
                                ToUtf8(log) + " -> ", ToUtf8(kCommonBase) + "WLM\\Users\\log -> ",
                                ToUtf8(kCommonBase) + "WLM\\Users -> ", ToUtf8(kCommonBase) + "WLM -> "});
  CHECK_FALSE(Exists(kProduct + L"\\VELA_OL\\free.dll"));
  CHECK_FALSE(Exists(kProduct + L"\\VELA_WLM"));

  world.WithFile(kCommonBase + L"WLM\\Users\\somebody's.txt", "put there meanwhile");
  world.CarryOutPendingRenames();
  CHECK_FALSE(Exists(kProduct));
  CHECK_FALSE(Exists(kCommonBase + L"WLM\\Users\\log"));
  CHECK(Exists(kCommonBase + L"WLM\\Users\\somebody's.txt"));
  CHECK(Exists(kInstalledFolder));
}

TEST_CASE("a file that is deleted while it is open keeps its folders until the restart") {
  World world;
  MakeFolders(world);
  const std::wstring plugin = kProduct + L"\\VELA_OL\\plugin.dll";
  Outcome outcome;
  {
    const TestSupport::HeldFile held(plugin, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    outcome = Uninstall(world);
  }
  CheckFoldersLog(outcome);
  CHECK_LINES(outcome.pending, {ToUtf8(kProduct) + "\\VELA_OL -> ", ToUtf8(kProduct) + " -> "});
  CHECK_FALSE(Exists(plugin));
  world.CarryOutPendingRenames();
  CHECK_FALSE(Exists(kProduct));
}

}  // namespace
