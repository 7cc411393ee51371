// From the command line to the exit code. What the commands themselves do is tested with them.
#include "cli/CommandDispatcher.h"

#include <doctest/doctest.h>

#include <regex>
#include <utility>

#include "settings/CommandLineFolders.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallWorld.h"

using namespace TestSupport;

namespace {

constexpr char kDestination[] = "C:\\VelaTest\\Install\\dest";

// A command line, as the runtime hands it to the program.
class CommandLineRun {
 public:
  explicit CommandLineRun(std::vector<std::wstring> arguments) : texts_(std::move(arguments)) {
    texts_.insert(texts_.begin(), L"VELAutil.exe");
    for (std::wstring& text : texts_) {
      pointers_.push_back(text.data());
    }
    pointers_.push_back(nullptr);
  }
  int Result() { return RunCommand(static_cast<int>(texts_.size()), pointers_.data()); }

 private:
  std::vector<std::wstring> texts_;
  std::vector<wchar_t*> pointers_;
};

// One moment for the closing line, and a machine on which every command ends soon: no console session, nothing runs,
// regsvr32.exe cannot be started.
struct Dispatch {
  InstallWorld world;
  CommandLineGiven before{L"C:\\source before", L"C:\\destination before"};
  MissingEntry noSession{"WTSGetActiveConsoleSessionId"};
  ImportRedirection clock{"GetLocalTime", [](LPSYSTEMTIME now) -> void {
                            *now = {};
                            now->wYear = 2024;
                            now->wMonth = 5;
                            now->wDay = 6;
                            now->wHour = 13;
                            now->wMinute = 4;
                            now->wSecond = 9;
                          }};

