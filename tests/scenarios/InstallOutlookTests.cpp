// Installations on machines with an Outlook that the matrix does not have, and over another user's hive.
#include <doctest/doctest.h>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;

namespace {

constexpr wchar_t kOffice[] = L"C:\\VelaTest\\Office\\";

void CheckInstall(const char* title, const wchar_t* release, REGSAM view, bool hasProgram = true) {
  const Lines& plain = PlainInstall();
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource().WithOutlook(release, kOffice, view);
  world.WithFile(kOffice + std::wstring(L"ADDINS\\Redemption.ECF"), "stale");
  world.WithFile(kOffice + std::wstring(L"ADDINS\\Other.ECF"), "of somebody else");
  if (!hasProgram) {
    TestSupport::RemoveTree(kOffice + std::wstring(L"outlook.exe"));
  }
  CheckRun(title, plain, Told(Install(world)));
}

TEST_CASE("Outlook 2010 is found where 64-bit programs register") {
  CheckInstall("Outlook 2010 of 64 bits", L"14", KEY_WOW64_64KEY);
}

TEST_CASE("a release that is not supported is told, and its add-in is registered all the same") {
  CheckInstall("a later Outlook", L"15", KEY_WOW64_32KEY);
}

TEST_CASE("a registered Outlook without its program is none") {
  CheckInstall("an Outlook without its program", L"14", KEY_WOW64_32KEY, false);
}

TEST_CASE("a hive of classes of another user is given the add-in too") {
  const Lines& plain = PlainInstall();
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource().WithUserHive(L"S-1-5-21-1-2-3-1001_Classes");
  CheckRun("a hive of classes", plain, Told(Install(world)));
}

}  // namespace
