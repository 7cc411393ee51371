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

// Prints "| `-s` | 14 | 17 | 0 |": the name, the numbers, and the runs with findings. If the environment variable
// VELA_FAULTS_ROW names a file (below the build folder), it is written there as well.
void ReportRow(const std::string& name, const std::vector<int>& numbers, const Findings& findings);

}  // namespace Faults
