// The real VELAlog.exe reads what real runs of VELAutil.exe wrote.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"

using namespace Scenarios;
using Json = nlohmann::json;
using TestSupport::FileContent;
using TestSupport::LinesWith;
using TestSupport::LogFilePath;
using TestSupport::ToUtf8;

namespace {

constexpr DWORD kLimit = 60000;  // milliseconds
const std::wstring kCopiedLog = L"C:\\VelaTest\\copied.log";

struct Printed {
  DWORD exitCode = 0;
  std::string output;
  std::string errors;
};

// A handle that the child inherits.
class Inherited {
 public:
  explicit Inherited(const std::wstring& file) {
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, TRUE};
    handle_ = ::CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes, CREATE_ALWAYS,
                            0, nullptr);
  }
  explicit Inherited(HANDLE handle) : handle_(handle) {
    ::SetHandleInformation(handle_, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  }
  Inherited(const Inherited&) = delete;
  Inherited& operator=(const Inherited&) = delete;
  ~Inherited() { ::CloseHandle(handle_); }
  HANDLE Get() const { return handle_; }

 private:
  HANDLE handle_ = nullptr;
};

DWORD RunReader(const std::vector<std::wstring>& arguments, const Inherited& output, const Inherited& errors) {
  const std::wstring program = TestSupport::ReaderPath();
  std::wstring commandLine = TestSupport::CommandLine(program, arguments);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output.Get();
  startup.hStdError = errors.Get();
  PROCESS_INFORMATION started = {};
  if (!::CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &started)) {
    throw std::runtime_error("VELAlog.exe cannot be started: error " + std::to_string(::GetLastError()));
  }
  ::CloseHandle(started.hThread);
  DWORD exitCode = STILL_ACTIVE;
  if (::WaitForSingleObject(started.hProcess, kLimit) != WAIT_OBJECT_0) {
    ::TerminateProcess(started.hProcess, exitCode);
  }
  ::GetExitCodeProcess(started.hProcess, &exitCode);
  ::CloseHandle(started.hProcess);
  return exitCode;
}

Printed Read(const std::vector<std::wstring>& arguments = {}) {
  const std::wstring output = L"C:\\VelaTest\\output.txt";
  const std::wstring errors = L"C:\\VelaTest\\errors.txt";
  TestSupport::MakeFolder(World::kRoot);
  Printed printed;
  printed.exitCode = RunReader(arguments, Inherited(output), Inherited(errors));
  printed.output = FileContent(output);
  printed.errors = FileContent(errors);
  return printed;
}

std::string FirstLine(const std::string& text) {
  return text.substr(0, text.find("\r\n"));
}

// The sentence for people, with its verdict.
std::string Sentence(const Printed& printed) {
  for (const std::string& line : TestSupport::Split(printed.output)) {
    for (const char* const verdict : {"DONE", "RESTART NEEDED", "NOT DONE", "DID NOT FINISH"}) {
      if (line.rfind(verdict, 0) == 0) {
        return line;
      }
    }
  }
  return "no sentence: " + printed.output;
}

// No log at the beginning.
struct NewLog {
  NewLog() {
    TestSupport::KeepLog();
    TestSupport::RemoveTree(LogFilePath());
  }
};

TEST_CASE("the verdict of the last run in the machine's own log, and the exit code that deployment tools expect") {
  const NewLog log;
  World world;
  world.Run(L"-s", World::kSource, World::kDestination);
  Printed printed = Read();
  CHECK(printed.exitCode == 1);
  CHECK(Sentence(printed) == "NOT DONE: The state of filtering is not known: one line reports a failure, line 7.");
  CHECK(printed.errors.empty());

  Install(WithSource(world));
  printed = Read();
  CHECK(printed.exitCode == 0);
  CHECK(
      Sentence(printed) ==
      "DONE: Installed, and filtering is off until -e: the files are in place, and regsvr32.exe was started for every "
      "module.");
  CHECK(FirstLine(printed.output).rfind("Run 2, lines 9 to ", 0) == 0);

  // The -e for the start-up values.
  Enable(world, kProduct);
  printed = Read();
  CHECK(printed.exitCode == 0);
  CHECK(Sentence(printed) ==
        "DONE: Filtering is switched on; no monitor was started now, Windows starts them at the next log-on.");

  world.WithOpenFile(kProduct + L"\\VELA_OL\\vela.ptn", FILE_SHARE_READ)
      .WithFile(World::kSource + std::wstring(L"\\Common\\win32\\vela.ptn"), "newer");
  Upgrade(world);
  printed = Read();
  CHECK(printed.exitCode == 3010);
  CHECK(Sentence(printed) ==
        "RESTART NEEDED: Upgraded, but files that are in use are replaced only at the next restart of the machine.");

  world.Run(L"-p", L"C:\\VelaTest\\nothing", World::kDestination);
  printed = Read();
  CHECK(printed.exitCode == 1);
  CHECK(Sentence(printed) == "NOT DONE: Not upgraded: no file was copied.");

  world.RunWithArguments({L"-s"});
  printed = Read();
  CHECK(printed.exitCode == 1);
  CHECK(Sentence(printed) == "NOT DONE: Nothing was done: the program was not called with three arguments.");
}

