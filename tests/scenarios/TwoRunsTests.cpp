// An installation and an upgrade at the same moment, on two processors: both come to their end, and between them leave
// what one of them alone would.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "tests/scenarios/ExpectedLog.h"
#include "tests/scenarios/StagedTrees.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestRegistry.h"

using namespace Expected;
using TestSupport::FileContent;
using TestSupport::ProcessOutcome;
using TestSupport::TestProcess;
using TestSupport::ToUtf8;

namespace {

constexpr int kRounds = 6;

const std::wstring kSource = World::kSource;
const std::wstring kProduct = std::wstring(kBase) + L"VELA";
const std::wstring kProgram = std::wstring(World::kProgramFolder) + L"\\VELAutil.exe";

bool EndsIn(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Every file of the source is another one than in the round before: longer, and written later.
void RenewSource(int round) {
  for (const std::wstring& name : FilesInCopyOrder(kSource)) {
    const std::wstring path = kSource + name;
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    const std::string utf8 = ToUtf8(name);
    if (!EndsIn(utf8, ".dll") && !EndsIn(utf8, ".exe")) {
      std::string content;
      const std::size_t size = (EndsIn(utf8, ".ptn") ? 400000U : 40000U) + static_cast<std::size_t>(round) * 1000U;
      while (content.size() < size) {
        content += "round " + std::to_string(round) + " of " + utf8 + " at " + std::to_string(content.size()) + "\r\n";
      }
      TestSupport::WriteTestFile(path, content);
    }
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    SYSTEMTIME when = {2020, 1, 0, 1, 0, static_cast<WORD>(round), 0, 0};
    FILETIME written = {};
    ::SystemTimeToFileTime(&when, &written);
    CHECK(::SetFileTime(file, nullptr, nullptr, &written));
    ::CloseHandle(file);
    ::SetFileAttributesW(path.c_str(), attributes);
  }
}

// Where each file of the product comes from. Paths below the product folder.
std::map<std::wstring, std::wstring> Origins() {
  std::map<std::wstring, std::wstring> origins;
  for (const StagingStep& step : StagingSteps(OutlookExpress::kStaged, kBase)) {
    for (const Tree& tree : step.trees) {
      for (const std::wstring& file : FilesInCopyOrder(tree.from)) {
        origins[(tree.to + file).substr(kProduct.size())] = tree.from + file;
      }
    }
    if (!step.settings.empty()) {
      origins[(step.folder + step.settings.substr(step.settings.rfind(L'\\'))).substr(kProduct.size())] = step.settings;
    }
  }
  return origins;
}

FILETIME LastWriteOf(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
  return data.ftLastWriteTime;
}

// What is wrong with the product's files: one that is missing, that is not the source's from end to end, or that nobody
// asked for; and, where nobody works on them any more, one without its source's time. A copy that waits for the restart
// is a whole one, too.
Lines Faults(bool settled = true) {
  const std::wstring waiting = L".tmp_";
  std::map<std::wstring, std::wstring> missing = Origins();
  const auto origins = missing;
  Lines faults;
  for (const std::wstring& file : FilesInCopyOrder(kProduct)) {
    std::wstring name = file;
    const bool waits = EndsIn(ToUtf8(name), ".tmp_");
    if (waits) {
      name.resize(name.size() - waiting.size());
    } else {
      missing.erase(name);
    }
    const auto origin = origins.find(name);
    if (origin == origins.end()) {
      faults.push_back("of nobody: " + ToUtf8(file));
    } else if (FileContent(kProduct + file) != FileContent(origin->second)) {
      faults.push_back("not whole: " + ToUtf8(file));
    } else if (settled && !waits) {
      const FILETIME wanted = LastWriteOf(origin->second);
      const FILETIME found = LastWriteOf(kProduct + file);
      if (::CompareFileTime(&wanted, &found) != 0) {
        faults.push_back("another time: " + ToUtf8(file));
      }
    }
  }
  for (const auto& [name, origin] : missing) {
    faults.push_back("missing: " + ToUtf8(name));
  }
  return faults;
}

// The log from `start` on; not by LogLinesFrom, which wants every line to be whole.
Lines RawLog(long long start) {
  const std::string text = FileContent(TestSupport::LogFilePath()).substr(static_cast<std::size_t>(start));
  Lines lines;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    std::string line = text.substr(begin, end - begin);
    line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
    lines.push_back(line);
    begin = end + 1;
  }
  return lines;
}

// Every line that either program may write: what each wrote alone, and what is written where the other one has a file.
class KnownLines {
 public:
  void Learn(const Lines& log) {
    for (const std::string& line : log) {
      const std::size_t end = line.find(kClosing);
      if (end != std::string::npos) {
        endings_.insert(line.substr(end));
        continue;
      }
      lines_.insert(line);
      const std::string copied = "LOG_INFO : CopyFile(";
      const std::size_t comma = line.find(", ");
      if (line.compare(0, copied.size(), copied) == 0 && comma != std::string::npos) {
        const std::string from = line.substr(copied.size(), comma - copied.size());
        const std::string to = line.substr(comma + 2, line.rfind(')') - comma - 2);
        lines_.insert("LOG_ERROR: ::CopyFile() failed: err(32), src(" + from + "), dst(" + to + ")");
        lines_.insert("LOG_INFO : RebootMove('" + from + "', '" + to + "') succeeded");
        lines_.insert("LOG_ERROR: CoreAgentUtility::File::copyFileEx(" + from + "," + to + ".tmp_) failed, err=32");
      }
    }
    for (const char* const client : {"OL", "OE", "WLM"}) {
      lines_.insert(std::string("LOG_WARN : Fail to copy VELA_") + client + ".ini !");
    }
  }

