#include "tests/unit/uninstall/UninstallWorld.h"

#include "tests/support/RegistrySnapshot.h"
#include "tests/support/TestFiles.h"

namespace TestSupport {
namespace {

constexpr wchar_t kOffice[] = L"Software\\Microsoft\\Office";
constexpr wchar_t kAddins[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";
constexpr wchar_t kRun[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kPlugins[] = L"Software\\Nektra\\WLMailAPi\\Plugins";
constexpr wchar_t kListed[] = L"WLMAilApiCppDllClient";

bool HasValue(const KeyPlace& place, const std::wstring& name) {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(place.hive, place.path.c_str(), 0, KEY_READ | place.view, &key) != ERROR_SUCCESS) {
    return false;
  }
  const LSTATUS status = ::RegQueryValueExW(key, name.c_str(), nullptr, nullptr, nullptr, nullptr);
  ::RegCloseKey(key);
  return status == ERROR_SUCCESS;
}

}  // namespace

Lines ProfileFolders() {
  Lines folders;
  WIN32_FIND_DATAW entry = {};
  const HANDLE search = ::FindFirstFileW(L"C:\\users\\*", &entry);
  REQUIRE(search != INVALID_HANDLE_VALUE);
  do {
    const std::wstring name = entry.cFileName;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && name != L"." && name != L"..") {
      folders.push_back("C:\\users\\" + ToUtf8(name));
    }
  } while (::FindNextFileW(search, &entry));
  ::FindClose(search);
  return folders;
}

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
  RemoveValue(MachineKey64(kRun), L"OE");
  RemoveValue(MachineKey64(kRun), L"WLM");
  RemoveTree(kCommonBase);
}

void UninstallWorld::RegisterAll() const {
  MakeKey(MachineKey64(kAddins), {{L"LoadBehavior", 3}});
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    MakeKey(UsersKey(hive + L"\\" + kAddins), {{L"LoadBehavior", 3}});
  }
  MakeKey(MachineKey64(kRun), {{L"OE", L"monitor"}, {L"WLM", L"monitor"}});
  MakeKey(MachineKey64(kPlugins), {{kListed, L"VELA_WLMA.dll"}});
}

void UninstallWorld::MakeProduct(const std::wstring& base) const {
  for (const wchar_t* const client : {L"VELA_OL", L"VELA_OE", L"VELA_WLM"}) {
    WriteTestFile(base + L"\\VELA\\" + client + L"\\plugin.dll", "plug-in");
    WriteTestFile(base + L"\\VELA\\" + client + L"\\rule\\spam.ptn", "rules");
  }
}

bool UninstallWorld::HasAddinKey(const std::wstring& hive) {
  return KeyExists(hive.empty() ? MachineKey64(kAddins) : UsersKey(hive + L"\\" + kAddins));
}

bool UninstallWorld::HasRunValue(const std::wstring& name) {
  return HasValue(MachineKey64(kRun), name);
}

bool UninstallWorld::IsInPluginList() {
  return HasValue(MachineKey64(kPlugins), kListed);
}

}  // namespace TestSupport
