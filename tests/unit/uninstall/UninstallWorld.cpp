#include "tests/unit/uninstall/UninstallWorld.h"

#include "tests/support/Clients.h"
#include "tests/support/TestFiles.h"

namespace TestSupport {
namespace {

constexpr wchar_t kOffice[] = L"Software\\Microsoft\\Office";
constexpr wchar_t kAddins[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";
constexpr wchar_t kRun[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

}  // namespace

UninstallWorld::UninstallWorld(const std::wstring& destination)
    : commandLine(folder.Path(L"source"), destination.empty() ? folder.Path(L"product") : destination) {
  Forget();
  MakeProduct(folder.Path(L"product"));
}

UninstallWorld::~UninstallWorld() {
  Forget();
}

void UninstallWorld::Forget() {
  RemoveKey(MachineKey64(kOffice));
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    RemoveKey(UsersKey(hive + L"\\" + kOffice));
  }
  RemoveKey(MachineKey64(L"Software\\Nektra"));
  for (const Client& client : Clients()) {
    RemoveValue(MachineKey64(kRun), client.shortName);
  }
  RemoveTree(kCommonBase);
}

void UninstallWorld::RegisterAll() const {
  MakeKey(MachineKey64(kAddins), {{L"LoadBehavior", 3}});
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    MakeKey(UsersKey(hive + L"\\" + kAddins), {{L"LoadBehavior", 3}});
  }
  for (const Client& client : Clients()) {
    if (client.hasMonitor) {
      MakeKey(MachineKey64(kRun), {{client.shortName, L"monitor"}});
    }
  }
}

void UninstallWorld::MakeProduct(const std::wstring& base) const {
  for (const Client& client : Clients()) {
    WriteTestFile(base + L"\\VELA\\" + client.FolderName() + L"\\plugin.dll", "plug-in");
  }
}

}  // namespace TestSupport
