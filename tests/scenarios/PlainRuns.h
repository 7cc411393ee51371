// Plain runs of each command, on machines without problems. The matrix contains them, and the scenarios compare their
// own runs with them (tests/support/Approved.h).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/support/Approved.h"
#include "tests/support/World.h"

namespace Scenarios {

using TestSupport::CheckApproved;
using TestSupport::Client;
using TestSupport::Clients;
using TestSupport::Lines;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;
using TestSupport::World;

// Where an installation to World::kDestination puts the product. The other commands get this path.
const std::wstring kBase = L"C:\\VelaTest\\dest\\Orvane Labs\\";
const std::wstring kInstalledFolder = L"C:\\VelaTest\\dest\\Orvane Labs";
const std::wstring kProduct = L"C:\\VelaTest\\dest\\Orvane Labs\\VELA";
// The data of all users. If the plug-ins cannot handle the name of the destination, the product is also here.
const std::wstring kCommonBase = L"C:\\ProgramData\\Orvane Labs\\";
// Its contents: a folder for each client, and one for all.
std::vector<std::wstring> DataFolders();

// The text of a run. The folders in its arguments are written as "[source]" and "[dest]".
Lines Told(const Outcome& outcome, const std::wstring& destination = World::kDestination,
           const std::wstring& source = World::kSource);

// Plain runs. Each is done once for each Windows, in its own world: get it before you create another world.
const Lines& PlainInstall(WindowsVersion version = WindowsVersion::kVista);    // on a machine without Outlook
const Lines& PlainUpgrade(WindowsVersion version = WindowsVersion::kVista);    // after an install from the same source
const Lines& PlainEnable(WindowsVersion version = WindowsVersion::kVista);     // on `SetUp`
const Lines& PlainDisable(WindowsVersion version = WindowsVersion::kVista);    // after PlainEnable
const Lines& PlainUninstall(WindowsVersion version = WindowsVersion::kVista);  // after an installation, switched on
const Lines& PlainReload(WindowsVersion version = WindowsVersion::kVista);

// Compares a run with a plain one.
void CheckRun(const std::string& title, const Lines& plain, const Lines& run);

// Windows Vista, and the sample source.
World& WithSource(World& world);
// Each command on a machine that `prepare` changes first, compared with a plain run of it.
using Preparation = std::function<void(World&)>;
void CheckInstall(const std::string& title, const Preparation& prepare);    // `WithSource`
void CheckUpgrade(const std::string& title, const Preparation& prepare);    // installed
void CheckEnable(const std::string& title, const Preparation& prepare);     // `SetUp`
void CheckDisable(const std::string& title, const Preparation& prepare);    // `SetUp`, switched on
void CheckUninstall(const std::string& title, const Preparation& prepare);  // installed, then switched on

// The sample source, filtering off, no delayed registration, a user with an identity. All files of the product's
// clients are where the other commands look for them.
World& SetUp(World& world, WindowsVersion version = WindowsVersion::kVista);
// The switch gets the folder of the product; the monitors are in a folder of its name in it.
Outcome Enable(World& world, const std::wstring& folder = kProduct);
Outcome Disable(World& world);
// The other commands, with the usual folders.
Outcome Install(World& world);
Outcome Upgrade(World& world);
Outcome Uninstall(World& world);
// Installed to World::kDestination and switched on; the monitors have started and ended.
void InstallAndEnable(World& world);

// The path of a client's monitor after `SetUp`, below the folder that the command gets.
std::wstring MonitorPath(const Client& client, const std::wstring& folder = kProduct);
void PlaceMonitors(const std::wstring& folder = kProduct);

// The files below a folder, as in a listing; paths with a leading backslash.
std::vector<std::wstring> FilesBelow(const std::wstring& folder);

inline constexpr wchar_t kConsoleUser[] = L"S-1-5-21-0-0-0-1000";  // everything runs for this user
inline constexpr wchar_t kAddinKey[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";
inline constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

}  // namespace Scenarios
