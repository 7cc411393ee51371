#include "tests/matrix/Chapter.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

using TestSupport::Lines;
using TestSupport::Outcome;
using TestSupport::ToUtf8;

namespace Matrix {
namespace {

constexpr char kTitle[] = "##### ";
constexpr char kBlank[] = "\xC2\xB7";  // a middle dot

std::string Variable(const wchar_t* name) {
  wchar_t value[1024] = {};
  const DWORD length = ::GetEnvironmentVariableW(name, value, 1024);
  return length < 1024 ? ToUtf8(value) : std::string();
}

// The run log has a byte for each character up to U+00FF.
std::string FromLog(const std::string& line) {
  std::wstring wide;
  for (const char character : line) {
    wide += static_cast<wchar_t>(static_cast<unsigned char>(character));
  }
  return ToUtf8(wide);
}

std::string Shown(std::string line) {
  if (line.find(kBlank) != std::string::npos) {
    throw std::logic_error("a middle dot stands for a blank and cannot be told: " + line);
  }
  std::string blanks;
  while (!line.empty() && line.back() == ' ') {
    line.pop_back();
    blanks += kBlank;
  }
  return line.empty() && blanks.empty() ? kBlank : line + blanks;
}

// Who runs the tests has a name that is not for the texts.
std::string WithoutUserName(std::string line) {
  static const std::string profile = Variable(L"USERPROFILE") + "\\";
  const std::size_t found = line.find(profile);
  return found == std::string::npos ? line : line.replace(found, profile.size(), "C:\\users\\[user]\\");
}

// Profiles are met in the order of their names: where lines follow one another that differ in the profile only, their
// order depends on who runs the tests as well.
void SortProfiles(Lines& lines) {
  const auto isOfProfile = [](const std::string& line) { return line.find("C:\\users\\") != std::string::npos; };
  for (auto first = lines.begin(); first != lines.end();) {
    first = std::find_if(first, lines.end(), isOfProfile);
    const auto last = std::find_if_not(first, lines.end(), isOfProfile);
    std::sort(first, last);
    first = last;
  }
}

void AddList(Lines& lines, const std::string& name, const Lines& list) {
  if (list.empty()) {
    lines.push_back(name + ": none");
    return;
  }
  lines.push_back(name + ":");
  for (const std::string& line : list) {
    lines.push_back("  " + Shown(line));
  }
}

std::string ExitCode(const Outcome& outcome) {
  if (outcome.timedOut) {
    return "none: it was ended";
  }
  char text[32] = {};
  std::snprintf(text, sizeof text, outcome.exitCode < 256 ? "%lu" : "0x%08lX", outcome.exitCode);
  return text;
}

std::string CommandLineOf(const std::vector<std::wstring>& arguments) {
  std::string text = "VELAutil.exe";
  for (const std::wstring& argument : arguments) {
    text += " " + (argument.find(L' ') == std::wstring::npos ? ToUtf8(argument) : "\"" + ToUtf8(argument) + "\"");
  }
  return text;
}

std::wstring ExpectedPath(const std::string& fileName) {
  std::string folder = Variable(L"VELA_EXPECTED_DIR");
  if (folder.empty()) {
    throw std::runtime_error("VELA_EXPECTED_DIR does not say where the expected texts lie");
  }
  // A path of the host below Wine.
  if (folder.front() == '/') {
    folder.insert(0, "Z:");
  }
  folder += "/" + fileName;
  std::wstring path(folder.size(), L'\0');
  path.resize(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, folder.data(), static_cast<int>(folder.size()),
                                                             path.data(), static_cast<int>(path.size()))));
  for (wchar_t& character : path) {
    character = character == L'/' ? L'\\' : character;
  }
  return path;
}

Lines SplitLines(const std::string& text) {
  Lines lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      throw std::runtime_error("the last line of an expected text is not ended");
    }
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

std::string JoinedLines(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
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
  const Outcome outcome = world.RunWithArguments(arguments);
  Told run = {title, {CommandLineOf(arguments), "exit code: " + ExitCode(outcome)}};
  Lines log;
  for (const std::string& line : outcome.log) {
    log.push_back(WithoutUserName(FromLog(line)));
  }
  SortProfiles(log);
  AddList(run.lines, "log", log);
  AddList(run.lines, "registry", outcome.registryDiff);
  AddList(run.lines, "modules", outcome.moduleDiff);
  Lines files;
  for (const std::string& line : outcome.fileDiff) {
    files.push_back(WithoutUserName(line));
  }
  AddList(run.lines, "files", files);
  AddList(run.lines, "at the restart", outcome.pending);
  chapter.push_back(std::move(run));
}

Lines AsText(const Chapter& chapter) {
  Lines text;
  for (const Told& run : chapter) {
    text.push_back(kTitle + run.title);
    text.insert(text.end(), run.lines.begin(), run.lines.end());
  }
  return text;
}

Chapter FromText(const Lines& text) {
  Chapter chapter;
  for (const std::string& line : text) {
    if (line.compare(0, sizeof kTitle - 1, kTitle) == 0) {
      chapter.push_back({line.substr(sizeof kTitle - 1), {}});
    } else if (chapter.empty()) {
      throw std::runtime_error("an expected text does not begin with the title of a run");
    } else {
      chapter.back().lines.push_back(line);
    }
  }
  return chapter;
}

void CheckChapter(const Chapter& chapter, const std::string& fileName, bool mayWrite) {
  CAPTURE(fileName);
  const std::wstring path = ExpectedPath(fileName);
  if (mayWrite && Variable(L"VELA_REGENERATE") == "1") {
    TestSupport::WriteTestFile(path, JoinedLines(AsText(chapter)));
  }
  REQUIRE_MESSAGE(TestSupport::Exists(path), "there is no such text to compare with (scripts/regenerate_expected.sh)");
  const Chapter wanted = FromText(SplitLines(TestSupport::FileContent(path)));
  CHECK_LINES(Titles(chapter), (Titles(wanted)));
  std::size_t differing = std::max(chapter.size(), wanted.size()) - std::min(chapter.size(), wanted.size());
  for (std::size_t i = 0; i < chapter.size() && i < wanted.size(); ++i) {
    CAPTURE(chapter[i].title);
    CHECK_LINES(chapter[i].lines, (wanted[i].lines));
    differing += chapter[i].lines == wanted[i].lines ? 0U : 1U;
  }
  // scripts/prove/matrix.sh counts these.
  std::printf("%s: %zu runs, %zu differ\n", fileName.c_str(), chapter.size(), differing);
}

}  // namespace Matrix
