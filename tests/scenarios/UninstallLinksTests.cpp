// The product is removed after a user put links into its folders, which all users may write to. The targets of the
// links do not belong to the product and must stay. Wine cannot delete a folder link, so the restart does it here.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/FolderLink.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::FileSnapshot;
using TestSupport::FolderLink;
using TestSupport::LinesWith;
using TestSupport::ToUtf8;

namespace {

constexpr wchar_t kOutside[] = L"C:\\VelaTest\\outside";

// A user's own folder, with the names that the product would look for.
void MakeOutside(World& world) {
  for (const wchar_t* const file : {L"\\precious.txt", L"\\OL\\Users\\log\\precious.txt",
                                    L"\\VELA\\VELA_OL\\precious.txt", L"\\rule\\precious.txt"}) {
    world.WithFile(kOutside + std::wstring(file), "precious");
  }
  for (const std::wstring& folder : DataFolders()) {
    world.WithFile(kOutside + (L"\\" + folder) + L"\\precious.txt", "precious");
  }
  REQUIRE(::SetFileAttributesW((kOutside + std::wstring(L"\\precious.txt")).c_str(), FILE_ATTRIBUTE_READONLY));
}

void MakeProduct(World& world) {
  world.WithFile(kProduct + L"\\VELA_OL\\rule\\base.rul").WithFile(kProduct + L"\\Resource\\a.ini");
  for (const std::wstring& folder : DataFolders()) {
    world.WithFile(kCommonBase + folder + L"\\Users\\{4711}\\log\\a.log");
  }
}

// Runs the removal. Nothing outside may be changed or scheduled.
Outcome Remove(World& world, const std::wstring& destination = kInstalledFolder) {
  FileSnapshot before;
  before.Add(kOutside);
  const Outcome outcome = world.Run(L"-U", World::kSource, destination);
  FileSnapshot after;
  after.Add(kOutside);
  CHECK(outcome.exitCode == 0);
  CHECK(before.AsLines().size() > 10);
  CHECK_LINES(FileSnapshot::Changes(before, after), {});
  CHECK_LINES(LinesWith(outcome.pending, "precious"), {});
  CHECK_LINES(LinesWith(outcome.pending, "outside"), {});
  return outcome;
}

// Replaces one of the product's folders by a link.
struct ReplacedByLink {
  ReplacedByLink(const std::wstring& folder, const std::wstring& target) : link((Remove(folder), folder), target) {}
  static void Remove(const std::wstring& folder) { TestSupport::RemoveTree(folder); }
  FolderLink link;
};

TEST_CASE("links at any level of the product's and the data folders are removed, and their targets stay") {
  for (const std::wstring& place :
       {kProduct, kProduct + L"\\VELA_OL\\rule", kCommonBase + L"OL", kCommonBase + L"WLM\\Users\\{4711}",
        kCommonBase + L"VELA_common\\Users\\{4711}\\log\\link"}) {
    CAPTURE(ToUtf8(place));
    World world;
    MakeOutside(world);
    MakeProduct(world);
    const ReplacedByLink link(place, kOutside);

    const Outcome outcome = Remove(world);

    CHECK(LinesWith(outcome.log, "Success to delete folder").size() == 1);
    CHECK_LINES(LinesWith(outcome.log, "RemoveVELAProgramData"), {});
    CHECK_LINES(LinesWith(outcome.pending, ToUtf8(place) + " -> "), {ToUtf8(place) + " -> "});
    const bool isProducts = place.compare(0, kProduct.size(), kProduct) == 0;
    CHECK(Exists(kProduct) == isProducts);
    CHECK(Exists(kCommonBase + L"OL") == (place == kCommonBase + L"OL"));
    CHECK_FALSE(Exists(kCommonBase + L"OE"));
  }
}

TEST_CASE("if the data folder of all users is a link, it is refused, and nothing below it is scheduled") {
  // The product is in another place; here because of its destination; or here with any name of the destination.
  for (const wchar_t* const destination :
       {kInstalledFolder.c_str(), L"C:\\VelaTest\\Caf\x00E9", L"C:\\ProgramData\\Orvane Labs",
        L"C:\\ProgramData\\Orvane Labs\\", L"c:\\PROGRAMDATA\\orvane labs", L"C:/ProgramData/Orvane Labs",
        L"C:\\ProgramData\\.\\Orvane Labs"}) {
    CAPTURE(ToUtf8(destination));
    World world;
    MakeOutside(world);
    world.WithFile(kProduct + L"\\VELA_OL\\plugin.dll");
    const FolderLink link(L"C:\\ProgramData\\Orvane Labs", kOutside);

    const Outcome outcome = Remove(world, destination);

    CHECK(outcome.pending.empty());
    const bool isElsewhere = destination == kInstalledFolder;
    CHECK(Exists(kProduct) != isElsewhere);
    CHECK(LinesWith(outcome.log, "\\VELA dwRtnValue:0").size() == (isElsewhere ? 0U : 1U));
    if (isElsewhere) {
      // Two lines for each folder, and the closing line.
      const auto removal = static_cast<std::ptrdiff_t>(2 * (1 + DataFolders().size()) + 1);
      CheckApproved("the folder for all users' data is a link", Lines(outcome.log.end() - removal, outcome.log.end()));
    }
  }
}

TEST_CASE("a destination that is reached through the administrator's own link is emptied") {
  World world;
  world.WithFile(L"C:\\VelaTest\\otherdrive\\Orvane Labs\\VELA\\VELA_OL\\plugin.dll");
  const FolderLink link(World::kDestination, L"C:\\VelaTest\\otherdrive");

  const Outcome outcome = world.Run(L"-U", World::kSource, kInstalledFolder);

  CHECK(outcome.exitCode == 0);
  CHECK_FALSE(Exists(L"C:\\VelaTest\\otherdrive\\Orvane Labs\\VELA"));
  CHECK(Exists(L"C:\\VelaTest\\otherdrive\\Orvane Labs"));
}

}  // namespace
