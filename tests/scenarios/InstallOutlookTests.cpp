// Installations on machines with an Outlook that the matrix does not have, and with another user's hive.
#include <doctest/doctest.h>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;

namespace {

constexpr wchar_t kOffice[] = L"C:\\VelaTest\\Office\\";

void CheckOutlook(const char* title, const wchar_t* release, REGSAM view, bool hasProgram = true) {
  CheckInstall(title, [&](World& world) {
    world.WithOutlook(release, kOffice, view).WithFile(kOffice + std::wstring(L"ADDINS\\Redemption.ECF"), "stale");
    world.WithFile(kOffice + std::wstring(L"ADDINS\\Other.ECF"), "of somebody else");
    if (!hasProgram) {
      TestSupport::RemoveTree(kOffice + std::wstring(L"outlook.exe"));
    }
  });
}

TEST_CASE("an installation with 64-bit Outlook, with an unsupported release, and without outlook.exe") {
  CheckOutlook("64-bit Outlook 2010", L"14", KEY_WOW64_64KEY);
  CheckOutlook("a later Outlook", L"15", KEY_WOW64_32KEY);
  CheckOutlook("an Outlook without its program", L"14", KEY_WOW64_32KEY, false);
}

TEST_CASE("another user's classes hive gets the add-in key, too") {
  CheckInstall("another user's classes hive", [](World& world) { world.WithUserHive(L"S-1-5-21-1-2-3-1001_Classes"); });
}

}  // namespace
