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

template <class Play>
const Lines& Once(std::map<WindowsVersion, Lines>& known, WindowsVersion version, const Play& play) {
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
  static std::map<WindowsVersion, Lines> known;
  return Once(known, version, [](World& world) { return Install(world.WithSampleSource()); });
}

const Lines& PlainUpgrade(WindowsVersion version) {
  static std::map<WindowsVersion, Lines> known;
  return Once(known, version, [](World& world) {
    Install(world.WithSampleSource());
    return Upgrade(world);
  });
}

const Lines& PlainEnable(WindowsVersion version) {
  static std::map<WindowsVersion, Lines> known;
  return Once(known, version, [&](World& world) { return Enable(SetUp(world, version)); });
}

const Lines& PlainDisable(WindowsVersion version) {
  static std::map<WindowsVersion, Lines> known;
  return Once(known, version, [&](World& world) {
    Enable(SetUp(world, version));
    return Disable(world);
  });
}

const Lines& PlainUninstall(WindowsVersion version) {
  static std::map<WindowsVersion, Lines> known;
  return Once(known, version, [](World& world) {
    InstallAndEnable(world.WithSampleSource());
    return Uninstall(world);
  });
}

const Lines& PlainReload(WindowsVersion version) {
  static std::map<WindowsVersion, Lines> known;
  return Once(known, version, [](World& world) { return world.Run(L"-r", World::kSource, World::kDestination); });
}

void CheckRun(const std::string& title, const Lines& plain, const Lines& run) {
  CheckApproved(title, TestSupport::Changes(plain, run));
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
