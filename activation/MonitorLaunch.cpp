#include "activation/MonitorLaunch.h"

#include <windows.h>

#include "Common/FrwkCommon/Frwk_WindowStation.h"
#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_ProcessGuards.h"
#include "Common/OrCommon/OrComn_String.h"
#include "cli/RunLog.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"

namespace VELAUtility {
namespace {

struct Monitor {
  MailClient client;
  RunLog::Text succeeded;
  RunLog::Text failed;
};

constexpr Monitor kMonitors[] = {
    {MailClient::kOutlookExpress, L"Succeeded in calling CreateProcessAsUser() of VELA_OEMon.exe",
     L"Failed to call CreateProcessAsUser() to launch VELA_OEMon.exe "},
    {MailClient::kWindowsLiveMail, L"Succeeded in calling CreateProcessAsUser() of VELA_WLMMon.exe",
     L"Failed to call CreateProcessAsUser() to launch VELA_WLMMon.exe "},
};
static_assert(HasEveryMonitor(kMonitors));

bool Launch(HANDLE userToken, const Monitor& monitor, const std::wstring& baseFolder) {
  std::wstring path;
  try {
    const std::wstring folder = baseFolder + FolderNameOf(monitor.client) + L"\\";
    OrCommon::String::Format(path, L"%s%s", folder.c_str(), MonitorNameOf(monitor.client).c_str());
  } catch (OrCommon::String::Exception* failure) {
    delete failure;
    RunLog::Error() << monitor.failed << static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY) << L" ";
    return false;
  }
  RunLog::Info() << L"ImpersonateLoggedOnUser() : " << path;
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  BOOL started = FALSE;
  {
    const OrCommon::CallersErrorMode errorMode;
    // As the application name and without a command line: a path with blanks is never parsed.
    started = ::CreateProcessAsUserW(userToken, path.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                     &startup, &process);
  }
  if (!started) {
    RunLog::Error() << monitor.failed << ::GetLastError() << L" " << path;
    return false;
  }
  const OrCommon::KernelHandle processHandle(process.hProcess);
  const OrCommon::KernelHandle threadHandle(process.hThread);
  RunLog::Info() << monitor.succeeded;
  return true;
}

}  // namespace

bool VELA_LaunchMonProcess(const std::wstring& installPath, int /*flag*/) {
  // One level deeper than in the start-up values, which name the install path itself. Both are intended.
  const std::wstring baseFolder = ProductFolders::WithTrailingBackslash(installPath + L"\\VELA");
  Frwk::WindowStation::ConsoleUserScope user;
  if (!user.Start()) {
    return true;
  }
  bool succeeded = true;
  for (const Monitor& monitor : kMonitors) {
    if (!IsLeftOut(monitor.client) && !Launch(user.Token(), monitor, baseFolder)) {
      succeeded = false;
    }
  }
  user.End();
  return succeeded;
}

}  // namespace VELAUtility
