// Installations on machines with one Outlook or another.
#include <doctest/doctest.h>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"
#include "tests/support/TestFiles.h"

using namespace Expected;
using TestSupport::Outcome;
using TestSupport::WindowsVersion;

namespace {

constexpr wchar_t kOffice[] = L"C:\\VelaTest\\Office\\";
constexpr char kOfficeText[] = "C:\\VelaTest\\Office\\";

// The log of an installation that staged without trouble and found the switch missing.
Lines InstallLog(OutlookExpress outlookExpress, const Lines& outlookCheck, const Lines& extensionFile) {
  return Joined({InstallBegins(), FilesStaged(outlookExpress), SwitchUnreadable(2), outlookCheck,
                 OutlookRegistered(extensionFile), OutlookExpressRegistered(), WindowsLiveMailRegistered(),
                 RunEnds(0)});
}

struct Release {
  const char* number;
  int code;
};

TEST_CASE("Outlook 2003, 2007 and 2010 are supported wherever they are registered") {
  for (const Release& release : {Release{"11", 4}, Release{"12", 5}, Release{"14", 6}}) {
    for (const REGSAM view : {REGSAM{KEY_WOW64_32KEY}, REGSAM{KEY_WOW64_64KEY}}) {
      CAPTURE(release.number);
      CAPTURE(view);
      World world;
      world.WithSampleSource().WithOutlook(std::wstring(release.number, release.number + 2), kOffice, view);

      const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

      CHECK(outcome.exitCode == 0);
      CHECK_LINES(outcome.log,
                  (InstallLog(OutlookExpress::kLeftOut, OutlookFound(release.number, kOfficeText, release.code),
                              ExtensionFileDeleted(release.number, kOfficeText))));
    }
  }
}

TEST_CASE("Outlook's keys stay as they are, and its add-in key is put beside them") {
  World world;
  world.WithSampleSource().WithOutlook(L"14", kOffice, KEY_WOW64_64KEY);

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(Sorted(outcome.registryDiff),
              (Sorted(Joined({SettingsWritten(ProductKey::kMissing, 0), AddinKeysWritten(2, true), PluginListed()}))));
}

TEST_CASE("a release that is not supported is told, and its add-in is registered all the same") {
  struct Refusal {
    const char* number;
    int code;
    const char* name;
  };
  for (const Refusal& refusal : {Refusal{"9", 2, "OL_2000"}, Refusal{"15", 7, "OL_LATER_THAN_2010"},
                                 Refusal{"16", 7, "OL_LATER_THAN_2010"}, Refusal{"13", 0, "OL_NOT_INSTALLED"}}) {
    CAPTURE(refusal.number);
    World world;
    const std::string number = refusal.number;
    world.WithSampleSource().WithOutlook(std::wstring(number.begin(), number.end()), kOffice);

    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

    CHECK(outcome.exitCode == 0);
    CHECK_LINES(outcome.log,
                (InstallLog(OutlookExpress::kLeftOut, OutlookRefused(number, kOfficeText, refusal.code, refusal.name),
                            ExtensionFileDeleted(number, kOfficeText))));
    CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesRegistered(OutlookExpress::kLeftOut)));
  }
}

TEST_CASE("Outlook 2002 is refused on Windows XP x64 and nowhere else") {
  struct Case {
    WindowsVersion version;
    OutlookExpress outlookExpress;
    bool refused;
  };
  for (const Case& system : {Case{WindowsVersion::kXp64, OutlookExpress::kStaged, true},
                             Case{WindowsVersion::kServer2003, OutlookExpress::kStaged, false},
                             Case{WindowsVersion::kVista, OutlookExpress::kStaged, false},
                             Case{WindowsVersion::kWindows10, OutlookExpress::kLeftOut, false}}) {
    CAPTURE(static_cast<int>(system.version));
    World world;
    world.OnWindows(system.version).WithSampleSource().WithOutlook(L"10", kOffice);

    const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

    const Lines refusal = system.refused ? Info("MS Office Outlook is not installed !") : Lines{};
    CHECK_LINES(outcome.log, (InstallLog(system.outlookExpress, Joined({OutlookFound("10", kOfficeText, 3), refusal}),
                                         ExtensionFileDeleted("10", kOfficeText))));
  }
}

TEST_CASE("a registered Outlook without its program is none") {
  World world;
  world.WithSampleSource().WithOutlook(L"14", kOffice);
  TestSupport::RemoveTree(kOffice + std::wstring(L"outlook.exe"));

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  const Lines found = OutlookFound("14", kOfficeText, 6);
  const Lines foundUntilProgram(found.begin(), found.begin() + 3);
  CHECK_LINES(outcome.log, (InstallLog(OutlookExpress::kLeftOut, Joined({foundUntilProgram, OutlookMissing()}),
                                       ExtensionFileDeleted("14", kOfficeText))));
}

TEST_CASE("the stale extension file goes from Outlook's folder") {
  World world;
  world.WithSampleSource().WithOutlook(L"12", kOffice);
  world.WithFile(kOffice + std::wstring(L"ADDINS\\Redemption.ECF"), "stale");
  world.WithFile(kOffice + std::wstring(L"ADDINS\\Other.ECF"), "of somebody else");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(TestSupport::LinesWith(outcome.fileDiff, "Office\\"), {"-Office\\ADDINS\\Redemption.ECF"});
}

}  // namespace
