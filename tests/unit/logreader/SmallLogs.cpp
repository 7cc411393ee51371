#include "tests/unit/logreader/SmallLogs.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "tests/support/Clients.h"

namespace SmallLogs {
namespace {

using LogReader::Command;
using TestSupport::Client;
using TestSupport::ToUtf8;

constexpr char kProduct[] = "C:\\Bastion\\Orvane Labs\\VELA\\";

std::string Info(const std::string& text) {
  return "LOG_INFO : " + text;
}

// The clients of Windows 7 and later: without Outlook Express, except that its modules are registered.
std::vector<Client> Handled() {
  std::vector<Client> handled;
  std::copy_if(TestSupport::Clients().begin(), TestSupport::Clients().end(), std::back_inserter(handled),
               [](const Client& client) { return !client.endedWithVista; });
  return handled;
}

// A line for each of them, with its short name after `text`.
Lines ForEach(const std::string& text, const std::string& rest) {
  Lines lines;
  for (const Client& client : Handled()) {
    lines.push_back(Info(text + ToUtf8(client.shortName) + rest));
  }
  return lines;
}

Lines Copied() {
  Lines lines;
  const auto copy = [&](const std::string& from, const std::string& to) {
    lines.push_back(Info("CopyFile(" + (kSource + ("\\" + from)) + ", " + kProduct + to + ") successed."));
  };
  copy("Resource\\x64\\VELA_MUI.ini", "Resource\\VELA_MUI.ini");
  for (const Client& client : Handled()) {
    const std::string folder = ToUtf8(client.FolderName() + L"\\");
    for (const wchar_t* const module : client.modules) {
      copy(ToUtf8(std::wstring(client.shortName) + L"\\" + module), folder + ToUtf8(module));
    }
    copy("Common\\win32\\vela.ptn", folder + "vela.ptn");
    copy("rule\\base.rul", folder + "rule\\base.rul");
  }
  return lines;
}

Lines Registered(const std::string& what, const std::string& switches) {
  Lines lines;
  for (const Client& client : TestSupport::Clients()) {
    for (const wchar_t* const module : client.modules) {
      lines.push_back(Info(what + "ComModule() command line: regsvr32.exe " + switches + "/s \"" + kProduct +
                           ToUtf8(client.FolderName() + L"\\" + module) + "\""));
      lines.push_back(Info(what + "ComModule() execute result: 1"));
    }
  }
  return lines;
}

constexpr char kUser[] = "LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: S-1-5-21-1";

Lines SwitchedOff() {
  return Joined(Joined({kUser}, ForEach("SetAntiSpamEnable() - VELA ", " deactivated successfully.")),
                {"LOG_INFO : Check if need VELA_DISABLE_NOTIFY_EVENT",
                 "LOG_INFO : Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! "});
}

Lines Monitors() {
  Lines lines;
  for (const Client& client : Handled()) {
    if (client.hasMonitor) {
      const std::string monitor = ToUtf8(client.MonitorName());
      lines.push_back(Info("ImpersonateLoggedOnUser() : " + (kProduct + ToUtf8(client.FolderName()) + "\\" + monitor)));
      lines.push_back(Info("Succeeded in calling CreateProcessAsUser() of " + monitor));
    }
  }
  return lines;
}

Lines Steps(Command command) {
  switch (command) {
    case Command::kInstall:
      return Joined(Joined(Copied(), {"LOG_INFO : QueryStringValue Fail, keyName:VELAEnable, nError:2",
                                      "LOG_INFO : GetOutlookVersion return=6"}),
                    Registered("Register", ""));
    case Command::kEnable:
      return Joined(Joined({"LOG_ERROR: Fail to open REG_ZENTA_VELA_ROOT_PATH for query !!", kUser,
                            "LOG_INFO : GetCurrentUserID - szSidString: S-1-5-21-1 strCurrentUserID:"},
                           ForEach("SetAntiSpamEnable() - VELA ", " activated successfully.")),
                    Joined(Monitors(), {"LOG_INFO : Enable OK", "LOG_INFO : VELA Enable OK"}));
    case Command::kDisable:
      return Joined(SwitchedOff(), {"LOG_INFO : Disable OK", "LOG_INFO : VELA Disable OK"});
    case Command::kStatus:
      return {"LOG_INFO : GetStatus!!!!! 1"};
    case Command::kUpgrade:
      return Joined(
          Joined(Joined(Copied(), {"LOG_INFO : VELAUtility::PreInstallVELA_MUI(), Ret: 1"}),
                 ForEach("VELAUtility::PreInstallVELA_", "(), Ret: 1")),
          {"LOG_INFO : VELAWrapper::Upgrade() RetrunCode : 1", "LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()",
           "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()",
           "LOG_INFO : VELAWrapper::NotifyReloadVELAEngine() RetrunCode : 1"});
    case Command::kReload:
      return {"LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()",
              "LOG_INFO : [VELAUtility::NotifyReloadVELAEngine] OL has been notified.",
              "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()"};
    default:
      return Joined(
          Joined(Joined({"LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=1"}, SwitchedOff()),
                 Registered("Unregister", "/u ")),
          {"LOG_INFO : Begin to delete OL relative registry ... ",
           "LOG_INFO : Delete VELA_OLA.OLAgent registry Success! ",
           "LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szWLM_OEM !!",
           "LOG_INFO : OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:0",
           "LOG_INFO : VELAUtility::DeleteFolderFiles(), Success to delete folder: C:\\Bastion\\Orvane Labs\\VELA",
           "LOG_INFO : OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:0",
           "LOG_ERROR: OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:3",
           "LOG_WARN : VELAUtility::RemoveVELAProgramData(), Failed to delete folder: C:\\ProgramData\\Orvane "
           "Labs\\OE"});
  }
}

Lines::iterator Find(Lines& entries, std::string_view part) {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [&](const std::string& entry) { return entry.find(part) != std::string::npos; });
  if (found == entries.end()) {
    throw std::runtime_error("no entry contains " + std::string(part));
  }
  return found;
}

}  // namespace

