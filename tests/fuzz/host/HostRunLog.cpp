// The run log of a fuzzed process: a text in memory (HostWindows.h). Wide streams of this machine write wide characters
// of four bytes and cannot stand in.
#include <string>

#include "cli/RunLog.h"
#include "tests/fuzz/host/HostWindows.h"

namespace RunLog {
namespace {

std::wstring& Log() {
  return HostWindows::machine.log;
}

void Append(const std::string& text) {
  Log().append(text.begin(), text.end());
}

}  // namespace

Entry::Entry(const wchar_t* prefix) {
  Log() += L'\n';
  Log() += prefix;
}

Entry& Entry::operator<<(std::wstring_view text) {
  Log() += text;
  return *this;
}

Entry& Entry::operator<<(std::wostream& (*)(std::wostream&)) {
  Log() += L'\n';
  return *this;
}

Entry& Entry::operator<<(const char* text) {
  Append(text);
  return *this;
}

Entry& Entry::operator<<(int number) {
  Append(std::to_string(number));
  return *this;
}

Entry& Entry::operator<<(unsigned int number) {
  Append(std::to_string(number));
  return *this;
}

Entry& Entry::operator<<(unsigned long number) {
  Append(std::to_string(number));
  return *this;
}

Entry& Entry::operator<<(bool value) {
  Append(value ? "1" : "0");
  return *this;
}

Entry Info() {
  return Entry(L"LOG_INFO : ");
}

Entry Error() {
  return Entry(L"LOG_ERROR: ");
}

Entry Warn() {
  return Entry(L"LOG_WARN : ");
}

Entry Event() {
  return Entry(L"LOG_EVENT :");
}

void Flush() {}

}  // namespace RunLog
