// Turns the results of a run into lines, for the scenario host.
#pragma once

#include <string>
#include <utility>

#include "tests/support/TextLines.h"

namespace TestSupport {

// In the format of the closing line of the run log: "[2024/05/06 13:04:09]". Such texts sort by time.
std::string LogTimeNow();

// Replaces the time in the last line by "[time]" if that line is the closing line of a run and the time lies between
// the two.
void NormaliseClosingLine(Lines& log, const std::string& earliest, const std::string& latest);

// "C:\a -> !C:\b"
std::string PendingLine(const std::pair<std::wstring, std::wstring>& rename);

// "-" and the lines that are only in `before`, then "+" and the lines that are only in `after`.
Lines ListDifference(const Lines& before, const Lines& after);

// One column of a file with tab-separated fields; empty if the file does not exist.
Lines ColumnOf(const std::wstring& path, int column);

}  // namespace TestSupport
