// A chapter of the matrix: one machine, and the runs of the program on it one after the other. Each run is written down
// whole; what is written down is text for a reader, and compared with the text that was reviewed.
#pragma once

#include <string>
#include <vector>

#include "tests/support/World.h"

namespace Matrix {

// One run, as it is told.
struct Told {
  std::string title;
  TestSupport::Lines lines;
};
using Chapter = std::vector<Told>;

// Runs the program with these arguments and adds what it did.
void Tell(Chapter& chapter, TestSupport::World& world, const std::string& title,
          const std::vector<std::wstring>& arguments);

// The whole text of a chapter, a line for each line. A blank at the end of a line is told as a middle dot, and so is an
// empty line of the run log.
TestSupport::Lines AsText(const Chapter& chapter);
// The same text, cut into its runs again.
Chapter FromText(const TestSupport::Lines& text);

// Compares a chapter with the file of this name (folder: the environment variable VELA_EXPECTED_DIR), run by run. A
// file that is missing is a failure. With VELA_REGENERATE=1 the file is written first where `mayWrite` is true: one
// chapter of those that share a file owns it, the others have to agree.
void CheckChapter(const Chapter& chapter, const std::string& fileName, bool mayWrite);

}  // namespace Matrix
