// What a sweep found, and its row in the table.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TextLines.h"

namespace Faults {

// The findings of all runs. Each is shown once, with the number of runs that had it and the first of them.
class Findings {
 public:
  void Add(const std::string& run, const TestSupport::Lines& broken);
  int Runs() const { return runs_; }  // that broke a promise
  std::string Text() const;

 private:
  int runs_ = 0;
  std::map<std::string, std::pair<int, std::string>> lines_;
};

// Writes a text into the file that the environment variable VELA_FAULTS_ROW names (below the build folder), or into one
// beside it: `ending` is added to the name. Without the variable, it does nothing.
void WriteRowFile(const std::string& ending, const std::string& text);

// Prints "| `-s` | 14 | 17 | 0 |": the name, the numbers, and the runs with findings. Also writes it with WriteRowFile.
void ReportRow(const std::string& name, const std::vector<int>& numbers, const Findings& findings);

}  // namespace Faults
