// Destinations whose names the plug-ins could not handle: whether one is depends on the code page of the machine. Each
// test case is for one code page, and this program runs once with each.
#include <doctest/doctest.h>

#include <windows.h>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"
#include "tests/support/TestFiles.h"

using namespace Expected;
using TestSupport::MachineKey64;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

constexpr char kLeadByte[] = "--- Find DBCS Character by IsDBCSLeadByte() !! --- idx=";
constexpr char kHighByte[] = "--- Find DBCS Character by checking if ANSI character set --- idx=";

// The registry of a fresh installation whose base folder is not the usual one.
Lines RegistryWithBase(const std::wstring& base) {
  return Sorted(Joined({SettingsWritten(ProductKey::kMissing, 0, base), AddinKeysWritten(2), PluginListed()}));
}

// The whole layout lies below `base`, whatever the log could hold.
void CheckInstalledBelow(const std::wstring& base, const Outcome& outcome) {
  CHECK(outcome.exitCode == 0);
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithBase(base)));
  CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(OutlookExpress::kStaged, base)));
  CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesRegistered(OutlookExpress::kStaged, base)));
}

Lines InstallLog(const std::wstring& destination, const Lines& finding, const std::wstring& base) {
  return Joined({InstallBegins(World::kSource, destination), finding, FilesStaged(OutlookExpress::kStaged, base),
                 SwitchUnreadable(2), OutlookMissing(), ClientsRegistered(base), RunEnds(0)});
}

TEST_CASE("a plain destination is used with every code page") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(outcome.log, (InstallLog(World::kDestination, {}, kBase)));
  CheckInstalledBelow(kBase, outcome);
}

// `destination` moves the installation to the common data folder, for the reason that `finding` gives.
void CheckMoved(const std::wstring& destination, const std::string& finding) {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();

  const Outcome outcome = world.Run(L"-I", World::kSource, destination);

  CHECK_LINES(outcome.log, (InstallLog(destination, Info(finding), kCommonBase)));
  CheckInstalledBelow(kCommonBase, outcome);
}

TEST_CASE("an accented destination is not used with a Western code page") {
  const std::wstring destination = L"C:\\VelaTest\\Caf\x00E9";
  if (::GetACP() == 1252) {
    CheckMoved(destination, kHighByte + std::to_string(15));
    return;
  }
  // The Japanese code page has no such letter and writes a plain one.
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  CheckInstalledBelow(destination + L"\\Orvane Labs\\", world.Run(L"-I", World::kSource, destination));
}

TEST_CASE("a sign that is two bytes in the Japanese code page and one in the Western is refused by both") {
  // The paragraph sign; the log can hold it.
  CheckMoved(L"C:\\VelaTest\\d\x00A7", (::GetACP() == 932 ? kLeadByte : kHighByte) + std::to_string(13));
}

TEST_CASE("a Japanese destination is not used with the Japanese code page") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const std::wstring destination = L"C:\\VelaTest\\\x65E5\x672C";

  const Outcome outcome = world.Run(L"-I", World::kSource, destination);

  // The log ends where it cannot hold the name.
  CHECK_LINES(outcome.log, {"LOG_INFO :  cmd:-I", " src:C:\\VelaTest\\source", "dest:C:\\VelaTest\\"});
  // A code page without such characters makes question marks of them, which count as plain.
  CheckInstalledBelow(::GetACP() == 932 ? std::wstring(kCommonBase) : destination + L"\\Orvane Labs\\", outcome);
}

TEST_CASE("half-width katakana are single bytes and are refused all the same") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const std::wstring destination = L"C:\\VelaTest\\\xFF71";

  CheckInstalledBelow(::GetACP() == 932 ? std::wstring(kCommonBase) : destination + L"\\Orvane Labs\\",
                      world.Run(L"-I", World::kSource, destination));
}

TEST_CASE("a source with such a name is used") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const std::wstring source = L"C:\\VelaTest\\s\x00A7";
  REQUIRE(::MoveFileW(World::kSource, source.c_str()));

  const Outcome outcome = world.Run(L"-I", source, World::kDestination);

  CHECK_LINES(Sorted(outcome.fileDiff), (FilesMade(OutlookExpress::kStaged, kBase, source)));
}

// The common data folder named as one that does not exist, so that the system cannot tell it.
class NoCommonDataFolder {
 public:
  NoCommonDataFolder() { Name(L"C:\\no such folder"); }
  NoCommonDataFolder(const NoCommonDataFolder&) = delete;
  NoCommonDataFolder& operator=(const NoCommonDataFolder&) = delete;
  ~NoCommonDataFolder() {
    Name(L"C:\\ProgramData");
    TestSupport::RemoveTree(L"C:\\windows\\Orvane Labs");
  }

 private:
  static void Name(const wchar_t* folder) {
    TestSupport::MakeKey(MachineKey64(L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders"),
                         {{L"Common AppData", folder}});
  }
};

TEST_CASE("without a common data folder the Windows folder takes its place") {
  const NoCommonDataFolder machine;
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const std::wstring destination = L"C:\\VelaTest\\d\x00A7";
  const std::wstring base = L"C:\\windows\\Orvane Labs\\";

  const Outcome outcome = world.Run(L"-I", World::kSource, destination);

  const std::string finding = (::GetACP() == 932 ? kLeadByte : kHighByte) + std::to_string(13);
  CHECK_LINES(outcome.log, (InstallLog(destination, Info(finding), base)));
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryWithBase(base)));
  CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesRegistered(OutlookExpress::kStaged, base)));
}

}  // namespace
