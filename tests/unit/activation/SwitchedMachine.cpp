#include "tests/unit/activation/SwitchedMachine.h"

#include <shlobj.h>

#include <cwchar>

#include "tests/support/Clients.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

namespace TestSupport {
namespace {

constexpr wchar_t kRoot[] = L"C:\\VelaTest\\Switch";
constexpr wchar_t kTestUsers[] = L"S-1-5-21-1-2-3-";
constexpr wchar_t kOfficeKey[] = L"Software\\Microsoft\\Office";

// From the lines of a key that contain `part`: the text from it on, or after it.
Lines LinesFrom(HKEY root, const std::wstring& key, const std::string& part, bool behind) {
  RegistrySnapshot snapshot;
  snapshot.Add(root, key, KEY_WOW64_64KEY);
  Lines lines = LinesWith(snapshot.AsLines(), part);
  for (std::string& line : lines) {
    line.erase(0, line.find(part) + (behind ? part.size() : 0));
  }
  return lines;
}

}  // namespace

SwitchedMachine::SwitchedMachine() {
  commonData_.emplace("SHGetSpecialFolderPathW", [](HWND, LPWSTR path, int folder, BOOL create) -> BOOL {
    if (folder != CSIDL_COMMON_APPDATA || create) {
      return FALSE;
    }
    std::wcscpy(path, kData);
    return TRUE;
  });
  ForgetEverything();
  MakeFolder(kData);
  MakeKey(UsersKey(kUser));
}

SwitchedMachine::~SwitchedMachine() {
  ForgetEverything();
}

void SwitchedMachine::ForgetEverything() {
  for (const std::wstring& path : WithPluginLists({kOfficeKey, L"Software\\OrvaneLabs"})) {
    RemoveKey(MachineKey64(path));
    RemoveKey(MachineKey32(path));
  }
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    if (hive.compare(0, std::size(kTestUsers) - 1, kTestUsers) == 0) {
      RemoveKey(UsersKey(hive));
    } else {
      RemoveKey(UsersKey(hive + L"\\" + kOfficeKey));
      RemoveKey(UsersKey(hive + L"\\Identities"));
    }
  }
  for (const Client& client : Clients()) {
    RemoveValue(MachineKey64(kRunKey), client.shortName);
  }
  RemoveTree(kRoot);
}

Lines SwitchedMachine::Data() const {
  FileSnapshot snapshot;
  snapshot.Add(kRoot);
  return snapshot.AsLines();
}

RegistrySnapshot SwitchedMachine::Registry() const {
  RegistrySnapshot snapshot;
  for (const std::wstring& path : WithPluginLists({kOfficeKey, L"Software\\OrvaneLabs", kRunKey})) {
    snapshot.Add(HKEY_LOCAL_MACHINE, path, KEY_WOW64_64KEY);
    snapshot.Add(HKEY_LOCAL_MACHINE, path, KEY_WOW64_32KEY);
  }
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    snapshot.Add(HKEY_USERS, hive + L"\\" + kOfficeKey, KEY_WOW64_64KEY);
  }
  return snapshot;
}

int SwitchedMachine::LoadBehavior(const std::wstring& hive) const {
  const Lines found =
      LinesFrom(hive.empty() ? HKEY_LOCAL_MACHINE : HKEY_USERS, hive.empty() ? kAddinKey : hive + L"\\" + kAddinKey,
                "\"LoadBehavior\" REG_DWORD ", true);
  return found.empty() ? -1 : std::stoi(found.front());
}

std::wstring SwitchedMachine::RunValue(const wchar_t* name) {
  const Lines found = LinesFrom(HKEY_LOCAL_MACHINE, kRunKey, " \"" + ToUtf8(name) + "\" REG_SZ \"", true);
  return found.empty() ? std::wstring() : std::wstring(found.front().begin(), found.front().end() - 1);
}

void SwitchedMachine::ClearFlags() const {
  for (const Client& client : Clients()) {
    SetFlag(client.shortName, 0);
  }
}

void SwitchedMachine::SetFlag(const wchar_t* client, DWORD value) const {
  MakeKey(MachineKey64(kCoreAgentKey), {{client + std::wstring(L"_DELAY_INST"), value}});
}

Lines SwitchedMachine::Flags() const {
  return LinesFrom(HKEY_LOCAL_MACHINE, kCoreAgentKey, "\"", false);
}

}  // namespace TestSupport
