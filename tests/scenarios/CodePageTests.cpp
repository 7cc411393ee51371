// Destinations with names that the plug-ins cannot handle. The code page of the machine decides which names these are.
// The removal must look in the folder that the installation used. The matrix contains the installations. This program
// runs once with each code page.
#include <doctest/doctest.h>

#include <windows.h>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::Exists;

namespace {

// If the product was moved to another place, its folder is in this one.
constexpr wchar_t kMoved[] = L"C:\\ProgramData";

// A text for each code page: the log shows the result of that code page's check.
std::string Titled(const std::string& title) {
  return title + ", code page " + std::to_string(::GetACP());
}

// A folder with the same name in the other place does not belong to the product.
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

  // Of the moved folders, only the product's own one: the plain run has the data of all users there, too.
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
// The Japanese code page does not have this letter and writes a plain one.
constexpr wchar_t kAccented[] = L"C:\\VelaTest\\Caf\x00E9";
// A code page without such characters writes question marks, which count as plain. The log ends there.
constexpr wchar_t kJapanese[] = L"C:\\VelaTest\\\x65E5\x672C";
// Two bytes in the Japanese code page and one in the Western one. Both refuse them.
constexpr wchar_t kParagraph[] = L"C:\\VelaTest\\d\x00A7";

TEST_CASE("the product is removed from the folder that the installation chose for the destination") {
  const auto maker = [](const wchar_t* destination) { return destination + std::wstring(L"\\Orvane Labs"); };
  CheckRemoval("removed from an accented destination", kAccented, !kIsJapanese,
               kIsJapanese ? maker(kAccented) : kAccented);
  CheckRemoval("removed by the maker's folder in the destination", kParagraph, true, maker(kParagraph));
  CheckRemoval("removed from a Japanese destination", kJapanese, kIsJapanese,
               kIsJapanese ? kJapanese : maker(kJapanese));
}

TEST_CASE("a source with a paragraph sign in its name is used") {
  const Lines& plain = PlainInstall();
  World world;
  WithSource(world);
  const std::wstring source = L"C:\\VelaTest\\s\x00A7";
  REQUIRE(::MoveFileW(World::kSource, source.c_str()));
  CheckRun("a source with a paragraph sign", plain,
           Told(world.Run(L"-I", source, World::kDestination), World::kDestination, source));
}

// The path of the common data folder does not exist, so the system cannot return it.
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

TEST_CASE("without a common data folder, the Windows folder is used instead") {
  const Lines& plain = PlainInstall();
  const NoCommonDataFolder machine;
  World world;
  WithSource(world).WatchingFolder(L"C:\\windows\\Orvane Labs");
  const Outcome outcome = world.Run(L"-I", World::kSource, kParagraph);
  CheckRun(Titled("no common data folder"), plain, Told(outcome, L"C:\\windows"));
}

}  // namespace
