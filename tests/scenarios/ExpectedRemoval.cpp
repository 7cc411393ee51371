#include "tests/scenarios/ExpectedRemoval.h"

#include <windows.h>

#include <algorithm>

#include "tests/support/TestRegistry.h"

using TestSupport::ToUtf8;

namespace Expected {
namespace {

constexpr char kData[] = "C:\\ProgramData\\Orvane Labs\\";

// As they are listed by the file system.
Lines ProfileFolders() {
  Lines folders;
  WIN32_FIND_DATAW entry = {};
  const HANDLE search = ::FindFirstFileW(L"C:\\users\\*", &entry);
  if (search == INVALID_HANDLE_VALUE) {
    return folders;
  }
  do {
    const std::wstring name = entry.cFileName;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && name != L"." && name != L"..") {
      folders.push_back("C:\\users\\" + ToUtf8(name));
    }
  } while (::FindNextFileW(search, &entry));
  ::FindClose(search);
  return folders;
}

Lines CacheFilesDeleted(bool windows60) {
  Lines lines;
  for (const std::string& profile : ProfileFolders()) {
    lines = Joined(
        {lines, Info("Begin to delete the file: " + profile + (windows60 ? "\\AppData\\Local" : "\\Application Data") +
                     "\\Microsoft\\Outlook\\Extend.dat")});
  }
  return lines;
}

Lines ModuleUnregistered(const std::string& module, bool started) {
  return Joined({Info("UnregisterComModule() command line: regsvr32.exe /u /s \"" + module + "\""),
                 Info(std::string("UnregisterComModule() execute result: ") + (started ? "1" : "0"))});
}

std::string ClientFolder(const std::wstring& base, const char* client) {
  return ToUtf8(base) + "VELA\\" + client + "\\";
}

Lines Deactivated(const std::string& client) {
  return Info("SetAntiSpamEnable() - VELA " + client + " deactivated successfully.");
}

Lines NotDeactivated(const std::string& client, const std::string& reason) {
  return Joined({Error(reason), Error("*** SetAntiSpamEnable() - failed on VELA_DeActivate" + client + "()")});
}

Lines SwitchBegins() {
  return Joined({Info("VELA is still Activated. Set VELA to disable!, bServiceMode=1"),
                 Info("CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: S-1-5-21-0-0-0-1000")});
}

Lines MonitorsTold(Monitors monitors) {
  return Joined({Info("Check if need VELA_DISABLE_NOTIFY_EVENT"),
                 Info(monitors == Monitors::kToldToEnd
                          ? "Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! "
                          : "Not Send VELA_DISABLE_NOTIFY_EVENT")});
}

}  // namespace

Lines UninstallBegins(const std::wstring& destination) {
  return RunBegins(L"-U", World::kSource, destination, "======= Uninstall ========");
}

Lines SwitchedOff(OutlookExpress outlookExpress, Monitors monitors) {
  return Joined({SwitchBegins(), Deactivated("OL"),
                 outlookExpress == OutlookExpress::kStaged ? Deactivated("OE") : Lines{}, Deactivated("WLM"),
                 MonitorsTold(monitors)});
}

Lines NothingToSwitchOff(OutlookExpress outlookExpress) {
  const auto noRunValue = [](const std::string& client) {
    return NotDeactivated(client, "Fail to DeleteRegStringValue() of g_sz" + client + "_OEM !");
  };
  return Joined({SwitchBegins(), NotDeactivated("OL", "Failed to WriteRegIntValue of LoadBehavior to 2!!"),
                 outlookExpress == OutlookExpress::kStaged ? noRunValue("OE") : Lines{}, noRunValue("WLM"),
                 MonitorsTold(Monitors::kToldToEnd), Warning("VELAUtility::SetAntiSpamEnable(), Failed.")});
}

Lines OutlookUnregistered(const std::wstring& base, int failingFrom) {
  const std::string addin = ClientFolder(base, "VELA_OL") + "VELA_OLA.dll";
  const std::string redemption = ClientFolder(base, "VELA_OL") + "Redemption.dll";
  return Joined({Info("Begin to unregister VELA_OLA.dll ... "), ModuleUnregistered(addin, failingFrom > 1),
                 failingFrom > 1 ? Lines{} : Error("Failed to unregister VELA_OLA.dll !! " + addin),
                 Info("Begin to unregister Redemption.dll ... "), ModuleUnregistered(redemption, failingFrom > 2),
                 failingFrom > 2 ? Lines{} : Error("Failed to unregister Redemption.dll !!"),
                 Info("Begin to delete OL relative registry ... ")});
}

Lines OutlookExpressUnregistered(const std::wstring& base, int failingFrom) {
  Lines lines;
  int start = 3;
  for (const char* const module : {"oeapiinitcom.dll", "oecom.dll", "oestore.dll", "VELA_OEWab.dll"}) {
    const std::string path = ClientFolder(base, "VELA_OE") + module;
    const bool started = start < failingFrom;
    lines = Joined({lines, ModuleUnregistered(path, started)});
    if (!started) {
      lines = Joined({lines, Error(std::string("Failed to unregister ") + module + " !!" +
                                   (start == 3 ? " " + path : std::string()))});
    }
    ++start;
  }
  return lines;
}

