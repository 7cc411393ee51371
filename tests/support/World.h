// A machine for one test: what is installed on it, what runs on it, what lies on it; and the program started there.
//
//   World world;
//   world.OnWindows(WindowsVersion::kVista)
//       .WithProductKey({{L"VELAEnable", 1}})
//       .WithSampleSource()
//       .WithRunning(L"OUTLOOK.EXE");
//   const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
//   CHECK(outcome.exitCode == 0);
//   CHECK_LINES(outcome.log, {...});
//
// The world is the prefix that the test program itself runs in (run_in_prefix.sh). Making one clears away what others
// left, and the destructor removes everything again, so that tests run in any order.
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/Clients.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestRegistry.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

// What Windows reports to the program, which has no compatibility section: 5.2 workstation, 5.2 server, 6.0, 6.1
// and 6.2 three times. Wine reports 6.1 with the product type of a server here.
enum class WindowsVersion { kXp64, kServer2003, kVista, kWindows7, kWindows8, kWindows81, kWindows10 };

// What a run of the program did.
struct Outcome {
  DWORD exitCode = 0;
  bool timedOut = false;
  DWORD milliseconds = 0;
  // What this run wrote. The time in the closing line is "[time]" where it was a time within the run.
  Lines log;
  // Changes in the watched keys, see RegistrySnapshot; modules that were registered are told apart from these.
  Lines registryDiff;
  // "+oecom.dll C:\...\oecom.dll", "-oecom.dll ...": classes of the sample modules that came or went.
  Lines moduleDiff;
  // Changes in the watched folders, see FileSnapshot. Below C:\VelaTest the path is told from there on:
  // "+dest\Orvane Labs\VELA\".
  Lines fileDiff;
  // What the run left to be done at the restart: "C:\a -> C:\b", "C:\a -> " for a deletion. "!" before the target:
  // replaces what is there.
  Lines pending;
};

class World {
 public:
  static constexpr wchar_t kRoot[] = L"C:\\VelaTest";
  static constexpr wchar_t kSource[] = L"C:\\VelaTest\\source";
  static constexpr wchar_t kDestination[] = L"C:\\VelaTest\\dest";
  static constexpr wchar_t kProgramFolder[] = L"C:\\VelaTest\\bin";
  static constexpr wchar_t kProductKey[] = L"SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA";
  static constexpr wchar_t kCoreAgentKey[] = L"Software\\OrvaneLabs\\CoreAgent\\VELA";

  World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World();

  // ---- the system
  World& OnWindows(WindowsVersion version);
  // The product handles this client on that Windows.
  bool Handles(const Client& client) const;
  // The name under which it runs there.
  std::wstring ProcessOf(const Client& client) const;
  // A hive of HKEY_USERS, in the place of another user who is logged on: L"S-1-5-21-1-2-3-1001".
  World& WithUserHive(const std::wstring& sid);
  // A program of this name is running (it only waits). Returns when the process list shows it.
  World& WithRunning(const std::wstring& fileName);

  // ---- the registry
  World& WithKey(const KeyPlace& place, const std::vector<NamedValue>& values = {});
  // Makes the product's key in the 32-bit view.
  World& WithProductKey(const std::vector<NamedValue>& values = {});
  // An access list (kReadOnlyAccess, kNoAccess) on a key that exists, until the world ends.
  World& WithAccess(const KeyPlace& place, const wchar_t* accessList);
  // Outlook as its own setup leaves it: release L"14" in `folder` (with a trailing backslash), and "outlook.exe" there.
  // `view` is where its InstallRoot key stands; the release key itself always stands in the 32-bit view.
  World& WithOutlook(const std::wstring& release, const std::wstring& folder, REGSAM view = KEY_WOW64_32KEY);

  // ---- files
  // The sample installation, in kSource. Its files may be changed then.
  World& WithSampleSource();
  // Anywhere; what the world made outside of C:\VelaTest is removed at its end as well.
  World& WithFile(const std::wstring& path, std::string_view content = {});
  World& WithFolder(const std::wstring& path);
  // A file that another program has open until the world ends (FILE_SHARE_READ ...).
  World& WithOpenFile(const std::wstring& path, DWORD sharing);

  // This user may not write there any more, until the world ends. For programs that have no more rights than their user
  // (FileAccess.h).
  World& WithLocked(const std::wstring& folder);

  // ---- named objects
  // A manual-reset event that a program is waiting on.
  World& WithEvent(const std::wstring& name);
  // The name belongs to something that is no event: creating one fails with error 6.
  World& WithTakenName(const std::wstring& name);
  bool EventIsSet(const std::wstring& name) const;

  // ---- regsvr32.exe
  // Another one is found first: it only notes how it was called. `orders`: see tests/fixtures/StandInRegsvr32.cpp.
  World& WithStandInRegsvr32(const std::string& orders = {});
  // It cannot be started: an empty file is found first, error 193.
  World& WithBrokenRegsvr32();
  // It is missing from the machine: error 2.
  World& WithoutRegsvr32();

  // ---- what is looked at
  // The product's keys, the add-in keys of Outlook in all hives, the plug-in list and the Run key are watched without
  // being named; so are C:\VelaTest and the program-data folder of the product.
  World& WatchingFolder(const std::wstring& folder);

  // ---- the run
  World& InFolder(const std::wstring& currentFolder);
  // A run that takes longer is ended (60 seconds).
  World& Within(DWORD seconds);
  Outcome Run(const std::wstring& command, const std::wstring& source, const std::wstring& destination);
  // With any number of arguments.
  Outcome RunWithArguments(const std::vector<std::wstring>& arguments);

  // ---- after it
  // The command lines that the stand-in regsvr32 was started with, and its current folders.
  Lines RegistrationCalls() const;
  Lines RegistrationFolders() const;
  // How a monitor of the sample source was started, waiting for it: user, full path, number of arguments, command line.
  Lines MonitorStart(const std::wstring& monitor) const;
  // Each monitor below this folder that was started comes up; then its user ends it.
  void EndMonitors(const std::wstring& folder) const;
  // The system restarts: what was put off is done. Programs that run go on.
  void CarryOutPendingRenames();
  // The modules whose classes are registered at the moment: "oecom.dll C:\...\oecom.dll".
  Lines RegisteredModules() const;

 private:
  void CleanUp();
  RegistrySnapshot WatchedRegistry() const;
  FileSnapshot WatchedFiles() const;
  void NotePlaced(const std::wstring& path);
  World& WithHandle(HANDLE handle, const std::wstring& name);

  WindowsVersion version_ = WindowsVersion::kWindows7;  // what Wine reports comes to
  std::vector<TestProcess> processes_;
  std::vector<HANDLE> handles_;
  std::vector<std::wstring> placedElsewhere_;
  std::vector<KeyPlace> restrictedKeys_;
  std::vector<std::wstring> lockedFolders_;
  std::vector<std::wstring> watchedFolders_;
  std::wstring currentFolder_;
  DWORD limit_ = 60000;
};

}  // namespace TestSupport
