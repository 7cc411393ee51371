#include "tests/support/World.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "tests/fixtures/ModuleClasses.h"
#include "tests/support/FileAccess.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/WorldReports.h"

namespace TestSupport {
namespace {

constexpr wchar_t kVersionKey[] = L"Software\\Wine\\AppDefaults\\VELAutil.exe";
constexpr wchar_t kOutlookKey[] = L"Software\\Classes\\Outlook.Application";
constexpr wchar_t kOfficeKey[] = L"Software\\Microsoft\\Office";
constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kSystemRegsvr32[] = L"C:\\windows\\system32\\regsvr32.exe";
constexpr wchar_t kHiddenRegsvr32[] = L"C:\\windows\\system32\\regsvr32.exe.hidden";
constexpr wchar_t kRegistrationNotes[] = L"C:\\VelaTest\\bin\\regsvr32.log";
constexpr wchar_t kProgramData[] = L"C:\\ProgramData\\Orvane Labs";
constexpr wchar_t kEndOfClients[] = L"Global\\VelaTestEndOfClients";
constexpr wchar_t kTestUsers[] = L"S-1-5-21-1-2-3-";

KeyPlace VersionKey() {
  return {HKEY_CURRENT_USER, kVersionKey, KEY_WOW64_64KEY};
}

bool IsTestUser(const std::wstring& sid) {
  return sid.compare(0, std::size(kTestUsers) - 1, kTestUsers) == 0;
}

std::vector<KeyPlace> InBothViews(const std::wstring& path) {
  return {MachineKey64(path), MachineKey32(path)};
}

// In the order of WindowsVersion.
constexpr const wchar_t* kWineNames[] = {L"winxp64", L"win2003", L"vista", L"win7", L"win8", L"win81", L"win10"};

// Drops the lines about a regsvr32.exe that takes long, and waits until none runs.
void ForgetBusyMachine(Lines& log) {
  const auto first = std::remove_if(log.begin(), log.end(), [](const std::string& line) {
    return line.find("register COM object more than 3 seconds.") != std::string::npos;
  });
  if (first == log.end()) {
    return;
  }
  std::fprintf(stderr, "This machine is busy: regsvr32.exe took more than 3 seconds\n");
  log.erase(first, log.end());
  for (int i = 0; i < 1000 && CountProcesses(L"regsvr32.exe") != 0; ++i) {
    ::Sleep(20);
  }
}

}  // namespace

World::World() {
  CleanUp();
  CopyTestFile(ProductPath(), std::wstring(kProgramFolder) + L"\\VELAutil.exe");
}

World::~World() {
  try {
    CleanUp();
  } catch (const std::exception& failure) {
    // The next world tries again, and throws.
    std::fprintf(stderr, "World: cannot clean up: %s\n", failure.what());
  }
}

void World::CleanUp() {
  processes_.clear();
  EndProcesses(L"VELAutil.exe");
  EndProcesses(L"regsvr32.exe");
  for (const Client& client : Clients()) {
    EndProcesses(client.MonitorName());
    EndProcesses(client.process);
    EndProcesses(client.processOnWindows60);
  }
  for (const HANDLE handle : handles_) {
    ::CloseHandle(handle);
  }
  handles_.clear();
  for (const KeyPlace& place : restrictedKeys_) {
    if (KeyExists(place)) {
      SetKeyAccess(place, kFullAccess);
    }
  }
  restrictedKeys_.clear();
  for (const std::wstring& folder : lockedFolders_) {
    UnlockTree(folder);
  }
  lockedFolders_.clear();

  RemoveKey(VersionKey());
  for (const std::wstring& path : WithPluginLists({L"Software\\OrvaneLabs", kOutlookKey, kOfficeKey})) {
    for (const KeyPlace& place : InBothViews(path)) {
      RemoveKey(place);
    }
  }
  for (const auto& row : Fixtures::ModuleClasses()) {
    RemoveKey(MachineKey64(std::wstring(L"Software\\Classes\\CLSID\\") + row.classId));
    RemoveKey(MachineKey64(std::wstring(L"Software\\Classes\\") + row.programId));
  }
  for (const KeyPlace& place : InBothViews(kRunKey)) {
    for (const Client& client : Clients()) {
      RemoveValue(place, client.shortName);
    }
  }
  for (const std::wstring& sid : SubkeyNames(UsersKey(L""))) {
    if (IsTestUser(sid)) {
      RemoveKey(UsersKey(sid));
    } else {
      RemoveKey(UsersKey(sid + L"\\" + kOfficeKey));
      RemoveKey(UsersKey(sid + L"\\Identities"));
    }
  }
  ClearPendingRenames();

  if (Exists(kHiddenRegsvr32)) {
    RemoveTree(kSystemRegsvr32);
    ::MoveFileW(kHiddenRegsvr32, kSystemRegsvr32);
  }
  for (const std::wstring& path : placedElsewhere_) {
    RemoveTree(path);
  }
  placedElsewhere_.clear();
  RemoveTree(kRoot);
  RemoveTree(kProgramData);
}

World& World::OnWindows(WindowsVersion version) {
  version_ = version;
  return WithKey(VersionKey(), {{L"Version", kWineNames[static_cast<int>(version)]}});
}

bool World::Handles(const Client& client) const {
  return !client.endedWithVista || version_ <= WindowsVersion::kVista;
}

std::wstring World::ProcessOf(const Client& client) const {
  return version_ == WindowsVersion::kVista ? client.processOnWindows60 : client.process;
}

World& World::WithUserHive(const std::wstring& sid) {
  if (!IsTestUser(sid)) {
    throw std::logic_error("a test's hive must begin with S-1-5-21-1-2-3-, so that it is found and removed again");
  }
  return WithKey(UsersKey(sid + L"\\Software"));
}

World& World::WithRunning(const std::wstring& fileName) {
  const std::wstring program = std::wstring(kRoot) + L"\\running\\" + fileName;
  CopyTestFile(FixturePath(L"Sleeper.exe"), program);
  processes_.emplace_back(program, std::vector<std::wstring>{kEndOfClients});
  for (int i = 0; CountProcesses(fileName) == 0; ++i) {
    if (i == 500) {
      throw std::runtime_error(ToUtf8(fileName) + " is not in the list of processes");
    }
    ::Sleep(10);
  }
  return *this;
}

World& World::WithKey(const KeyPlace& place, const std::vector<NamedValue>& values) {
  MakeKey(place, values);
  return *this;
}

World& World::WithProductKey(const std::vector<NamedValue>& values) {
  return WithKey(MachineKey32(kProductKey), values);
}

World& World::WithAccess(const KeyPlace& place, const wchar_t* accessList) {
  SetKeyAccess(place, accessList);
  restrictedKeys_.push_back(place);
  return *this;
}

World& World::WithOutlook(const std::wstring& release, const std::wstring& folder, REGSAM view) {
  const std::wstring releaseKey = std::wstring(kOfficeKey) + L"\\" + release + L".0";
  MakeKey(MachineKey64(std::wstring(kOutlookKey) + L"\\CurVer"), {{L"", L"Outlook.Application." + release}});
  MakeKey(MachineKey32(releaseKey));
  MakeKey({HKEY_LOCAL_MACHINE, releaseKey + L"\\Outlook\\InstallRoot", view}, {{L"Path", folder}});
  return WithFile(folder + L"outlook.exe", "Outlook");
}

World& World::WithSampleSource() {
  CopyTree(FixturePath(L"source"), kSource);
  return *this;
}

World& World::WithFile(const std::wstring& path, std::string_view content) {
  NotePlaced(path);
  WriteTestFile(path, content);
  return *this;
}

World& World::WithFolder(const std::wstring& path) {
  NotePlaced(path);
  MakeFolder(path);
  return *this;
}

void World::NotePlaced(const std::wstring& path) {
  const std::wstring missing = FirstMissing(path);
  if (!missing.empty() && missing.compare(0, std::size(kRoot) - 1, kRoot) != 0) {
    placedElsewhere_.push_back(missing);
  }
}

World& World::WithOpenFile(const std::wstring& path, DWORD sharing) {
  const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot open " + ToUtf8(path) + ": error " + std::to_string(::GetLastError()));
  }
  handles_.push_back(file);
  return *this;
}

