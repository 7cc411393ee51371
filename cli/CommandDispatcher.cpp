#include "cli/CommandDispatcher.h"

#include <windows.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <ostream>

#include "cli/RunLog.h"
#include "install/InstallCommand.h"
#include "install/UpgradeCommand.h"
#include "notify/ReloadNotification.h"
#include "settings/CommandLineFolders.h"
#include "settings/StatusCommands.h"
#include "uninstall/UninstallCommand.h"

namespace {

constexpr int kArgumentCount = 4;

// Runs a command. Its result is the exit code.
using Operation = int (*)();

// Success of the notification is 1, unlike everywhere else.
int NotifyReload() {
  return VELAUtility::NotifyReloadVELAEngine() ? 1 : 0;
}

// The upgrade's own result is logged only.
int UpgradeAndNotify() {
  const int upgraded = VELAWrapper::Upgrade();
  RunLog::Info() << L"VELAWrapper::Upgrade() RetrunCode : " << upgraded;
  const int notified = NotifyReload();
  RunLog::Info() << L"VELAWrapper::NotifyReloadVELAEngine() RetrunCode : " << notified;
  return notified;
}

struct Command {
  const wchar_t* name;
  RunLog::Text banner;  // ends with a line break: an empty line follows it in the log
  Operation run;
};

// Compared in this order.
constexpr Command kCommands[] = {
    {L"-I", L"======== Install =========\n", VELAWrapper::Install},
    {L"-e", L"======== Enable ==========\n", Enable},
    {L"-d", L"======== Disable =========\n", Disable},
    {L"-U", L"======= Uninstall ========\n", plugVELA_Uninstall},
    {L"-s", L"======= GetStatus ========\n", GetStatus},
    {L"-r", L"======= Notify Reload Engine and Pattern ========\n", NotifyReload},
    {L"-p", L"======= Upgrade VELA ========\n", UpgradeAndNotify},
};

// Only the first two characters count, case-sensitive: "-Install" installs, "-i" is unknown.
constexpr std::size_t kSignificantCharacters = 2;

int RunNamedCommand(const wchar_t* name) {
  for (const Command& command : kCommands) {
    if (std::wcsncmp(name, command.name, kSignificantCharacters) == 0) {
      RunLog::Info() << command.banner;
      return command.run();
    }
  }
  RunLog::Info() << L"Pn error.\n";
  return 0;
}

void LogClosingLine(int result) {
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  char time[260] = {};
  // One less than the zero-filled buffer, so a truncated text is still terminated.
  ::_snprintf(time, sizeof time - 1, "[%04d/%02d/%02d %02d:%02d:%02d]", now.wYear, now.wMonth, now.wDay, now.wHour,
              now.wMinute, now.wSecond);
  RunLog::Info() << time << L" VELA END!!! RetrunCode:" << result;
  // Not left to the end of the process: without memory, the runtime may not have noted that the log must be closed
  // then.
  RunLog::Flush();
}

[[noreturn]] void EndAfterAbort(int /*signal*/) {
  LogClosingLine(kBrokenOff);
  std::exit(kBrokenOff);
}

int RunArguments(wchar_t* const arguments[]) {
  RunLog::Info() << L" cmd:" << arguments[1] << std::endl
                 << L" src:" << arguments[2] << std::endl
                 << L"dest:" << arguments[3];
  SrcPath = arguments[2];
  DestPath = arguments[3];
  return RunNamedCommand(arguments[1]);
}

}  // namespace

void EndProperlyAtAbort() {
  std::signal(SIGABRT, EndAfterAbort);
  // To throw, the runtime needs memory, or the reserve that it takes at its start. If it has neither it aborts: here,
  // when nothing is changed yet, and not in the middle of a command.
  try {
    throw kBrokenOff;
  } catch (int) {
  }
}

int RunCommand(int count, wchar_t* const arguments[]) {
  int result = 0;
  try {
    result = count == kArgumentCount ? RunArguments(arguments) : 0;
  } catch (...) {  // std::bad_alloc, or whatever else no command catches
    result = kBrokenOff;
  }
  LogClosingLine(result);
  return result;
}
