// The expected texts of the matrix, as shorten_texts.py writes them. A chapter has one file for all cells (a cell is a
// system and a code page, "windows_7.1252"). Each run is written once, as a whole text or as differences from another:
//
//   ##### -s, installed                      a run of the chapter: its text, in all cells that are not listed below
//   like life: -s, not installed yet         the text of that run (written earlier), with the changes below
//   with C:\b for C:\a                       a replacement in that text
//   @@ 9                                     a change at its line 9:
//   -  LOG_INFO : REG Open Fail              this line is missing,
//   -[20 more, to]  LOG_INFO : Enable OK     the next 20 are missing too; the last one is shown,
//   +  LOG_INFO : Status Get Success         and this one replaces them
//   ===== windows_7 windows_8.932            in these cells the text is the one above, with the changes below ...
//   like windows_vista.932                   ... or the text of this cell (written earlier), with the changes below
#pragma once

#include <map>

#include "tests/matrix/Chapter.h"

namespace Matrix {

class ExpectedTexts {
 public:
  explicit ExpectedTexts(std::string cell) : cell_(std::move(cell)) {}

  // The runs of this cell in the next chapter. Throws std::runtime_error, with chapter, run and line, if the text does
  // not have this form or differs from the line that it removes.
  Chapter Read(const std::string& chapter, const TestSupport::Lines& text);

 private:
  std::string cell_;
  std::map<std::string, TestSupport::Lines> said_;  // "life: -s"
};

}  // namespace Matrix
