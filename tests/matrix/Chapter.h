// A chapter of the matrix: one machine, and the runs of the program on it, one after the other. Each run is recorded
// completely, as readable text, with the verdict of VELAlog.exe, and compared with the reviewed text.
#pragma once

#include <string>
#include <vector>

#include "tests/support/World.h"

namespace Matrix {

// One run as text.
struct Told {
  std::string title;
  TestSupport::Lines lines;
  std::string program = {};  // a hash of the file that ran
};
using Chapter = std::vector<Told>;

// The names of the chapters. Each is a file with the expected texts. It may refer to the files before it.
inline constexpr const char* kChapters[] = {"life", "destinations", "outlook_2002", "ordinary_user"};

// Runs the program with these arguments and adds the results. A middle dot marks a blank at the end of a line, and an
// empty line of the run log.
void Tell(Chapter& chapter, TestSupport::World& world, const std::string& title,
          const std::vector<std::wstring>& arguments);

// Compares a chapter with its expected text for one cell of the matrix ("windows_7.1252"), run by run. The files are in
// the folder VELA_EXPECTED_DIR; a missing file is a failure. If VELA_REGENERATE names a folder, the whole chapter is
// written there instead. shorten_texts.py makes the files from these.
void CheckChapter(const Chapter& chapter, const std::string& name, const std::string& cell);

}  // namespace Matrix
