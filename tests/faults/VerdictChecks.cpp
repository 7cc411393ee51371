#include "tests/faults/VerdictChecks.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include "tests/support/RunVerdict.h"

using TestSupport::Lines;

namespace Faults {
namespace {

// The reasons, in the words of the list in docs/messages/head.md, which says how to check them.
// tests/build/check_docs.py compares them.
constexpr char kHive[] = "the add-in key of a single user was not written or not deleted";
constexpr char kSource[] = "a folder of the source is missing, or could be listed only in part";
constexpr char kFile[] = "a file was read only in part or not at all; its time or attributes were not set";
constexpr char kPrograms[] = "the running programs could not be listed";
constexpr char kWindows[] = "the Windows version or the processor could not be determined";
constexpr char kSwitch[] = "the switch was reported missing";
constexpr char kForms[] = "Outlook's folder could not be determined, or an old `Redemption.ECF` could not be deleted";
constexpr char kUserData[] = "a folder of the user's data was not created or not opened";
constexpr char kDelayed[] = "a delayed registration was not done";
constexpr char kStartValue[] = "a start-up value could not be deleted";
constexpr char kEvent[] = "an event was opened, but not set";
constexpr char kInUse[] = "a file was in use, or access to it was denied";
constexpr char kAddin[] = "the machine's key of the add-in was not deleted, or could not be opened";
constexpr char kCache[] = "an `Extend.dat` was not deleted, or the profiles could not be listed";
constexpr char kData[] = "a folder below `C:\\ProgramData\\Orvane Labs` was reported missing";
constexpr char kCommonData[] = "the common data folder could not be determined";

// What the log does not show.
struct SilentByDesign {
  std::string_view commands;
  std::string_view call;        // that failed; empty: any
  std::string_view place;       // the beginning of the function that called it; empty: any
  std::string_view difference;  // a part of the line about it; empty: any
  std::string_view reason;
};
constexpr SilentByDesign kSilentByDesign[] = {
    {"-I -e -d -U", "", "", "HKU\\", kHive},
    {"-I -p", "", "(anonymous namespace)::CopyOneFile", "C:\\VelaFaults\\dest\\", kFile},
    {"-I -p", "", "OrCommon::Storage::File::FolderEntries", "C:\\VelaFaults\\dest\\", kSource},
    {"-I -p", "CloseHandle", "", " time", kFile},
    {"-I -p -r -d -U", "", "OrCommon::System::FindProcessByName", "", kPrograms},
    {"-I -p -r -e -d -U", "GetVersionExW", "", "", kWindows},
    {"-I -p -e -d -U", "", "OrCommon::Library::", "", kWindows},
    {"-I", "RegQueryValueExW", "VELAUtility::GetVELAEnable", "", kSwitch},
    {"-I -e", "", "", "Redemption.ECF", kForms},
    {"-e", "", "", "C:\\ProgramData\\", kUserData},
    {"-e", "", "", "C:\\windows\\", kUserData},
    {"-e", "", "", "CoreAgent\\VELA", kDelayed},
    {"-e", "", "", "-started regsvr32.exe", kDelayed},
    {"-U", "", "", "\\CurrentVersion\\Run ", kStartValue},
    {"-d -U -p -r", "SetEvent", "", "-set an event", kEvent},
    {"-U", "", "", "C:\\VelaFaults\\dest\\VELA", kInUse},
    {"-U", "", "", "+HKLM\\Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent", kAddin},
    {"-U", "", "", "Outlook's cache\\Extend.dat", kCache},
    {"-U", "", "", "C:\\ProgramData\\Orvane Labs", kData},
    {"-U", "SHGetSpecialFolderPathW", "", "", kCommonData},
};

// What looks like a failure in the log of a run that left everything as it should be.
constexpr char kFolderExists[] = "the folder exists, and all files are in it";
constexpr char kKeyExists[] = "the key exists, as after an earlier installation";
constexpr char kValueExists[] = "the key or the value is there already, or a later step writes it";
constexpr char kSwitchedBefore[] = "the switch has the new state already";
constexpr char kSwitchIsOff[] = "filtering was off, or a mail client ran: it is off after this run in any case";
constexpr char kNoIdentity[] = "the user has no identity of Outlook Express, and no monitor was due";
constexpr char kNoFolder[] = "the entry or the folder does not exist";

struct HarmlessFailure {
  std::string_view commands;
  std::string_view failure;  // the beginning of the rule or of the anchor of the message
  std::string_view reason;
};
constexpr HarmlessFailure kHarmlessFailures[] = {
    {"-I -p", "shcreatedirectoryex-create-", kFolderExists},
    {"-I", "fail-to-create-vela-section-", kKeyExists},
    {"-I -e", "failed-to-createregkey-of-g-szolactivatekey-", kValueExists},
    {"-I -e", "failed-to-writeregintvalue-of-", kValueExists},
    {"-I -e", "store-registry-key-vela-reg-3rd-party-nektra-", kValueExists},
    {"-I -e", "fail-to-install-vela-wlm", kValueExists},
    {"-I", "querystringvalue-fail-keyname-velaenable-", kSwitchIsOff},
    {"-I", "reg-open-fail-path-", kSwitchIsOff},
    {"-e", "switched-not-stored", kSwitchedBefore},
    {"-e", "fail-on-frwk-windowstation-startimpersonate", kNoIdentity},
    {"-e", "no-user", kNoIdentity},
    {"-U", "orcommon-storage-file-deleteallfiles-failed-", kNoFolder},
    {"-U", "data-folder-stays", kNoFolder},
};

// How often each exception was used, in the order of the tables.
int silentUses[std::size(kSilentByDesign)] = {};
int harmlessUses[std::size(kHarmlessFailures)] = {};

// True if a row fits. Counts its use.
template <class Row, std::size_t kRows, class Fits>
bool IsListed(const Row (&rows)[kRows], int (&uses)[kRows], Fits fits) {
  bool isListed = false;
  for (std::size_t index = 0; index < kRows; ++index) {
    if (fits(rows[index])) {
      ++uses[index];
      isListed = true;
    }
  }
  return isListed;
}

bool IsOf(std::string_view commands, const Scenario& scenario) {
  const std::string name = TestSupport::ToUtf8(scenario.commandSwitch);
  return commands.find(name) != std::string_view::npos;
}

bool StartsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

// The failures that a verdict names: with their lines, and their name.
std::set<std::pair<std::string, std::string>> FailuresOf(const LogReader::Verdict& verdict) {
  std::set<std::pair<std::string, std::string>> failures;
  for (const LogReader::Finding& finding : verdict.findings) {
    if (finding.kind < LogReader::Kind::kLeft) {
      continue;
    }
    const std::string_view name = finding.rule != nullptr      ? finding.rule->name
                                  : finding.message != nullptr ? finding.message->anchor
                                                               : "unknown";
    std::string text = std::to_string(finding.count);
    for (const LogReader::LineCopy& line : finding.lines) {
      text += "\n" + line.text;
    }
    failures.emplace(text, name);
  }
  return failures;
}

// The names of the failures that only this verdict names.
Lines NewFailures(const LogReader::Verdict& undisturbed, const LogReader::Verdict& verdict) {
  const auto known = FailuresOf(undisturbed);
  Lines names;
  for (const auto& failure : FailuresOf(verdict)) {
    if (known.count(failure) == 0) {
      names.push_back(failure.second);
    }
  }
  if (names.empty() && verdict.outcome > undisturbed.outcome) {
    names.emplace_back(NameOf(verdict.outcome));
  }
  return names;
}

Lines DifferentDeeds(const Lines& wanted, const Lines& actual) {
  Lines lines;
  const auto add = [&](const char* sign, const Lines& these, const Lines& others) {
    for (const std::string& line : these) {
      if (std::count(these.begin(), these.end(), line) > std::count(others.begin(), others.end(), line)) {
        lines.push_back(sign + line);
      }
    }
  };
  add("-", wanted, actual);
  add("+", actual, wanted);
  std::sort(lines.begin(), lines.end());
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  return lines;
}

}  // namespace

JudgedRun::JudgedRun(const SubjectOutcome& outcome, MachineState left)
    : machine(std::move(left)), deeds(outcome.started), verdict(TestSupport::LastVerdict(outcome.logText)) {
  const Lines answer = TestSupport::LinesWith(outcome.log, "GetStatus!!!!! ");
  deeds.insert(deeds.end(), answer.begin(), answer.end());
}

VerdictCheck CheckVerdict(const Scenario& scenario, const NotedCall& failed, const JudgedRun& undisturbed,
                          const JudgedRun& run) {
  Lines differences = Differences(undisturbed.machine, run.machine);
  for (std::string& line : DifferentDeeds(undisturbed.deeds, run.deeds)) {
    differences.push_back(std::move(line));
  }
  const Lines failures = NewFailures(undisturbed.verdict, run.verdict);
  VerdictCheck check;
  if (differences.empty() == failures.empty()) {
    return check;
  }
  std::string place = PlaceName(failed.place);
  place.erase(std::min(place.rfind('+'), place.size()));
  for (const std::string& difference : failures.empty() ? differences : Lines()) {
    const bool isListed = IsListed(kSilentByDesign, silentUses, [&](const SilentByDesign& row) {
      return IsOf(row.commands, scenario) && (row.call.empty() || row.call == failed.function) &&
             StartsWith(place, row.place) && difference.find(row.difference) != std::string::npos;
    });
    if (!isListed) {
      check.wrong.push_back("its log says nothing of: " + difference + " (" + failed.function + " in " + place + ")");
    }
  }
  for (const std::string& failure : failures) {
    const bool isListed = IsListed(kHarmlessFailures, harmlessUses, [&](const HarmlessFailure& row) {
      return IsOf(row.commands, scenario) && StartsWith(failure, row.failure);
    });
    if (!isListed) {
      check.wrong.push_back("all is as it should be, but its verdict names: " + failure + " (" + failed.function +
                            " in " + place + ")");
    }
  }
  check.isListed = check.wrong.empty();
  return check;
}

std::string ExceptionUses() {
  std::string text;
  const auto add = [&](int uses, std::initializer_list<std::string_view> columns) {
    text += std::to_string(uses);
    for (const std::string_view column : columns) {
      text += " | " + std::string(column);
    }
    text += "\n";
  };
  for (std::size_t index = 0; index < std::size(kSilentByDesign); ++index) {
    const SilentByDesign& row = kSilentByDesign[index];
    add(silentUses[index], {row.commands, row.call, row.place, row.difference, row.reason});
  }
  for (std::size_t index = 0; index < std::size(kHarmlessFailures); ++index) {
    const HarmlessFailure& row = kHarmlessFailures[index];
    add(harmlessUses[index], {row.commands, row.failure, row.reason});
  }
  return text;
}

}  // namespace Faults
