#include "tests/unit/logreader/SmallLogs.h"

#include <algorithm>
#include <stdexcept>

namespace SmallLogs {
namespace {

using LogReader::Command;

constexpr char kProduct[] = "C:\\Bastion\\Orvane Labs\\VELA\\";
constexpr const char* kModules[] = {"VELA_OL\\Redemption.dll",      "VELA_OL\\VELA_OLA.dll",
                                    "VELA_OE\\oeapiinitcom.dll",    "VELA_OE\\oecom.dll",
                                    "VELA_OE\\oestore.dll",         "VELA_OE\\VELA_OEWab.dll",
                                    "VELA_WLM\\WLMailApiInit.dll",  "VELA_WLM\\WLMailApiCom.dll",
                                    "VELA_WLM\\WLMailApiStore.dll", "VELA_WLM\\WLMailApiContacts.dll"};

std::string Info(const std::string& text) {
  return "LOG_INFO : " + text;
}

// On Windows 7 and later nothing of Outlook Express is copied.
Lines Copied() {
  Lines lines;
  const auto copy = [&](const std::string& from, const std::string& to) {
    lines.push_back(Info("CopyFile(" + (kSource + ("\\" + from)) + ", " + kProduct + to + ") successed."));
  };
  copy("Resource\\x64\\VELA_MUI.ini", "Resource\\VELA_MUI.ini");
  for (const std::string client : {"OL", "WLM"}) {
    const std::string folder = "VELA_" + client + "\\";
    for (const char* const name : kModules) {
      const std::string module = name;
      if (module.compare(0, folder.size(), folder) == 0) {
        copy(client + "\\" + module.substr(folder.size()), module);
      }
    }
    copy("Common\\win32\\vela.ptn", folder + "vela.ptn");
    copy("rule\\base.rul", folder + "rule\\base.rul");
  }
  return lines;
}

Lines Registered(const std::string& what, const std::string& switches) {
  Lines lines;
  for (const char* const module : kModules) {
    lines.push_back(
        Info(what + "ComModule() command line: regsvr32.exe " + switches + "/s \"" + kProduct + module + "\""));
    lines.push_back(Info(what + "ComModule() execute result: 1"));
  }
  return lines;
}

const Lines kSwitchedOff = {"LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: S-1-5-21-1",
                            "LOG_INFO : SetAntiSpamEnable() - VELA OL deactivated successfully.",
                            "LOG_INFO : SetAntiSpamEnable() - VELA WLM deactivated successfully.",
                            "LOG_INFO : Check if need VELA_DISABLE_NOTIFY_EVENT",
                            "LOG_INFO : Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! "};

Lines Steps(Command command) {
  switch (command) {
    case Command::kInstall:
      return Joined(Joined(Copied(), {"LOG_INFO : QueryStringValue Fail, keyName:VELAEnable, nError:2",
                                      "LOG_INFO : GetOutlookVersion return=6"}),
                    Registered("Register", ""));
    case Command::kEnable:
      return {"LOG_ERROR: Fail to open REG_ZENTA_VELA_ROOT_PATH for query !!",
              "LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: S-1-5-21-1",
              "LOG_INFO : GetCurrentUserID - szSidString: S-1-5-21-1 strCurrentUserID:",
              "LOG_INFO : SetAntiSpamEnable() - VELA OL activated successfully.",
              "LOG_INFO : SetAntiSpamEnable() - VELA WLM activated successfully.",
              "LOG_INFO : ImpersonateLoggedOnUser() : C:\\Bastion\\Orvane Labs\\VELA\\VELA_WLM\\VELA_WLMMon.exe",
              "LOG_INFO : Succeeded in calling CreateProcessAsUser() of VELA_WLMMon.exe",
              "LOG_INFO : Enable OK",
              "LOG_INFO : VELA Enable OK"};
    case Command::kDisable:
      return Joined(kSwitchedOff, {"LOG_INFO : Disable OK", "LOG_INFO : VELA Disable OK"});
    case Command::kStatus:
      return {"LOG_INFO : GetStatus!!!!! 1"};
    case Command::kUpgrade:
      return Joined(Copied(), {"LOG_INFO : VELAUtility::PreInstallVELA_MUI(), Ret: 1",
                               "LOG_INFO : VELAUtility::PreInstallVELA_OL(), Ret: 1",
                               "LOG_INFO : VELAUtility::PreInstallVELA_WLM(), Ret: 1",
                               "LOG_INFO : VELAWrapper::Upgrade() RetrunCode : 1",
                               "LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()",
                               "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()",
                               "LOG_INFO : VELAWrapper::NotifyReloadVELAEngine() RetrunCode : 1"});
    case Command::kReload:
      return {"LOG_INFO : Enter VELAUtility::NotifyReloadVELAEngine()",
              "LOG_INFO : [VELAUtility::NotifyReloadVELAEngine] OL has been notified.",
              "LOG_INFO : Leave VELAUtility::NotifyReloadVELAEngine()"};
    default:
      return Joined(
          Joined(Joined({"LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=1"}, kSwitchedOff),
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
