// The command files of deploy/ on a machine where something is installed: switched off, incomplete, or elsewhere.
#include <doctest/doctest.h>

#include <windows.h>

#include "tests/scenarios/DeployShare.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/ScratchFolder.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::FileContent;
using TestSupport::MachineKey64;
using TestSupport::RegistrySnapshot;
using TestSupport::ToUtf8;

namespace {

RegistrySnapshot Switches() {
  RegistrySnapshot found;
  found.Add(HKEY_LOCAL_MACHINE, World::kProductKey, KEY_WOW64_32KEY);
  found.Add(HKEY_LOCAL_MACHINE, kRunKey, KEY_WOW64_64KEY);
  found.Add(HKEY_LOCAL_MACHINE, kAddinKey, KEY_WOW64_64KEY);
  return found;
}

TEST_CASE("switched off until the next log-on, or for good") {
  World world;
  Prepare(world, WindowsVersion::kVista);
  Share share(world);
  CHECK(share.Run(L"disable", Quoted(kOddRoot)) == kFailed);
  CHECK(Share::Said("VELA: not installed in "));
  REQUIRE(share.Run(L"install", kBoth) == kDone);
  const RegistrySnapshot off = Switches();
  REQUIRE(share.Run(L"enable", Quoted(kOddRoot) + L" /logon") == kDone);
  REQUIRE_FALSE(RegistrySnapshot::Changes(off, Switches()).empty());
  SUBCASE("done, and done again") {
    CHECK(share.Run(L"disable", Quoted(kOddRoot)) == kDone);
    CHECK(Share::Said("VELA: the task VELA enable switches filtering on at the next log-on. /permanent deletes it."));
    CHECK(FileContent(kTaskCalls).find("/Delete") == std::string::npos);
    CHECK(share.RunFrom(kOddRoot + L"\\VELA setup", L"disable", L"/permanent") == kDone);
    CHECK(FileContent(kTaskCalls).find("/Delete /F /TN \"VELA enable\"") != std::string::npos);
    CHECK_LINES(RegistrySnapshot::Changes(off, Switches()), {});
  }
  SUBCASE("there is no task") {
    TestSupport::WriteTestFile(kTaskOrders, "exit 1");
    CHECK(share.Run(L"disable", Quoted(kOddRoot) + L" /permanent") == kDone);
    CHECK(share.Run(L"disable", Quoted(kOddRoot)) == kDone);
    CHECK(FileContent(kSaid).find("at the next log-on") == std::string::npos);
  }
  SUBCASE("the task is there and cannot be deleted: filtering is off until the next log-on") {
    TestSupport::WriteTestFile(kTaskOrders, "exit 1 1");
    CHECK(share.Run(L"disable", Quoted(kOddRoot) + L" /permanent") == kFailed);
    CHECK(Share::Said("VELA: the task VELA enable could not be deleted."));
    CHECK_LINES(RegistrySnapshot::Changes(off, Switches()), {});
  }
  SUBCASE("the values cannot be changed") {
    for (const wchar_t* const key : {kRunKey, kAddinKey}) {
      world.WithAccess(MachineKey64(key), TestSupport::kReadOnlyAccess);
    }
    CHECK(share.Run(L"disable", Quoted(kOddRoot)) == kFailed);
    for (const char* const text : {"the start-up value WLM is wrong", "the start-up value OE is wrong",
                                   "Outlook's add-in is not switched off", "the switch VELAEnable is not off"}) {
      CHECK(Share::Said(std::string("VELA: ") + text + "."));
    }
  }
  SUBCASE("the program cannot be started") {
    TestSupport::WriteTestFile(share.Folder() + L"\\VELAutil.exe", "no program");
    TestSupport::RemoveTree(kOddRoot + L"\\VELA setup");
    CHECK(share.Run(L"disable", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("VELAutil.exe -d could not be started"));
  }
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
  SUBCASE("every client's files and value") {
    for (const Client& client : Clients()) {
      for (const std::wstring& file : NecessaryFiles(client)) {
        TestSupport::RemoveTree(kOddRoot + L"\\Orvane Labs\\VELA\\" + client.FolderName() + L"\\" + file);
      }
      if (client.pluginList != nullptr) {
        TestSupport::RemoveValue(MachineKey64(client.pluginList), client.pluginEntry);
      }
    }
    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
    for (const Client& client : Clients()) {
      for (const std::wstring& file : NecessaryFiles(client)) {
        CHECK((!world.Handles(client) || Share::Said(" " + ToUtf8(client.FolderName() + L"\\" + file))));
      }
      CHECK((client.pluginList == nullptr || Share::Said("\\" + ToUtf8(client.pluginEntry))));
    }
  }
  SUBCASE("all files") {
    TestSupport::RemoveTree(kOddRoot + L"\\Orvane Labs");
    CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("installed in part"));
    CHECK(share.Run(L"enable", Quoted(kOddRoot)) == kFailed);
    CHECK(Share::Said("not installed in"));
  }
}

TEST_CASE("a mistyped root: nothing is done, and the right one is named") {
  World world;
  Prepare(world);
  Share share(world);
  REQUIRE(share.Run(L"install", kBoth) == kDone);
  TestSupport::KeepLog();
  TestSupport::RemoveTree(kLogFolder);
  const std::wstring mistyped = L"C:\\VelaTest\\mis & typed";
  for (const wchar_t* const name : {L"detect", L"enable", L"disable", L"uninstall"}) {
    CAPTURE(ToUtf8(name));
    CHECK(share.Run(name, Quoted(mistyped)) == kFailed);
    CHECK(
        Share::Said("VELA: not installed in \"C:\\VelaTest\\mis & typed\\Orvane Labs\", but in "
                    "\"C:\\VelaTest\\it's & (x86)^! ro;o,t=\\Orvane Labs\". Pass the folder above that one."));
  }
  CHECK(FileContent(kTaskCalls).empty());
  CHECK_FALSE(Exists(kLogFolder));
  CHECK(share.Run(L"detect", Quoted(kOddRoot)) == kDone);
  // The settings stay after an uninstallation, and name a folder in which nothing is.
  CHECK(share.Run(L"uninstall", Quoted(kOddRoot)) == kDone);
  CHECK(share.Run(L"detect", Quoted(mistyped)) == kFailed);
  CHECK(Share::Said("\\mis & typed\\Orvane Labs\"."));
}

}  // namespace