TEST_CASE("all runs as JSON") {
  const NewLog log;
  World world;
  InstallAndEnable(WithSource(world));
  world.Run(L"-s", World::kSource, kInstalledFolder);
  Disable(world);
  Disable(world);
  Uninstall(world);
  world.Run(L"-x", L"C:\\Caf\xE9", L"\x65E5\x672C");
  const Printed printed = Read({L"--all", L"--json", L"--lines"});
  CHECK(printed.exitCode == 1);
  CHECK(printed.errors.empty());
  const Json json = Json::parse(printed.output);
  CHECK(json["log"] == ToUtf8(LogFilePath()));
  CHECK(json["exit_code"] == 1);
  Lines verdicts;
  std::size_t lines = 0;
  for (const Json& run : json["runs"]) {
    verdicts.push_back(run["switch"].get<std::string>() + " " + run["verdict"].get<std::string>());
    lines += run["lines"].size();
  }
  CHECK_LINES(verdicts, {"-I done", "-e done", "-s done", "-d done", "-d done", "-U done", "-x did not finish"});
  // The headers have three lines, and banners are followed by an empty one.
  CHECK(lines + 2 * 7 + 6 + 1 == TestSupport::Split(FileContent(LogFilePath())).size());
  CHECK(json["runs"][6]["source"] == "C:\\Caf\xC3\xA9");
  CHECK(json["runs"][6]["findings"][0]["rule"] == "log-lost");
}

TEST_CASE("a log that was sent in, some of its runs, and all their lines") {
  World world;
  const NewLog log;
  world.Run(L"-s", World::kSource, World::kDestination);
  world.Run(L"-r", World::kSource, World::kDestination);
  world.Run(L"-s", World::kSource, World::kDestination);
  TestSupport::MakeFolder(World::kRoot);
  for (const std::wstring& copy : {kCopiedLog, std::wstring(L"C:\\VelaTest\\\x65E5\x672C \xE9\\vela.log")}) {
    TestSupport::CopyTestFile(LogFilePath(), copy);
    const Printed printed = Read({copy});
    CHECK(printed.exitCode == 1);
    CHECK(FirstLine(printed.output) == "Run 3, lines 17 to 23");
  }
  const Lines two = TestSupport::Split(Read({L"--runs", L"2", kCopiedLog}).output);
  CHECK_LINES(LinesWith(two, "Run "), {"Run 2, lines 9 to 16", "Run 3, lines 17 to 23"});
  // An empty line is between two runs, and nowhere else before one.
  CHECK(two[0].rfind("Run 2, ", 0) == 0);
  CHECK(*(std::find(two.begin(), two.end(), "Run 3, lines 17 to 23") - 1) == "");
  Printed printed = Read({L"--command", L"reload", kCopiedLog});
  CHECK(printed.exitCode == 0);  // and not 1, as for the last one
  CHECK_LINES(LinesWith(TestSupport::Split(printed.output), "Run "), {"Run 2, lines 9 to 16"});
  printed = Read({kCopiedLog, L"--all", L"--command", L"status"});
  CHECK_LINES(LinesWith(TestSupport::Split(printed.output), "Run "), {"Run 1, lines 2 to 8", "Run 3, lines 17 to 23"});
  CHECK(LinesWith(TestSupport::Split(Read({L"--runs", L"9", kCopiedLog}).output), "Run ").size() == 3);
  CHECK(LinesWith(TestSupport::Split(Read({kCopiedLog, L"--all"}).output), "Run ").size() == 3);
  const Lines all = TestSupport::Split(Read({L"--lines", kCopiedLog}).output);
  CHECK_LINES(LinesWith(all, "  Line 2"),
              {"  Line 22: LOG_INFO : REG Open Fail", "  Line 20 (frame): LOG_INFO : ======= GetStatus ========",
               "  Line 22 (fatal): LOG_INFO : REG Open Fail", LinesWith(all, "VELA END").at(0)});
}

TEST_CASE("a pipe gets the same as a file") {
  const NewLog log;
  World world;
  world.Run(L"-s", World::kSource, World::kDestination);
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  REQUIRE(::CreatePipe(&readEnd, &writeEnd, nullptr, 1 << 20));
  DWORD exitCode = 0;
  {
    const Inherited output(writeEnd);
    TestSupport::MakeFolder(World::kRoot);
    const Inherited errors(L"C:\\VelaTest\\errors.txt");
    exitCode = RunReader({}, output, errors);
  }
  std::string piped(1 << 20, '\0');
  DWORD read = 0;
  CHECK(::ReadFile(readEnd, piped.data(), static_cast<DWORD>(piped.size()), &read, nullptr));
  ::CloseHandle(readEnd);
  const Printed printed = Read();
  CHECK(exitCode == printed.exitCode);
  CHECK(piped.substr(0, read) == printed.output);
}

