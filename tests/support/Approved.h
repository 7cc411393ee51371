// Compares whole runs with reviewed texts. A text holds the differences between a run and a plain run of the same
// command. The test plays the plain run first. The matrix compares the plain run line by line.
//
//   const Lines plain = RunText(world.Run(...), names);
//   ...
//   CheckApproved("a monitor is missing", Changes(plain, RunText(other.Run(...), names)));
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/World.h"

namespace TestSupport {

// The text that replaces a path: {L"C:\\VelaTest\\dest", "[dest]"}. Applied in order.
using Names = std::vector<std::pair<std::wstring, std::string>>;

// An environment variable; empty if it does not exist.
std::wstring Variable(const wchar_t* name);
// A file in the folder that a variable names. The folder may be one of the host below Wine.
std::wstring PathIn(const wchar_t* variable, const std::wstring& fileName);

// A run as lines: its exit code, its log and its changes. Each list has a heading. Characters of the log outside ASCII
// are written in UTF-8. A middle dot marks a blank at the end of a line, and an empty line.
Lines RunText(const Outcome& outcome, const Names& names);

// "- line", and "+ line" for the line that replaces it. A line that was only added follows the line before it that both
// runs have. If the plain run has a line more than once, its number follows it. Of a long missing group, only the first
// line, the last line and the number of lines between them are shown.
Lines Changes(const Lines& plain, const Lines& run);

// Compares with the section `title` of the approved text of this test program: <VELA_EXPECTED_DIR>/<program>.txt. If
// VELA_REGENERATE is set, the section is written first (scripts/regenerate_expected.sh).
void CheckApproved(const std::string& title, const Lines& lines);

}  // namespace TestSupport
