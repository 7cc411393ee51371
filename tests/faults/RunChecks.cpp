#include "tests/faults/RunChecks.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

namespace Faults {
namespace {

using TestSupport::Lines;

constexpr DWORD kSwitchNotStored = 0xE0FF0001;

// What may stay taken, and why.
struct MeantToStay {
  std::string_view note;   // how the note begins
  std::string_view place;  // the function that took it (the beginning of its name is enough)
  bool (*isMeant)(const SubjectOutcome& outcome);
};

// A function that is bound by name was not available.
bool SessionFailed(const SubjectOutcome& outcome) {
  return std::any_of(outcome.remarks.begin(), outcome.remarks.end(),
                     [](const std::string& remark) { return remark == "session failed"; });
}

bool LacksMemory(const SubjectOutcome& outcome) {
  return outcome.refused != 0;
}

constexpr MeantToStay kMeantToStay[] = {
    // The shell's libraries stay until the process ends.
    {"left LoadLibraryW ", "OrCommon::Shell::", [](const SubjectOutcome&) { return true; }},
    // The functions that give these back were not available.
    {"left CreateEnvironmentBlock ", "OrCommon::TerminalService::StartImpersonateLoggedOnUser", SessionFailed},
    {"left LoadUserProfileW ", "VELAUtility::LoadLoggedOnUserProfile", SessionFailed},
    // The runtime could not note that the trace must be destroyed at the end. The end of the process releases it.
    {"left InitializeCriticalSection ", "OrCommon::DebugLog::DebugLog", LacksMemory},
};

bool Has(const Lines& log, std::string_view text) {
  return std::any_of(log.begin(), log.end(),
                     [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

std::string Hexadecimal(DWORD number) {
  char text[20] = {};
  std::snprintf(text, sizeof text, "0x%lX", number);
  return text;
}

// The words of "left CloseHandle 1a2b handle". The number of the place is replaced by its name.
std::string Named(const std::string& note, std::string& place) {
  const std::size_t function = note.find(' ') + 1;
  const std::size_t begin = note.find(' ', function) + 1;
  const std::size_t end = std::min(note.find(' ', begin), note.size());
  if (function == 0 || begin == 0 || note == "session failed") {
    return note;
  }
  place = PlaceName(note.substr(begin, end - begin));
  return note.substr(0, begin) + "in " + place + note.substr(end);
}

bool IsMeant(const SubjectOutcome& outcome, const std::string& note, const std::string& place) {
  return note == "session failed" ||
         std::any_of(std::begin(kMeantToStay), std::end(kMeantToStay), [&](const MeantToStay& row) {
           return note.compare(0, row.note.size(), row.note) == 0 &&
                  place.compare(0, row.place.size(), row.place) == 0 && row.isMeant(outcome);
         });
}

void CheckLog(const SubjectOutcome& outcome, Lines& broken) {
  if (!outcome.logPossible) {
    return;  // its folder could not be created: the run goes on without a log
  }
  const std::string wanted = " VELA END!!! RetrunCode:" + std::to_string(static_cast<int>(outcome.exitCode));
  const std::string last = outcome.log.empty() ? std::string() : outcome.log.back();
  if (last.size() < wanted.size() || last.compare(last.size() - wanted.size(), wanted.size(), wanted) != 0) {
    broken.push_back("the closing line is missing or has another exit code: \"" + last + "\"");
  }
}

void CheckExitCode(const Scenario& scenario, const SubjectOutcome& outcome, Lines& broken) {
  const wchar_t letter = scenario.commandSwitch[1];
  const DWORD code = outcome.exitCode;
  if (code == kBrokenOff && outcome.refused != 0) {
    return;
  }
  DWORD wanted = 0;
  if (letter == L'I') {
    const bool lost = Has(outcome.log, "Fail to set VELA enable/disable status to reg !!");
    wanted = lost || (!outcome.logPossible && code == kSwitchNotStored) ? kSwitchNotStored : 0;
  } else if (letter == L'r' || letter == L'p') {
    const bool refused = Has(outcome.log, "Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT");
    wanted = refused || (!outcome.logPossible && code == 0) ? 0 : 1;
  }
  if (code != wanted) {
    broken.push_back("exit code " + Hexadecimal(code) + ", expected " + Hexadecimal(wanted));
  }
}

}  // namespace

Lines BrokenPromises(const Scenario& scenario, const SubjectOutcome& outcome) {
  Lines broken;
  if (outcome.timedOut) {
    return {"the run timed out"};
  }
  if (!outcome.noted) {
    return {"the run crashed: exit code " + Hexadecimal(outcome.exitCode)};
  }
  // Without memory to throw, the runtime aborts, but before the command begins. The first change is the log's folder.
  if (!outcome.returned && (outcome.refused == 0 || outcome.changes > 1 || Has(outcome.log, " cmd:"))) {
    broken.push_back("the run aborted in the middle of its command");
  }
  CheckLog(outcome, broken);
  CheckExitCode(scenario, outcome, broken);
  for (const std::string& remark : outcome.remarks) {
    std::string place;
    const std::string named = Named(remark, place);
    if (!IsMeant(outcome, remark, place)) {
      broken.push_back(named);
    }
  }
  return broken;
}

}  // namespace Faults
