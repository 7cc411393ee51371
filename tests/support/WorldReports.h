// How the scenario host puts into lines what a run did.
#pragma once

#include <string>
#include <utility>

#include "tests/support/TextLines.h"

namespace TestSupport {

// As the closing line of the run log has it: "[2024/05/06 13:04:09]". Such texts sort by time.
std::string LogTimeNow();

// Puts "[time]" in the place of the time in the last line, where that is the closing line of a run and the time lies
// between the two.
void NormaliseClosingLine(Lines& log, const std::string& earliest, const std::string& latest);

// "C:\a -> !C:\b"
std::string PendingLine(const std::pair<std::wstring, std::wstring>& rename);

// "-" and what is only in `before`, then "+" and what is only in `after`.
Lines ListDifference(const Lines& before, const Lines& after);

// One column of a file whose lines are fields with tabs in between; nothing where the file does not exist.
Lines ColumnOf(const std::wstring& path, int column);

}  // namespace TestSupport
