// A machine for one test: what is installed on it, the programs that run on it, and its files. The product is started
// on it.
//   World world;
//   world.OnWindows(WindowsVersion::kVista)
//       .WithProductKey({{L"VELAEnable", 1}})
//       .WithSampleSource()
//       .WithRunning(L"OUTLOOK.EXE");
//   const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);
//   CHECK(outcome.exitCode == 0);
//   CHECK_LINES(outcome.log, {...});
//
// The world is the prefix that the test program itself runs in (run_in_prefix.sh). The constructor removes what others
// left, and the destructor removes everything again. So tests can run in any order.
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

// The version that Windows reports to the program, which has no compatibility section: 5.2 workstation, 5.2 server,
// 6.0, 6.1 and 6.2 three times. For 6.1, Wine reports the product type of a server here.
enum class WindowsVersion { kXp64, kServer2003, kVista, kWindows7, kWindows8, kWindows81, kWindows10 };

// The results of a run of the program.
struct Outcome {
  DWORD exitCode = 0;
  bool timedOut = false;
  DWORD milliseconds = 0;
  // What this run wrote. The time in the closing line is "[time]" if it lies within the run.
  // Without the lines that regsvr32.exe took more than 3 seconds: on a busy machine it may. A substitute that is
  // ordered to sleep keeps them.
  Lines log;
  // Changes in the watched keys, see RegistrySnapshot. Module registrations are listed separately, below.
  Lines registryDiff;
  // "+oecom.dll C:\...\oecom.dll", "-oecom.dll ...": classes of the sample modules that were added or removed.
  Lines moduleDiff;
  // Changes in the watched folders, see FileSnapshot. Below C:\VelaTest, the path begins after that folder:
  // "+dest\Orvane Labs\VELA\".
  Lines fileDiff;
  // What the run scheduled for the restart: "C:\a -> C:\b", "C:\a -> " for a deletion. "!" before the target means that
  // an existing file is replaced.
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
  // True if the product handles this client on that Windows.
  bool Handles(const Client& client) const;
  // The name of its process on that Windows.
  std::wstring ProcessOf(const Client& client) const;
  // A hive of HKEY_USERS, as if another user were logged on: L"S-1-5-21-1-2-3-1001".
  World& WithUserHive(const std::wstring& sid);
  // Starts a program of this name (it only waits). Returns when the process list shows it.
  World& WithRunning(const std::wstring& fileName);

  // ---- the registry
  World& WithKey(const KeyPlace& place, const std::vector<NamedValue>& values = {});
  // Creates the product's key in the 32-bit view.
  World& WithProductKey(const std::vector<NamedValue>& values = {});
  // Sets an access control list (kReadOnlyAccess, kNoAccess) on an existing key, until the world ends.
  World& WithAccess(const KeyPlace& place, const wchar_t* accessList);
  // Outlook as its setup leaves it: release L"14" in `folder` (with a trailing backslash), and "outlook.exe" there.
  // `view` is the view of its InstallRoot key; the release key itself is always in the 32-bit view.
  World& WithOutlook(const std::wstring& release, const std::wstring& folder, REGSAM view = KEY_WOW64_32KEY);

  // ---- files
  // The sample installation, in kSource. Afterwards, a test may change its files.
  World& WithSampleSource();
  // Anywhere. At its end, the world also removes what it created outside of C:\VelaTest.
  World& WithFile(const std::wstring& path, std::string_view content = {});
  World& WithFolder(const std::wstring& path);
  // A file that another program holds open until the world ends (FILE_SHARE_READ ...).
  World& WithOpenFile(const std::wstring& path, DWORD sharing);

  // Denies this user to write there, until the world ends. For programs that run with only their user's rights
  // (FileAccess.h).
  World& WithLocked(const std::wstring& folder);

  // ---- named objects
  // A manual-reset event that a program waits for.
  World& WithEvent(const std::wstring& name);
  // An object that is not an event has this name: creating the event fails with error 6.
  World& WithTakenName(const std::wstring& name);
  bool EventIsSet(const std::wstring& name) const;

  // ---- regsvr32.exe
  // Windows finds a substitute first, which only records its calls. `orders`: see tests/fixtures/StandInRegsvr32.cpp.
  World& WithStandInRegsvr32(const std::string& orders = {});
  // It cannot be started: Windows finds an empty file first, error 193.
  World& WithBrokenRegsvr32();
  // It does not exist on the machine: error 2.
  World& WithoutRegsvr32();

  // ---- what is looked at
  // Always watched: the product's keys, the add-in keys of Outlook in all hives, the plug-in list, the Run key,
  // C:\VelaTest and the program-data folder of the product.
  World& WatchingFolder(const std::wstring& folder);

  // ---- the run
  World& InFolder(const std::wstring& currentFolder);
  // A run that takes longer is ended (60 seconds).
  World& Within(DWORD seconds);
  Outcome Run(const std::wstring& command, const std::wstring& source, const std::wstring& destination);
  // With any number of arguments.
  Outcome RunWithArguments(const std::vector<std::wstring>& arguments);

  // ---- after it
  // The command lines of the substitute for regsvr32, and its current folders.
  Lines RegistrationCalls() const;
  Lines RegistrationFolders() const;
  // How a monitor of the sample source was started: user, full path, number of arguments, command line. Waits for it.
  Lines MonitorStart(const std::wstring& monitor) const;
  // What all runs in this world wrote, with the changes of Outcome::log: the bytes of a log file.
  const std::string& Log() const { return log_; }
  // Waits until each monitor below this folder that was started runs. Then ends it, as its user would.
  void EndMonitors(const std::wstring& folder) const;
  // A restart of the system: the scheduled file moves are done. Running programs go on.
  void CarryOutPendingRenames();
  // The modules whose classes are registered at the moment: "oecom.dll C:\...\oecom.dll".
  Lines RegisteredModules() const;

 private:
  void CleanUp();
  RegistrySnapshot WatchedRegistry() const;
  FileSnapshot WatchedFiles() const;
  void NotePlaced(const std::wstring& path);
  World& WithHandle(HANDLE handle, const std::wstring& name);

  WindowsVersion version_ = WindowsVersion::kWindows7;  // what Wine's own version counts as
  std::vector<TestProcess> processes_;
  std::vector<HANDLE> handles_;
  std::vector<std::wstring> placedElsewhere_;
  std::vector<KeyPlace> restrictedKeys_;
  std::vector<std::wstring> lockedFolders_;
  std::vector<std::wstring> watchedFolders_;
  std::wstring currentFolder_;
  std::string log_;
  DWORD limit_ = 60000;
  bool regsvr32Sleeps_ = false;
};

}  // namespace TestSupport