TEST_CASE("no log, no run in it") {
  const NewLog log;
  World world;
  const auto complains = [](const std::vector<std::wstring>& arguments, const std::string& about) {
    const Printed printed = Read(arguments);
    CHECK(printed.exitCode == 2);
    CHECK(printed.output.empty());
    CHECK(FirstLine(printed.errors) == "VELAlog: " + about);
  };
  complains({}, "there is no log " + ToUtf8(LogFilePath()));
  complains({L"C:\\VelaTest\\none\\vela.log"}, "there is no log C:\\VelaTest\\none\\vela.log");
  // The runtime expands no wildcards.
  complains({L"C:\\windows\\win.i*"}, "C:\\windows\\win.i* cannot be read: error 123 of Windows (net helpmsg 123)");
  complains({L"C:\\windows"}, "C:\\windows cannot be read: error 5 of Windows (net helpmsg 5)");
  world.WithFile(L"C:\\VelaTest\\empty.txt", "").WithFile(L"C:\\VelaTest\\other.txt", "something else\r\n");
  complains({L"C:\\VelaTest\\empty.txt"}, "there is no run of VELAutil.exe in C:\\VelaTest\\empty.txt");
  complains({L"C:\\VelaTest\\other.txt", L"--all"}, "there is no run of VELAutil.exe in C:\\VelaTest\\other.txt");
  complains({L"C:\\VelaTest\\other.txt", L"--command", L"disable"},
            "there is no run of the command disable in C:\\VelaTest\\other.txt");

  const Printed printed = Read({L"--json", L"C:\\VelaTest\\none"});
  CHECK(printed.exitCode == 2);
  const Json json = Json::parse(printed.output);
  CHECK(json["runs"].empty());
  CHECK(json["exit_code"] == 2);
  CHECK(json["error"] == "there is no log C:\\VelaTest\\none");
}

TEST_CASE("wrong command lines, and questions about the program") {
  for (const std::vector<std::wstring>& arguments : {std::vector<std::wstring>{L"--frobnicate"},
                                                     {L"--runs"},
                                                     {L"--runs", L"0"},
                                                     {L"--command", L"-I"},
                                                     {L"--command", L"remove"},
                                                     {L"--runs", L"x"},
                                                     {L"--runs", L"2", L"--all"},
                                                     {L"one.log", L"two.log"},
                                                     {L"/x"}}) {
    const Printed printed = Read(arguments);
    CHECK(printed.exitCode == 2);
    CHECK(printed.output.empty());
    CHECK(printed.errors.rfind("VELAlog: ", 0) == 0);
    CHECK(printed.errors.find("VELAlog --help shows the options.\r\n") != std::string::npos);
  }
  for (const wchar_t* const help : {L"--help", L"-h", L"/?"}) {
    const Printed printed = Read({help});
    CHECK(printed.exitCode == 0);
    CHECK(printed.errors.empty());
    for (const char* const option :
         {"--command", "Only runs of this command", "reload", "--runs", "--all", "--json", "--lines", "--version",
          "3010", "Print the version and exit", "How many of the last runs to show (1)", "Show all runs",
          "Print JSON, for other programs", "Also show every line with its meaning",
          "\r\nExit code, by the last of these runs:\r\n"}) {
      CHECK(printed.output.find(option) != std::string::npos);
    }
  }
  const Printed version = Read({L"--version"});
  CHECK(version.exitCode == 0);
  CHECK(version.output == std::string("VELAlog ") + VELA_PROGRAM_VERSION + "\r\n");
}

TEST_CASE("a run that was ended, and one that still runs") {
  const NewLog log;
  World world;
  WithSource(world).WithStandInRegsvr32("sleep 60000\n");
  {
    const TestSupport::TestProcess installation(World::kProgramFolder + std::wstring(L"\\VELAutil.exe"),
                                                {L"-I", World::kSource, World::kDestination});
    // The log has the command of a module when the program has waited for it. Nine more follow.
    const auto hasWaited = [] {
      return TestSupport::LogFileSize() > 0 && FileContent(LogFilePath()).find("Redemption.dll\"") != std::string::npos;
    };
    for (int tries = 0; tries < 100 && !hasWaited(); ++tries) {
      ::Sleep(100);
    }
    const Printed printed = Read();
    CHECK(printed.exitCode == 1);
    CHECK(Sentence(printed).rfind("DID NOT FINISH: ", 0) == 0);
  }
  const Printed printed = Read();
  CHECK(printed.exitCode == 1);
  CHECK(Sentence(printed).rfind("DID NOT FINISH: ", 0) == 0);
  CHECK(LinesWith(TestSupport::Split(printed.output), "What failed").size() == 1);
  TestSupport::EndProcesses(L"regsvr32.exe");
}

TEST_CASE("a log that another program has open, and one that is read-only") {
  const NewLog log;
  World world;
  world.Run(L"-r", World::kSource, World::kDestination);
  ::SetFileAttributesW(LogFilePath().c_str(), FILE_ATTRIBUTE_READONLY);
  CHECK(Read().exitCode == 0);
  ::SetFileAttributesW(LogFilePath().c_str(), FILE_ATTRIBUTE_NORMAL);
  world.WithOpenFile(LogFilePath(), FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
  CHECK(Read().exitCode == 0);
}

}  // namespace
