#include "tests/endurance/Machine.h"

#include <doctest/doctest.h>

#include <shlwapi.h>

#include <cstdlib>
#include <stdexcept>

#include "tests/fixtures/ModuleClasses.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::FileSnapshot;
using TestSupport::KeyPlace;
using TestSupport::MachineKey32;
using TestSupport::MachineKey64;
using TestSupport::RegistrySnapshot;
using TestSupport::TestProcess;
using TestSupport::ToUtf8;
using TestSupport::UsersKey;

namespace Endurance {
namespace {

constexpr DWORD kLimit = 60000;  // milliseconds
constexpr wchar_t kOtherUser[] = L"S-1-5-21-1-2-3-1001";
constexpr wchar_t kKeptKeys[] = L"Software\\VelaKept";
constexpr wchar_t kOffice[] = L"C:\\VelaTest\\Office14\\";

std::wstring OutlooksCache() {
  wchar_t profile[MAX_PATH] = {};
  ::GetEnvironmentVariableW(L"USERPROFILE", profile, MAX_PATH);
  return std::wstring(profile) + L"\\AppData\\Local\\Microsoft\\Outlook";
}

// The folders in which the product changes something.
std::vector<std::wstring> Trees() {
  return {World::kDestination, L"C:\\ProgramData\\Orvane Labs", kOffice + std::wstring(L"ADDINS"), OutlooksCache()};
}

std::wstring KeptTree(std::size_t index) {
  return L"C:\\VelaTest\\kept\\" + std::to_wstring(index);
}

KeyPlace KeptKey(std::size_t index) {
  return {HKEY_CURRENT_USER, kKeptKeys + (L"\\" + std::to_wstring(index)), KEY_WOW64_64KEY};
}

void CopyKey(const KeyPlace& from, const KeyPlace& to) {
  if (!TestSupport::KeyExists(from)) {
    return;
  }
  TestSupport::MakeKey(to);
  HKEY source = nullptr;
  HKEY target = nullptr;
  const bool copied = ::RegOpenKeyExW(from.hive, from.path.c_str(), 0, KEY_READ | from.view, &source) == 0 &&
                      ::RegOpenKeyExW(to.hive, to.path.c_str(), 0, KEY_ALL_ACCESS | to.view, &target) == 0 &&
                      ::SHCopyKeyW(source, nullptr, target, 0) == 0;
  ::RegCloseKey(source);
  ::RegCloseKey(target);
  if (!copied) {
    throw std::runtime_error("cannot copy the key " + ToUtf8(from.path));
  }
}

}  // namespace

std::vector<std::wstring> Command::Arguments(const std::wstring& source) const {
  return {commandSwitch, source, isStaging ? World::kDestination : kInstalledFolder};
}

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"-I", L"-I", true, 0},  {"-p", L"-p", true, 1},  {"-e", L"-e", false, 0}, {"-d", L"-d", false, 0},
      {"-U", L"-U", false, 0}, {"-r", L"-r", false, 1}, {"-s", L"-s", false, 0}};
  return commands;
}

void Renew(const std::wstring& source) {
  for (const std::wstring& name : FilesBelow(source)) {
    const std::wstring path = source + name;
    const std::wstring ending = name.substr(name.rfind(L'.') + 1);
    if (ending == L"ptn" || ending == L"rul" || ending == L"ini" || ending == L"lst") {
      TestSupport::WriteTestFile(path, TestSupport::FileContent(path) + "newer\r\n");
    }
    TestSupport::SetTimes(path, TestSupport::TimeOf(100), TestSupport::TimeOf(100));
  }
}

Machine::Machine(Stage stage) {
  world_.OnWindows(WindowsVersion::kVista).WithSampleSource().WithUserHive(kOtherUser);
  world_.WithOutlook(L"14", kOffice).WithFile(kOffice + std::wstring(L"ADDINS\\Redemption.ECF"), "stale");
  world_.WithFile(OutlooksCache() + L"\\Extend.dat", "cache");
  world_.WithKey(UsersKey(kConsoleUser + std::wstring(L"\\Identities")), {{L"Last User ID", L"{4711}"}});
  world_.WithKey(MachineKey64(World::kCoreAgentKey));
  places_ = Places();
  const int runs = static_cast<int>(stage);
  for (int i = 0; i < runs; ++i) {
    Run(Commands()[i == 0 ? 0 : 2]);
  }
  if (stage != Stage::kAbsent) {
    for (const std::wstring& folder : DataFolders()) {
      world_.WithFile(kCommonBase + folder + L"\\Users\\{4711}\\log\\plugin.log", "log");
    }
    Renew(World::kSource);
  }
  Keep();
}

