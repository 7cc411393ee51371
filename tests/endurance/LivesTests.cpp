// A thousand lives on one machine: install, enable, upgrade, reload, disable, uninstall, again and again. Nothing grows
// but the log, and the last life costs what the second did. (The first one makes keys and folders that stay.)
//
// Most lives are in this process, where each request to Windows is counted, and where a handle or a block of memory
// that was not given back would stay; no other program is started there. One in 33 is a life of the real program.
//
//   VELA_ENDURANCE_COUNT    lives in this process (default 5)
//   VELA_ENDURANCE_COMMAND  0: only those; 1: only those of the real program
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "cli/CommandDispatcher.h"
#include "tests/endurance/Machine.h"
#include "tests/faults/Findings.h"
#include "tests/faults/RequestCount.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace Endurance;
using Scenarios::World;
using TestSupport::FileSnapshot;
using TestSupport::ImportRedirection;
using TestSupport::RegistrySnapshot;

namespace {

constexpr wchar_t kNewer[] = L"C:\\VelaTest\\newer";
constexpr std::size_t kLife[] = {0, 2, 1, 5, 3, 4};  // in Commands()

// Everything that is on the disk and in the registry, besides the log.
Lines GrowthSince(const FileSnapshot& files, const RegistrySnapshot& registry, FileSnapshot& newFiles,
                  RegistrySnapshot& newRegistry) {
  newFiles.Add(L"C:", "C:");
  newRegistry.Add(HKEY_LOCAL_MACHINE, L"", KEY_WOW64_64KEY);
  newRegistry.Add(HKEY_USERS, L"", KEY_WOW64_64KEY);
  Lines growth = RegistrySnapshot::Changes(registry, newRegistry);
  for (const std::string& line : FileSnapshot::Changes(files, newFiles)) {
    if (!IsLike(line, "~*\\QRTX_Debug\\vela.log*")) {
      growth.push_back(line);
    }
  }
  return growth;
}

// What the product waits for in this process is over at once: the programs that it starts, and its pauses.
class NoWaiting {
 public:
  NoWaiting()
      : sleep_("Sleep", [](DWORD) {}),
        plain_("CreateProcessW", [](LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID,
                                    LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION made) { return Started(made); }),
        asUser_("CreateProcessAsUserW",
                [](HANDLE, LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID, LPCWSTR,
                   LPSTARTUPINFOW, LPPROCESS_INFORMATION made) { return Started(made); }) {}

 private:
  static BOOL Started(PROCESS_INFORMATION* made) {
    *made = {::CreateEventW(nullptr, TRUE, TRUE, nullptr), ::CreateEventW(nullptr, TRUE, TRUE, nullptr), 4711, 4712};
    return TRUE;
  }
  ImportRedirection sleep_;
  ImportRedirection plain_;
  ImportRedirection asUser_;
};

// What one life costs and leaves in this process.
struct Cost {
  long long requests = 0;
  long long logged = 0;
  long long handles = 0;
  long long blocks = 0;
};

class Lives {
 public:
  explicit Lives(bool inThisProcess) : inThisProcess_(inThisProcess), machine_(Stage::kAbsent) {
    TestSupport::CopyTree(World::kSource, kNewer);
    Renew(kNewer);
  }

  void Live(int lives) {
    Lines broken;
    for (int life = 1; life <= lives; ++life) {
      const Cost cost = OneLife(broken);
      if (life == 1) {
        first_ = cost;
        Grow(broken);
        broken.clear();
      } else if (life == 2) {
        second_ = cost;
      }
      CheckCost(life, cost, broken);
      if (!TestSupport::PendingRenames().empty()) {
        broken.push_back("something is scheduled for the restart");
      }
      if (life == lives) {
        last_ = cost;
        Grow(broken);
      }
      findings_.Add("life " + std::to_string(life), broken);
      broken.clear();
    }
    lives_ = lives;
  }

  void Report() const {
    const auto number = [](long long value) { return static_cast<int>(value); };
    Faults::ReportRow(inThisProcess_ ? "in one process" : "VELAutil.exe",
                      {lives_, number(first_.requests), number(second_.requests), number(last_.requests),
                       number(second_.logged), number(last_.logged)},
                      findings_);
    CHECK(second_.logged > 1000);
    CHECK((second_.requests > 1000) == inThisProcess_);
    CHECK_MESSAGE(findings_.Runs() == 0, findings_.Text());
  }

 private:
  Cost OneLife(Lines& broken) {
    Cost cost;
    const long long log = TestSupport::LogFileSize();
    for (const std::size_t index : kLife) {
      const Command& command = Commands()[index];
      const std::wstring source = command.commandSwitch == std::wstring(L"-p") ? kNewer : World::kSource;
      if (command.commandSwitch == std::wstring(L"-U")) {
        UseProduct();
      }
      if (!inThisProcess_) {
        machine_.Run(command, source);
        continue;
      }
      std::vector<std::wstring> texts = command.Arguments(source);
      wchar_t* arguments[] = {texts[0].data(), texts[0].data(), texts[1].data(), texts[2].data()};
      const long long before = requests_.All();
      const int code = RunCommand(4, arguments);
      cost.requests += requests_.All() - before;
      if (code != static_cast<int>(command.exitCode)) {
        broken.push_back(std::string(command.name) + " ended with " + std::to_string(code));
      }
    }
    // The last line is in the buffer of this process.
    cost.logged = TestSupport::LogFileSize() - log;
    DWORD handles = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &handles);
    cost.handles = handles;
    cost.blocks = TestSupport::LiveBlocks();
    return cost;
  }

  // The data that plug-ins keep.
  static void UseProduct() {
    for (const std::wstring& folder : Scenarios::DataFolders()) {
      TestSupport::WriteTestFile(Scenarios::kCommonBase + folder + L"\\Users\\{4711}\\log\\plugin.log", "log");
    }
  }

  void CheckCost(int life, const Cost& cost, Lines& broken) const {
    if (life < 3) {
      return;
    }
    const auto check = [&](const char* what, long long wanted, long long actual) {
      if (wanted != actual) {
        broken.push_back(what + (" of life 2: " + std::to_string(wanted)) + ", now " + std::to_string(actual));
      }
    };
    check("requests", second_.requests, cost.requests);
    check("bytes of the log", second_.logged, cost.logged);
    if (inThisProcess_) {
      check("handles", second_.handles, cost.handles);
      check("blocks of memory", second_.blocks, cost.blocks);
    }
  }

  void Grow(Lines& broken) {
    FileSnapshot files;
    RegistrySnapshot registry;
    for (const std::string& line : GrowthSince(files_, registry_, files, registry)) {
      broken.push_back(line);
    }
    files_ = files;
    registry_ = registry;
  }

  const bool inThisProcess_;
  Machine machine_;
  Faults::RequestCount requests_;
  FileSnapshot files_;
  RegistrySnapshot registry_;
  Faults::Findings findings_;
  int lives_ = 0;
  Cost first_;
  Cost second_;
  Cost last_;
};

TEST_CASE("nothing grows but the log, and the last life costs what the second did") {
  const TestSupport::WindowsReports vista(6, 0, VER_NT_WORKSTATION);
  const auto lives = static_cast<int>(Setting("VELA_ENDURANCE_COUNT", 5));
  const auto only = Setting("VELA_ENDURANCE_COMMAND", 2);
  if (only != 1) {
    const NoWaiting hurry;
    Lives inThisProcess(true);
    inThisProcess.Live(lives);
    inThisProcess.Report();
  }
  if (only != 0) {
    Lives real(false);
    real.Live(std::max(3, lives / 33));
    real.Report();
  }
}

}  // namespace
