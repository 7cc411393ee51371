#include "logreader/Findings.h"

namespace LogReader {

std::string_view NameOf(Outcome outcome) {
  constexpr std::string_view kNames[] = {"done",     "restart needed", "done in part",
                                         "not done", "did not finish", "no run"};
  return kNames[static_cast<int>(outcome)];
}

int ExitCodeOf(Outcome outcome) {
  constexpr int kCodes[] = {0, 3010, 1, 1, 1, 2};
  return kCodes[static_cast<int>(outcome)];
}

std::string_view Finding::Meaning() const {
  if (rule != nullptr && !rule->meaning.empty()) {
    return rule->meaning;
  }
  return message != nullptr ? message->meaning : std::string_view();
}

std::string_view Finding::Remedy() const {
  if (rule != nullptr && !rule->remedy.empty()) {
    return rule->remedy;
  }
  return message != nullptr ? message->remedy : std::string_view();
}

}  // namespace LogReader
