#include "tests/faults/FaultWorld.h"

#include <algorithm>
#include <stdexcept>

#include "tests/faults/ProductTrees.h"
#include "tests/fixtures/ModuleClasses.h"
#include "tests/support/Clients.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestRegistry.h"

namespace Faults {
namespace {

using TestSupport::Client;
using TestSupport::Clients;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::MakeKey;
using TestSupport::UsersKey;
using TestSupport::WithPluginLists;

constexpr wchar_t kProductKey[] = L"SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";
constexpr wchar_t kSharedKey[] = L"Software\\OrvaneLabs\\CoreAgent\\VELA";
constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kOffice[] = L"Software\\Microsoft\\Office";
constexpr wchar_t kAddin[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";
constexpr wchar_t kOwnUser[] = L"S-1-5-21-0-0-0-1000";
constexpr const wchar_t* kOtherUsers[] = {L"S-1-5-21-1-2-3-1001", L"S-1-5-21-1-2-3-1002"};
constexpr wchar_t kProductData[] = L"C:\\ProgramData\\Orvane Labs";
constexpr wchar_t kEndOfClients[] = L"Global\\VelaFaultsEndOfClients";

// What earlier runs may have left outside the world's own folder.
std::vector<std::wstring> Places() {
  std::vector<std::wstring> places = ProductTrees();
  places.insert(places.end(), {kOfficeFolder, L"C:\\Orvane Labs"});
  return places;
}

std::wstring MailCache() {
  wchar_t profile[MAX_PATH] = {};
  ::GetEnvironmentVariableW(L"USERPROFILE", profile, MAX_PATH);
  return std::wstring(profile) + L"\\AppData\\Local\\Microsoft\\Outlook\\Extend.dat";
}

std::wstring Source(const std::wstring& name) {
  return std::wstring(kSourceFolder) + L"\\" + name;
}

// The folder of a client in the source.
std::wstring SourceOf(const Client& client) {
  return client.shortName + std::wstring(client.has64BitFiles ? L"64\\" : L"\\");
}

// The folder of the client that this module belongs to.
std::wstring FolderOf(std::wstring_view module) {
  for (const Client& client : Clients()) {
    if (std::find(client.modules.begin(), client.modules.end(), module) != client.modules.end()) {
      return client.FolderName() + L"\\";
    }
  }
  throw std::runtime_error(TestSupport::ToUtf8(module) + " belongs to no client");
}

enum class Age { kNew, kOld };

// With a fixed time, independent of when the file is written.
void Plant(const std::wstring& path, const std::string& content, Age age = Age::kNew) {
  TestSupport::WriteTestFile(path, content);
  const FILETIME written = {0x12340000, age == Age::kOld ? 0x01D50000U : 0x01D5C000U};
  const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  const bool set = file != INVALID_HANDLE_VALUE && ::SetFileTime(file, nullptr, nullptr, &written);
  if (file != INVALID_HANDLE_VALUE) {
    ::CloseHandle(file);
  }
  if (!set) {
    throw std::runtime_error("cannot set the time of " + TestSupport::ToUtf8(path));
  }
}

// A file that is in use until the handle is closed.
HANDLE Hold(const std::wstring& path) {
  const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot open " + TestSupport::ToUtf8(path) + ", which must be in use");
  }
  return file;
}

// In the destination: once where install stages ("Orvane Labs\VELA"), once where uninstall deletes ("VELA").
std::wstring Staged(const std::wstring& name) {
  return std::wstring(kDestinationFolder) + L"\\Orvane Labs\\VELA\\" + name;
}
std::wstring Deleted(const std::wstring& name) {
  return std::wstring(kDestinationFolder) + L"\\VELA\\" + name;
}

}  // namespace

const std::vector<Scenario>& Scenarios() {
  std::vector<const wchar_t*> clients;
  std::vector<const wchar_t*> monitored;
  for (const Client& client : Clients()) {
    clients.push_back(client.processOnWindows60);
    if (client.hasMonitor) {
      monitored.push_back(client.processOnWindows60);
    }
  }
  static const std::vector<Scenario> scenarios = {
      {"-s", L"-s", {}, false, false},
      {"-r", L"-r", clients, true, false},
      {"-p", L"-p", {L"OUTLOOK.EXE", L"wlmail.exe"}, true, false},
      {"-d", L"-d", {}, false, false},
      {"-e", L"-e", {}, false, false},
      {"-e, no session token", L"-e", {L"Explorer.exe"}, false, true},
      {"-I", L"-I", {}, false, false},
      {"-I, client running", L"-I", {L"OUTLOOK.EXE"}, false, false},
      {"-U", L"-U", {}, false, false},
      {"-U, client running", L"-U", monitored, false, true},
  };
  return scenarios;
}

FaultWorld::FaultWorld(const Scenario& scenario, Modules modules) : scenario_(scenario), modules_(modules) {
  MakeKey({HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\faults.subject.exe", KEY_WOW64_64KEY},
          {{L"Version", L"vista"}});
  // Test prefixes switch off Wine's own explorer. This setting allows another program of this name.
  MakeKey({HKEY_CURRENT_USER, L"Software\\Wine\\DllOverrides", KEY_WOW64_64KEY}, {{L"*explorer.exe", L"native"}});
  Clear();
  TestSupport::RemoveTree(kWorldRoot);
  PlantSource();
  for (const wchar_t* const program : scenario.running) {
    const std::wstring path = std::wstring(kWorldRoot) + L"\\running\\" + program;
    TestSupport::CopyTestFile(TestSupport::FixturePath(L"Sleeper.exe"), path);
    processes_.emplace_back(path, std::vector<std::wstring>{kEndOfClients, L"36000"});
    for (int i = 0; TestSupport::CountProcesses(program) == 0; ++i) {
      if (i == 500) {
        throw std::runtime_error(TestSupport::ToUtf8(program) + " was started but is not in the list of processes");
      }
      ::Sleep(10);
    }
  }
  if (scenario.pluginsListen) {
    for (const Client& client : Clients()) {
      events_.push_back(::CreateEventW(nullptr, TRUE, FALSE, client.UpdateEvent().c_str()));
    }
  }
}

FaultWorld::~FaultWorld() {
  for (const HANDLE event : events_) {
    ::CloseHandle(event);
  }
  processes_.clear();
  try {
    Clear();
    TestSupport::RemoveTree(kWorldRoot);
  } catch (const std::exception&) {
    // The next world tries again, and throws.
  }
}

void FaultWorld::PlantSource() const {
  const std::string longFile(0x4000, 'p');  // one byte more than a block of the copy
  struct Text {
    const wchar_t* name;
    std::string content;
  };
  const Text texts[] = {
      {L"Resource\\x64\\vela.res", "resource"}, {L"OL\\VELA_OLA.dll", "outlook"},
      {L"OL\\Redemption.dll", "redemption"},    {L"OL\\same.txt", "the same file in both places"},
      {L"Common\\win32\\vela.ptn", longFile},   {L"Common\\win64\\vela.ptn", "pattern"},
      {L"rule\\lists\\approved.lst", "nested"},
  };
  for (const Text& text : texts) {
    Plant(Source(text.name), text.content);
  }
  for (const Client& client : Clients()) {
    Plant(Source(L"Resource\\common\\" + client.IniName()), "[settings]");
    if (client.hasMonitor) {
      Plant(Source(SourceOf(client) + client.MonitorName()), "monitor");
    }
    if (modules_ == Modules::kAll) {
      for (const wchar_t* const module : client.modules) {
        Plant(Source(SourceOf(client) + module), "a module");
      }
    }
  }
  ::SetFileAttributesW(Source(L"rule\\lists\\approved.lst").c_str(), FILE_ATTRIBUTE_READONLY);
}

void FaultWorld::Reset() {
  Clear();
  PlantRegistry();
  PlantInstalled();
  const std::wstring data = kProductData;
  Plant(data + L"\\OL\\Users\\" + kIdentity + L"\\approved.txt", "friends");
  ::SetFileAttributesW((data + L"\\OL\\Users\\" + kIdentity + L"\\approved.txt").c_str(), FILE_ATTRIBUTE_READONLY);
  Plant(data + L"\\VELA_common\\spam.db", "spam");
  const std::wstring list = data + L"\\WLM\\Users\\list.db";
  Plant(list, "in use");
  heldData_ = Hold(list);
  Plant(MailCache(), "cache");
}

void FaultWorld::PlantInstalled() {
  Plant(Staged(L"VELA_OL\\VELA_OLA.dll"), "older", Age::kOld);
  TestSupport::CopyTestFile(Source(L"OL\\same.txt"), Staged(L"VELA_OL\\same.txt"));
  Plant(Staged(L"VELA_OL\\Redemption.dll"), "in use", Age::kOld);
  Plant(Staged(L"VELA_WLM\\vela.ptn"), "older", Age::kOld);
  held_ = Hold(Staged(L"VELA_OL\\Redemption.dll"));
  Plant(Deleted(L"VELA_OL\\VELA_OLA.dll"), "installed");
  Plant(Deleted(L"VELA_OL\\rule\\lists\\approved.lst"), "nested");
  ::SetFileAttributesW(Deleted(L"VELA_OL\\rule\\lists\\approved.lst").c_str(), FILE_ATTRIBUTE_READONLY);
  Plant(Deleted(L"VELA_WLM\\VELA_WLM.ini"), "[WLM]");
  if (modules_ == Modules::kAll) {
    for (const auto& row : Fixtures::ModuleClasses()) {
      const std::wstring path = Deleted(FolderOf(row.module) + row.module);
      Plant(path, "a module");
      MakeKey(MachineKey64(std::wstring(L"Software\\Classes\\CLSID\\") + row.classId + L"\\InprocServer32"),
              {{L"", path}});
    }
  }
  Plant(std::wstring(kOfficeFolder) + L"\\outlook.exe", "Outlook");
  Plant(std::wstring(kOfficeFolder) + L"\\ADDINS\\Redemption.ECF", "forms");
}

void FaultWorld::PlantRegistry() const {
  MakeKey(MachineKey32(kProductKey), {{L"VELAEnable", 1}});
  for (const Client& client : Clients()) {
    MakeKey(MachineKey64(kSharedKey), {{client.DelayFlag(), 1}});
    if (client.hasMonitor) {
      MakeKey(MachineKey64(kRunKey), {{client.shortName, L"\"old\""}});
    }
    if (client.pluginList != nullptr) {
      MakeKey(MachineKey64(client.pluginList), {{client.pluginEntry, client.PluginName()}});
    }
  }
  MakeKey(MachineKey64(L"Software\\Classes\\Outlook.Application\\CurVer"), {{L"", L"Outlook.Application.14"}});
  MakeKey(MachineKey32(std::wstring(kOffice) + L"\\14.0"));
  MakeKey(MachineKey32(std::wstring(kOffice) + L"\\14.0\\Outlook\\InstallRoot"),
          {{L"Path", std::wstring(kOfficeFolder) + L"\\"}});
  MakeKey(MachineKey64(kAddin), {{L"LoadBehavior", 3}});
  MakeKey(UsersKey(std::wstring(kOtherUsers[0]) + L"\\" + kAddin), {{L"LoadBehavior", 3}});
  MakeKey(UsersKey(std::wstring(kOtherUsers[1]) + L"\\Software"));
  if (!scenario_.shellOnly) {
    MakeKey(UsersKey(std::wstring(kOwnUser) + L"\\Identities"), {{L"Default User ID", kIdentity}});
  }
}

void FaultWorld::Clear() {
  for (HANDLE* const held : {&held_, &heldData_}) {
    if (*held != INVALID_HANDLE_VALUE) {
      ::CloseHandle(*held);
      *held = INVALID_HANDLE_VALUE;
    }
  }
  for (const std::wstring& place : Places()) {
    TestSupport::RemoveTree(place);
  }
  for (const std::wstring& path : WithPluginLists({L"Software\\OrvaneLabs", kOffice})) {
    TestSupport::RemoveKey(MachineKey64(path));
    TestSupport::RemoveKey(MachineKey32(path));
  }
  TestSupport::RemoveKey(MachineKey64(L"Software\\Classes\\Outlook.Application"));
  for (const auto& row : Fixtures::ModuleClasses()) {
    TestSupport::RemoveKey(MachineKey64(std::wstring(L"Software\\Classes\\CLSID\\") + row.classId));
    TestSupport::RemoveKey(MachineKey64(std::wstring(L"Software\\Classes\\") + row.programId));
  }
  for (const wchar_t* const user : kOtherUsers) {
    TestSupport::RemoveKey(UsersKey(user));
  }
  for (const wchar_t* const user : {kOwnUser, L".Default"}) {
    TestSupport::RemoveKey(UsersKey(std::wstring(user) + L"\\" + kOffice));
    TestSupport::RemoveKey(UsersKey(std::wstring(user) + L"\\Identities"));
  }
  for (const Client& client : Clients()) {
    TestSupport::RemoveValue(MachineKey64(kRunKey), client.shortName);
  }
  TestSupport::ClearPendingRenames();
}

TestSupport::FileSnapshot FaultWorld::Files() {
  TestSupport::FileSnapshot files;
  for (const std::wstring& place : Places()) {
    files.Add(place, TestSupport::ToUtf8(place));
  }
  const std::wstring cache = MailCache();
  files.Add(cache.substr(0, cache.rfind(L'\\')), "Outlook's cache");
  return files;
}

TestSupport::RegistrySnapshot FaultWorld::Registry() {
  TestSupport::RegistrySnapshot registry;
  for (const std::wstring& path : WithPluginLists({L"Software\\OrvaneLabs", kOffice, kRunKey})) {
    registry.Add(HKEY_LOCAL_MACHINE, path, KEY_WOW64_64KEY);
    registry.Add(HKEY_LOCAL_MACHINE, path, KEY_WOW64_32KEY);
  }
  for (const auto& row : Fixtures::ModuleClasses()) {
    registry.Add(HKEY_LOCAL_MACHINE, std::wstring(L"Software\\Classes\\CLSID\\") + row.classId, KEY_WOW64_64KEY);
  }
  for (const wchar_t* const user : {kOtherUsers[0], kOtherUsers[1]}) {
    registry.Add(HKEY_USERS, user, KEY_WOW64_64KEY);
  }
  for (const wchar_t* const user : {kOwnUser, L".Default"}) {
    registry.Add(HKEY_USERS, std::wstring(user) + L"\\" + kOffice, KEY_WOW64_64KEY);
  }
  return registry;
}

}  // namespace Faults
