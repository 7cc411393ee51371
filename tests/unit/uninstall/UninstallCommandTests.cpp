// Parts of the uninstall command that are not visible from outside: which user it acts as, what it gives back, and when
// it holds its privileges. Whole runs: tests/scenarios and tests/matrix.
#include "uninstall/UninstallCommand.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/Clients.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/uninstall/UninstallWorld.h"

using namespace TestSupport;

namespace {

Lines Uninstall() {
  const LogCapture log;
  CHECK(plugVELA_Uninstall() == 0);
  return log.Lines();
}

TEST_CASE("the product is removed from the destination, or from the common data folder if that is double-byte") {
  struct Row {
    const wchar_t* destination;
    const wchar_t* base;
  };
  for (const Row& row : {Row{L"C:\\VelaTest\\Removal\\product", L"C:\\VelaTest\\Removal\\product"},
                         Row{L"C:\\VelaTest\\Removal\\product\\", L"C:\\VelaTest\\Removal\\product"},
                         Row{L"C:\\VelaTest\\Caf\u00E9", UninstallWorld::kCommonBase}}) {
    CAPTURE(ToUtf8(row.destination));
    const UninstallWorld world(row.destination);
    world.MakeProduct(row.base);
    world.RegisterAll();
    const Lines log = Uninstall();
    const std::string product = ToUtf8(row.base) + "\\VELA";
    for (const Client& client : Clients()) {
      CHECK(LinesWith(world.regsvr32.CommandLines(), product + "\\" + ToUtf8(client.FolderName()) + "\\").size() ==
            client.modules.size());
    }
    CHECK_LINES(LinesWith(log, "Success to delete folder"),
                {"LOG_INFO : VELAUtility::DeleteFolderFiles(), Success to delete folder: " + product});
    CHECK_FALSE(Exists(row.base + std::wstring(L"\\VELA")));
  }
}

struct ConsoleUser {
  void (*prepare)(ConsoleSession& session);
  int serviceMode;
  const char* tokenQuery;  // the first
  bool switchFails;
};

constexpr ConsoleUser kConsoleUsers[] = {
    {[](ConsoleSession&) {}, 1, "WTSQueryUserToken 7", false},
    {[](ConsoleSession& session) { session.loadProfileError = ERROR_ACCESS_DENIED; }, 0, "WTSQueryUserToken 7", false},
    {[](ConsoleSession& session) { session.tokenError = ERROR_NO_TOKEN; }, 0, "WTSQueryUserToken 7", false},
    {[](ConsoleSession& session) { session.createBlockError = ERROR_ACCESS_DENIED; }, 0, "WTSQueryUserToken 7", false},
    {[](ConsoleSession& session) {
       session.sessionId = 0xFFFFFFFF;
       session.tokenError = ERROR_NO_TOKEN;
     },
     0, "WTSQueryUserToken 4294967295", true},
    {[](ConsoleSession& session) {
       session.missingEntries = {"WTSGetActiveConsoleSessionId"};
       session.tokenError = ERROR_NO_TOKEN;
     },
     0, "WTSQueryUserToken 4294967295", true},
};

TEST_CASE("the log says whether the user's profile was loaded, and the program removes everything as itself") {
  for (const ConsoleUser& user : kConsoleUsers) {
    const UninstallWorld world;
    world.RegisterAll();
    Lines log;
    {
      ConsoleSession session;
      user.prepare(session);
      const OnCall remove("RemoveDirectoryW", &::RemoveDirectoryW,
                          [] { CHECK_FALSE(ConsoleSession::ThreadActsAsUser()); });
      log = Uninstall();
      CHECK(LinesWith(session.Calls(), "WTSQueryUserToken").front() == user.tokenQuery);
      CHECK_LINES(LinesWith(session.NotGivenBack(), "token"), {});
      CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
    }
    CHECK(log.front() ==
          "LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=" + std::to_string(user.serviceMode));
    CHECK(LinesWith(log, "LOG_WARN : VELAUtility::SetAntiSpamEnable(), Failed.").size() == (user.switchFails ? 1 : 0));
    CHECK_FALSE(Exists(world.folder.Path(L"product\\VELA")));
  }
}

TEST_CASE("the profile is unloaded before the switch queries the console session again") {
  const UninstallWorld world;
  const ConsoleSession session;
  Uninstall();
  const Lines& calls = session.Calls();
  const auto unload = std::find(calls.begin(), calls.end(), "UnloadUserProfile token");
  REQUIRE(unload != calls.end());
  CHECK(std::count(calls.begin(), unload, "WTSGetActiveConsoleSessionId") == 1);
  CHECK(std::count(unload, calls.end(), "WTSGetActiveConsoleSessionId") >= 1);
  CHECK_LINES(session.NotGivenBack(), {});
}

TEST_CASE("if a folder cannot be listed, the removal fails and logs dwRtnValue:0") {
  const UninstallWorld world;
  const FailCall list("FindFirstFileW", Calls::From(1), ERROR_ACCESS_DENIED);
  CHECK_LINES(LinesWith(Uninstall(), "VELAUtility::DeleteFolderFiles()"),
              {"LOG_ERROR: VELAUtility::DeleteFolderFiles(), Failed to delete folder: "
               "C:\\VelaTest\\Removal\\product\\VELA dwRtnValue:0"});
}

TEST_CASE("privileges are enabled once the registrations are removed, and restored once the folders are deleted") {
  const UninstallWorld world;
  world.RegisterAll();
  WriteTestFile(UninstallWorld::kCommonBase + std::wstring(L"\\OL\\a.txt"), "data");
  Lines events;
  const auto note = [&](const std::string& event) {
    if (events.empty() || events.back() != event) {
      events.push_back(event);
    }
  };
  {
    const OnCall adjust("AdjustTokenPrivileges", &::AdjustTokenPrivileges,
                        [&](HANDLE, BOOL, PTOKEN_PRIVILEGES wanted, DWORD, PTOKEN_PRIVILEGES, PDWORD) {
                          const DWORD enabled = wanted->Privileges[0].Attributes & SE_PRIVILEGE_ENABLED;
                          note(enabled != 0 ? "enable" : "put back");
                        });
    const OnCall key("RegDeleteKeyW", &::RegDeleteKeyW, [&] { note("delete a key"); });
    const OnCall remove("RemoveDirectoryW", &::RemoveDirectoryW, [&](LPCWSTR path) {
      note(ToUtf8(path).find("ProgramData") == std::string::npos ? "product folder" : "data of all users");
    });
    Uninstall();
  }
  CHECK_LINES(events, {"delete a key", "enable", "product folder", "data of all users", "put back"});
}

}  // namespace
