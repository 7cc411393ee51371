// Where the run log lies, how it is opened, and what a run does without it.
#include <doctest/doctest.h>

#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"
#include "tests/unit/cli/Probe.h"
#include "tests/support/ScratchFolder.h"

using namespace TestSupport;

namespace {

// A Windows folder of its own, with its \Temp.
struct ProbeWindows {
  ScratchFolder folder{L"Windows"};
  EnvironmentVariable windows{L"VELA_PROBE_WINDOWS", folder.Path()};
  EnvironmentVariable report{L"VELA_PROBE_REPORT", folder.Path(L"report.txt")};
  std::wstring log = folder.Path(L"Temp\\QRTX_Debug\\vela.log");

  ProbeWindows() { folder.MakeFolder(L"Temp"); }
  std::string Report() const { return FileContent(folder.Path(L"report.txt")); }
};

// The folder in which the log was looked for.
std::string AskedFor(const std::wstring& windows) {
  const ScratchFolder folder(L"Windows");
  const EnvironmentVariable answer(L"VELA_PROBE_WINDOWS", windows);
  const EnvironmentVariable report(L"VELA_PROBE_REPORT", folder.Path(L"report.txt"));
  RunProbe({L"entries"});
  const std::string text = FileContent(folder.Path(L"report.txt"));
  const std::string call = "GetFileAttributesW ";
  const std::size_t start = text.find(call);
  return start == std::string::npos ? text
                                    : text.substr(start + call.size(), text.find('\n', start) - start - call.size());
}

constexpr char kFixedPlace[] = "C:\\WINDOWS\\Temp\\QRTX_Debug";

TEST_CASE("a first run makes the folder, and the file begins with a line break") {
  const ProbeWindows windows;
  CHECK(RunProbe({L"entries", L"one", L"two"}) == 42);
  CHECK(FileContent(windows.log) == "\r\nLOG_INFO : one\r\nLOG_INFO : two");
  CHECK(windows.Report() ==
        "GetWindowsDirectoryW 261\n"
        "GetFileAttributesW C:\\VelaTest\\Windows\\Temp\\QRTX_Debug\n"
        "CreateDirectoryW C:\\VelaTest\\Windows\\Temp\\QRTX_Debug plain\n");
}

TEST_CASE("a second run goes on where the first one ended, and makes no folder") {
  const ProbeWindows windows;
  RunProbe({L"entries", L"one"});
  RunProbe({L"entries", L"two"});
  CHECK(FileContent(windows.log) == "\r\nLOG_INFO : one\r\nLOG_INFO : two");
  CHECK(windows.Report() ==
        "GetWindowsDirectoryW 261\n"
        "GetFileAttributesW C:\\VelaTest\\Windows\\Temp\\QRTX_Debug\n");
}

TEST_CASE("the file is there before anything is written") {
  const ProbeWindows windows;
  RunProbe({L"entries"});
  CHECK(FileContent(windows.log).empty());
}

TEST_CASE("what the file held before stays") {
  const ProbeWindows windows;
  windows.folder.MakeFile(L"Temp\\QRTX_Debug\\vela.log", "something else");
  RunProbe({L"entries", L"one"});
  CHECK(FileContent(windows.log) == "something else\r\nLOG_INFO : one");
}

TEST_CASE("two processes write to the file at the same time") {
  const LogCapture log;
  RunLog::Info() << "this process";
  RunLog::Flush();
  CHECK(RunProbe({L"entries", L"the other"}) == 42);
  RunLog::Info() << "this process again";
  CHECK_LINES(log.Lines(), {"LOG_INFO : this process", "LOG_INFO : the other", "LOG_INFO : this process again"});
}

TEST_CASE("a Windows folder that leaves no room, or none at all, gives the fixed place") {
  CHECK(AskedFor(L"none") == kFixedPlace);
  CHECK(AskedFor(L"needs 261") == kFixedPlace);
  CHECK(AskedFor(L"needs 300") == kFixedPlace);
  CHECK(AskedFor(L"long 256") == kFixedPlace);
  CHECK(AskedFor(L"long 260") == kFixedPlace);
  CHECK(AskedFor(L"long 255") == "C:\\" + std::string(252, 'w') + "\\Temp\\QRTX_Debug");
}

TEST_CASE("without the log a command runs as ever") {
  const ProbeWindows windows;
  SUBCASE("no temporary folder: only the last level is made") {
    RemoveTree(windows.folder.Path(L"Temp"));
    CHECK(RunProbe({L"entries", L"one"}) == 42);
    CHECK_FALSE(Exists(windows.folder.Path(L"Temp")));
  }
  SUBCASE("a file in the place of the folder") {
    windows.folder.MakeFile(L"Temp\\QRTX_Debug", "a file");
    CHECK(RunProbe({L"entries", L"one"}) == 42);
    CHECK(FileContent(windows.folder.Path(L"Temp\\QRTX_Debug")) == "a file");
  }
  SUBCASE("a folder in the place of the file") {
    windows.folder.MakeFolder(L"Temp\\QRTX_Debug\\vela.log");
    CHECK(RunProbe({L"entries", L"one"}) == 42);
  }
  SUBCASE("held by another") {
    windows.folder.MakeFile(L"Temp\\QRTX_Debug\\vela.log", "before");
    {
      const HeldFile held(windows.log);
      CHECK(RunProbe({L"command", L"-x", L"C:\\a", L"C:\\b"}) == 0);
    }
    CHECK(FileContent(windows.log) == "before");
  }
}

TEST_CASE("a character that cannot be written ends the log, after the text before it") {
  const ProbeWindows windows;
  CHECK(RunProbe({L"entries", L"one", L"before\u65E5after", L"later"}) == 42);
  CHECK(FileContent(windows.log) == "\r\nLOG_INFO : one\r\nLOG_INFO : before");
}

TEST_CASE("U+00FF can be written, U+0100 cannot") {
  const ProbeWindows windows;
  RunProbe({L"entries", L"\u00E9\u00FF", L"\u0100", L"later"});
  CHECK(FileContent(windows.log) == "\r\nLOG_INFO : \xE9\xFF\r\nLOG_INFO : ");
}

TEST_CASE("an unwritable folder name on the command line: the command runs, its exit code is the same") {
  const ProbeWindows windows;
  SUBCASE("source") {
    CHECK(RunProbe({L"command", L"-r", L"C:\\ab\u65E5\u672C", L"C:\\d"}) == 1);
    CHECK(FileContent(windows.log) == "\r\nLOG_INFO :  cmd:-r\r\n src:C:\\ab");
  }
  SUBCASE("destination") {
    CHECK(RunProbe({L"command", L"-r", L"C:\\s", L"\u65E5"}) == 1);
    CHECK(FileContent(windows.log) == "\r\nLOG_INFO :  cmd:-r\r\n src:C:\\s\r\ndest:");
  }
  SUBCASE("switch") {
    CHECK(RunProbe({L"command", L"-x\u65E5", L"C:\\s", L"C:\\d"}) == 0);
    CHECK(FileContent(windows.log) == "\r\nLOG_INFO :  cmd:-x");
  }
}

TEST_CASE("a write that fails once loses the entries behind it, and nothing else") {
  const ProbeWindows windows;
  const EnvironmentVariable full(L"VELA_PROBE_FULL", L"2");
  CHECK(RunProbe({L"entries", L"one", L"two", L"three", L"four"}) == 42);
  // The second write is the one that the second entry begins with. What it held is written when the program ends.
  CHECK(FileContent(windows.log) == "\r\nLOG_INFO : one\r\n");
}

}  // namespace
