// A share with the release, and runs of the command files of deploy/ from there.
#pragma once

#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestRegistry.h"

namespace Scenarios {

inline constexpr DWORD kDone = 0;
inline constexpr DWORD kFailed = 1;
inline constexpr DWORD kRestart = 3010;

const std::wstring kOddSource = L"C:\\VelaTest\\so&u (1)^! r;c,e=";
const std::wstring kOddRoot = L"C:\\VelaTest\\it's & (x86)^! ro;o,t=";
const std::wstring kSaid = L"C:\\VelaTest\\said.txt";
const std::wstring kLogFolder = L"C:\\windows\\Temp\\QRTX_Debug";
const std::wstring kTaskCalls = L"C:\\windows\\system32\\schtasks.log";
const std::wstring kTaskOrders = L"C:\\windows\\system32\\schtasks.txt";

// The release on a share.
class Share {
 public:
  explicit Share(World& world, const std::wstring& folder = L"C:\\VelaTest\\R&D (x86) ^up!") : folder_(folder) {
    for (const wchar_t* const program : {L"\\VELAutil.exe", L"\\VELAlog.exe"}) {
      TestSupport::CopyTestFile(TestSupport::BuildFolder() + program, folder_ + program);
    }
    TestSupport::CopyTree(TestSupport::FixturePath(L"deploy"), folder_ + L"\\deploy");
    world.WithFolder(folder_);
    Place(L"StandInFc.exe", L"fc.exe");
    Place(L"StandInRegsvr32.exe", L"schtasks.exe");
    Place(L"StandInXcopy.exe", L"xcopy.exe");
    world.WithFile(kTaskCalls).WithFile(kTaskOrders);
    TestSupport::KeepLog();
    TestSupport::RemoveTree(kLogFolder);
  }

  const std::wstring& Folder() const { return folder_; }

  // Runs a command file. `arguments` are written as in a script. Keeps what it says.
  DWORD Run(const std::wstring& name, const std::wstring& arguments) { return RunFrom(folder_, name, arguments); }
  DWORD RunFrom(const std::wstring& release, const std::wstring& name, const std::wstring& arguments) {
    const std::wstring line =
        first_ + L"@\"" + release + L"\\deploy\\" + name + L".cmd\" " + arguments + L" >" + kSaid + L" 2>&1\r\n";
    TestSupport::WriteTestFile(kCaller, std::string(line.begin(), line.end()));
    const auto ended = TestSupport::TestProcess(kCaller, {}).Finish(kLimit);
    CHECK_FALSE(ended.timedOut);
    return ended.exitCode;
  }
  // The script of the next runs begins with this line, too.
  void Begin(const std::wstring& line) { first_ += L"@" + line + L"\r\n"; }
  // A 32-bit program starts the next runs. (Wine's loader removes this variable if a parent process has set it.)
  void StartFrom32Bit() { Begin(L"set PROCESSOR_ARCHITEW6432=AMD64"); }
  // Only a 32-bit program of Windows sees this folder.
  static void PlaceSysnative(World& world) {
    world.WithFolder(L"C:\\windows\\Sysnative");
    TestSupport::CopyTestFile(L"C:\\windows\\system32\\cmd.exe", L"C:\\windows\\Sysnative\\cmd.exe");
  }
  // Starts it directly, as a tool does.
  DWORD Start(const std::wstring& name, const std::vector<std::wstring>& arguments) {
    return TestSupport::TestProcess(folder_ + L"\\deploy\\" + name + L".cmd", arguments).Finish(kLimit).exitCode;
  }

  static bool Said(const std::string& text) {
    const std::string said = TestSupport::FileContent(kSaid);
    const bool found = said.find(text) != std::string::npos;
    CHECK_MESSAGE(found, "said instead of \"", text, "\":\n", said);
    return found;
  }

 private:
  static constexpr wchar_t kCaller[] = L"C:\\VelaTest\\caller.cmd";
  static constexpr DWORD kLimit = 300000;  // a busy machine takes long

  // Wine's own fc.exe compares nothing, and the xcopy.exe of Wine 10 refuses names with blanks. Its schtasks.exe needs
  // a service that no run has; the substitute for that writes down its calls.
  static void Place(const std::wstring& substitute, const std::wstring& program) {
    TestSupport::CopyTestFile(TestSupport::FixturePath(substitute), L"C:\\windows\\system32\\" + program);
    TestSupport::MakeKey({HKEY_CURRENT_USER, L"Software\\Wine\\DllOverrides", KEY_WOW64_64KEY}, {{program, L"native"}});
  }

  std::wstring folder_;
  std::wstring first_;
};

inline std::wstring Quoted(const std::wstring& path) {
  return L"\"" + path + L"\"";
}

// An ordinary machine, and the sample source with an odd name.
inline World& Prepare(World& world, WindowsVersion version = WindowsVersion::kWindows10) {
  world.OnWindows(version).WithSampleSource().WithKey(TestSupport::MachineKey64(World::kCoreAgentKey));
  TestSupport::CopyTree(World::kSource, kOddSource);
  return world;
}

const std::wstring kBoth = Quoted(kOddSource) + L" " + Quoted(kOddRoot);

// The files of a client that the command files demand, without the settings file.
inline std::vector<std::wstring> NecessaryFiles(const Client& client) {
  std::vector<std::wstring> files(client.modules.begin(), client.modules.end());
  if (client.pluginList != nullptr) {
    files.push_back(client.PluginName());
  }
  if (client.hasMonitor) {
    files.push_back(client.MonitorName());
  }
  return files;
}

}  // namespace Scenarios
