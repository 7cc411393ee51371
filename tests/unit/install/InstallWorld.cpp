#include "tests/unit/install/InstallWorld.h"

#include "tests/support/RegistrySnapshot.h"

namespace TestSupport {
InstallWorld::InstallWorld() : commandLine(folder.Path(L"src"), folder.Path(L"dest")) {
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
  RegistrySnapshot snapshot;
  snapshot.Add(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent", KEY_WOW64_64KEY);
  const Lines lines = LinesWith(snapshot.AsLines(), "\"LoadBehavior\" REG_DWORD ");
  return lines.empty() ? 0 : std::stoul(lines.front().substr(lines.front().rfind(' ')));
}

// Only the users' keys. The machine's key is removed together with the keys of Office.
void InstallWorld::ForgetAddins() {
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    RemoveKey(UsersKey(hive + L"\\Software\\Microsoft\\Office"));
  }
}

}  // namespace TestSupport
