#include "tests/unit/install/InstallWorld.h"

#include "tests/support/FileSnapshot.h"
#include "tests/support/RegistrySnapshot.h"

namespace TestSupport {
namespace {

constexpr char kClients[] = "C:\\VelaTest\\Install\\dest\\Orvane Labs\\VELA\\";

Lines Copied(const std::vector<std::pair<std::string, std::string>>& files) {
  Lines lines;
  for (const auto& [from, to] : files) {
    lines.push_back("LOG_INFO : CopyFile(C:\\VelaTest\\Install\\src\\" + from + ", " + kClients + to + ") successed.");
  }
  return lines;
}

Lines StagedClient(const std::string& own, const std::string& common, const std::string& client) {
  return Copied({{own + "\\own.dll", client + "\\own.dll"},
                 {"Common\\" + common + "\\engine.dll", client + "\\engine.dll"},
                 {"rule\\spam.ptn", client + "\\rule\\spam.ptn"}});
}

Lines Registered(const std::string& client, const std::vector<std::string>& modules) {
  Lines lines;
  for (const std::string& module : modules) {
    const Lines added = RegisteringLines(kClients + client + "\\" + module);
    lines.insert(lines.end(), added.begin(), added.end());
  }
  return lines;
}

}  // namespace

InstallWorld::InstallWorld(const std::wstring& destination)
    : commandLine(folder.Path(L"src"), destination.empty() ? folder.Path(L"dest") : destination) {
  ForgetAddins();
  MakeInstallationSource(folder);
  folder.MakeFolder(L"dest");
}

InstallWorld::~InstallWorld() {
  ForgetAddins();
}

Lines InstallWorld::Settings() const {
  RegistrySnapshot snapshot;
  snapshot.Add(HKEY_LOCAL_MACHINE, L"SOFTWARE\\OrvaneLabs", KEY_WOW64_32KEY);
  Lines values;
  for (const std::string& line : LinesWith(snapshot.AsLines(), "\\VELA [32] \"")) {
    values.push_back(line.substr(line.find('"')));
  }
  return values;
}

DWORD InstallWorld::LoadBehavior() const {
  DWORD value = 0;
  DWORD size = sizeof value;
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent", 0,
                      KEY_READ | KEY_WOW64_64KEY, &key) == ERROR_SUCCESS) {
    ::RegQueryValueExW(key, L"LoadBehavior", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
    ::RegCloseKey(key);
  }
  return value;
}

Lines InstallWorld::Staged() const {
  FileSnapshot snapshot;
  snapshot.Add(folder.Path(L"dest\\Orvane Labs"));
  return snapshot.AsLines();
}

// The machine's own goes with the keys of Office.
void InstallWorld::ForgetAddins() {
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    RemoveKey(UsersKey(hive + L"\\Software\\Microsoft\\Office"));
  }
}

Lines StagedResources(const std::string& kind) {
  return Copied({{"Resource\\" + kind + "\\text.dll", "Resource\\text.dll"}});
}

Lines StagedOutlook() {
  return StagedClient("OL", "win32", "VELA_OL");
}

Lines StagedOutlookExpress(const std::string& own, const std::string& common) {
  return StagedClient(own, common, "VELA_OE");
}

Lines StagedWindowsLiveMail() {
  return StagedClient("WLM", "win32", "VELA_WLM");
}

Lines RegisteredOutlookModules() {
  Lines lines = Registered("VELA_OL", {"Redemption.dll"});
  lines.emplace_back(
      "LOG_INFO : VELAUtility::VELA_RemoveOutlookECF(), OL Install Path is empty, it maybe not install.");
  return Joined({lines, Registered("VELA_OL", {"VELA_OLA.dll"})});
}

Lines RegisteredOutlookExpressModules() {
  return Registered("VELA_OE", {"oeapiinitcom.dll", "oecom.dll", "oestore.dll", "VELA_OEWab.dll"});
}

Lines RegisteredWindowsLiveMailModules() {
  return Registered("VELA_WLM",
                    {"WLMailApiInit.dll", "WLMailApiCom.dll", "WLMailApiStore.dll", "WLMailApiContacts.dll"});
}

}  // namespace TestSupport