  enum class Kind { kWhole, kEnd, kUnknown };
  // The closing line has no line break of its own: the other program goes on behind it.
  Kind KindOf(std::string line) const {
    const std::size_t end = line.find(kClosing);
    if (end != std::string::npos) {
      const bool known = std::any_of(endings_.begin(), endings_.end(), [&](const std::string& ending) {
        if (line.compare(end, ending.size(), ending) != 0) {
          return false;
        }
        line.erase(0, end + ending.size());
        return true;
      });
      if (!known) {
        return Kind::kUnknown;
      }
    }
    if (line.empty() || lines_.count(line) != 0) {
      return Kind::kWhole;
    }
    return std::any_of(lines_.begin(), lines_.end(), [&](const std::string& known) { return EndsIn(known, line); })
               ? Kind::kEnd
               : Kind::kUnknown;
  }

 private:
  static constexpr char kClosing[] = " VELA END!!! RetrunCode:";
  std::set<std::string> lines_;
  std::set<std::string> endings_;
};

ProcessOutcome Alone(const wchar_t* command) {
  return TestProcess(kProgram, {command, World::kSource, World::kDestination}).Finish(60000);
}

TEST_CASE("an installation and an upgrade at once") {
  World world;
  world.OnWindows(TestSupport::WindowsVersion::kVista).WithSampleSource();
  KnownLines known;
  for (const wchar_t* const command : {L"-I", L"-I", L"-p"}) {
    const long long start = TestSupport::LogFileSize();
    Alone(command);
    known.Learn(RawLog(start));
  }
  REQUIRE(Faults().empty());

  unsigned refused = 0;
  unsigned ends = 0;
  unsigned lines = 0;
  std::size_t forgotten = 0;
  for (int round = 1; round <= kRounds; ++round) {
    CAPTURE(round);
    RenewSource(round);
    if (round % 4 == 1) {
      TestSupport::RemoveTree(kProduct);
    }
    const long long start = TestSupport::LogFileSize();
    const bool upgradeFirst = round % 2 == 0;
    TestProcess first(kProgram, {upgradeFirst ? L"-p" : L"-I", World::kSource, World::kDestination});
    TestProcess second(kProgram, {upgradeFirst ? L"-I" : L"-p", World::kSource, World::kDestination});
    const ProcessOutcome firstEnd = first.Finish(60000);
    const ProcessOutcome secondEnd = second.Finish(60000);

    CHECK_FALSE(firstEnd.timedOut);
    CHECK_FALSE(secondEnd.timedOut);
    CHECK(firstEnd.exitCode == (upgradeFirst ? 1 : 0));
    CHECK(secondEnd.exitCode == (upgradeFirst ? 0 : 1));
    CHECK_LINES(Faults(false), {});
    Lines unknown;
    for (const std::string& line : RawLog(start)) {
      const KnownLines::Kind kind = known.KindOf(line);
      if (kind == KnownLines::Kind::kUnknown) {
        unknown.push_back(line);
      }
      ends += kind == KnownLines::Kind::kEnd ? 1U : 0U;
      refused += line.find("err(32)") != std::string::npos ? 1U : 0U;
      ++lines;
    }
    CHECK_LINES(unknown, {});

    world.CarryOutPendingRenames();
    for (const std::wstring& file : FilesInCopyOrder(kProduct)) {
      forgotten += EndsIn(ToUtf8(file), ".tmp_") ? 1U : 0U;
    }
    CHECK(Alone(L"-p").exitCode == 1);
    CHECK_LINES(Faults(), {});
  }
  MESSAGE("files that the other one had: " << refused << "; copies that no restart takes: " << forgotten
                                           << "; lines: " << lines << ", of which only the end is left: " << ends);
}

}  // namespace
