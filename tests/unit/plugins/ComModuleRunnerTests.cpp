#include "plugins/ComModuleRunner.h"

#include <doctest/doctest.h>

#include <cstring>

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
  Lines (*lines)(const std::string& module, int result);
  const char* slowLine;
};

const Direction kDirections[] = {
    {"register", VELAUtility::RegisterComModule, L"regsvr32.exe /s ", RegisteringLines,
     "LOG_WARN : Wait to register COM object more than 3 seconds."},
    {"unregister", VELAUtility::UnregisterComModule, L"regsvr32.exe /u /s ", UnregisteringLines,
     "LOG_WARN : Wait to unregister COM object more than 3 seconds."},
};

TEST_CASE("a module is (un)registered by a hidden regsvr32.exe that inherits nothing") {
  for (const Direction& direction : kDirections) {
    CAPTURE(std::string(direction.name));
    RegistrationChild child;
    CHECK(direction.run(L"C:\\Program Files\\Orvane Labs\\VELA_OLA.dll"));
    CHECK_LINES(child.CommandLines(), {ToUtf8(direction.command) + "\"C:\\Program Files\\Orvane Labs\\VELA_OLA.dll\""});
    const ChildStart& start = child.Starts().front();
    CHECK_FALSE((start.hasApplicationName || start.hasSecurityAttributes || start.hasEnvironment));
    CHECK_FALSE(start.hasCurrentFolder);
    CHECK(start.inheritHandles == FALSE);
    CHECK(start.flags == 0);
    CHECK(start.processInformationZeroed);
    STARTUPINFOW hidden = {};
    hidden.cb = sizeof hidden;
    hidden.dwFlags = STARTF_USESHOWWINDOW;
    hidden.wShowWindow = SW_HIDE;
    CHECK(std::memcmp(&start.startup, &hidden, sizeof hidden) == 0);
  }
}

TEST_CASE("a command line of 260 characters loses its closing quote; a longer one is not started") {
  for (const Direction& direction : kDirections) {
    for (const std::size_t length : {258U, 259U, 260U, 261U, 40000U}) {
      CAPTURE(std::string(direction.name));
      CAPTURE(length);
      const std::wstring path = L"C:\\" + std::wstring(length - direction.command.size() - 5, L'm');
      const std::wstring whole = direction.command + L"\"" + path + L"\"";
      REQUIRE(whole.size() == length);
      RegistrationChild child;
      const LogCapture log;
      const bool starts = length <= 260;
      CHECK(direction.run(path) == starts);
      const std::wstring commandLine = length == 260 ? whole.substr(0, 259) : whole;
      CHECK_LINES(child.CommandLines(), (starts ? Lines{ToUtf8(commandLine)} : Lines{}));
      Lines wanted = direction.lines(ToUtf8(path), 1);
      if (length == 260) {
        wanted.front().pop_back();
      }
      wanted.resize(starts ? 2 : 1);
      CHECK_LINES(log.Lines(), (wanted));
    }
  }
}

TEST_CASE("regsvr32.exe is waited for once, 3000 ms at most; if it takes longer, it counts as started") {
  struct Row {
    BOOL started;  // as CreateProcessW returns it, and as it is logged
    DWORD waited;
  };
  for (const Direction& direction : kDirections) {
    for (const Row& row : {Row{1, WAIT_OBJECT_0}, Row{42, WAIT_OBJECT_0}, Row{1, WAIT_TIMEOUT}, Row{1, WAIT_FAILED},
                           Row{1, WAIT_ABANDONED}, Row{0, WAIT_OBJECT_0}}) {
      CAPTURE(std::string(direction.name));
      CAPTURE(row.waited);
      RegistrationChild child;
      child.AnswerStartsWith(row.started);
      child.AnswerWaitsWith(row.waited);
      if (row.started == 0) {
        child.FailEveryStart(ERROR_BAD_EXE_FORMAT);
      }
      const LogCapture log;
      CHECK(direction.run(L"C:\\a.dll") == (row.started != 0));
      Lines wanted = direction.lines("C:\\a.dll", row.started);
      if (row.waited != WAIT_OBJECT_0) {
        wanted.insert(wanted.begin() + 1, direction.slowLine);
      }
      CHECK_LINES(log.Lines(), (wanted));
      CHECK(child.WaitMilliseconds() == std::vector<DWORD>(row.started != 0 ? 1 : 0, 3000));
      CHECK(child.OpenHandles() == 0);
    }
  }
}

TEST_CASE("a registration that cannot be started returns the error code") {
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

}  // namespace
