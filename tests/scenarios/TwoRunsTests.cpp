// An installation and an upgrade at the same moment, on two processors, from one source and from two: both come to
// their end, and every file is a source's from end to end.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestRegistry.h"

using namespace Scenarios;
using TestSupport::FileContent;
using TestSupport::ProcessOutcome;
using TestSupport::TestProcess;
using TestSupport::ToUtf8;

namespace {

constexpr int kRounds = 8;

const std::wstring kSources[] = {World::kSource, L"C:\\VelaTest\\other"};
const std::wstring kProgram = std::wstring(World::kProgramFolder) + L"\\VELAutil.exe";

constexpr char kWaiting[] = ".tmp_";

bool EndsIn(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Every file of the sources is another one than in the round before, and than in the other source: longer, and written
// later. What is a program stays one, and gets a longer end.
void RenewSources(int round) {
  WORD second = 0;
  for (const std::wstring& source : kSources) {
    ++second;
    for (const std::wstring& name : FilesBelow(source)) {
      const std::wstring path = source + name;
      const DWORD attributes = ::GetFileAttributesW(path.c_str());
      ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
      const std::string text = "round " + std::to_string(round) + " of " + ToUtf8(path) + "\r\n";
      const bool isProgram = EndsIn(ToUtf8(name), ".dll") || EndsIn(ToUtf8(name), ".exe");
      std::string content = isProgram ? FileContent(path) : std::string();
      const std::size_t size = content.size() + (EndsIn(ToUtf8(name), ".ptn") ? 200000U : 20000U);
      while (content.size() < size) {
        content += text;
      }
      TestSupport::WriteTestFile(path, content);
      const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
      SYSTEMTIME when = {2020, 1, 0, 1, 0, static_cast<WORD>(round), second, 0};
      FILETIME written = {};
      ::SystemTimeToFileTime(&when, &written);
      CHECK(::SetFileTime(file, nullptr, nullptr, &written));
      ::CloseHandle(file);
      ::SetFileAttributesW(path.c_str(), attributes);
    }
  }
}

// Where each file of the product comes from. Paths below the product folder.
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

FILETIME LastWriteOf(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
  return data.ftLastWriteTime;
}

// The copies that wait for the restart.
std::vector<std::wstring> WaitingCopies() {
  std::vector<std::wstring> copies;
  for (const std::wstring& file : FilesBelow(kProduct)) {
    if (EndsIn(ToUtf8(file), kWaiting)) {
      copies.push_back(kProduct + file);
    }
  }
  return copies;
}

// What is wrong with the product's files: one that is missing, or that is not from end to end that of a source. A copy
// that waits for the restart is a whole one, too.
Lines FaultsOfBoth() {
  const auto installed = Origins(kSources[0]);
  const auto upgraded = Origins(kSources[1]);
  std::set<std::wstring> missing;
  for (const auto& origin : installed) {
    missing.insert(origin.first);
  }
  Lines faults;
  for (const std::wstring& file : FilesBelow(kProduct)) {
    std::wstring name = file;
    if (EndsIn(ToUtf8(file), kWaiting)) {
      name.resize(name.size() - (sizeof kWaiting - 1));
    }
    missing.erase(file);
    const std::string content = FileContent(kProduct + file);
    if (installed.count(name) == 0) {
      faults.push_back("of nobody: " + ToUtf8(file));
    } else if (content != FileContent(installed.at(name)) && content != FileContent(upgraded.at(name))) {
      faults.push_back("not whole: " + ToUtf8(file));
    }
  }
  for (const std::wstring& file : missing) {
    faults.push_back("missing: " + ToUtf8(file));
  }
  return faults;
}

// The same after a run of its own from one source: everything is that source's, its time included.
Lines FaultsOf(const std::wstring& source) {
  Lines faults;
  for (const auto& [name, origin] : Origins(source)) {
    const FILETIME wanted = LastWriteOf(origin);
    const FILETIME found = LastWriteOf(kProduct + name);
    if (::CompareFileTime(&wanted, &found) != 0 || FileContent(kProduct + name) != FileContent(origin)) {
      faults.push_back("not the source's: " + ToUtf8(name));
    }
  }
  return faults;
}

// Not by LogLinesFrom, which wants every line to be whole.
std::string RawLog() {
  const std::wstring path = TestSupport::LogFilePath();
  return TestSupport::Exists(path) ? FileContent(path) : std::string();
}

// Numbers are all the same here: the time in a closing line is always another one.
Lines LinesOf(const std::string& text) {
  Lines lines(1);
  for (const char character : text) {
    if (character == '\n') {
      lines.emplace_back();
    } else if (character != '\r') {
      lines.back() += character >= '0' && character <= '9' ? '0' : character;
    }
  }
  return lines;
}

// Every line that either program may write: what each wrote alone, and what is written where the other one has a file.
class KnownLines {
 public:
  void Learn(const Lines& log) {
    for (const std::string& line : log) {
      lines_.insert(line);
      const std::string copied = "LOG_INFO : CopyFile(";
      const std::size_t comma = line.find(", ");
      if (line.compare(0, copied.size(), copied) == 0 && comma != std::string::npos) {
        const std::string from = line.substr(copied.size(), comma - copied.size());
        const std::string to = line.substr(comma + 2, line.rfind(')') - comma - 2);
        lines_.insert("LOG_ERROR: ::CopyFile() failed: err(00), src(" + from + "), dst(" + to + ")");
        lines_.insert("LOG_INFO : RebootMove('" + from + "', '" + to + "') succeeded");
        lines_.insert("LOG_ERROR: CoreAgentUtility::File::copyFileEx(" + from + "," + to + ".tmp_) failed, err=00");
      }
    }
    for (const Client& client : Clients()) {
      lines_.insert("LOG_WARN : Fail to copy " + ToUtf8(client.IniName()) + " !");
    }
  }

  bool IsWhole(const std::string& line) const { return lines_.count(line) != 0; }

  // What the C runtime leaves where both append at once: a part of one line, then beginnings of others. The closing
  // line has no line break, so that even a whole one goes on like this.
  bool IsMadeOfParts(const std::string& line) const {
    std::vector<bool> reached(line.size() + 1);  // up to here it is explained
    for (std::size_t end = 0; end <= line.size(); ++end) {
      reached[end] = std::any_of(lines_.begin(), lines_.end(), [&](const std::string& known) {
        return known.find(line.substr(0, end)) != std::string::npos;
      });
    }
    for (std::size_t begin = 1; begin < line.size(); ++begin) {
      for (const std::string& known : lines_) {
        for (std::size_t length = 0; reached[begin] && begin + length < line.size() && length < known.size() &&
                                     line[begin + length] == known[length];
             ++length) {
          reached[begin + length + 1] = true;
        }
      }
    }
    return reached[line.size()];
  }

 private:
  std::set<std::string> lines_;
};

TestProcess Started(const wchar_t* command, const std::wstring& source) {
  return TestProcess(kProgram, {command, source, World::kDestination});
}

TEST_CASE("an installation and an upgrade at once") {
  World world;
  world.OnWindows(TestSupport::WindowsVersion::kVista).WithSampleSource();
  TestSupport::CopyTree(kSources[0], kSources[1]);
  KnownLines known;
  const std::pair<const wchar_t*, std::wstring> alone[] = {
      {L"-I", kSources[0]}, {L"-I", kSources[0]}, {L"-p", kSources[1]}, {L"-p", kSources[0]}};
  for (const auto& [command, source] : alone) {
    const std::size_t before = RawLog().size();
    Started(command, source).Finish(60000);
    known.Learn(LinesOf(RawLog().substr(before)));
  }
  REQUIRE(FaultsOf(kSources[0]).empty());

  unsigned together = 0;
  unsigned refused = 0;
  unsigned broken = 0;
  unsigned lines = 0;
  std::size_t forgotten = 0;
  for (int round = 1; round <= kRounds; ++round) {
    CAPTURE(round);
    RenewSources(round);
    if (round % 3 == 1) {
      TestSupport::RemoveTree(kProduct);
    }
    const std::string logBefore = RawLog();
    const bool upgradeFirst = round % 2 == 0;
    const std::wstring& upgradeSource = kSources[round % 4 < 2 ? 0 : 1];
    const auto start = [&](bool upgrade) {
      return upgrade ? Started(L"-p", upgradeSource) : Started(L"-I", kSources[0]);
    };
    TestProcess first = start(upgradeFirst);
    TestProcess second = start(!upgradeFirst);
    together += first.IsRunning() ? 1U : 0U;
    const ProcessOutcome firstEnd = first.Finish(60000);
    const ProcessOutcome secondEnd = second.Finish(60000);

    CHECK_FALSE(firstEnd.timedOut);
    CHECK_FALSE(secondEnd.timedOut);
    CHECK(firstEnd.exitCode == (upgradeFirst ? 1 : 0));
    CHECK(secondEnd.exitCode == (upgradeFirst ? 0 : 1));
    CHECK_LINES(FaultsOfBoth(), {});
    Lines unknown;
    const std::string log = RawLog();
    CHECK(log.compare(0, logBefore.size(), logBefore) == 0);
    for (const std::string& line : LinesOf(log.substr(logBefore.size()))) {
      if (!known.IsWhole(line)) {
        ++broken;
        if (!known.IsMadeOfParts(line)) {
          unknown.push_back(line);
        }
      }
      refused += line.find("err(00)") != std::string::npos ? 1U : 0U;
      ++lines;
    }
    CHECK_LINES(unknown, {});
    CHECK(log.find("VELA END!!! RetrunCode:", logBefore.size()) != std::string::npos);

    world.CarryOutPendingRenames();
    CHECK_LINES(FaultsOfBoth(), {});
    for (const std::wstring& copy : WaitingCopies()) {
      ++forgotten;
      ::SetFileAttributesW(copy.c_str(), FILE_ATTRIBUTE_NORMAL);
      CHECK(::DeleteFileW(copy.c_str()));
    }
    CHECK(Started(L"-p", kSources[0]).Finish(60000).exitCode == 1);
    CHECK_LINES(FaultsOf(kSources[0]), {});
  }
  CHECK(together > 0);
  MESSAGE("files that the other one had: " << refused << "; copies that no restart takes: " << forgotten
                                           << "; lines: " << lines << ", of which are not whole: " << broken);
}

}  // namespace