World& World::WithLocked(const std::wstring& folder) {
  lockedFolders_.push_back(folder);
  LockTree(folder);
  return *this;
}

World& World::WithStandInRegsvr32(const std::string& orders) {
  const std::wstring folder = std::wstring(kProgramFolder) + L"\\";
  CopyTestFile(FixturePath(L"StandInRegsvr32.exe"), folder + L"regsvr32.exe");
  regsvr32Sleeps_ = orders.find("sleep") != std::string::npos;
  return WithFile(folder + L"regsvr32.txt", orders);
}

World& World::WithBrokenRegsvr32() {
  return WithFile(std::wstring(kProgramFolder) + L"\\regsvr32.exe");
}

World& World::WithoutRegsvr32() {
  if (!::MoveFileW(kSystemRegsvr32, kHiddenRegsvr32)) {
    throw std::runtime_error("cannot hide regsvr32.exe: error " + std::to_string(::GetLastError()));
  }
  return *this;
}

World& World::WithEvent(const std::wstring& name) {
  return WithHandle(::CreateEventW(nullptr, TRUE, FALSE, name.c_str()), name);
}

World& World::WithTakenName(const std::wstring& name) {
  return WithHandle(::CreateMutexW(nullptr, FALSE, name.c_str()), name);
}

World& World::WithHandle(HANDLE handle, const std::wstring& name) {
  const DWORD error = ::GetLastError();
  if (handle != nullptr) {
    handles_.push_back(handle);
  }
  if (handle == nullptr || error == ERROR_ALREADY_EXISTS) {
    throw std::runtime_error("cannot create " + ToUtf8(name) + ", or it exists already");
  }
  return *this;
}

bool World::EventIsSet(const std::wstring& name) const {
  const HANDLE event = ::OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
  if (event == nullptr) {
    throw std::logic_error("there is no event " + ToUtf8(name));
  }
  const bool set = ::WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
  ::CloseHandle(event);
  return set;
}

