// What the tables of these tests have in common.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/faults/Findings.h"

namespace Large {

// The full form leaves its table in a file; the variable names it (Findings.h).
inline bool IsFullForm() {
  return std::getenv("VELA_FAULTS_ROW") != nullptr;
}

inline void Report(const std::string& table) {
  std::fputs(table.c_str(), stdout);
  Faults::WriteRowFile("", table);
}

// 200000 as "200,000".
inline std::string Grouped(long long number) {
  std::string text = std::to_string(number);
  for (std::size_t place = text.size(); place > 3; place -= 3) {
    text.insert(place - 3, ",");
  }
  return text;
}

// With two decimals.
inline std::string Decimal(double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.2f", number);
  return text;
}

}  // namespace Large
