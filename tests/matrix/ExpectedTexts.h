// The expected texts of the matrix, as shorten_texts.py writes them. A chapter has one file for all cells (a cell is a
// system and a code page, "windows_7.1252"). It says each run once, whole or by its difference from another one:
//
//   ##### -s, installed                      a run of the chapter: its text, in the cells that nothing else is said of
//   like life: -s, not installed yet         the text of that run, which was said before, but for the lines below
//   with C:\b for C:\a                       in that text
//   @@ 9                                     from its line 9 on,
//   -  LOG_INFO : REG Open Fail              this line is not there,
//   -[20 more, to]  LOG_INFO : Enable OK     nor are the 20 after it; the last one is shown
//   +  LOG_INFO : Status Get Success         and this one comes in their place
//   ===== windows_7 windows_8.932            in these cells the text is the one above, but for ...
//   like windows_vista.932                   ... or the one that was said of this cell, but for ...
#pragma once

#include <map>

#include "tests/matrix/Chapter.h"

namespace Matrix {

class ExpectedTexts {
 public:
  explicit ExpectedTexts(std::string cell) : cell_(std::move(cell)) {}

  // The runs of this cell in the next chapter. Throws std::runtime_error, with chapter, run and line, where the text
  // does not have this form or differs from the line that it takes away.
  Chapter Read(const std::string& chapter, const TestSupport::Lines& text);

 private:
  std::string cell_;
  std::map<std::string, TestSupport::Lines> said_;  // "life: -s"
};

}  // namespace Matrix