std::vector<KeyPlace> Machine::Places() const {
  std::vector<KeyPlace> places;
  for (const std::wstring& path :
       TestSupport::WithPluginLists({L"Software\\OrvaneLabs", L"Software\\Microsoft\\Office", kRunKey})) {
    places.push_back(MachineKey64(path));
    places.push_back(MachineKey32(path));
  }
  for (const auto& row : Fixtures::ModuleClasses()) {
    places.push_back(MachineKey64(L"Software\\Classes\\CLSID\\" + row.classId));
    places.push_back(MachineKey64(L"Software\\Classes\\" + row.programId));
  }
  for (const std::wstring& sid : TestSupport::SubkeyNames(UsersKey(L""))) {
    if (sid == kOtherUser) {
      places.push_back(UsersKey(sid));
    } else {
      for (const wchar_t* const below :
           {L"\\Software\\Microsoft\\Office", L"\\Software\\OrvaneLabs", L"\\Identities"}) {
        places.push_back(UsersKey(sid + below));
      }
    }
  }
  return places;
}

void Machine::Keep() {
  TestSupport::RemoveKey({HKEY_CURRENT_USER, kKeptKeys, KEY_WOW64_64KEY});
  for (std::size_t i = 0; i < places_.size(); ++i) {
    CopyKey(places_[i], KeptKey(i));
  }
  for (std::size_t i = 0; i < Trees().size(); ++i) {
    if (TestSupport::Exists(Trees()[i])) {
      TestSupport::CopyTree(Trees()[i], KeptTree(i));
    }
  }
}

void Machine::Reset() {
  held_ = nullptr;
  for (std::size_t i = 0; i < places_.size(); ++i) {
    TestSupport::RemoveKey(places_[i]);
    CopyKey(KeptKey(i), places_[i]);
  }
  for (std::size_t i = 0; i < Trees().size(); ++i) {
    TestSupport::RemoveTree(Trees()[i]);
    if (TestSupport::Exists(KeptTree(i))) {
      TestSupport::CopyTree(KeptTree(i), Trees()[i]);
    }
  }
  TestSupport::ClearPendingRenames();
}

void Machine::HoldFile() {
  const std::wstring file = kProduct + L"\\VELA_OL\\vela.ptn";
  if (TestSupport::Exists(file)) {
    held_ = std::make_unique<TestSupport::HeldFile>(file, FILE_SHARE_READ);
  }
}

TestProcess Machine::Started(const Command& command, const std::wstring& source) const {
  return TestProcess(World::kProgramFolder + std::wstring(L"\\VELAutil.exe"), command.Arguments(source), {},
                     TestProcess::Begin::kWhenResumed);
}

void Machine::Run(const Command& command, const std::wstring& source) const {
  TestProcess program = Started(command, source);
  program.Resume();
  CHECK(program.Finish(kLimit).exitCode == command.exitCode);
  Settle();
}

void Machine::Settle() const {
  for (DWORD waited = 0;; waited += 10) {
    unsigned running = TestSupport::CountProcesses(L"regsvr32.exe");
    for (const Client& client : Clients()) {
      running += TestSupport::CountProcesses(client.MonitorName());
    }
    if (running == 0) {
      break;
    }
    if (waited > kLimit) {
      throw std::runtime_error("a program that a run started does not end");
    }
    ::Sleep(10);
  }
  // What the monitors of the tests note is no part of the product.
  for (const Client& client : Clients()) {
    TestSupport::RemoveTree(kProduct + L"\\" + client.FolderName() + L"\\" + client.FolderName() + L"Mon.trace");
  }
}

MachineState Machine::State() const {
  Settle();
  FileSnapshot files;
  for (const std::wstring& tree : Trees()) {
    files.Add(tree, ToUtf8(tree));
  }
  RegistrySnapshot registry;
  for (const KeyPlace& place : places_) {
    registry.Add(place.hive, place.path, place.view);
  }
  return {files, registry};
}

MachineState Machine::StateAfterRestart() {
  Settle();
  if (!TestSupport::PendingRenames().empty()) {
    world_.CarryOutPendingRenames();
  }
  return State();
}

unsigned long long Setting(const char* name, unsigned long long otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : otherwise;
}

bool IsLike(const std::string& text, const std::string& pattern) {
  std::size_t at = 0;
  std::size_t begin = 0;
  for (;;) {
    const std::size_t star = pattern.find('*', begin);
    const std::string part = pattern.substr(begin, star - begin);
    if (star == std::string::npos) {  // the last part ends the text
      return text.size() >= at + part.size() && text.compare(text.size() - part.size(), part.size(), part) == 0 &&
             (begin != 0 || text.size() == part.size());
    }
    const std::size_t found = text.find(part, at);
    if (found == std::string::npos || (begin == 0 && found != 0)) {
      return false;
    }
    at = found + part.size();
    begin = star + 1;
  }
}

}  // namespace Endurance
