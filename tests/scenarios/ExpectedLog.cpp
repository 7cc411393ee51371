#include "tests/scenarios/ExpectedLog.h"

using TestSupport::ToUtf8;

namespace Expected {
namespace {

constexpr char kProductKey[] = "SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";

// The first lines of every look for Outlook.
Lines OutlookLookUp(const std::string& release) {
  return Joined(
      {Info("GetOutlookVersion(), Open registry key success: Software\\Classes\\Outlook.Application\\CurVer\\"),
       Info("GetOutlookVersion(), RegQueryValueEx for strVer: " + release)});
}

// The log is 8-bit text: U+0080 to U+00FF stand in it as one byte each.
std::string As8BitText(const std::wstring& text) {
  std::string narrow;
  for (const wchar_t character : text) {
    narrow += static_cast<char>(character);
  }
  return narrow;
}

Lines CommandLineLogged(const std::wstring& module) {
  return Info("RegisterComModule() command line: regsvr32.exe /s \"" + As8BitText(module) + "\"");
}

// The four modules of a client, tried one by one; `failure` says what is logged for one that fails.
template <class Failure>
Lines ModulesRegistered(const std::vector<std::wstring>& modules, int firstStart, Regsvr32 regsvr32, bool stops,
                        const Failure& failure) {
  Lines lines;
  int start = firstStart;
  for (const std::wstring& module : modules) {
    if (start++ < regsvr32.failingFrom) {
      lines = Joined({lines, ModuleRegistered(module)});
      continue;
    }
    lines = Joined({lines, ModuleNotRegistered(module), failure(module)});
    if (stops) {
      break;
    }
  }
  return lines;
}

std::string NameOf(const std::wstring& module) {
  return ToUtf8(module.substr(module.rfind(L'\\') + 1));
}

}  // namespace

Lines Joined(const std::vector<Lines>& pieces) {
  Lines lines;
  for (const Lines& piece : pieces) {
    lines.insert(lines.end(), piece.begin(), piece.end());
  }
  return lines;
}

Lines Info(const std::string& message) {
  return {"LOG_INFO : " + message};
}
Lines Error(const std::string& message) {
  return {"LOG_ERROR: " + message};
}
Lines Warning(const std::string& message) {
  return {"LOG_WARN : " + message};
}
Lines Event(const std::string& message) {
  return {"LOG_EVENT :" + message};
}

Lines RunBegins(const std::wstring& command, const std::wstring& source, const std::wstring& destination,
                const std::string& banner) {
  return {"LOG_INFO :  cmd:" + As8BitText(command), " src:" + As8BitText(source), "dest:" + As8BitText(destination),
          "LOG_INFO : " + banner, ""};
}

Lines InstallBegins(const std::wstring& source, const std::wstring& destination) {
  return RunBegins(L"-I", source, destination, "======== Install =========");
}

Lines RunEnds(int result) {
  return Info("[time] VELA END!!! RetrunCode:" + std::to_string(result));
}

Lines FileCopied(const std::wstring& from, const std::wstring& to) {
  return Info("CopyFile(" + As8BitText(from) + ", " + As8BitText(to) + ") successed.");
}

Lines TreeCopied(const Tree& tree) {
  Lines lines;
  for (const std::wstring& file : FilesInCopyOrder(tree.from)) {
    lines = Joined({lines, FileCopied(tree.from + file, tree.to + file)});
  }
  return lines;
}

Lines FilesStaged(OutlookExpress outlookExpress, const std::wstring& base, const std::wstring& source) {
  Lines lines;
  for (const StagingStep& step : StagingSteps(outlookExpress, base, source)) {
    for (const Tree& tree : step.trees) {
      lines = Joined({lines, TreeCopied(tree)});
    }
  }
  return lines;
}

Lines StagingHasNoFolders(OutlookExpress outlookExpress, const std::wstring& base) {
  Lines lines;
  for (const StagingStep& step : StagingSteps(outlookExpress, base)) {
    const Lines missing = Error("Path not exists: " + As8BitText(step.folder));
    if (step.name.empty()) {
      lines = Joined(
          {lines, Error("SHCreateDirectoryEx create folder fail ! Folder: " + As8BitText(step.folder)), missing});
      continue;
    }
    lines = Joined({lines, Error("SHCreateDirectoryEx create " + step.name + " folder fail !"), missing, missing,
                    Error("SHCreateDirectoryEx create rule folder fail !"),
                    Error("Path not exists: " + As8BitText(step.folder) + "\\rule"),
                    Warning("Fail to copy " + step.name + ".ini !")});
  }
  return lines;
}

Lines StagingHasNoSource(OutlookExpress outlookExpress) {
  Lines lines;
  for (const StagingStep& step : StagingSteps(outlookExpress, kBase)) {
    if (!step.name.empty()) {
      lines = Joined({lines, Warning("Fail to copy " + step.name + ".ini !")});
    }
  }
  return lines;
}

Lines NoClientRuns() {
  return Info("There is no any Mail Client Running.");
}
Lines AClientRuns() {
  return Info("There is a Mail Client Running.");
}

Lines ProductKeyRefused(int error) {
  return Info("REG Open Fail, path:" + std::string(kProductKey) + ", nError:" + std::to_string(error));
}

Lines SwitchUnreadable(int error) {
  return Info("QueryStringValue Fail, keyName:VELAEnable, nError:" + std::to_string(error));
}

Lines OutlookMissing() {
  return Joined({Info("GetOutlookVersion return=0"), Info("GetOutlookVersion return OL_NOT_INSTALLED !"),
                 Info("MS Office Outlook is not installed !")});
}

Lines OutlookFound(const std::string& release, const std::string& folder, int code) {
  return Joined({OutlookLookUp(release), Info("GetOutlookVersion(), Get outlook.exe path: " + folder + "outlook.exe"),
                 Info("GetOutlookVersion(), Success Get Outlook version: " + release),
                 Info("GetOutlookVersion return=" + std::to_string(code))});
}

Lines OutlookRefused(const std::string& release, const std::string& folder, int code, const std::string& name) {
  return Joined({OutlookFound(release, folder, code), Info("GetOutlookVersion return " + name + " !"),
                 Info("MS Office Outlook is not installed !")});
}

Lines NoExtensionFile() {
  return Info("VELAUtility::VELA_RemoveOutlookECF(), OL Install Path is empty, it maybe not install.");
}

Lines ExtensionFileDeleted(const std::string& release, const std::string& folder) {
  return Joined(
      {OutlookLookUp(release), Info("VELAUtility::GetOutlookInstallPath() success, the path: " + folder),
       Info("VELAUtility::VELA_RemoveOutlookECF(), Try to delete the file : " + folder + "ADDINS\\Redemption.ECF")});
}

Lines ModuleRegistered(const std::wstring& module) {
  return Joined({CommandLineLogged(module), Info("RegisterComModule() execute result: 1")});
}

Lines ModuleNotRegistered(const std::wstring& module) {
  return Joined({CommandLineLogged(module), Info("RegisterComModule() execute result: 0")});
}

Lines OutlookRegistered(const Lines& extensionFile, const std::wstring& base, Regsvr32 regsvr32) {
  const std::wstring redemption = base + L"VELA\\VELA_OL\\Redemption.dll";
  const std::wstring addin = base + L"VELA\\VELA_OL\\VELA_OLA.dll";
  if (regsvr32.failingFrom <= 1) {
    return Joined({ModuleNotRegistered(redemption), Error("Failed to register Redemption.dll !! " + ToUtf8(redemption)),
                   Error("Fail to Install VELA_OL !!")});
  }
  if (regsvr32.failingFrom == 2) {
    return Joined({ModuleRegistered(redemption), extensionFile, ModuleNotRegistered(addin),
                   Error("Failed to register VELA_OLA.dll !! GetLastError()=[%d]" + std::to_string(regsvr32.error)),
                   Error("Fail to Install VELA_OL !!")});
  }
  return Joined({ModuleRegistered(redemption), extensionFile, ModuleRegistered(addin)});
}

Lines OutlookExpressRegistered(const std::wstring& base, Regsvr32 regsvr32) {
  const std::wstring folder = base + L"VELA\\VELA_OE\\";
  const Lines modules = ModulesRegistered(
      {folder + L"oeapiinitcom.dll", folder + L"oecom.dll", folder + L"oestore.dll", folder + L"VELA_OEWab.dll"}, 3,
      regsvr32, true, [](const std::wstring& module) {
        const std::string name = NameOf(module);
        const std::string path = name == "oeapiinitcom.dll" ? "  " + ToUtf8(module)
                                 : name == "oecom.dll"      ? " " + ToUtf8(module)
                                                            : "";
        return Error("Failed to register " + name + " !!" + path);
      });
  return regsvr32.failingFrom <= 6 ? Joined({modules, Error("Fail to Install VELA_OE !!")}) : modules;
}

Lines WindowsLiveMailRegistered(const std::wstring& base, Regsvr32 regsvr32) {
  const std::wstring folder = base + L"VELA\\VELA_WLM\\";
  const Lines modules = ModulesRegistered({folder + L"WLMailApiInit.dll", folder + L"WLMailApiCom.dll",
                                           folder + L"WLMailApiStore.dll", folder + L"WLMailApiContacts.dll"},
                                          7, regsvr32, false, [](const std::wstring& module) {
                                            return Event("Failed to register " + NameOf(module) + " !!");
                                          });
  return regsvr32.failingFrom <= 10 ? Joined({modules, Error("Fatal Error, Registry WLM COM object false"),
                                              Error("Fail to Install VELA_WLM !!")})
                                    : modules;
}

Lines ClientsRegistered(const std::wstring& base, Regsvr32 regsvr32) {
  return Joined({OutlookRegistered(NoExtensionFile(), base, regsvr32), OutlookExpressRegistered(base, regsvr32),
                 WindowsLiveMailRegistered(base, regsvr32)});
}

}  // namespace Expected
