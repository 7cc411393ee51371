#include "tests/faults/Findings.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"

namespace Faults {
namespace {

constexpr std::size_t kShown = 40;

}  // namespace

void Findings::Add(const std::string& run, const TestSupport::Lines& broken) {
  runs_ += broken.empty() ? 0 : 1;
  for (const std::string& line : broken) {
    auto& [count, first] = lines_[line];
    if (count++ == 0) {
      first = run;
    }
  }
}

std::string Findings::Text() const {
  std::string text;
  std::size_t shown = 0;
  for (const auto& [line, found] : lines_) {
    if (++shown > kShown) {
      return text + "  and " + std::to_string(lines_.size() - kShown) + " more\n";
    }
    text += "  " + line + "\n    in " + std::to_string(found.first) + " runs, the first: " + found.second + "\n";
  }
  return text;
}

void WriteRowFile(const std::string& ending, const std::string& text) {
  if (const char* const file = std::getenv("VELA_FAULTS_ROW")) {
    std::wstring path(file, file + std::strlen(file));
    std::replace(path.begin(), path.end(), L'/', L'\\');
    TestSupport::WriteTestFile(TestSupport::BuildFolder() + L"\\" + path + std::wstring(ending.begin(), ending.end()),
                               text);
  }
}

void ReportRow(const std::string& name, const std::vector<int>& numbers, const Findings& findings) {
  std::string row = "| `" + name + "` |";
  for (const int number : numbers) {
    row += " " + std::to_string(number) + " |";
  }
  row += " " + std::to_string(findings.Runs()) + " |";
  std::printf("%s\n", row.c_str());
  std::fflush(stdout);
  WriteRowFile("", row + "\n");
}

}  // namespace Faults
