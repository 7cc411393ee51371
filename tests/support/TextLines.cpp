#include "tests/support/TextLines.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <sstream>

namespace TestSupport {

std::string ToUtf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string converted(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, converted.data(), size, nullptr, nullptr);
  return converted;
}

Lines Split(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    lines.push_back(line);
  }
  return lines;
}

std::string Difference(const Lines& wanted, const Lines& actual) {
  if (wanted == actual) {
    return {};
  }
  // Lengths of the longest common subsequences of the remaining parts of both lists.
  const std::size_t width = actual.size() + 1;
  std::vector<std::size_t> common((wanted.size() + 1) * width, 0);
  for (std::size_t i = wanted.size(); i-- > 0;) {
    for (std::size_t j = actual.size(); j-- > 0;) {
      common[i * width + j] = wanted[i] == actual[j]
                                  ? common[(i + 1) * width + j + 1] + 1
                                  : (std::max)(common[(i + 1) * width + j], common[i * width + j + 1]);
    }
  }
  std::string text;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < wanted.size() || j < actual.size()) {
    if (i < wanted.size() && j < actual.size() && wanted[i] == actual[j]) {
      text += "  " + wanted[i] + "\n";
      ++i;
      ++j;
    } else if (j == actual.size() || (i < wanted.size() && common[(i + 1) * width + j] >= common[i * width + j + 1])) {
      text += "- " + wanted[i++] + "\n";
    } else {
      text += "+ " + actual[j++] + "\n";
    }
  }
  return text;
}

Lines LinesWith(const Lines& lines, std::string_view part) {
  Lines found;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
               [&](const std::string& line) { return line.find(part) != std::string::npos; });
  return found;
}

}  // namespace TestSupport
