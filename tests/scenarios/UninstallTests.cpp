// The product is removed: with each mail client running, a second time, and where it was never installed.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <string>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::MachineKey64;

namespace {

World& Installed(World& world, WindowsVersion version = WindowsVersion::kVista) {
  InstallAndEnable(world.OnWindows(version).WithSampleSource());
  return world;
}

// 100 folders with 200 files each below a folder of the product, like the logs of a few years. Sorted like the list of
// removed files.
Lines PlantManyFiles(const std::wstring& folder, const std::string& shown) {
  Lines gone = {"-" + shown};
  for (int i = 100; i < 200; ++i) {
    const std::wstring subfolder = folder + std::to_wstring(i);
    TestSupport::MakeFolder(subfolder);
    const std::string prefix = "-" + shown + std::to_string(i) + "\\";
    gone.push_back(prefix);
    for (int j = 100; j < 300; ++j) {
      const std::wstring name = std::to_wstring(j) + L".log";
      const HANDLE file = ::CreateFileW((subfolder + L"\\" + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
      REQUIRE(file != INVALID_HANDLE_VALUE);
      ::CloseHandle(file);
      gone.push_back(prefix + TestSupport::ToUtf8(name));
    }
  }
  return gone;
}

TEST_CASE("20,000 more files of the product are deleted, and the log is the same") {
  const Lines& plain = PlainUninstall();
  World world;
  Installed(world);
  const Lines planted = PlantManyFiles(kProduct + L"\\VELA_OL\\logs\\", "dest\\Orvane Labs\\VELA\\VELA_OL\\logs\\");
  REQUIRE(planted.size() == 1 + 100 + 20000);

  Outcome outcome = Uninstall(world);

  // They are next to each other in the sorted changes. A line comparison of 20,000 lines would take minutes.
  auto& changes = outcome.fileDiff;
  const auto first = std::find(changes.begin(), changes.end(), planted.front());
  REQUIRE(changes.end() - first >= static_cast<std::ptrdiff_t>(planted.size()));
  const auto last = first + static_cast<std::ptrdiff_t>(planted.size());
  CHECK(std::equal(planted.begin(), planted.end(), first));
  changes.erase(first, last);
  CHECK_LINES(Told(outcome), (plain));
}

TEST_CASE("a second uninstall, or one without an installation, finds nothing to remove") {
  const Lines& plain = PlainUninstall();
  CheckUninstall("nothing to remove", [](World& world) { Uninstall(world); });
  World world;
  CheckRun("nothing to remove", plain, Told(Uninstall(world.OnWindows(WindowsVersion::kVista))));
}

TEST_CASE("an uninstall of a product that was never switched on") {
  const Lines& plain = PlainUninstall();
  World world;
  Install(world.OnWindows(WindowsVersion::kVista).WithSampleSource());
  // The add-in is registered and can be switched off. The monitors were never started.
  CheckRun("never switched on", plain, Told(Uninstall(world)));
}

TEST_CASE("the start-up value of a monitor whose client this Windows no longer has is deleted") {
  const Lines& plain = PlainUninstall(WindowsVersion::kWindows7);
  World world;
  Installed(world, WindowsVersion::kWindows7);
  for (const Client& client : Clients()) {
    if (!world.Handles(client)) {
      world.WithKey(MachineKey64(kRunKey), {{client.shortName, L"monitor"}});
    }
  }
  // The switch would not do it, because it skips this client here.
  CheckRun("a monitor of an older Windows", plain, Told(Uninstall(world)));
}

TEST_CASE("if regsvr32.exe cannot be started, the uninstall continues") {
  CheckUninstall("no regsvr32.exe", [](World& world) { world.WithoutRegsvr32(); });
  CheckUninstall("no regsvr32.exe", [](World& world) { world.WithBrokenRegsvr32(); });
}

TEST_CASE("a module that takes too long to unregister is logged and no longer waited for") {
  const Lines& plain = PlainUninstall();
  World world;
  Installed(world).WithStandInRegsvr32("sleep 4000 2\n");
  const Outcome outcome = Uninstall(world);
  CheckRun("regsvr32.exe takes too long", plain, Told(outcome));
  CHECK(outcome.milliseconds >= 3000);
  CHECK(world.RegistrationCalls().size() == TestSupport::AllModules());
}

}  // namespace
