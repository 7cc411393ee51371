// Whole runs compared with texts that were reviewed. A text holds what a run does otherwise than a plain run of the
// same command, which the test plays first and the matrix compares line by line.
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

// What stands in a text for a path: {L"C:\\VelaTest\\dest", "[dest]"}. Applied in order.
using Names = std::vector<std::pair<std::wstring, std::string>>;

// An environment variable; empty where there is none.
std::wstring Variable(const wchar_t* name);
// A file in the folder that a variable names, which may be one of the host below Wine.
std::wstring PathIn(const wchar_t* variable, const std::wstring& fileName);

// A run as lines: its exit code, then its log and its changes, a heading before each list. Characters of the log beyond
// ASCII are written in UTF-8. A middle dot stands for a blank at the end of a line, and for an empty line.
Lines RunText(const Outcome& outcome, const Names& names);

// "- line" and, in its place, "+ line". What only comes stands behind the line that both runs have before it. A line
// that the plain run has more than once has its number behind it. Of a long group that is missing, the first and the
// last line and the number of those between them.
Lines Changes(const Lines& plain, const Lines& run);

// Compares with the section `title` of the approved text of this test program: <VELA_EXPECTED_DIR>/<program>.txt.
// Where VELA_REGENERATE is set, the section is written first (scripts/regenerate_expected.sh).
void CheckApproved(const std::string& title, const Lines& lines);

}  // namespace TestSupport
