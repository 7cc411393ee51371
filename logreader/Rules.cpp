#include "logreader/Rules.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "logreader/Clients.h"
#include "logreader/Texts.h"

namespace LogReader::Rules {

using namespace Texts;

namespace {

constexpr unsigned kInstalls = BitOf(Command::kInstall);
constexpr unsigned kEnables = BitOf(Command::kEnable);
constexpr unsigned kDisables = BitOf(Command::kDisable);
constexpr unsigned kUpgrades = BitOf(Command::kUpgrade);
constexpr unsigned kReloads = BitOf(Command::kReload);
constexpr unsigned kUninstalls = BitOf(Command::kUninstall);

// Lines that every completed run has: one of each group.
struct Required {
  unsigned commands;
  std::string_view anyOf[6];
};
constexpr Required kRequired[] = {
    {kInstalls, {kRelease, kSwitchNotStored}},
    {kEnables, {kUser, kNoSession}},
    {kEnables, {kEnableStored, kEnableNotStored, kNoKey, kSwitchFailed}},
    {kDisables | kUninstalls, {kUser, kNoSession}},
    {kDisables | kUninstalls, {kMonitorsNext, kNoSession}},
    {kDisables, {kDisableStored, kDisableNotStored, kNoKey, kSwitchFailed}},
    {BitOf(Command::kStatus), {kState, kNoState, kNoKey}},
    {kUpgrades, {kResourcesDone}},
    {kUpgrades, {kUpgradeDone}},
    {kUpgrades, {kUpgradeNotified}},
    {kUpgrades | kReloads, {kNotifyBegins}},
    {kUpgrades | kReloads, {kNotifyEnds}},
    {kUninstalls, {kRemovalBegins}},
    {kUninstalls, {kNoAddinKey, kAddinKeyDeleted, kAddinKeyStays}},
    {kUninstalls, {kProductRemoved, kProductStays}},
};

// The same for each client that is on every Windows: one of its own lines, or of another one.
struct RequiredOfClients {
  unsigned commands;
  std::string_view Client::*own[2];
  std::string_view other;
};
constexpr RequiredOfClients kRequiredOfClients[] = {
    {kEnables, {&Client::on, &Client::on}, kSwitchFailed},
    {kDisables | kUninstalls, {&Client::off, &Client::notOff}, kNoSession},
    {kUpgrades, {&Client::filesDone, &Client::filesDone}, {}},
};

// At an installation the first failure of Outlook or of Outlook Express leaves out the modules after it.
int ModulesOf(const Case& run) {
  int modules = 0;
  for (const Client& client : kClients) {
    modules += client.modules;
  }
  if (run.run.command == Command::kInstall) {
    modules -= run.HasAny({kSwitchNotStored}) ? modules : 0;
    modules -= run.HasAny({kNoRedemption}) ? 1 : 0;
    modules -= run.HasAny({kNoOeInit}) ? 3 : run.HasAny({kNoOeCom}) ? 2 : run.HasAny({kNoOeStore}) ? 1 : 0;
  } else if (run.run.command == Command::kUninstall) {
    for (const Client& client : kClients) {
      modules -= run.Has(client.runsAtRemoval) ? client.modules : 0;
    }
  } else {
    modules = 0;
  }
  return modules;
}

// The sources of the files in this part of the product, from this folder of the source.
std::set<std::string> SourcesOf(const std::vector<CopiedFile>& files, std::string_view part, std::string_view folder) {
  std::set<std::string> sources;
  for (const CopiedFile& file : files) {
    if (file.part == part && file.source.compare(0, folder.size(), folder) == 0) {
      sources.insert(file.source);
    }
  }
  return sources;
}

// The files of Outlook Express are copied only where Windows has it, but its modules are always registered.
bool IsExpected(const std::vector<CopiedFile>& files, const std::string& module) {
  for (const Client& client : kClients) {
    const std::string folder(client.folder);
    if (!client.isOnEveryWindows && module.find("\\" + folder + "\\") != std::string::npos) {
      return std::any_of(files.begin(), files.end(), [&](const CopiedFile& file) { return file.part == folder; });
    }
  }
  return true;
}

// -e writes start-up values for monitors below its destination, but starts those below the folder "VELA" in it. Only
// with the product's folder "VELA" as the destination are the start-up values right, and then there is no such folder.
bool IsForStartValues(const Run& run) {
  constexpr std::string_view kFolder = "\\Orvane Labs\\VELA";
  std::string_view destination = run.destination;
  destination = destination.substr(0, destination.find_last_not_of('\\') + 1);
  return destination.size() >= kFolder.size() && destination.substr(destination.size() - kFolder.size()) == kFolder;
}

// True if the line before it says that there was no such folder.
bool IsOfMissingFolder(const Case& run, const Line& line) {
  const Line* const before = run.Previous(line);
  if (before == nullptr || !before->Is(kFolderNotEmptied)) {
    return false;
  }
  const std::string code(before->GetValues().front());
  return code == "2" || code == "3";
}

// True if the log ends within this line, and what there is of it fits a message.
bool IsCutOff(const Case& run, const Line& line) {
  return run.IsLastOfUnclosed(line) && line.message == nullptr && BeginsMessage(line.entry.level, line.entry.text);
}

bool IsBrokenOff(const Case& run) {
  return run.run.isClosed && run.run.code == kBrokenOffCode;
}

}  // namespace

// ---- the frame of the run

void WrongNumberOfArguments(Case& run) {
  if (run.IsClosingLineOnly() && !IsBrokenOff(run)) {
    run.Find(Kind::kFatal, *run.own.front());
  }
}

void BeginningIsMissing(Case& run) {
  if (!run.run.hasHeader && !run.IsClosingLineOnly()) {
    run.Find(Kind::kProblem);
  }
}

void EndIsMissing(Case& run) {
  if (!run.run.isClosed && !run.run.endsInLine) {
    run.Find(Kind::kProblem, run.run.lastLine, run.run.lastText);
  }
}

void LogWasLost(Case& run) {
  if (!run.run.isClosed && run.run.endsInLine) {
    run.Find(Kind::kProblem, run.run.lastLine, run.run.lastText);
  }
}

void UnknownSwitch(Case& run) {
  for (Line* const line : run.All(kUnknownSwitchText)) {
    run.Set(*line, Kind::kFatal);
  }
  if (run.run.IsUnknownSwitch() && run.run.isClosed && !run.Has(kUnknownSwitchText)) {
    run.Find(Kind::kFatal);
  }
}

void BrokenOff(Case& run) {
  if (IsBrokenOff(run)) {
    run.Find(Kind::kFatal, *run.own.back());
  }
}

void UnusualExitCode(Case& run) {
  const std::string& code = run.run.code;
  const Command command = run.run.command;
  if (!run.run.isClosed || command == Command::kUnknown || IsBrokenOff(run)) {
    return;
  }
  const bool notifies = command == Command::kUpgrade || command == Command::kReload;
  bool isExplained = code == (notifies ? "1" : "0");
  if (notifies && code == "0") {
    isExplained = run.HasAnyOf(&Client::notNotified);
  } else if (command == Command::kInstall && code == "-520159231") {
    isExplained = run.HasAny({kSwitchNotStored});
  }
  if (!isExplained) {
    run.Find(Kind::kProblem, *run.own.back());
  }
}

void LinesAreMissing(Case& run) {
  if (!run.run.isClosed || !run.run.hasHeader || run.run.command == Command::kUnknown || IsBrokenOff(run)) {
    return;
  }
  bool isMissing = !run.run.hasBanner;
  for (const Required& required : kRequired) {
    const auto* const end = std::find(std::begin(required.anyOf), std::end(required.anyOf), std::string_view());
    isMissing = isMissing || ((required.commands & BitOf(run.run.command)) != 0 &&
                              std::none_of(required.anyOf, end, [&](std::string_view text) { return run.Has(text); }));
  }
  for (const RequiredOfClients& required : kRequiredOfClients) {
    for (const Client& client : kClients) {
      isMissing = isMissing || ((required.commands & BitOf(run.run.command)) != 0 && client.isOnEveryWindows &&
                                !run.HasAny({client.*required.own[0], client.*required.own[1], required.other}));
    }
  }
  const std::size_t modules = run.All(kRegister).size() + run.All(kUnregister).size();
  isMissing = isMissing || modules < static_cast<std::size_t>(std::max(ModulesOf(run), 0));
  if (isMissing) {
    run.Find(Kind::kProblem);
  }
}

// ---- lines that do not fit

void Damaged(Case& run) {
  for (Line* const line : run.own) {
    if (line->entry.level == kNoLevel && !run.IsLastOfUnclosed(*line)) {
      run.Set(*line, Kind::kProblem);
    }
  }
}

void UnknownFailure(Case& run) {
  for (Line* const line : run.own) {
    if (line->message == nullptr && line->entry.level > kInfo && !run.IsLastOfUnclosed(*line)) {
      run.Set(*line, Kind::kProblem);
    }
  }
}

void UnknownLine(Case& run) {
  for (Line* const line : run.own) {
    if (line->message == nullptr && line->entry.level == kInfo && !run.IsLastOfUnclosed(*line)) {
      run.Set(*line, Kind::kNotice);
    }
  }
}

void LineOfAnotherCommand(Case& run) {
  for (Line* const line : run.own) {
    if (line->message != nullptr && line->kind == Kind::kNever) {
      const bool isFailure = KindOf(*line->message, Command::kUnknown, line->GetValues()) >= Kind::kProblem;
      run.Set(*line, isFailure ? Kind::kProblem : Kind::kNotice);
    }
  }
}

void TwoRuns(Case& run) {
  if (run.run.isMixed) {
    run.Find(Kind::kNotice);
  }
}

void PerhapsOfThisRun(Case& run) {
  for (const Line& line : run.run.shared) {
    const Kind kind = KindOf(*line.message, run.run.command, line.GetValues());
    if (run.run.isMixed && kind >= Kind::kLeft) {
      run.Find(kind, line);
    }
  }
}

void TooManyLines(Case& run) {
  if (run.run.leftOut > 0) {
    run.Find(std::max(run.run.worstLeftOut, Kind::kNotice));
  }
}

// ---- copying

void CopyNeitherDoneNorWaiting(Case& run) {
  for (Line* const line : run.All(kCopyFailed)) {
    const Line* const next = run.Next(*line);
    if (next != nullptr && !next->Is(kCopyWaits) && !next->Is(kWaitingCopyFailed) && !next->Is(kMoveFailed) &&
        !IsCutOff(run, *next)) {
      run.Set(*line, Kind::kProblem);
    }
  }
}

void NothingCopied(Case& run) {
  if (run.run.isClosed && run.run.hasHeader && !run.HasAny({kCopied, kCopyWaits})) {
    run.Find(Kind::kFatal);
  }
}

// Each client gets the same rules, and most get the same common files. If one got fewer, a folder of the source could
// not be read.
void FilesDiffer(Case& run) {
  const std::vector<CopiedFile> files = run.CopiedFiles();
  if (files.empty() || !run.run.isClosed) {
    return;
  }
  const std::set<std::string> rules = SourcesOf(files, kClients[0].folder, "rule\\");
  const std::set<std::string> common = SourcesOf(files, kClients[0].folder, "Common\\");
  bool differ = false;
  for (const Client& client : kClients) {
    const bool hasFiles = client.isOnEveryWindows || !SourcesOf(files, client.folder, "").empty();
    differ = differ || (hasFiles && SourcesOf(files, client.folder, "rule\\") != rules) ||
             (client.getsCommonFiles && SourcesOf(files, client.folder, "Common\\") != common);
  }
  const bool isIncomplete = run.run.command == Command::kInstall &&
                            (rules.empty() || common.empty() || SourcesOf(files, "Resource", "Resource\\").empty());
  if (differ || isIncomplete) {
    run.Find(Kind::kProblem);
  }
}

void SwitchedOffByInstallation(Case& run) {
  const bool stays = run.Has(kSwitchNotReset);
  for (Line* const line : run.All(kClientRuns)) {
    if (!stays) {
      run.Set(*line, Kind::kLeft);
    }
  }
}

// The switch is on, because no client ran when it was read.
void OutlookStartedMeanwhile(Case& run) {
  if (run.Has(kSwitchStaysOn)) {
    for (Line* const line : run.All(kOutlookRuns)) {
      run.Set(*line, Kind::kLeft);
    }
  }
}

// ---- registrations

void ModuleNotRun(Case& run) {
  for (std::size_t index = 0; index + 1 < run.own.size(); ++index) {
    const bool registers = run.own[index]->Is(kRegister);
    if (!registers && !run.own[index]->Is(kUnregister)) {
      continue;
    }
    const bool isSlow = run.own[index + 1]->Is(registers ? kRegisterSlow : kUnregisterSlow);
    const Line* const next = run.Next(*run.own[isSlow ? index + 1 : index]);
    if (next != nullptr && !next->Is(registers ? kRegisterResult : kUnregisterResult) && !IsCutOff(run, *next)) {
      run.Set(*run.own[index], Kind::kProblem);
    }
  }
}

void ModuleNotCopied(Case& run) {
  const std::vector<CopiedFile> files = run.CopiedFiles();
  for (Line* const line : run.All(kRegister)) {
    // regsvr32.exe /s "C:\...\VELA_OL\VELA_OLA.dll"
    std::string module(line->GetValues().front());
    module.erase(0, std::min(module.find('"') + 1, module.size()));
    module.erase(std::min(module.find('"'), module.size()));
    const bool isThere = std::any_of(
        files.begin(), files.end(), [&](const CopiedFile& file) { return file.isThere && file.destination == module; });
    if (!files.empty() && !isThere && line->kind < Kind::kProblem && IsExpected(files, module)) {
      run.Set(*line, Kind::kProblem);
    }
  }
}

void OutlookNotSupported(Case& run) {
  for (Line* const line : run.All(kNoOutlook)) {
    const Line* const before = run.Previous(*line);
    const bool isOld = before != nullptr && before->Is(kRelease) && before->GetValues().front() == "3";
    if (before != nullptr && (isOld || before->Is(kLaterRelease) || before->Is(kRelease2000))) {
      run.Set(*line, Kind::kNotice);
    }
  }
}

// ---- switching on and off

void ActivatedAfterFailure(Case& run) {
  for (Line* const line : run.own) {
    const Line* const before = run.Previous(*line);
    const bool isOn = std::any_of(std::begin(kClients), std::end(kClients),
                                  [&](const Client& client) { return line->Is(client.on); });
    if (isOn && before != nullptr && before->kind >= Kind::kProblem) {
      run.Set(*line, Kind::kUsual);
    }
  }
}

void NothingSwitchedOn(Case& run) {
  bool isAnyOn = false;
  for (const Client& client : kClients) {
    for (const Line* const line : run.All(client.on)) {
      const Line* const before = run.Previous(*line);
      isAnyOn = isAnyOn || before == nullptr || before->kind < Kind::kProblem;
    }
  }
  if (!isAnyOn && run.HasAnyOf(&Client::on) && run.HasAny({kNoKey, kEnableNotStored})) {
    run.Find(Kind::kFatal);
  }
}

void NothingSwitchedOff(Case& run) {
  if (run.Has(kSwitchFailed) && run.HasAnyOf(&Client::notOff) && !run.HasAnyOf(&Client::off)) {
    run.Find(Kind::kFatal);
  }
}

void SwitchedButNotStored(Case& run) {
  if (run.HasAny({kEnabled, kDisabled})) {
    for (const std::string_view text : {kNoKey, kEnableNotStored, kDisableNotStored}) {
      for (Line* const line : run.All(text)) {
        run.Set(*line, Kind::kProblem);
      }
    }
  }
}

void NoUser(Case& run) {
  for (Line* const line : run.All(kUser)) {
    if (line->GetValues()[1].empty()) {
      run.Set(*line, Kind::kProblem);
    }
  }
}

void NoMonitorStarted(Case& run) {
  if (run.Has(kEnabled) && !run.Has(kMonitorStart) && !run.HasAnyOf(&Client::noMonitor)) {
    run.Find(Kind::kProblem);
  }
}

void StartValuesOnly(Case& run) {
  constexpr std::string_view kPathNotFound = "3";
  if (!IsForStartValues(run.run)) {
    return;
  }
  bool isMeant = false;
  bool isOther = run.HasAnyOf(&Client::noMonitor);
  for (const Client& client : kClients) {
    for (Line* const line : run.All(client.monitorFailed)) {
      if (line->GetValues().front() == kPathNotFound) {
        run.Set(*line, Kind::kNotice);
        isMeant = true;
      } else {
        isOther = true;
      }
    }
  }
  for (Line* const line : run.All(kMonitorsFailed)) {
    if (isMeant && !isOther) {
      run.Set(*line, Kind::kUsual);
    }
  }
}

void SwitchedOffBefore(Case& run) {
  if (run.before.startValuesAreDeleted && run.Has(kSwitchFailed)) {
    for (Line* const line : run.All(kSwitchFailed)) {
      run.Set(*line, Kind::kNotice);
    }
  }
}

void StartValueStays(Case& run) {
  if (!run.before.startValuesAreDeleted) {
    for (const Client& client : kClients) {
      for (Line* const line : run.All(client.startStays)) {
        run.Set(*line, Kind::kProblem);
      }
    }
  }
}

void MonitorsLeft(Case& run) {
  for (Line* const line : run.All(kMonitorsLeft)) {
    run.Set(*line, Kind::kLeft);
  }
}

// The failure is that of a line before it.
void SwitchFailedWithoutCause(Case& run) {
  if (!run.HasAny({kNoSession, kAddinNotOff}) && !run.HasAnyOf(&Client::startStays)) {
    for (Line* const line : run.All(kSwitchFailed)) {
      run.Set(*line, Kind::kProblem);
    }
  }
}

// ---- uninstalling

void NotRegisteredBefore(Case& run) {
  if (run.Has(kNoAddinKey)) {
    for (Line* const line : run.All(kAddinNotOff)) {
      run.Set(*line, Kind::kUsual);
    }
    for (const Client& client : kClients) {
      for (Line* const line : run.All(client.entryStays)) {
        run.Set(*line, Kind::kUsual);
      }
    }
  }
}

void DataFolderStays(Case& run) {
  for (Line* const line : run.All(kDataStays)) {
    if (!IsOfMissingFolder(run, *line)) {
      run.Set(*line, Kind::kProblem);
    }
  }
}

void RemovedBefore(Case& run) {
  for (Line* const line : run.All(kProductStays)) {
    if (IsOfMissingFolder(run, *line) && line->GetValues().front() == run.before.removedFolder) {
      run.Set(*line, Kind::kUsual);
    }
  }
}

}  // namespace LogReader::Rules
