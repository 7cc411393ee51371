// Taking the product off from a destination whose name the plug-ins could not handle: whether it is one depends on the
// code page of the machine, and the removal has to look where the installation has put the files. This program runs
// once with each code page.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/scenarios/ExpectedRemoval.h"
#include "tests/support/TestFiles.h"

using namespace Expected;
using TestSupport::Exists;
using TestSupport::LinesWith;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

constexpr char kLeadByte[] = "--- Find DBCS Character by IsDBCSLeadByte() !! --- idx=";
constexpr char kHighByte[] = "--- Find DBCS Character by checking if ANSI character set --- idx=";

void InstallAndEnable(World& world, const std::wstring& destination) {
  REQUIRE(world.Run(L"-I", World::kSource, destination).exitCode == 0);
  REQUIRE(world.Run(L"-e", World::kSource, kInstalledFolder).exitCode == 0);
}

// Everything is gone from below `base`; registrations as well.
void CheckTakenOff(World& world, const Outcome& outcome, const std::wstring& base) {
  CHECK(outcome.exitCode == 0);
  CHECK_LINES(Sorted(outcome.moduleDiff), (Sorted(Gone(ModulesRegistered(OutlookExpress::kStaged, base)))));
  CHECK(world.RegisteredModules().empty());
  CHECK_LINES(Sorted(outcome.registryDiff), (RegistryOfUninstall(OutlookExpress::kStaged)));
  CHECK_FALSE(Exists(base + L"VELA"));
  for (const wchar_t* const folder : {L"OL", L"OE", L"WLM", L"VELA_common"}) {
    CHECK_FALSE(Exists(kCommonBase + std::wstring(folder)));
  }
}

// The product lies in the common data folder instead of `destination`, for the reason that `finding` gives.
void CheckMoved(const std::wstring& destination, const std::string& finding) {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  InstallAndEnable(world, destination);
  world.WithFile(destination + L"\\VELA\\somebody's.txt", "content");

  const Outcome outcome = world.Run(L"-U", World::kSource, destination);

  CHECK_LINES(
      outcome.log,
      (Joined({UninstallBegins(destination), Info(finding), SwitchedOff(OutlookExpress::kStaged),
               OutlookUnregistered(kCommonBase), AddinKeysDeleted(true), OutlookExpressUnregistered(kCommonBase),
               NoRunValue("OE"), WindowsLiveMailUnregistered(kCommonBase), NoRunValue("WLM"),
               ProductFolderDeleted(kCommonBase), DataFoldersDeleted(OutlookExpress::kStaged), RunEnds(0)})));
  CheckTakenOff(world, outcome, kCommonBase);
  CHECK(Exists(destination + L"\\VELA\\somebody's.txt"));
}

TEST_CASE("a sign that is two bytes in the Japanese code page and one in the Western") {
  CheckMoved(L"C:\\VelaTest\\d\x00A7", (::GetACP() == 932 ? kLeadByte : kHighByte) + std::to_string(13));
}

TEST_CASE("an accented destination") {
  const std::wstring destination = L"C:\\VelaTest\\Caf\x00E9";
  if (::GetACP() == 1252) {
    CheckMoved(destination, kHighByte + std::to_string(15));
    return;
  }
  // The Japanese code page has no such letter and writes a plain one: the product lies in the destination.
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  InstallAndEnable(world, destination);
  world.WithFile(kCommonBase + std::wstring(L"VELA\\somebody's.txt"), "content");
  const Outcome outcome = world.Run(L"-U", World::kSource, destination + L"\\Orvane Labs");
  CHECK(LinesWith(outcome.log, "DBCS").empty());
  CheckTakenOff(world, outcome, destination + L"\\Orvane Labs\\");
  CHECK(Exists(kCommonBase + std::wstring(L"VELA\\somebody's.txt")));
}

TEST_CASE("a Japanese destination, which the log cannot hold") {
  const std::wstring destination = L"C:\\VelaTest\\\x65E5\x672C";
  // A code page without such characters makes question marks of them, which count as plain.
  const bool isMoved = ::GetACP() == 932;
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  InstallAndEnable(world, destination);

  const Outcome outcome = world.Run(L"-U", World::kSource, isMoved ? destination : destination + L"\\Orvane Labs");

  CHECK_LINES(outcome.log, {"LOG_INFO :  cmd:-U", " src:C:\\VelaTest\\source", "dest:C:\\VelaTest\\"});
  CheckTakenOff(world, outcome, isMoved ? std::wstring(kCommonBase) : destination + L"\\Orvane Labs\\");
}

TEST_CASE("a destination that is moved is taken off by its own name and by the folder of the maker in it") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  InstallAndEnable(world, L"C:\\VelaTest\\d\x00A7");

  const Outcome outcome = world.Run(L"-U", World::kSource, L"C:\\VelaTest\\d\x00A7\\Orvane Labs");

  CheckTakenOff(world, outcome, kCommonBase);
}

}  // namespace
