#include "tests/matrix/Chapter.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string_view>

#include "tests/matrix/ExpectedTexts.h"
#include "tests/support/Approved.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/RunVerdict.h"
#include "tests/support/TestFiles.h"

using TestSupport::Lines;
using TestSupport::PathIn;
using TestSupport::ToUtf8;

namespace Matrix {
namespace {

constexpr std::string_view kVerdict = "verdict: ";

std::string CommandLineOf(const std::vector<std::wstring>& arguments) {
  std::string text = "VELAutil.exe";
  for (const std::wstring& argument : arguments) {
    text += " " + (argument.find(L' ') == std::wstring::npos ? ToUtf8(argument) : "\"" + ToUtf8(argument) + "\"");
  }
  return text;
}

// FNV-1a, which scripts/prove/matrix_rows.py computes too.
std::string Hash(const std::string& content) {
  unsigned long long hash = 0xCBF29CE484222325;
  for (const char byte : content) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  }
  char text[32] = {};
  std::snprintf(text, sizeof text, "%016llx", hash);
  return text;
}

std::wstring Wide(const std::string& text) {
  return {text.begin(), text.end()};
}

Lines Titles(const Chapter& chapter) {
  Lines titles;
  for (const Told& run : chapter) {
    titles.push_back(run.title);
  }
  return titles;
}

}  // namespace

void Tell(Chapter& chapter, TestSupport::World& world, const std::string& title,
          const std::vector<std::wstring>& arguments) {
  const TestSupport::Outcome outcome = world.RunWithArguments(arguments);
  const std::wstring program = TestSupport::World::kProgramFolder + std::wstring(L"\\VELAutil.exe");
  Told run = {title, TestSupport::RunText(outcome, {}), Hash(TestSupport::FileContent(program))};
  char code[32] = {};
  std::snprintf(code, sizeof code, outcome.exitCode < 256 ? "exit code: %lu" : "exit code: 0x%08lX", outcome.exitCode);
  run.lines.front() = outcome.timedOut ? "ended after the time limit" : code;
  run.lines.insert(run.lines.begin(), CommandLineOf(arguments));
  run.lines.insert(run.lines.begin() + 2, std::string(kVerdict) + TestSupport::LastVerdictText(world.Log()));
  chapter.push_back(std::move(run));
}

void CheckChapter(const Chapter& chapter, const std::string& name, const std::string& cell) {
  if (!TestSupport::Variable(L"VELA_REGENERATE").empty()) {
    std::string text;
    for (const Told& run : chapter) {
      text += "##### " + run.title + "\n";
      for (const std::string& line : run.lines) {
        text += line + "\n";
      }
    }
    TestSupport::WriteTestFile(PathIn(L"VELA_REGENERATE", Wide(name + "." + cell + ".txt")), text);
    return;
  }
  ExpectedTexts texts(cell);
  Chapter wanted;
  for (const char* const each : kChapters) {
    const std::wstring path = PathIn(L"VELA_EXPECTED_DIR", Wide(each + std::string(".txt")));
    REQUIRE_MESSAGE(TestSupport::Exists(path), "the expected text does not exist: ", ToUtf8(path));
    wanted = texts.Read(each, TestSupport::Split(TestSupport::FileContent(path)));
    if (name == each) {
      break;
    }
  }
  CAPTURE(cell);
  CAPTURE(name);
  CHECK_LINES(Titles(chapter), (Titles(wanted)));
  std::size_t differing = std::max(chapter.size(), wanted.size()) - std::min(chapter.size(), wanted.size());
  for (std::size_t i = 0; i < chapter.size() && i < wanted.size(); ++i) {
    CAPTURE(chapter[i].title);
    CHECK_LINES(chapter[i].lines, (wanted[i].lines));
    differing += chapter[i].lines == wanted[i].lines ? 0U : 1U;
  }
  // scripts/prove/matrix_rows.py counts these.
  std::printf("%s.txt: %zu runs, %zu differ\n", name.c_str(), chapter.size(), differing);
  std::map<std::string, int> verdicts;
  std::map<std::string, int> programs;
  for (const Told& run : chapter) {
    const std::string verdict = run.lines[2].substr(kVerdict.size());
    ++verdicts[verdict.substr(0, verdict.find(':'))];
    ++programs[run.program];
  }
  for (const auto& [verdict, runs] : verdicts) {
    std::printf("verdict %s: %d runs\n", verdict.c_str(), runs);
  }
  for (const auto& [program, runs] : programs) {
    std::printf("program %s: %d runs\n", program.c_str(), runs);
  }
}

}  // namespace Matrix