Lines GoodRun(Command command) {
  const LogReader::CommandName& name = LogReader::kCommandNames[static_cast<int>(command)];
  const bool takesRoot = command == Command::kInstall || command == Command::kUpgrade;
  const bool notifies = command == Command::kUpgrade || command == Command::kReload;
  const Lines begin = {Info(" cmd:" + std::string(name.name) + "\n src:" + kSource + "\ndest:" + kRoot +
                            (takesRoot ? "" : "\\Orvane Labs")),
                       Info(std::string(name.banner) + "\n")};
  return Joined(Joined(begin, Steps(command)),
                {Info(std::string("[2026/11/21 17:26:24] VELA END!!! RetrunCode:") + (notifies ? "1" : "0"))});
}

std::string LogOf(const Lines& entries) {
  std::string log;
  for (const std::string& entry : entries) {
    log += "\r\n";
    for (const char character : entry) {
      log += character == '\n' ? "\r\n" : std::string(1, character);
    }
  }
  return log;
}

Lines Without(Lines entries, std::string_view part) {
  entries.erase(Find(entries, part));
  return entries;
}

Lines Behind(Lines entries, std::string_view part, const Lines& added) {
  entries.insert(Find(entries, part) + 1, added.begin(), added.end());
  return entries;
}

Lines Instead(Lines entries, std::string_view part, const Lines& added) {
  return Without(Behind(std::move(entries), part, added), part);
}

Lines UpTo(Lines entries, std::string_view part) {
  entries.erase(Find(entries, part) + 1, entries.end());
  return entries;
}

Lines Joined(Lines entries, const Lines& more) {
  entries.insert(entries.end(), more.begin(), more.end());
  return entries;
}

}  // namespace SmallLogs
