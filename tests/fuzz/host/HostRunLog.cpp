// The run log of a fuzzed process, which nobody reads. The real one writes two-byte wide characters to streams, and
// this machine's streams do not support them.
#include "cli/RunLog.h"

namespace RunLog {

Entry::Entry(const wchar_t*) {}

Entry& Entry::operator<<(std::wstring_view) {
  return *this;
}

Entry& Entry::operator<<(unsigned int) {
  return *this;
}

Entry& Entry::operator<<(unsigned long) {
  return *this;
}

Entry Info() {
  return Entry(L"");
}

Entry Error() {
  return Entry(L"");
}

}  // namespace RunLog
