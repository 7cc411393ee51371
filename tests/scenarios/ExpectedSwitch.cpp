#include "tests/scenarios/ExpectedSwitch.h"

#include "tests/support/TestFiles.h"

using TestSupport::ToUtf8;

namespace Expected {
namespace {

struct MonitoredClient {
  OutlookExpress neededFor;
  const char* name;
  const wchar_t* folder;
  const wchar_t* monitor;
  const wchar_t* source;
};

constexpr MonitoredClient kMonitoredClients[] = {
    {OutlookExpress::kStaged, "OE", L"VELA_OE", L"VELA_OEMon.exe", L"\\OE64\\"},
    {OutlookExpress::kLeftOut, "WLM", L"VELA_WLM", L"VELA_WLMMon.exe", L"\\WLM\\"},
};

bool IsThere(const MonitoredClient& client, OutlookExpress outlookExpress) {
  return client.neededFor == OutlookExpress::kLeftOut || outlookExpress == OutlookExpress::kStaged;
}

template <class Piece>
Lines ForEachMonitor(OutlookExpress outlookExpress, const Piece& piece) {
  Lines lines;
  for (const MonitoredClient& client : kMonitoredClients) {
    if (IsThere(client, outlookExpress)) {
      lines = Joined({lines, piece(client)});
    }
  }
  return lines;
}

std::string DeeperPath(const MonitoredClient& client, const std::wstring& installPath) {
  return ToUtf8(MonitorPath(client.folder, client.monitor, installPath));
}

Lines ClientsSwitched(OutlookExpress outlookExpress, const std::string& done) {
  Lines lines;
  for (const char* const client : {"OL", "OE", "WLM"}) {
    if (client != std::string("OE") || outlookExpress == OutlookExpress::kStaged) {
      lines = Joined({lines, Info("SetAntiSpamEnable() - VELA " + std::string(client) + " " + done)});
    }
  }
  return lines;
}

}  // namespace

Lines EnableBegins(const std::wstring& installPath) {
  return RunBegins(L"-e", World::kSource, installPath, "======== Enable ==========");
}
Lines DisableBegins(const std::wstring& installPath) {
  return RunBegins(L"-d", World::kSource, installPath, "======== Disable =========");
}
Lines StatusBegins(const std::wstring& installPath) {
  return RunBegins(L"-s", World::kSource, installPath, "======= GetStatus ========");
}

Lines DelayFlags(const std::string& outlookExpress, const std::string& outlook, const std::string& windowsLiveMail) {
  return Info("nDelayEnableOE = %d" + outlookExpress + " nDelayEnableOL = %d" + outlook + " nDelayEnableWLM = %d" +
              windowsLiveMail);
}
Lines NoDelayFlags() {
  return Error("Fail to open REG_ZENTA_VELA_ROOT_PATH for query !!");
}
Lines SessionFound(const std::string& userSid) {
  return Info("CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: " + userSid);
}

Lines ClientsActivated(OutlookExpress outlookExpress, const std::string& userId, const std::string& userSid) {
  return Joined({Info("GetCurrentUserID - szSidString: " + userSid + " strCurrentUserID:" + userId),
                 ClientsSwitched(outlookExpress, "activated successfully.")});
}

Lines MonitorsStarted(OutlookExpress outlookExpress, const std::wstring& installPath) {
  return ForEachMonitor(outlookExpress, [&](const MonitoredClient& client) {
    return Joined({Info("ImpersonateLoggedOnUser() : " + DeeperPath(client, installPath)),
                   Info("Succeeded in calling CreateProcessAsUser() of " + ToUtf8(client.monitor))});
  });
}

Lines MonitorsMissing(OutlookExpress outlookExpress, int error, const std::wstring& installPath) {
  return Joined({ForEachMonitor(outlookExpress,
                                [&](const MonitoredClient& client) {
                                  const std::string path = DeeperPath(client, installPath);
                                  return Joined(
                                      {Info("ImpersonateLoggedOnUser() : " + path),
                                       Error("Failed to call CreateProcessAsUser() to launch " +
                                             ToUtf8(client.monitor) + " " + std::to_string(error) + " " + path)});
                                }),
                 Error("!!! SetAntiSpamEnable() - failed on VELA_LaunchMonProcess()")});
}

Lines SwitchStored(const std::string& direction) {
  return Joined({Info(direction + " OK"), Info("VELA " + direction + " OK"), RunEnds(0)});
}

Lines ClientsDeactivated(OutlookExpress outlookExpress) {
  return Joined(
      {ClientsSwitched(outlookExpress, "deactivated successfully."), Info("Check if need VELA_DISABLE_NOTIFY_EVENT")});
}
Lines MonitorsTold() {
  return Info("Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! ");
}
Lines MonitorsKept() {
  return Info("Not Send VELA_DISABLE_NOTIFY_EVENT");
}
Lines SwitchFailed(const std::wstring& installPath) {
  return Joined({Error("HandleVELADefaultEnable(), Fail to Default Set Anti-Spam Enable !! strVELAInstallPath = " +
                       ToUtf8(installPath)),
                 RunEnds(0)});
}

Lines RunValues(char sign, OutlookExpress outlookExpress, const std::wstring& installPath) {
  return ForEachMonitor(outlookExpress, [&](const MonitoredClient& client) -> Lines {
    const std::wstring command = L"\"" + installPath + L"\\" + client.folder + L"\\" + client.monitor + L"\"";
    return {sign + std::string("HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Run [64] \"") + client.name +
            "\" REG_SZ \"" + ToUtf8(command) + "\""};
  });
}

Lines SwitchChanged(int to, const std::string& from) {
  return {"~HKLM\\Software\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA [32] \"VELAEnable\" REG_DWORD " +
          std::to_string(to) + " <- " + from};
}

Lines RegistryOfFirstEnable(OutlookExpress outlookExpress) {
  return Sorted(Joined({AddinKeysWritten(3), RunValues('+', outlookExpress), SwitchChanged(1, "REG_DWORD 0")}));
}

Lines RegistryOfDisable(OutlookExpress outlookExpress) {
  Lines lines = Joined({RunValues('-', outlookExpress), SwitchChanged(0, "REG_DWORD 1")});
  std::vector<std::string> roots = {"HKLM"};
  for (const std::wstring& hive : TestSupport::SubkeyNames(TestSupport::UsersKey(L""))) {
    roots.push_back("HKU\\" + ToUtf8(hive));
  }
  for (const std::string& root : roots) {
    lines.push_back("~" + root +
                    "\\Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent [64] \"LoadBehavior\" "
                    "REG_DWORD 2 <- REG_DWORD 3");
  }
  return Sorted(lines);
}

Lines UserFolders(OutlookExpress outlookExpress, const std::string& userId) {
  const std::string base = "+" + ToUtf8(kCommonBase);
  Lines lines;
  for (const char* const client : {"OL", "OE", "WLM"}) {
    if (client == std::string("OE") && outlookExpress != OutlookExpress::kStaged) {
      continue;
    }
    const std::string folder = base + client + "\\";
    const std::string user = folder + "Users\\" + (userId.empty() ? "" : userId + "\\");
    lines = Joined({lines, {folder, folder + "Users\\", user + "log\\"}, userId.empty() ? Lines{} : Lines{user}});
  }
  return Sorted(lines);
}

std::wstring MonitorPath(const wchar_t* client, const wchar_t* monitor, const std::wstring& installPath) {
  return installPath + L"\\VELA\\" + client + L"\\" + monitor;
}

void PlaceMonitors(const std::wstring& installPath) {
  for (const MonitoredClient& client : kMonitoredClients) {
    TestSupport::CopyTestFile(World::kSource + std::wstring(client.source) + client.monitor,
                              MonitorPath(client.folder, client.monitor, installPath));
  }
}

}  // namespace Expected
