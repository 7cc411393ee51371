// Lists of lines and their differences.
#pragma once

#include <doctest/doctest.h>

#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

using Lines = std::vector<std::string>;

std::string ToUtf8(std::wstring_view text);

// The lines of a text; a line may end in LF or CR LF.
Lines Split(const std::string& text);

// All lines of both lists, in order: "  same", "- expected, but missing", "+ present, but not expected". Empty if the
// lists are equal.
std::string Difference(const Lines& wanted, const Lines& actual);

// The lines that contain `part`.
Lines LinesWith(const Lines& lines, std::string_view part);

}  // namespace TestSupport

// CHECK_LINES(outcome.log, {"first", "second"}): compares two lists of lines and shows the differences. The macro is
// variadic, because the braces may contain commas.
#define CHECK_LINES(actual, ...)                                                                               \
  do {                                                                                                         \
    const std::string linesDifference = ::TestSupport::Difference(::TestSupport::Lines __VA_ARGS__, (actual)); \
    CHECK_MESSAGE(linesDifference.empty(), #actual " (- wanted, + actual):\n", linesDifference);               \
  } while (false)
