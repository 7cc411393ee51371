#include "tests/scenarios/PlainRuns.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <map>

#include "tests/support/TestFiles.h"

using TestSupport::MachineKey64;
using TestSupport::UsersKey;

namespace Scenarios {
namespace {

// The folder of a client in the installation source.
std::wstring SourceFolder(const Client& client) {
  return World::kSource + std::wstring(L"\\") + client.shortName + (client.has64BitFiles ? L"64" : L"");
}

// Each caller's `Play` has its own type, and therefore its own texts.
template <class Play>
const Lines& Once(WindowsVersion version, const Play& play) {
  static std::map<WindowsVersion, Lines> known;
  auto& text = known[version];
  if (text.empty()) {
    World world;
    text = Told(play(world.OnWindows(version)));
  }
  return text;
}

void AddFilesBelow(const std::wstring& folder, const std::wstring& below, std::vector<std::wstring>& files) {
  WIN32_FIND_DATAW entry = {};
  const HANDLE search = ::FindFirstFileW((folder + below + L"\\*").c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    return;
  }
  do {
    const std::wstring name = entry.cFileName;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      files.push_back(below + L"\\" + name);
    } else if (name != L"." && name != L"..") {
      AddFilesBelow(folder, below + L"\\" + name, files);
    }
  } while (::FindNextFileW(search, &entry));
  ::FindClose(search);
}

}  // namespace

std::vector<std::wstring> DataFolders() {
  std::vector<std::wstring> folders;
  for (const Client& client : Clients()) {
    folders.emplace_back(client.shortName);
  }
  folders.emplace_back(L"VELA_common");
  return folders;
}

Lines Told(const Outcome& outcome, const std::wstring& destination, const std::wstring& source) {
  return TestSupport::RunText(outcome, {{destination, "[dest]"}, {source, "[source]"}});
}

const Lines& PlainInstall(WindowsVersion version) {
  return Once(version, [](World& world) { return Install(world.WithSampleSource()); });
}

const Lines& PlainUpgrade(WindowsVersion version) {
  return Once(version, [](World& world) { return Install(world.WithSampleSource()), Upgrade(world); });
}

const Lines& PlainEnable(WindowsVersion version) {
  return Once(version, [&](World& world) { return Enable(SetUp(world, version)); });
}

const Lines& PlainDisable(WindowsVersion version) {
  return Once(version, [&](World& world) { return Enable(SetUp(world, version)), Disable(world); });
}

const Lines& PlainUninstall(WindowsVersion version) {
  return Once(version, [](World& world) { return InstallAndEnable(world.WithSampleSource()), Uninstall(world); });
}

const Lines& PlainReload(WindowsVersion version) {
  return Once(version, [](World& world) { return world.Run(L"-r", World::kSource, World::kDestination); });
}

void CheckRun(const std::string& title, const Lines& plain, const Lines& run) {
  CheckApproved(title, TestSupport::Changes(plain, run));
}

World& WithSource(World& world) {
  return world.OnWindows(WindowsVersion::kVista).WithSampleSource();
}

void CheckInstall(const std::string& title, const Preparation& prepare) {
  const Lines& plain = PlainInstall();
  World world;
  prepare(WithSource(world));
  CheckRun(title, plain, Told(Install(world)));
}

void CheckUpgrade(const std::string& title, const Preparation& prepare) {
  const Lines& plain = PlainUpgrade();
  World world;
  Install(WithSource(world));
  prepare(world);
  CheckRun(title, plain, Told(Upgrade(world)));
}

void CheckEnable(const std::string& title, const Preparation& prepare) {
  const Lines& plain = PlainEnable();
  World world;
  prepare(SetUp(world));
  CheckRun(title, plain, Told(Enable(world)));
}

void CheckDisable(const std::string& title, const Preparation& prepare) {
  const Lines& plain = PlainDisable();
  World world;
  Enable(SetUp(world));
  prepare(world);
  CheckRun(title, plain, Told(Disable(world)));
}

void CheckUninstall(const std::string& title, const Preparation& prepare) {
  const Lines& plain = PlainUninstall();
  World world;
  InstallAndEnable(WithSource(world));
  prepare(world);
  CheckRun(title, plain, Told(Uninstall(world)));
}

World& SetUp(World& world, WindowsVersion version) {
  world.OnWindows(version).WithSampleSource().WithProductKey({{L"VELAEnable", 0}});
  world.WithKey(MachineKey64(World::kCoreAgentKey));
  world.WithKey(UsersKey(kConsoleUser + std::wstring(L"\\Identities")),
                {{L"Last User ID", L"{ID-1}"}, {L"Default User ID", L"{ID-2}"}});
  for (const Client& client : Clients()) {
    TestSupport::CopyTree(SourceFolder(client), kProduct + L"\\" + client.FolderName());
  }
  PlaceMonitors();
  return world;
}

Outcome Enable(World& world, const std::wstring& folder) {
  return world.Run(L"-e", World::kSource, folder);
}
Outcome Disable(World& world) {
  return world.Run(L"-d", World::kSource, kProduct);
}
Outcome Install(World& world) {
  return world.Run(L"-I", World::kSource, World::kDestination);
}
Outcome Upgrade(World& world) {
  return world.Run(L"-p", World::kSource, World::kDestination);
}
Outcome Uninstall(World& world) {
  return world.Run(L"-U", World::kSource, kInstalledFolder);
}

void InstallAndEnable(World& world) {
  REQUIRE(Install(world).exitCode == 0);
  REQUIRE(Enable(world, kInstalledFolder).exitCode == 0);
  world.EndMonitors(kProduct);
}

std::wstring MonitorPath(const Client& client, const std::wstring& folder) {
  return folder + L"\\VELA\\" + client.FolderName() + L"\\" + client.MonitorName();
}

void PlaceMonitors(const std::wstring& folder) {
  for (const Client& client : Clients()) {
    if (client.hasMonitor) {
      TestSupport::CopyTestFile(SourceFolder(client) + L"\\" + client.MonitorName(), MonitorPath(client, folder));
    }
  }
}

std::vector<std::wstring> FilesBelow(const std::wstring& folder) {
  std::vector<std::wstring> files;
  AddFilesBelow(folder, L"", files);
  return files;
}

}  // namespace Scenarios
