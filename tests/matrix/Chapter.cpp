#include "tests/matrix/Chapter.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "tests/matrix/ExpectedTexts.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

using TestSupport::Lines;
using TestSupport::Outcome;
using TestSupport::ToUtf8;

namespace Matrix {
namespace {

constexpr char kBlank[] = "\xC2\xB7";  // a middle dot

std::wstring Variable(const wchar_t* name) {
  wchar_t value[1024] = {};
  const DWORD length = ::GetEnvironmentVariableW(name, value, 1024);
  return length < 1024 ? value : std::wstring();
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
  static const std::string profile = ToUtf8(Variable(L"USERPROFILE")) + "\\";
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

// A list without lines is not told.
void AddList(Lines& lines, const std::string& name, const Lines& list) {
  if (!list.empty()) {
    lines.push_back(name + ":");
  }
  for (const std::string& line : list) {
    lines.push_back("  " + Shown(line));
  }
}

// World tells paths below its root from there on: "+dest\\Orvane Labs\\". Here they are whole.
std::string WholePath(const std::string& line) {
  return line[2] == ':' ? line : line[0] + ToUtf8(TestSupport::World::kRoot) + "\\" + line.substr(1);
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

std::wstring PathBelow(std::wstring folder, const std::string& fileName) {
  // A path of the host below Wine.
  if (folder.compare(0, 1, L"/") == 0) {
    folder.insert(0, L"Z:");
  }
  folder += L"\\" + std::wstring(fileName.begin(), fileName.end());
  std::replace(folder.begin(), folder.end(), L'/', L'\\');
  return folder;
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
    files.push_back(WholePath(WithoutUserName(line)));
  }
  AddList(run.lines, "files", files);
  AddList(run.lines, "at the restart", outcome.pending);
  chapter.push_back(std::move(run));
}

void CheckChapter(const Chapter& chapter, const std::string& name, const std::string& cell) {
  const std::wstring written = Variable(L"VELA_REGENERATE");
  if (!written.empty()) {
    std::string text;
    for (const Told& run : chapter) {
      text += "##### " + run.title + "\n";
      for (const std::string& line : run.lines) {
        text += line + "\n";
      }
    }
    TestSupport::WriteTestFile(PathBelow(written, name + "." + cell + ".txt"), text);
    return;
  }
  ExpectedTexts texts(cell);
  Chapter wanted;
  for (const char* const each : kChapters) {
    const std::wstring path = PathBelow(Variable(L"VELA_EXPECTED_DIR"), each + std::string(".txt"));
    REQUIRE_MESSAGE(TestSupport::Exists(path), "there is no text to compare with: ", each);
    wanted = texts.Read(each, SplitLines(TestSupport::FileContent(path)));
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
  // scripts/prove/matrix.sh counts these.
  std::printf("%s.txt: %zu runs, %zu differ\n", name.c_str(), chapter.size(), differing);
}

}  // namespace Matrix