  Dispatch() { world.regsvr32.FailEveryStart(ERROR_FILE_NOT_FOUND); }
  int Run(const std::wstring& name) const {
    return CommandLineRun({name, world.folder.Path(L"src"), world.folder.Path(L"dest")}).Result();
  }
};

std::string Closing(int result) {
  return "LOG_INFO : [2024/05/06 13:04:09] VELA END!!! RetrunCode:" + std::to_string(result);
}

// The lines that every command writes before its own.
Lines Opening(const std::string& name, const std::string& banner) {
  return {"LOG_INFO :  cmd:" + name, " src:C:\\VelaTest\\Install\\src", std::string("dest:") + kDestination,
          "LOG_INFO : " + banner, ""};
}

bool BeginsWith(const Lines& lines, const Lines& beginning) {
  return lines.size() >= beginning.size() &&
         Lines(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(beginning.size())) == beginning;
}

TEST_CASE("any other number of arguments than three: the closing line and nothing else") {
  const Dispatch dispatch;
  const LogCapture log;
  const std::vector<std::vector<std::wstring>> commandLines = {
      {},
      {L"-s"},
      {L"-s", L"C:\\a"},
      {L"-s", L"C:\\a", L"C:\\b", L"more"},
      {L"-s", L"C:\\a", L"C:\\b", L"more", L"and more"},
  };
  for (const auto& arguments : commandLines) {
    CHECK(CommandLineRun(arguments).Result() == 0);
  }
  CHECK_LINES(log.Lines(), {Closing(0), Closing(0), Closing(0), Closing(0), Closing(0)});
  CHECK(std::wstring(SrcPath) == L"C:\\source before");
  CHECK(std::wstring(DestPath) == L"C:\\destination before");
}

TEST_CASE("a count of 0 is a wrong number, too") {
  const Dispatch dispatch;
  const LogCapture log;
  wchar_t* none[] = {nullptr};
  CHECK(RunCommand(0, none) == 0);
  CHECK_LINES(log.Lines(), {Closing(0)});
}

TEST_CASE("a switch that there is not") {
  const Dispatch dispatch;
  for (const wchar_t* name :
       {L"", L"-", L"-i", L"-u", L"-E", L"-D", L"-S", L"-R", L"-P", L"-x", L"I", L"--I", L" -I", L"/I", L"I-"}) {
    const std::string text = ToUtf8(name);
    CAPTURE(text);
    const LogCapture log;
    CHECK(dispatch.Run(name) == 0);
    CHECK_LINES(log.Lines(), (Joined({Opening(text, "Pn error."), {Closing(0)}})));
  }
}

TEST_CASE("the folders are those of the command line, empty ones included") {
  const Dispatch dispatch;
  CommandLineRun run({L"-x", L"C:\\new source", L"D:\\new destination\\"});
  const LogCapture log;
  CHECK(run.Result() == 0);
  CHECK(std::wstring(SrcPath) == L"C:\\new source");
  CHECK(std::wstring(DestPath) == L"D:\\new destination\\");
  CHECK_LINES(log.Lines(), {"LOG_INFO :  cmd:-x", " src:C:\\new source", "dest:D:\\new destination\\",
                            "LOG_INFO : Pn error.", "", Closing(0)});

  CommandLineRun empty({L"-x", L"", L""});
  CHECK(empty.Result() == 0);
  CHECK(std::wstring(SrcPath).empty());
  CHECK(std::wstring(DestPath).empty());
}

TEST_CASE("-s tells the switch and ends with 0") {
  const Dispatch dispatch;
  const LogCapture log;
  SUBCASE("stored") {
    dispatch.world.StoreSwitch(1);
    CHECK(dispatch.Run(L"-s") == 0);
    CHECK_LINES(log.Lines(),
                (Joined({Opening("-s", "======= GetStatus ========"), {"LOG_INFO : GetStatus!!!!! 1", Closing(0)}})));
  }
  SUBCASE("no key") {
    dispatch.world.productKey.Delete();
    CHECK(dispatch.Run(L"-s") == 0);
    CHECK_LINES(log.Lines(),
                (Joined({Opening("-s", "======= GetStatus ========"), {"LOG_INFO : REG Open Fail", Closing(0)}})));
  }
}

TEST_CASE("-e and -d end with 0 though the switch failed") {
  const Dispatch dispatch;
  const LogCapture log;
  SUBCASE("-e") {
    CHECK(dispatch.Run(L"-e") == 0);
    CHECK(BeginsWith(log.Lines(), Opening("-e", "======== Enable ==========")));
  }
  SUBCASE("-d") {
    CHECK(dispatch.Run(L"-d") == 0);
    CHECK(BeginsWith(log.Lines(), Opening("-d", "======== Disable =========")));
  }
  const Lines lines = log.Lines();
  REQUIRE(lines.size() > 2);
  CHECK(lines[lines.size() - 2] ==
        std::string("LOG_ERROR: HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! "
                    "strVELAInstallPath = ") +
            kDestination);
  CHECK(lines.back() == Closing(0));
}

TEST_CASE("-I hands on the result of the install") {
  const Dispatch dispatch;
  const LogCapture log;
  SUBCASE("0") {
    CHECK(dispatch.Run(L"-I") == 0);
    CHECK(log.Lines().back() == Closing(0));
    CHECK(Exists(dispatch.world.folder.Path(L"dest\\Orvane Labs\\VELA\\VELA_OL\\own.dll")));
  }
  SUBCASE("the one failure") {
    dispatch.world.productKey.Delete();
    const FailCall create("RegCreateKeyExW", 1, ERROR_ACCESS_DENIED);
    CHECK(dispatch.Run(L"-I") == -520159231);
    CHECK(log.Lines().back() == Closing(-520159231));
  }
  CHECK(BeginsWith(log.Lines(), Opening("-I", "======== Install =========")));
}

TEST_CASE("only the first two characters of a switch count") {
  const Dispatch dispatch;
  const LogCapture log;
  SUBCASE("-Install") {
    CHECK(dispatch.Run(L"-Install") == 0);
    CHECK(BeginsWith(log.Lines(), Opening("-Install", "======== Install =========")));
  }
  SUBCASE("-Ixyz") {
    CHECK(dispatch.Run(L"-Ixyz") == 0);
    CHECK(BeginsWith(log.Lines(), Opening("-Ixyz", "======== Install =========")));
  }
  SUBCASE("-status") {
    CHECK(dispatch.Run(L"-status") == 0);
    CHECK(BeginsWith(log.Lines(), Opening("-status", "======= GetStatus ========")));
  }
}

TEST_CASE("-U hands on the result of the uninstall") {
  const Dispatch dispatch;
  const LogCapture log;
  const int result = dispatch.Run(L"-U");
  CHECK(BeginsWith(log.Lines(), Opening("-U", "======= Uninstall ========")));
  CHECK(log.Lines().size() > 6);  // the command itself has its say
  CHECK(log.Lines().back() == Closing(result));
  CHECK(result == 0);
}

const Lines kEnter = {"LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()"};
const Lines kLeave = {"LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()"};
const Lines kNotNotified = {"LOG_ERROR: Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_OL! ErrCode:5"};

TEST_CASE("-r ends with 1 where it succeeded and 0 where it did not") {
  Dispatch dispatch;
  const LogCapture log;
  const Lines opening = Opening("-r", "======= Notify Reload Engine and Pattern ========");
  SUBCASE("nobody to notify is success") {
    CHECK(dispatch.Run(L"-r") == 1);
    CHECK_LINES(log.Lines(), (Joined({opening, kEnter, kLeave, {Closing(1)}})));
  }
  SUBCASE("an event that cannot be made") {
    dispatch.world.running.Become({L"OUTLOOK.EXE"});
    const FailCall create("CreateEventW", Calls::From(1), ERROR_ACCESS_DENIED);
    CHECK(dispatch.Run(L"-r") == 0);
    CHECK_LINES(log.Lines(), (Joined({opening, kEnter, kNotNotified, kLeave, {Closing(0)}})));
  }
}

TEST_CASE("-p upgrades, then notifies, and ends as the notification did") {
  Dispatch dispatch;
  const LogCapture log;
  const Lines upgrade = Joined(
      {Opening("-p", "======= Upgrade VELA ========"),
       StagedResources(),
       {"LOG_INFO : VELAUtility::PreInstallVELA_MUI(), Ret: 1"},
       StagedOutlook(),
       {"LOG_INFO : VELAUtility::PreInstallVELA_OL(), Ret: 1"},
       StagedWindowsLiveMail(),
       {"LOG_INFO : VELAUtility::PreInstallVELA_WLM(), Ret: 1", "LOG_INFO : VELAWrapper::Upgrade() RetrunCode : 1"}});
  SUBCASE("succeeded") {
    CHECK(dispatch.Run(L"-p") == 1);
    CHECK_LINES(log.Lines(),
                (Joined({upgrade,
                         kEnter,
                         kLeave,
                         {"LOG_INFO : VELAWrapper::NotifyReloadVELAEngine() RetrunCode : 1", Closing(1)}})));
  }
  SUBCASE("failed") {
    dispatch.world.running.Become({L"OUTLOOK.EXE"});
    const FailCall create("CreateEventW", Calls::From(1), ERROR_ACCESS_DENIED);
    CHECK(dispatch.Run(L"-p") == 0);
    CHECK_LINES(log.Lines(),
                (Joined({upgrade,
                         kEnter,
                         kNotNotified,
                         kLeave,
                         {"LOG_INFO : VELAWrapper::NotifyReloadVELAEngine() RetrunCode : 0", Closing(0)}})));
  }
}

TEST_CASE("-p notifies though nothing could be upgraded") {
  const Dispatch dispatch;
  RemoveTree(dispatch.world.folder.Path(L"src"));
  const LogCapture log;
  CHECK(dispatch.Run(L"-p") == 1);
  CHECK(LinesWith(log.Lines(), "Enter VELAUtility::NotifyReloadVELAEngine()").size() == 1);
  CHECK(LinesWith(log.Lines(), "RetrunCode : 1").size() == 2);
}

TEST_CASE("the closing line has the time of the clock on the wall, with its zeros") {
  const LogCapture log;
  int result = 0;
  {
    const ImportRedirection clock("GetLocalTime", [](LPSYSTEMTIME now) -> void {
      *now = {};
      now->wYear = 7;
      now->wMonth = 1;
      now->wDay = 2;
      now->wHour = 3;
      now->wMinute = 4;
      now->wSecond = 5;
      now->wMilliseconds = 678;
    });
    result = CommandLineRun({}).Result();
  }
  CHECK(result == 0);
  CHECK_LINES(log.Lines(), {"LOG_INFO : [0007/01/02 03:04:05] VELA END!!! RetrunCode:0"});

  CommandLineRun({}).Result();
  CHECK(std::regex_match(log.Lines().back(),
                         std::regex("LOG_INFO : \\[20\\d\\d/[01]\\d/[0-3]\\d [0-2]\\d:[0-5]\\d:[0-6]\\d\\] "
                                    "VELA END!!! RetrunCode:0")));
}

TEST_CASE("no line break follows the closing line") {
  RunLog::Flush();
  const long long start = LogFileSize();
  CommandLineRun({}).Result();
  RunLog::Flush();
  const std::string text = FileContent(LogFilePath()).substr(static_cast<std::size_t>(start));
  CHECK(text.back() == '0');
  CHECK(text.find("\r\nLOG_INFO : [") == 0);
}

}  // namespace
