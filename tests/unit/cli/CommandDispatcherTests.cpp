// From the command line to the exit code. The commands themselves have their own tests.
#include "cli/CommandDispatcher.h"

#include <doctest/doctest.h>

#include <utility>

#include "settings/CommandLineFolders.h"
#include "tests/support/CallFailures.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallWorld.h"

using namespace TestSupport;

namespace {

// A command line, as the runtime passes it to the program.
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

// A machine with a fixed time on which every command ends soon: no console session, no running processes, and
// regsvr32.exe cannot be started.
struct Dispatch {
  InstallWorld world;
  CommandLineGiven before{L"C:\\source before", L"C:\\destination before"};
  MissingEntry noSession{"WTSGetActiveConsoleSessionId"};
  ImportRedirection clock{"GetLocalTime",
                          [](LPSYSTEMTIME now) -> void { *now = {7, 1, /*wDayOfWeek*/ 6, 2, 3, 4, 5, 678}; }};

  Dispatch() { world.regsvr32.FailEveryStart(ERROR_FILE_NOT_FOUND); }
  int Run(const std::wstring& name) const {
    return CommandLineRun({name, world.folder.Path(L"src"), world.folder.Path(L"dest")}).Result();
  }
};

std::string Closing(int result) {
  return "LOG_INFO : [0007/01/02 03:04:05] VELA END!!! RetrunCode:" + std::to_string(result);
}

TEST_CASE("a wrong number of arguments, even 0, leaves the folders unchanged") {
  const Dispatch dispatch;
  const LogCapture log;
  wchar_t* none[] = {nullptr};
  CHECK(RunCommand(0, none) == 0);
  CHECK(CommandLineRun({L"-s", L"C:\\a"}).Result() == 0);
  CHECK(CommandLineRun({L"-s", L"C:\\a", L"C:\\b", L"more"}).Result() == 0);
  CHECK_LINES(log.Lines(), {Closing(0), Closing(0), Closing(0)});
  CHECK(std::wstring(SrcPath) == L"C:\\source before");
  CHECK(std::wstring(DestPath) == L"C:\\destination before");
}

TEST_CASE("the folders are those of the command line, empty ones included") {
  const Dispatch dispatch;
  CommandLineRun run({L"-x", L"C:\\new source", L"D:\\new destination\\"});
  CHECK(run.Result() == 0);
  CHECK(std::wstring(SrcPath) == L"C:\\new source");
  CHECK(std::wstring(DestPath) == L"D:\\new destination\\");
  CommandLineRun empty({L"-x", L"", L""});
  CHECK(empty.Result() == 0);
  CHECK(std::wstring(SrcPath).empty());
  CHECK(std::wstring(DestPath).empty());
}

struct Command {
  const wchar_t* name;
  const char* banner;
  int result;
  const char* own;  // part of a line that only this command writes
};

// On this machine every command ends soon.
constexpr Command kCommands[] = {
    {L"-I", "======== Install =========", 0, "SetKeyvalue Fail, keyName:VELAInstallPath"},
    {L"-Ixyz", "======== Install =========", 0, "SetKeyvalue Fail, keyName:VELAInstallPath"},
    {L"-e", "======== Enable ==========", 0, "Enable !! strVELAInstallPath = C:\\VelaTest\\Install\\dest"},
    {L"-d", "======== Disable =========", 0, "Enable !! strVELAInstallPath = C:\\VelaTest\\Install\\dest"},
    {L"-U", "======= Uninstall ========", 0, "Set VELA to disable!"},
    {L"-status", "======= GetStatus ========", 0, "GetStatus!!!!! 7"},
    {L"-r", "======= Notify Reload Engine and Pattern ========", 1, "Enter VELAUtility::NotifyReloadVELAEngine()"},
    {L"-p", "======= Upgrade VELA ========", 1, "VELAWrapper::NotifyReloadVELAEngine() RetrunCode : 1"},
    {L"-i", "Pn error.", 0, "Pn error."},
    {L"I", "Pn error.", 0, "Pn error."},
    {L"", "Pn error.", 0, "Pn error."},
};

TEST_CASE("the first two characters choose the command, and its result is the exit code") {
  for (const Command& command : kCommands) {
    const std::string name = ToUtf8(command.name);
    CAPTURE(name);
    const Dispatch dispatch;
    dispatch.world.StoreSwitch(7);
    const LogCapture log;
    int result = -1;
    {
      const FailCall set("RegSetValueExW", 1, ERROR_ACCESS_DENIED);
      result = dispatch.Run(command.name);
    }
    CHECK(result == command.result);
    const Lines lines = log.Lines();
    REQUIRE(lines.size() > 5);
    CHECK_LINES(Lines(lines.begin(), lines.begin() + 5),
                {"LOG_INFO :  cmd:" + name, " src:C:\\VelaTest\\Install\\src", "dest:C:\\VelaTest\\Install\\dest",
                 "LOG_INFO : " + std::string(command.banner), ""});
    CHECK(LinesWith(lines, command.own).size() == 1);
    CHECK(lines.back() == Closing(command.result));
  }
}

TEST_CASE("a command that lacks memory ends with a result of its own, and with the closing line") {
  for (const wchar_t* const name : {L"-I", L"-e", L"-d", L"-U", L"-p"}) {
    const Dispatch dispatch;
    CommandLineRun run({name, dispatch.world.folder.Path(L"src"), dispatch.world.folder.Path(L"dest")});
    const LogCapture log;
    int result = -1;
    unsigned refused = 0;
    {
      const HeapLimit none(1);
      result = run.Result();
      refused = none.Refused();
    }
    CHECK(refused != 0);
    CHECK(result == -520159230);
    CHECK(log.Lines().back() == Closing(-520159230));
  }
}

TEST_CASE("a failed install and a failed notification set the exit code") {
  Dispatch dispatch;
  dispatch.world.productKey.Delete();
  dispatch.world.running.Become({L"OUTLOOK.EXE"});
  const FailCall key("RegCreateKeyExW", Calls::From(1), ERROR_ACCESS_DENIED);
  const FailCall event("CreateEventW", Calls::From(1), ERROR_ACCESS_DENIED);
  const LogCapture log;
  CHECK(dispatch.Run(L"-I") == -520159231);
  CHECK(log.Lines().back() == Closing(-520159231));
  CHECK(dispatch.Run(L"-r") == 0);
  CHECK(dispatch.Run(L"-p") == 0);
  CHECK_LINES(LinesWith(log.Lines(), "RetrunCode : "),
              {"LOG_INFO : VELAWrapper::Upgrade() RetrunCode : 1",
               "LOG_INFO : VELAWrapper::NotifyReloadVELAEngine() RetrunCode : 0"});
}

}  // namespace
