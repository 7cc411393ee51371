// An installation and an upgrade at the same time, on two processors, from one source or from two. Both must complete,
// every file must be a whole file of one source, and earlier log lines must stay. (Lines that both runs append at the
// same time may be mixed.)
#include <doctest/doctest.h>

#include <map>
#include <set>
#include <string>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogFile.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProcess.h"

using namespace Scenarios;
using TestSupport::FileContent;
using TestSupport::TestProcess;
using TestSupport::ToUtf8;

namespace {

constexpr int kRounds = 8;

const std::wstring kSources[] = {World::kSource, L"C:\\VelaTest\\other"};
const std::wstring kWaiting = L".tmp_";  // follows the name of a copy that waits for the restart

bool EndsIn(const std::wstring& text, const std::wstring& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Every file of the sources differs from the round before and from the other source, and is newer.
void RenewSources(int round) {
  int second = 10 * round;
  for (const std::wstring& source : kSources) {
    ++second;
    for (const std::wstring& name : FilesBelow(source)) {
      const std::wstring path = source + name;
      const std::string text = "round " + std::to_string(round) + " of " + ToUtf8(path) + "\r\n";
      const auto size = EndsIn(name, L".ptn") ? std::size_t{200000} : std::size_t{20000};
      std::string content;
      while (content.size() < size) {
        content += text;
      }
      TestSupport::WriteTestFile(path, content);
      TestSupport::SetTimes(path, TestSupport::TimeOf(second), TestSupport::TimeOf(second));
    }
  }
}

// The source of each file of the product. Paths are below the product folder.
std::map<std::wstring, std::wstring> Origins(const std::wstring& source) {
  std::map<std::wstring, std::wstring> origins;
  const auto add = [&](const std::wstring& from, const std::wstring& to) {
    for (const std::wstring& file : FilesBelow(source + from)) {
      origins[to + file] = source + from + file;
    }
  };
  add(L"\\Resource\\x64", L"\\Resource");
  for (const Client& client : Clients()) {
    const std::wstring folder = L"\\" + client.FolderName();
    add(std::wstring(L"\\") + client.shortName + (client.has64BitFiles ? L"64" : L""), folder);
    add(client.has64BitFiles ? L"\\Common\\win64" : L"\\Common\\win32", folder);
    add(L"\\rule", folder + L"\\rule");
    origins[folder + L"\\" + client.IniName()] = source + L"\\Resource\\common\\" + client.IniName();
  }
  return origins;
}

// Errors in the product's files: a missing file, or one that is not a whole file of one source. A copy that waits for
// the restart must be whole, too.
Lines FaultsOfBoth() {
  const auto installed = Origins(kSources[0]);
  const auto upgraded = Origins(kSources[1]);
  std::set<std::wstring> missing;
  for (const auto& origin : installed) {
    missing.insert(origin.first);
  }
  Lines faults;
  for (const std::wstring& file : FilesBelow(kProduct)) {
    missing.erase(file);
    const std::wstring name = EndsIn(file, kWaiting) ? file.substr(0, file.size() - kWaiting.size()) : file;
    const std::string content = FileContent(kProduct + file);
    if (installed.count(name) == 0) {
      faults.push_back("in neither source: " + ToUtf8(file));
    } else if (content != FileContent(installed.at(name)) && content != FileContent(upgraded.at(name))) {
      faults.push_back("not a whole file of one source: " + ToUtf8(file));
    }
  }
  for (const std::wstring& file : missing) {
    faults.push_back("missing: " + ToUtf8(file));
  }
  return faults;
}

// The same after a separate run from the first source: everything comes from that source, also the time.
Lines FaultsOfOne() {
  Lines faults;
  for (const auto& [name, origin] : Origins(kSources[0])) {
    if (!TestSupport::SameTime(TestSupport::LastWriteOf(origin), TestSupport::LastWriteOf(kProduct + name)) ||
        FileContent(kProduct + name) != FileContent(origin)) {
      faults.push_back("differs from its source: " + ToUtf8(name));
    }
  }
  return faults;
}

TestProcess Started(bool upgrade, const std::wstring& source) {
  return TestProcess(World::kProgramFolder + std::wstring(L"\\VELAutil.exe"),
                     {upgrade ? L"-p" : L"-I", source, World::kDestination});
}

TEST_CASE("an installation and an upgrade at the same time both complete, and every file is whole") {
  World world;
  world.OnWindows(TestSupport::WindowsVersion::kVista).WithSampleSource();
  TestSupport::CopyTree(kSources[0], kSources[1]);
  Started(false, kSources[0]).Finish(60000);  // the log exists
  unsigned together = 0;
  for (int round = 1; round <= kRounds; ++round) {
    CAPTURE(round);
    RenewSources(round);
    if (round % 3 == 1) {
      TestSupport::RemoveTree(kProduct);
    }
    const std::string logBefore = FileContent(TestSupport::LogFilePath());
    const bool upgradeFirst = round % 2 == 0;
    const std::wstring& upgradeSource = kSources[round % 4 < 2 ? 0 : 1];
    TestProcess first = Started(upgradeFirst, upgradeFirst ? upgradeSource : kSources[0]);
    TestProcess second = Started(!upgradeFirst, upgradeFirst ? kSources[0] : upgradeSource);
    together += first.IsRunning() ? 1U : 0U;
    CHECK(first.Finish(60000).exitCode == (upgradeFirst ? 1 : 0));
    CHECK(second.Finish(60000).exitCode == (upgradeFirst ? 0 : 1));
    CHECK_LINES(FaultsOfBoth(), {});
    const std::string log = FileContent(TestSupport::LogFilePath());
    CHECK(log.compare(0, logBefore.size(), logBefore) == 0);
    CHECK(log.find("VELA END!!! RetrunCode:", logBefore.size()) != std::string::npos);

    world.CarryOutPendingRenames();
    CHECK_LINES(FaultsOfBoth(), {});
    for (const std::wstring& file : FilesBelow(kProduct)) {
      if (EndsIn(file, kWaiting)) {  // which no restart removes
        TestSupport::RemoveTree(kProduct + file);
      }
    }
    CHECK(Started(true, kSources[0]).Finish(60000).exitCode == 1);
    CHECK_LINES(FaultsOfOne(), {});
  }
  CHECK(together > 0);
}

}  // namespace
