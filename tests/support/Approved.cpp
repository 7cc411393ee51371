#include "tests/support/Approved.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

namespace TestSupport {
namespace {

constexpr char kTitle[] = "##### ";
constexpr char kBlank[] = "\xC2\xB7";  // a middle dot

std::string Replaced(std::string text, const std::string& part, const std::string& name) {
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += name.size()) {
    text.replace(at, part.size(), name);
  }
  return text;
}

// The run log has one byte for each character up to U+00FF.
std::string FromLog(const std::string& line) {
  std::wstring wide;
  for (const char character : line) {
    wide += static_cast<wchar_t>(static_cast<unsigned char>(character));
  }
  return ToUtf8(wide);
}

// The file changes leave out this folder.
std::string WithRoot(const std::string& change) {
  const std::string root = ToUtf8(World::kRoot) + "\\";
  return change.compare(1, 2, "C:") == 0 ? change : change.substr(0, 1) + root + change.substr(1);
}

void AddList(Lines& lines, const std::string& heading, const Lines& list, const Names& names) {
  if (!list.empty()) {
    lines.push_back(heading + ":");
  }
  for (std::string line : list) {
    for (const auto& [path, name] : names) {
      line = Replaced(std::move(line), ToUtf8(path), name);
    }
    const std::size_t end = line.find_last_not_of(' ') + 1;
    const std::size_t blanks = std::max<std::size_t>(line.size() - end, line.empty() ? 1 : 0);
    line.resize(end);
    for (std::size_t i = 0; i < blanks; ++i) {
      line += kBlank;
    }
    lines.push_back("  " + line);
  }
}

// The name of the user who runs the tests must not get into the texts.
std::string WithoutUserName(const std::string& line) {
  static const std::string own = ToUtf8(Variable(L"USERPROFILE")) + "\\";
  return Replaced(line, own, "C:\\users\\[user]\\");
}

// Profiles come in the order of their names. One of the names is that of the user who runs the tests.
void SortProfiles(Lines& log) {
  const auto isOfProfile = [](const std::string& line) { return line.find("C:\\users\\") != std::string::npos; };
  for (auto first = log.begin(); first != log.end();) {
    first = std::find_if(first, log.end(), isOfProfile);
    const auto last = std::find_if_not(first, log.end(), isOfProfile);
    std::sort(first, last);
    first = last;
  }
}

// The line. If the same line came before, its number follows.
std::string Numbered(const Lines& lines) {
  const auto count = std::count(lines.begin(), lines.end(), lines.back());
  return lines.back() + (count == 1 ? "" : " [" + std::to_string(count) + "]");
}

std::wstring ApprovedPath() {
  wchar_t program[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  std::wstring name = program;
  name = name.substr(name.rfind(L'\\') + 1);
  name = name.substr(name.find(L'.') + 1);  // "scenarios."
  return PathIn(L"VELA_EXPECTED_DIR", name.substr(0, name.rfind(L'.')) + L".txt");
}

// Begin of the section (after its title) and its end. Both are the end of the text if the section is missing.
std::pair<std::size_t, std::size_t> SectionOf(const Lines& text, const std::string& title) {
  const auto begin = std::find(text.begin(), text.end(), kTitle + title);
  const auto first = begin == text.end() ? begin : begin + 1;
  const auto last =
      std::find_if(first, text.end(), [](const std::string& line) { return line.compare(0, 6, kTitle) == 0; });
  return {first - text.begin(), last - text.begin()};
}

}  // namespace

std::wstring Variable(const wchar_t* name) {
  wchar_t value[1024] = {};
  const DWORD length = ::GetEnvironmentVariableW(name, value, 1024);
  return length < 1024 ? value : L"";
}

std::wstring PathIn(const wchar_t* variable, const std::wstring& fileName) {
  const std::wstring folder = Variable(variable);
  if (folder.empty()) {
    throw std::runtime_error(ToUtf8(variable) + " does not name the folder of the texts");
  }
  std::wstring path = (folder.front() == L'/' ? L"Z:" : L"") + folder + L"\\" + fileName;
  std::replace(path.begin(), path.end(), L'/', L'\\');
  return path;
}

Lines RunText(const Outcome& outcome, const Names& names) {
  std::ostringstream code;
  code << "exit code: " << (outcome.exitCode < 256 ? std::dec : std::hex) << outcome.exitCode;
  Lines lines = {outcome.timedOut ? "it was ended" : code.str()};
  Lines log;
  for (const std::string& line : outcome.log) {
    log.push_back(WithoutUserName(FromLog(line)));
  }
  SortProfiles(log);
  AddList(lines, "log", log, names);
  AddList(lines, "registry", outcome.registryDiff, names);
  AddList(lines, "modules", outcome.moduleDiff, names);
  Lines files;
  for (const std::string& change : outcome.fileDiff) {
    files.push_back(WithRoot(WithoutUserName(change)));
  }
  AddList(lines, "files", files, names);
  AddList(lines, "at the restart", outcome.pending, names);
  return lines;
}

Lines Changes(const Lines& plain, const Lines& run) {
  Lines changes;
  Lines before;  // of the plain run
  Lines missing;
  Lines added;
  for (const std::string& line : Split(Difference(plain, run) + "  \n")) {
    if (line.front() != ' ') {
      (line.front() == '-' ? missing : added).push_back(line.substr(1));
      continue;
    }
    if (!missing.empty()) {
      before.push_back(missing.front());
      changes.push_back("-" + Numbered(before));
      before.insert(before.end(), missing.begin() + 1, missing.end());
      if (missing.size() == 2) {
        changes.push_back("-" + missing.back());
      } else if (missing.size() > 2) {
        changes.push_back("- [" + std::to_string(missing.size() - 1) + " more]");
      }
    } else if (!added.empty() && !before.empty()) {
      changes.push_back(" " + Numbered(before));
    }
    std::transform(added.begin(), added.end(), std::back_inserter(changes),
                   [](const std::string& text) { return "+" + text; });
    missing.clear();
    added.clear();
    before.push_back(line.substr(1));
  }
  return changes;
}

void CheckApproved(const std::string& title, const Lines& lines) {
  CAPTURE(title);
  const std::wstring path = ApprovedPath();
  Lines text = Exists(path) ? Split(FileContent(path)) : Lines();
  auto [first, last] = SectionOf(text, title);
  // Runs that have the same description share one text. The first of them writes it.
  static std::set<std::string> written;
  if (!Variable(L"VELA_REGENERATE").empty() && written.insert(title).second) {
    if (first == text.size() && (text.empty() || text.back() != kTitle + title)) {
      text.push_back(kTitle + title);
      first = last = text.size();
    }
    const auto at =
        text.erase(text.begin() + static_cast<std::ptrdiff_t>(first), text.begin() + static_cast<std::ptrdiff_t>(last));
    text.insert(at, lines.begin(), lines.end());
    std::string content;
    for (const std::string& line : text) {
      content += line + "\n";
    }
    WriteTestFile(path, content);
    std::tie(first, last) = SectionOf(text, title);
  }
  REQUIRE_MESSAGE(std::find(text.begin(), text.end(), kTitle + title) != text.end(),
                  "no text was approved for this run (scripts/regenerate_expected.sh)");
  CHECK_LINES(lines, (Lines(text.begin() + static_cast<std::ptrdiff_t>(first),
                            text.begin() + static_cast<std::ptrdiff_t>(last))));
}

}  // namespace TestSupport
