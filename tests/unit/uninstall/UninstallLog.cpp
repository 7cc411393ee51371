#include "tests/unit/uninstall/UninstallLog.h"

#include "tests/support/TestRegistry.h"
#include "tests/unit/uninstall/UninstallWorld.h"

namespace TestSupport {
namespace {

Lines Modules(const std::string& folder, const std::vector<std::string>& modules) {
  Lines lines;
  for (const std::string& module : modules) {
    lines = Joined({lines, UnregisteringLines(folder + "\\" + module)});
  }
  return lines;
}

}  // namespace

Lines SwitchedOff(int serviceMode, const std::string& session, OutlookExpressSwitch outlookExpress) {
  Lines lines = {
      "LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=" + std::to_string(serviceMode), session,
      "LOG_INFO : SetAntiSpamEnable() - VELA OL deactivated successfully."};
  if (outlookExpress == OutlookExpressSwitch::kHandled) {
    lines.emplace_back("LOG_INFO : SetAntiSpamEnable() - VELA OE deactivated successfully.");
  }
  return Joined({lines,
                 {"LOG_INFO : SetAntiSpamEnable() - VELA WLM deactivated successfully.",
                  "LOG_INFO : Check if need VELA_DISABLE_NOTIFY_EVENT",
                  "LOG_INFO : Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! "}});
}

Lines OutlookModulesRemoved(const std::string& folder) {
  return Joined({{"LOG_INFO : Begin to unregister VELA_OLA.dll ... "},
                 Modules(folder, {"VELA_OLA.dll"}),
                 {"LOG_INFO : Begin to unregister Redemption.dll ... "},
                 Modules(folder, {"Redemption.dll"}),
                 {"LOG_INFO : Begin to delete OL relative registry ... "}});
}

Lines OutlookExpressRemoved(const std::string& folder) {
  return Modules(folder, {"oeapiinitcom.dll", "oecom.dll", "oestore.dll", "VELA_OEWab.dll"});
}

Lines WindowsLiveMailRemoved(const std::string& folder) {
  return Modules(folder, {"WLMailApiInit.dll", "WLMailApiCom.dll", "WLMailApiStore.dll", "WLMailApiContacts.dll"});
}

Lines OutlookKeysRemoved(bool there, bool windows60) {
  Lines lines = {there ? "LOG_INFO : Delete VELA_OLA.OLAgent registry Success! "
                       : "LOG_INFO :  IsRegistryExisted(HKEY_LOCAL_MACHINE, g_szOLActivateKey) = FALSE "};
  for (const std::string& profile : ProfileFolders()) {
    lines.push_back("LOG_INFO : Begin to delete the file: " + profile +
                    (windows60 ? "\\AppData\\Local" : "\\Application Data") + "\\Microsoft\\Outlook\\Extend.dat");
  }
  if (there) {
    for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
      lines.push_back("LOG_INFO : Delete VELA_OLA.OLAgent registry:HKEY_USERS," + ToUtf8(hive) +
                      "\\Software\\Microsoft\\Office\\Outlook\\Addins\\");
    }
  }
  return lines;
}

Lines FolderEmptied() {
  return {"LOG_INFO : OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:0"};
}

Lines FolderNotEmptied(int error) {
  return {"LOG_ERROR: OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:" + std::to_string(error)};
}

Lines ProductFolderRemoved(const std::string& folder) {
  return Joined(
      {FolderEmptied(), {"LOG_INFO : VELAUtility::DeleteFolderFiles(), Success to delete folder: " + folder}});
}

Lines ProductFolderNotRemoved(const std::string& folder, int error) {
  return Joined(
      {FolderNotEmptied(error),
       {"LOG_ERROR: VELAUtility::DeleteFolderFiles(), Failed to delete folder: " + folder + " dwRtnValue:0"}});
}

Lines NoProgramData(const std::string& base) {
  Lines lines;
  for (const char* const folder : {"OL", "OE", "WLM", "VELA_common"}) {
    lines = Joined({lines,
                    FolderNotEmptied(ERROR_PATH_NOT_FOUND),
                    {"LOG_WARN : VELAUtility::RemoveVELAProgramData(), Failed to delete folder: " + base + folder}});
  }
  return lines;
}

}  // namespace TestSupport
