// The rules' functions: each looks for one situation in a run, and says what it means (Case.h). Verdict.cpp has their
// names and texts.
#pragma once

#include "logreader/Case.h"

namespace LogReader::Rules {

// ---- the frame of the run
void WrongNumberOfArguments(Case& run);
void BeginningIsMissing(Case& run);
void EndIsMissing(Case& run);
void LogWasLost(Case& run);
void UnknownSwitch(Case& run);
void BrokenOff(Case& run);
void UnusualExitCode(Case& run);
void LinesAreMissing(Case& run);

// ---- lines that do not fit
void Damaged(Case& run);
void UnknownFailure(Case& run);
void UnknownLine(Case& run);
void LineOfAnotherCommand(Case& run);
void TwoRuns(Case& run);
void PerhapsOfThisRun(Case& run);
void TooManyLines(Case& run);

// ---- copying
void CopyNeitherDoneNorWaiting(Case& run);
void NothingCopied(Case& run);
void FilesDiffer(Case& run);
void SwitchedOffByInstallation(Case& run);
void OutlookStartedMeanwhile(Case& run);

// ---- registrations
void ModuleNotRun(Case& run);
void ModuleNotCopied(Case& run);
void OutlookNotSupported(Case& run);

// ---- switching on and off
void ActivatedAfterFailure(Case& run);
void NothingSwitchedOn(Case& run);
void NothingSwitchedOff(Case& run);
void SwitchedButNotStored(Case& run);
void NoUser(Case& run);
void NoMonitorStarted(Case& run);
void StartValuesOnly(Case& run);
void SwitchedOffBefore(Case& run);
void StartValueStays(Case& run);
void MonitorsLeft(Case& run);
void SwitchFailedWithoutCause(Case& run);

// ---- uninstalling
void NotRegisteredBefore(Case& run);
void DataFolderStays(Case& run);
void RemovedBefore(Case& run);

}  // namespace LogReader::Rules