World& World::WatchingFolder(const std::wstring& folder) {
  watchedFolders_.push_back(folder);
  return *this;
}

World& World::InFolder(const std::wstring& currentFolder) {
  currentFolder_ = currentFolder;
  return *this;
}

World& World::Within(DWORD seconds) {
  limit_ = seconds * 1000;
  return *this;
}

RegistrySnapshot World::WatchedRegistry() const {
  RegistrySnapshot snapshot;
  for (const std::wstring& path : WithPluginLists({L"Software\\OrvaneLabs", kOfficeKey, kRunKey})) {
    for (const KeyPlace& place : InBothViews(path)) {
      snapshot.Add(place.hive, place.path, place.view);
    }
  }
  for (const std::wstring& sid : SubkeyNames(UsersKey(L""))) {
    snapshot.Add(HKEY_USERS, IsTestUser(sid) ? sid : sid + L"\\" + kOfficeKey, KEY_WOW64_64KEY);
  }
  return snapshot;
}

FileSnapshot World::WatchedFiles() const {
  FileSnapshot snapshot;
  snapshot.Add(kRoot);
  snapshot.Add(kProgramData, ToUtf8(kProgramData));
  for (const std::wstring& folder : watchedFolders_) {
    snapshot.Add(folder, ToUtf8(folder));
  }
  return snapshot;
}

Outcome World::Run(const std::wstring& command, const std::wstring& source, const std::wstring& destination) {
  return RunWithArguments({command, source, destination});
}

Outcome World::RunWithArguments(const std::vector<std::wstring>& arguments) {
  const long long logStart = LogFileSize();
  const std::size_t pendingStart = PendingRenames().size();
  const RegistrySnapshot registry = WatchedRegistry();
  const FileSnapshot files = WatchedFiles();
  const Lines modules = RegisteredModules();

  const std::string earliest = LogTimeNow();
  TestProcess program(std::wstring(kProgramFolder) + L"\\VELAutil.exe", arguments, currentFolder_);
  const ProcessOutcome ended = program.Finish(limit_);
  const std::string latest = LogTimeNow();

  Outcome outcome;
  outcome.exitCode = ended.exitCode;
  outcome.timedOut = ended.timedOut;
  outcome.milliseconds = ended.milliseconds;
  outcome.log = LogLinesFrom(logStart);
  NormaliseClosingLine(outcome.log, earliest, latest);
  if (!regsvr32Sleeps_) {
    ForgetBusyMachine(outcome.log);
  }
  for (const std::string& line : outcome.log) {
    log_ += "\r\n" + line;
  }
  outcome.registryDiff = RegistrySnapshot::Changes(registry, WatchedRegistry());
  outcome.moduleDiff = ListDifference(modules, RegisteredModules());
  const auto pending = PendingRenames();
  for (std::size_t i = pendingStart; i < pending.size(); ++i) {
    outcome.pending.push_back(PendingLine(pending[i]));
  }
  // The log files of fixtures are not product files, and some are written after the run.
  for (std::string& change : FileSnapshot::Changes(files, WatchedFiles())) {
    if (change.compare(1, 12, "bin\\regsvr32") != 0 && change.find(".trace") == std::string::npos) {
      outcome.fileDiff.push_back(std::move(change));
    }
  }
  return outcome;
}

Lines World::RegistrationCalls() const {
  return ColumnOf(kRegistrationNotes, 2);
}
Lines World::RegistrationFolders() const {
  return ColumnOf(kRegistrationNotes, 1);
}

Lines World::MonitorStart(const std::wstring& monitor) const {
  const std::wstring trace = monitor.substr(0, monitor.rfind(L'.')) + L".trace";
  WaitForFile(trace);
  Lines start;
  for (int column = 0; column < 4; ++column) {
    start.push_back(ColumnOf(trace, column).front());
  }
  return start;
}

void World::EndMonitors(const std::wstring& folder) const {
  for (const Client& client : Clients()) {
    if (client.hasMonitor && Handles(client)) {
      MonitorStart(folder + L"\\" + client.FolderName() + L"\\" + client.MonitorName());
    }
  }
  for (const Client& client : Clients()) {
    EndProcesses(client.MonitorName());
  }
}

void World::CarryOutPendingRenames() {
  const ProcessOutcome outcome = TestProcess(L"C:\\windows\\system32\\wineboot.exe", {L"-r"}).Finish(20000);
  if (outcome.timedOut || !PendingRenames().empty()) {
    throw std::runtime_error("the pending renames were not carried out");
  }
}

Lines World::RegisteredModules() const {
  Lines modules;
  for (const auto& row : Fixtures::ModuleClasses()) {
    const std::wstring key = std::wstring(L"Software\\Classes\\CLSID\\") + row.classId + L"\\InprocServer32";
    wchar_t path[1024] = {};
    LONG size = sizeof path;  // bytes
    if (::RegQueryValueW(HKEY_LOCAL_MACHINE, key.c_str(), path, &size) == ERROR_SUCCESS) {
      modules.push_back(ToUtf8(row.module + L" " + path));
    }
  }
  return modules;
}

}  // namespace TestSupport
