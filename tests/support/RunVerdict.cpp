#include "tests/support/RunVerdict.h"

#include <cctype>
#include <sstream>
#include <string_view>

#include "logreader/Log.h"

namespace TestSupport {
namespace {

LogReader::Verdict Read(const std::string& log, long long& firstLine) {
  std::istringstream stream(log);
  LogReader::Verdict last;
  LogReader::ReadRuns(stream, [&](const LogReader::Run& run, const LogReader::Verdict& verdict) {
    last = verdict;
    firstLine = run.firstLine;
  });
  return last;
}

}  // namespace

LogReader::Verdict LastVerdict(const std::string& log) {
  long long firstLine = 0;
  return Read(log, firstLine);
}

std::string LastVerdictText(const std::string& log) {
  constexpr std::string_view kLine = "line ";
  long long firstLine = 1;
  const LogReader::Verdict verdict = Read(log, firstLine);
  std::string text = std::string(NameOf(verdict.outcome)) + ": " + verdict.sentence;
  for (std::size_t at = text.find(kLine); at != std::string::npos; at = text.find(kLine, at)) {
    at += kLine.size();
    std::size_t end = at;
    while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])) != 0) {
      ++end;
    }
    if (end != at) {
      text.replace(at, end - at, std::to_string(std::stoll(text.substr(at, end - at)) - firstLine + 1));
    }
  }
  return text;
}

}  // namespace TestSupport
