#include "plugins/ComModuleRunner.h"

#include <doctest/doctest.h>

#include "tests/support/LogCapture.h"
#include "tests/support/RegistrationChild.h"

using TestSupport::Lines;
using TestSupport::LogCapture;
using TestSupport::ToUtf8;
using VELAUtility::RegisterComModule;

namespace {

struct Direction {
  const char* name;
  bool (*run)(const std::wstring& modulePath);
  std::wstring command;  // up to the opening quote of the path
  const char* operation;
  const char* slowLine;
};

const Direction kDirections[] = {
    {"register", VELAUtility::RegisterComModule, L"regsvr32.exe /s ", "RegisterComModule",
     "LOG_WARN : Wait to register COM object more than 3 seconds."},
    {"unregister", VELAUtility::UnregisterComModule, L"regsvr32.exe /u /s ", "UnregisterComModule",
     "LOG_WARN : Wait to unregister COM object more than 3 seconds."},
};

std::string CommandLineEntry(const Direction& direction, const std::wstring& commandLine) {
  return std::string("LOG_INFO : ") + direction.operation + "() command line: " + ToUtf8(commandLine);
}

std::string ResultEntry(const Direction& direction, int result) {
  return std::string("LOG_INFO : ") + direction.operation + "() execute result: " + std::to_string(result);
}

// A module path that makes a command line of exactly `length` characters.
std::wstring PathForCommandLineOf(const Direction& direction, std::size_t length) {
  const std::size_t quotes = 2;
  std::wstring path = L"C:\\" + std::wstring(length - direction.command.size() - quotes - 3, L'm');
  path.replace(path.size() - 4, 4, L".dll");
  return path;
}

TEST_CASE("a module is (un)registered by a hidden regsvr32.exe that inherits nothing") {
  for (const Direction& direction : kDirections) {
    CAPTURE(direction.name);
    RegistrationChild child;
    const LogCapture log;
    CHECK(direction.run(L"C:\\Program Files\\Orvane Labs\\VELA_OLA.dll"));

    const std::wstring commandLine = direction.command + L"\"C:\\Program Files\\Orvane Labs\\VELA_OLA.dll\"";
    CHECK_LINES(log.Lines(), {CommandLineEntry(direction, commandLine), ResultEntry(direction, 1)});
    REQUIRE(child.Starts().size() == 1);
    const ChildStart& start = child.Starts().front();
    CHECK(ToUtf8(start.commandLine) == ToUtf8(commandLine));
    CHECK_FALSE(start.hasApplicationName);
    CHECK_FALSE(start.hasSecurityAttributes);
    CHECK_FALSE(start.hasEnvironment);
    CHECK_FALSE(start.hasCurrentFolder);
    CHECK(start.inheritHandles == FALSE);
    CHECK(start.flags == 0);
    CHECK(start.processInformationZeroed);
    CHECK(start.startup.cb == sizeof(STARTUPINFOW));
    CHECK(start.startup.dwFlags == STARTF_USESHOWWINDOW);
    CHECK(start.startup.wShowWindow == SW_HIDE);
    CHECK(start.startup.lpReserved == nullptr);
    CHECK(start.startup.lpDesktop == nullptr);
    CHECK(start.startup.lpTitle == nullptr);
    CHECK(start.startup.hStdInput == nullptr);
    CHECK(start.startup.hStdOutput == nullptr);
    CHECK(start.startup.hStdError == nullptr);
  }
}

TEST_CASE("a command line of 260 characters loses its last one, the closing quote; a longer one starts nothing") {
  for (const Direction& direction : kDirections) {
    for (const std::size_t length :
         {std::size_t{258}, std::size_t{259}, std::size_t{260}, std::size_t{261}, std::size_t{40000}}) {
      CAPTURE(direction.name);
      CAPTURE(length);
      const std::wstring path = PathForCommandLineOf(direction, length);
      const std::wstring whole = direction.command + L"\"" + path + L"\"";
      REQUIRE(whole.size() == length);
      RegistrationChild child;
      const LogCapture log;
      const bool starts = length <= 260;
      CHECK(direction.run(path) == starts);
      const std::wstring commandLine = length == 260 ? whole.substr(0, 259) : whole;
      CHECK_LINES(child.CommandLines(), (starts ? Lines{ToUtf8(commandLine)} : Lines{}));
      CHECK(child.WaitMilliseconds().size() == (starts ? 1 : 0));
      CHECK_LINES(log.Lines(), (starts ? Lines{CommandLineEntry(direction, commandLine), ResultEntry(direction, 1)}
                                       : Lines{CommandLineEntry(direction, commandLine)}));
    }
  }
}

TEST_CASE("a child is waited for once, 3000 ms at most, and its handles are given back") {
  for (const Direction& direction : kDirections) {
    CAPTURE(direction.name);
    RegistrationChild child;
    direction.run(L"C:\\a.dll");
    CHECK(child.WaitMilliseconds() == std::vector<DWORD>{3000});
    CHECK(child.OpenHandles() == 0);
  }
}

TEST_CASE("a child that is not done in time, or cannot be waited for, is told and counts as started") {
  for (const Direction& direction : kDirections) {
    for (const DWORD waited : {DWORD{WAIT_TIMEOUT}, WAIT_FAILED, DWORD{WAIT_ABANDONED}}) {
      CAPTURE(direction.name);
      CAPTURE(waited);
      RegistrationChild child;
      child.AnswerWaitsWith(waited);
      const LogCapture log;
      CHECK(direction.run(L"C:\\a.dll"));

      CHECK_LINES(log.Lines(), {CommandLineEntry(direction, direction.command + L"\"C:\\a.dll\""), direction.slowLine,
                                ResultEntry(direction, 1)});
      CHECK(child.WaitMilliseconds().size() == 1);
      CHECK(child.OpenHandles() == 0);
    }
  }
}

TEST_CASE("a registration that is not started says why") {
  RegistrationChild child;
  child.FailStart(2, ERROR_BAD_EXE_FORMAT);
  DWORD error = ERROR_INVALID_DATA;
  CHECK(RegisterComModule(L"C:\\a.dll", error));
  CHECK(error == ERROR_INVALID_DATA);  // not touched
  CHECK_FALSE(RegisterComModule(L"C:\\a.dll", error));
  CHECK(error == ERROR_BAD_EXE_FORMAT);
  CHECK_FALSE(RegisterComModule(std::wstring(300, L'x'), error));
  CHECK(error == ERROR_FILENAME_EXCED_RANGE);
}

TEST_CASE("a start that fails is not waited for") {
  for (const Direction& direction : kDirections) {
    CAPTURE(direction.name);
    RegistrationChild child;
    child.FailStart(1, ERROR_BAD_EXE_FORMAT);
    const LogCapture log;
    CHECK_FALSE(direction.run(L"C:\\a.dll"));
    CHECK(child.WaitMilliseconds().empty());
    CHECK_LINES(log.Lines(),
                {CommandLineEntry(direction, direction.command + L"\"C:\\a.dll\""), ResultEntry(direction, 0)});
  }
}

TEST_CASE("the result is logged as CreateProcessW returned it") {
  for (const Direction& direction : kDirections) {
    CAPTURE(direction.name);
    RegistrationChild child;
    child.AnswerStartsWith(42);
    const LogCapture log;
    CHECK(direction.run(L"C:\\a.dll"));
    CHECK_LINES(TestSupport::LinesWith(log.Lines(), "execute result"), {ResultEntry(direction, 42)});
  }
}

}  // namespace