Lines WindowsLiveMailUnregistered(const std::wstring& base, int failingFrom) {
  Lines lines;
  int start = 7;
  for (const char* const module :
       {"WLMailApiInit.dll", "WLMailApiCom.dll", "WLMailApiStore.dll", "WLMailApiContacts.dll"}) {
    const bool started = start++ < failingFrom;
    lines = Joined({lines, ModuleUnregistered(ClientFolder(base, "VELA_WLM") + module, started),
                    started ? Lines{} : Event(std::string("Failed to unregister ") + module + " !!")});
  }
  return failingFrom > 10 ? lines : Joined({lines, Error("Unregistry WLM COM objects failed")});
}

Lines AddinKeysDeleted(bool windows60) {
  Lines lines = Joined({Info("Delete VELA_OLA.OLAgent registry Success! "), CacheFilesDeleted(windows60)});
  for (const std::wstring& hive : TestSupport::SubkeyNames(TestSupport::UsersKey(L""))) {
    lines = Joined({lines, Info("Delete VELA_OLA.OLAgent registry:HKEY_USERS," + ToUtf8(hive) +
                                "\\Software\\Microsoft\\Office\\Outlook\\Addins\\")});
  }
  return lines;
}

Lines NoAddinKeys(bool windows60) {
  return Joined(
      {Info(" IsRegistryExisted(HKEY_LOCAL_MACHINE, g_szOLActivateKey) = FALSE "), CacheFilesDeleted(windows60)});
}

Lines NotInPluginList() {
  return Warning("Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\WLMAilApiCppDllClient !!");
}

Lines NoRunValue(const std::string& name) {
  return Warning("Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_sz" + name + "_OEM !!");
}

Lines ProductFolderDeleted(const std::wstring& base) {
  return Joined({DataFolderDeleted(),
                 Info("VELAUtility::DeleteFolderFiles(), Success to delete folder: " + ToUtf8(base) + "VELA")});
}

Lines ProductFolderNotDeleted(int error, const std::wstring& base) {
  return Joined(
      {Error("OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:" + std::to_string(error)),
       Error("VELAUtility::DeleteFolderFiles(), Failed to delete folder: " + ToUtf8(base) + "VELA dwRtnValue:0")});
}

Lines DataFolderDeleted() {
  return Info("OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:0");
}

Lines DataFolderNotDeleted(const std::string& name, int error) {
  return Joined({Error("OrCommon::Storage::File::DeleteAllFiles failed, dwRtnValue:" + std::to_string(error)),
                 Warning("VELAUtility::RemoveVELAProgramData(), Failed to delete folder: " + (kData + name))});
}

Lines DataFoldersDeleted(OutlookExpress outlookExpress) {
  return Joined({DataFolderDeleted(),
                 outlookExpress == OutlookExpress::kStaged ? DataFolderDeleted() : DataFolderNotDeleted("OE"),
                 DataFolderDeleted(), DataFolderNotDeleted("VELA_common")});
}

Lines NoDataFolders() {
  return Joined({DataFolderNotDeleted("OL"), DataFolderNotDeleted("OE"), DataFolderNotDeleted("WLM"),
                 DataFolderNotDeleted("VELA_common")});
}

Lines Gone(Lines made) {
  for (std::string& line : made) {
    line.front() = '-';
  }
  return made;
}

Lines AddinKeysGone(int loadBehavior) {
  return Gone(TestSupport::LinesWith(AddinKeysWritten(loadBehavior), "VELA_OLA.OLAgent"));
}

Lines RegistryOfUninstall(OutlookExpress outlookExpress) {
  const std::string run = "-HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Run [64] ";
  const auto started = [&](const char* name) {
    return run + "\"" + name + "\" REG_SZ \"\"" + ToUtf8(kBase) + "VELA_" + name + "\\VELA_" + name + "Mon.exe\"\"";
  };
  Lines lines = Joined({AddinKeysGone(3), {started("WLM")}, {Gone(PluginListed()).back()}});
  if (outlookExpress == OutlookExpress::kStaged) {
    lines.push_back(started("OE"));
  }
  return Sorted(lines);
}

Lines FilesOfUninstall(OutlookExpress outlookExpress) {
  Lines lines;
  for (const std::string& line : FilesMade(outlookExpress)) {
    if (line.find("\\VELA\\") != std::string::npos) {
      lines.push_back(line);
    }
  }
  for (const char* const client : {"OL", "OE", "WLM"}) {
    if (client == std::string("OE") && outlookExpress == OutlookExpress::kLeftOut) {
      continue;
    }
    for (const char* const folder : {"\\", "\\Users\\", "\\Users\\log\\"}) {
      lines.push_back("+" + (kData + std::string(client)) + folder);
    }
  }
  return Sorted(Gone(lines));
}

Lines MissingDataFoldersPending(const std::vector<std::string>& names) {
  Lines lines;
  for (const std::string& name : names) {
    lines.push_back(kData + name + " -> ");
  }
  return lines;
}

}  // namespace Expected
