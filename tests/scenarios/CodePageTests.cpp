// Destinations whose names the plug-ins could not handle: whether one is depends on the code page of the machine, and
// the removal has to look where the installation has put the files. The matrix has the installations. This program runs
// once with each code page.
#include <doctest/doctest.h>

#include <windows.h>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::Exists;

namespace {

// Wherever the product was moved to, its folder lies in this one.
constexpr wchar_t kMoved[] = L"C:\\ProgramData";

// The finding in the log names the code page's own check.
std::string Titled(const std::string& title) {
  return title + ", code page " + std::to_string(::GetACP());
}

// What lies under the same name in the other place is not the product's.
void CheckRemoval(const char* title, const std::wstring& destination, bool moved, const std::wstring& given) {
  const Lines& plain = PlainUninstall();
  World world;
  REQUIRE(WithSource(world).Run(L"-I", World::kSource, destination).exitCode == 0);
  const std::wstring installed = (moved ? kMoved : destination) + L"\\Orvane Labs";
  REQUIRE(Enable(world, installed).exitCode == 0);
  world.EndMonitors(installed + L"\\VELA");
  const std::wstring other = moved ? destination + L"\\VELA\\other.txt" : kCommonBase + L"VELA\\other.txt";
  world.WithFile(other, "somebody's");

  const Outcome outcome = world.Run(L"-U", World::kSource, given);

  // Of what was moved, the product's own folder alone: the data of all users lies there in the plain run, too.
  const Lines told = moved ? TestSupport::RunText(outcome, {{kCommonBase + L"VELA_common", "[data]VELA_common"},
                                                            {kCommonBase + L"VELA", "[dest]\\Orvane Labs\\VELA"},
                                                            {L"[data]", TestSupport::ToUtf8(kCommonBase)},
                                                            {World::kSource, "[source]"}})
                           : Told(outcome, destination);
  CheckRun(Titled(title), plain, told);
  CHECK(Exists(other));
  CHECK(world.RegisteredModules().empty());
}

const bool kIsJapanese = ::GetACP() == 932;
// The Japanese code page has no such letter and writes a plain one.
constexpr wchar_t kAccented[] = L"C:\\VelaTest\\Caf\x00E9";
// A code page without such characters makes question marks of them, which count as plain. The log ends there.
constexpr wchar_t kJapanese[] = L"C:\\VelaTest\\\x65E5\x672C";
// Two bytes in the Japanese code page and one in the Western, refused by both.
constexpr wchar_t kParagraph[] = L"C:\\VelaTest\\d\x00A7";

TEST_CASE("a removal") {
  const auto maker = [](const wchar_t* destination) { return destination + std::wstring(L"\\Orvane Labs"); };
  CheckRemoval("removed from an accented destination", kAccented, !kIsJapanese,
               kIsJapanese ? maker(kAccented) : kAccented);
  CheckRemoval("removed by the folder of the maker", kParagraph, true, maker(kParagraph));
  CheckRemoval("removed from a Japanese destination", kJapanese, kIsJapanese,
               kIsJapanese ? kJapanese : maker(kJapanese));
}

TEST_CASE("a source with such a name is used") {
  const Lines& plain = PlainInstall();
  World world;
  WithSource(world);
  const std::wstring source = L"C:\\VelaTest\\s\x00A7";
  REQUIRE(::MoveFileW(World::kSource, source.c_str()));
  CheckRun("a source with a paragraph sign", plain,
           Told(world.Run(L"-I", source, World::kDestination), World::kDestination, source));
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
    TestSupport::MakeKey(
        TestSupport::MachineKey64(L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders"),
        {{L"Common AppData", folder}});
  }
};

TEST_CASE("without a common data folder the Windows folder takes its place") {
  const Lines& plain = PlainInstall();
  const NoCommonDataFolder machine;
  World world;
  WithSource(world).WatchingFolder(L"C:\\windows\\Orvane Labs");
  const Outcome outcome = world.Run(L"-I", World::kSource, kParagraph);
  CheckRun(Titled("no common data folder"), plain, Told(outcome, L"C:\\windows"));
}

}  // namespace
