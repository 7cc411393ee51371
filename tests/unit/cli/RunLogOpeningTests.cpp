// The path of the run log, and how it is opened. tests/scenarios/RunLogTests.cpp tests a run without it, and a run that
// continues an existing log.
#include <doctest/doctest.h>

#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"
#include "tests/unit/cli/Probe.h"
#include "tests/support/ScratchFolder.h"

using namespace TestSupport;

namespace {

// A separate Windows folder, with its \Temp.
struct ProbeWindows {
  ScratchFolder folder{L"Windows"};
  EnvironmentVariable windows{L"VELA_PROBE_WINDOWS", folder.Path()};
  EnvironmentVariable report{L"VELA_PROBE_REPORT", folder.Path(L"report.txt")};
  std::wstring log = folder.Path(L"Temp\\QRTX_Debug\\vela.log");

  ProbeWindows() { folder.MakeFolder(L"Temp"); }
  std::string Report() const { return FileContent(folder.Path(L"report.txt")); }
};

// The folder in which the product looked for the log.
std::string AskedFor(const std::wstring& answer) {
  const ProbeWindows windows;
  const EnvironmentVariable other(L"VELA_PROBE_WINDOWS", answer);
  RunProbe({L"entries"});
  const std::string text = windows.Report();
  const std::string call = "GetFileAttributesW ";
  const std::size_t start = text.find(call) + call.size();
  return text.substr(start, text.find('\n', start) - start);
}

TEST_CASE("the first run creates the folder, and the log begins with a line break") {
  const ProbeWindows windows;
  CHECK(RunProbe({L"entries", L"one", L"two"}) == 42);
  CHECK(FileContent(windows.log) == "\r\nLOG_INFO : one\r\nLOG_INFO : two");
  CHECK(windows.Report() ==
        "GetWindowsDirectoryW 261\n"
        "GetFileAttributesW C:\\VelaTest\\Windows\\Temp\\QRTX_Debug\n"
        "CreateDirectoryW C:\\VelaTest\\Windows\\Temp\\QRTX_Debug plain\n");
}

TEST_CASE("if the Windows folder is too long or unknown, the log is in the fixed folder") {
  for (const wchar_t* const answer : {L"none", L"needs 261", L"needs 300", L"long 256", L"long 260"}) {
    CHECK(AskedFor(answer) == "C:\\WINDOWS\\Temp\\QRTX_Debug");
  }
  CHECK(AskedFor(L"long 255") == "C:\\" + std::string(252, 'w') + "\\Temp\\QRTX_Debug");
}

TEST_CASE("while another program holds the log open, a command runs as usual") {
  const ProbeWindows windows;
  windows.folder.MakeFile(L"Temp\\QRTX_Debug\\vela.log", "before");
  {
    const HeldFile held(windows.log);
    CHECK(RunProbe({L"command", L"-x", L"C:\\a", L"C:\\b"}) == 0);
  }
  CHECK(FileContent(windows.log) == "before");
}

TEST_CASE("a character that cannot be written ends the log, after the text before it") {
  const ProbeWindows windows;
  CHECK(RunProbe({L"entries", L"one", L"before\u65E5after", L"later"}) == 42);
  CHECK(FileContent(windows.log) == "\r\nLOG_INFO : one\r\nLOG_INFO : before");
}

TEST_CASE("an abort writes the closing line, and the process ends with a result of its own") {
  const ProbeWindows windows;
  CHECK(RunProbe({L"abort"}) == 0xE0FF0002U);
  const std::string log = FileContent(windows.log);
  CHECK(log.find("\r\nLOG_INFO : before\r\nLOG_INFO : [") == 0);
  CHECK(log.substr(log.find(']')) == "] VELA END!!! RetrunCode:-520159230");
}

TEST_CASE("if one write fails, its entry and the later ones are lost, and nothing else") {
  const ProbeWindows windows;
  const EnvironmentVariable full(L"VELA_PROBE_FULL", L"2");
  CHECK(RunProbe({L"entries", L"one", L"two", L"three", L"four"}) == 42);
  // The second write is the start of the second entry. What it contained is written when the program ends.
  CHECK(FileContent(windows.log) == "\r\nLOG_INFO : one\r\n");
}

}  // namespace
