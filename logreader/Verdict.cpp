#include "logreader/Verdict.h"

#include "logreader/Rules.h"
#include "logreader/Sentences.h"

namespace LogReader {
namespace {

using namespace Rules;

constexpr unsigned kAnyCommand = ~0U;
constexpr unsigned kInstalls = BitOf(Command::kInstall);
constexpr unsigned kEnables = BitOf(Command::kEnable);
constexpr unsigned kDisables = BitOf(Command::kDisable);
constexpr unsigned kUpgrades = BitOf(Command::kUpgrade);
constexpr unsigned kUninstalls = BitOf(Command::kUninstall);

}  // namespace

// In the order in which they are applied.
const Rule kRules[] = {
    {"wrong-number-of-arguments", kAnyCommand, "the program was not called with three arguments",
     "The program was called with more or fewer than three arguments. It did nothing.",
     "Pass a switch, a source folder and a destination folder. Put a folder with blanks in quotation marks, and no "
     "backslash before the closing one.",
     WrongNumberOfArguments},
    {"beginning-missing", kAnyCommand, "the log does not have the beginning of this run",
     "The log does not have the beginning of this run. What it lacks cannot be judged.",
     "Read the whole log, or repeat the command.", BeginningIsMissing},
    {"did-not-finish", kAnyCommand, "",
     "The log of this run ends here, without a closing line. The program was ended, or it still runs. It does not "
     "follow that this line names the step that was interrupted: the next one may have begun.",
     "If the program does not run any more, repeat the command.", EndIsMissing},
    {"log-lost", kAnyCommand, "",
     "The log of this run ends within this line. Usually the next character cannot be stored in the log, for example a "
     "Japanese one; or the disk is full. The run itself may have continued. A copy of the log that is not complete "
     "ends "
     "like this, too.",
     "For a log that was sent in, ask for a complete copy first. The exit code of the run is valid. For a complete "
     "log, "
     "choose folders whose names have only ASCII characters.",
     LogWasLost},
    {"unknown-switch", kAnyCommand, "the switch is unknown",
     "The switch is not one of the seven: -I, -e, -d, -s, -p, -r, -U. The program did nothing.",
     "Correct the call. Only the first two characters of the switch count, and upper case is not lower case.",
     UnknownSwitch},
    {"two-runs", kAnyCommand, "",
     "Another run of the program wrote to the log at the same time. Lines may be missing, and a line that both can "
     "have written may be shown with the wrong one.",
     "Do not run two commands at the same time. If the result is in doubt, repeat the command.", TwoRuns},
    {"perhaps-of-this-run", kAnyCommand, "", "", "", PerhapsOfThisRun},
    {"damaged", kAnyCommand, "the log is damaged here", "This is not an entry, or only a part of one.",
     "Repeat the command, and do not run two at the same time.", Damaged},
    {"unknown-failure", kAnyCommand, "", "A line that this program does not know. By its level, a step failed.",
     "Use the VELAlog.exe of the same release as VELAutil.exe.", UnknownFailure},
    {"unknown-line", kAnyCommand, "", "A line that this program does not know.",
     "Use the VELAlog.exe of the same release as VELAutil.exe.", UnknownLine},
    {"line-of-another-command", kAnyCommand, "the log has lines of another run here",
     "This command does not write such a line: it belongs to another run, whose beginning the log does not have.", "",
     LineOfAnotherCommand},
    {"copy-failed", kInstalls | kUpgrades, "", "The file was not copied, and the log does not show that it waits.", "",
     CopyNeitherDoneNorWaiting},
    {"nothing-copied", kInstalls | kUpgrades, "no file was copied",
     "No file was copied. If no line above names a copy that failed, the source folder does not exist, has no files, "
     "or "
     "cannot be read.",
     "Check the source folder, as the account that runs the command: the local system cannot use a mapped drive.",
     NothingCopied},
    {"files-missing", kInstalls | kUpgrades, "not every folder of the source was copied completely",
     "Files of the source were not copied. A folder of the source is missing, or could not be read to its end; the "
     "program writes no line about that.",
     "Check whether the source folder is complete and can be read, and repeat the command.", FilesDiffer},
    {"switched-off-by-installation", kInstalls, "filtering was switched off, because a mail client was running", "", "",
     SwitchedOffByInstallation},
    {"outlook-started-meanwhile", kInstalls, "Outlook was started meanwhile, and its add-in is registered as off",
     "Outlook was started during the installation. Its add-in is registered as off, although filtering is on.",
     "Close Outlook, and run -e.", OutlookStartedMeanwhile},
    {"module-not-run", kInstalls | kEnables | kUninstalls, "",
     "regsvr32.exe was not started for this module, because the command is longer than 260 characters.",
     "Choose a shorter destination folder.", ModuleNotRun},
    {"module-not-copied", kInstalls, "a module that is registered was not copied",
     "regsvr32.exe was started for this module, but this run did not copy the file. An older file may have been "
     "registered, or none.",
     "Check whether the source folder is complete.", ModuleNotCopied},
    {"outlook-not-supported", kInstalls | kEnables, "",
     "Outlook is installed, but in a release that the plug-in does not support. Its plug-in is registered anyway.",
     "Nothing, if no mail of this Outlook has to be filtered.", OutlookNotSupported},
    {"no-user", kEnables, "the user at the console is not known",
     "The user at the console could not be determined. The user's folders were created without an identity, and no "
     "monitor was started.",
     "Run the command as the local system account, while a user is logged on at the machine itself.", NoUser},
    {"no-monitor", kEnables, "no monitor was started",
     "No monitor was started: the program could not act as the user at the console. Windows starts the monitors at the "
     "next log-on.",
     "Run the command as the local system account, while a user is logged on at the machine itself.", NoMonitorStarted},
    {"start-values-only", kEnables, "",
     "This destination is the one for the start-up values. Below it there is no monitor to start now; Windows starts "
     "them at the next log-on.",
     "To start the monitors now, run -e with the product folder as its destination, too.", StartValuesOnly},
    {"nothing-switched-on", kEnables, "no client was switched on, and the new state was not stored",
     "Every write that switches a client on failed, and the new state was not stored.",
     "Run the command as administrator or as the local system account.", NothingSwitchedOn},
    {"nothing-switched-off", kDisables, "no client was switched off, and the new state was not stored",
     "Every write that switches a client off failed, and the new state was not stored.",
     "Run the command as administrator or as the local system account.", NothingSwitchedOff},
    {"switched-not-stored", kEnables | kDisables, "the clients were switched, but the new state was not stored",
     "The clients were switched, but the new state was not stored: -s still reports the old one.",
     "Run the command as administrator, and check the permissions of the product key.", SwitchedButNotStored},
    {"switched-off-before", kDisables, "",
     "Filtering was switched off before, so there was nothing to delete. Nothing needs to be done.", "Nothing.",
     SwitchedOffBefore},
    {"start-value-stays", kDisables, "the start of a monitor could not be deleted, or did not exist", "", "",
     StartValueStays},
    {"switch-failed", kDisables, "the log does not show why the state was not stored",
     "Switching failed, and the new state is not stored. The line that names the cause is missing.",
     "Repeat the command.", SwitchFailedWithoutCause},
    {"monitors-left", kDisables, "the monitors were not ended, because a mail client was running", "", "",
     MonitorsLeft},
    {"activated-after-failure", kEnables, "", "This line is written even if the step before it failed, as here.", "",
     ActivatedAfterFailure},
    {"not-registered-before", kUninstalls, "",
     "There was nothing to delete: the add-in was not registered on this machine.", "", NotRegisteredBefore},
    {"data-folder-stays", kUninstalls, "a folder of the users' data could not be emptied",
     "The folder could not be emptied. The code is in the line above.", "", DataFolderStays},
    {"removed-before", kUninstalls, "", "The uninstallation before this one has removed this folder.", "",
     RemovedBefore},
    {"broken-off", kAnyCommand, "memory ran out",
     "Memory ran out, and the run ended in the middle of its command. What it did before is done; the rest is not.",
     "Free memory, for example by a restart, and repeat the command.", BrokenOff},
    {"exit-code", kAnyCommand, "the exit code does not fit the lines of the run",
     "The lines of the run do not explain this exit code. Lines may be missing.", "Repeat the command.",
     UnusualExitCode},
    {"lines-missing", kAnyCommand, "lines are missing in the log",
     "The log of this run lacks lines that every completed run has. What they would say is not known.",
     "Repeat the command, and do not run two at the same time.", LinesAreMissing},
    {"too-many-lines", kAnyCommand, "", "The run has more lines than can be shown here.", "", TooManyLines},
};
const int kRuleCount = sizeof kRules / sizeof kRules[0];

Verdict Judge::Take(Run& run) {
  Case judged(run, before_);
  for (const Rule& rule : kRules) {
    judged.Apply(rule);
  }
  Verdict verdict = judged.Close();
  verdict.sentence = SentenceOf(run, verdict);
  before_.Note(run);
  return verdict;
}

}  // namespace LogReader
