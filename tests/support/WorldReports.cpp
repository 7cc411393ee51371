#include "tests/support/WorldReports.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <regex>
#include <sstream>

#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

namespace TestSupport {

std::string LogTimeNow() {
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  char text[32] = {};
  std::snprintf(text, sizeof text, "[%04d/%02d/%02d %02d:%02d:%02d]", now.wYear, now.wMonth, now.wDay, now.wHour,
                now.wMinute, now.wSecond);
  return text;
}

void NormaliseClosingLine(Lines& log, const std::string& earliest, const std::string& latest) {
  static const std::regex closing(
      R"((LOG_INFO : )(\[\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\])( VELA END!!! RetrunCode:-?\d+))");
  std::smatch parts;
  if (!log.empty() && std::regex_match(log.back(), parts, closing) && parts[2] >= earliest && parts[2] <= latest) {
    log.back() = parts[1].str() + "[time]" + parts[3].str();
  }
}

std::string PendingLine(const std::pair<std::wstring, std::wstring>& rename) {
  const auto plain = [](std::wstring path) {
    const std::size_t prefix = path.find(L"\\??\\");
    return ToUtf8(prefix == std::wstring::npos ? path : path.erase(prefix, 4));
  };
  return plain(rename.first) + " -> " + plain(rename.second);
}

Lines ListDifference(const Lines& before, const Lines& after) {
  Lines changes;
  const auto addMissing = [&](const char* sign, const Lines& lines, const Lines& others) {
    for (const std::string& line : lines) {
      if (std::find(others.begin(), others.end(), line) == others.end()) {
        changes.push_back(sign + line);
      }
    }
  };
  addMissing("-", before, after);
  addMissing("+", after, before);
  return changes;
}

Lines ColumnOf(const std::wstring& path, int column) {
  Lines fields;
  for (const std::string& line : Split(Exists(path) ? FileContent(path) : std::string())) {
    std::istringstream text(line);
    std::string field;
    for (int number = 0; number <= column; ++number) {
      std::getline(text, field, '\t');
    }
    fields.push_back(field);
  }
  return fields;
}

}  // namespace TestSupport
