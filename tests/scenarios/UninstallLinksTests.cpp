// Taking the product off where any user has put links into its folders, which are open to all: what they lead to is not
// the product's and stays. Wine cannot delete a link to a folder, so the links themselves are left to the restart here.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/scenarios/PlainRuns.h"
#include "tests/scenarios/UnixLinks.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::FileSnapshot;
using TestSupport::FolderLink;
using TestSupport::LinesWith;
using TestSupport::ToUtf8;

namespace {

constexpr wchar_t kOutside[] = L"C:\\VelaTest\\outside";

// Somebody's own folder, with the names in it that the product would look for.
void MakeOutside(World& world) {
  for (const wchar_t* const file :
       {L"\\precious.txt", L"\\OL\\Users\\log\\precious.txt", L"\\OE\\precious.txt", L"\\WLM\\precious.txt",
        L"\\VELA_common\\precious.txt", L"\\VELA\\VELA_OL\\precious.txt", L"\\rule\\precious.txt"}) {
    world.WithFile(kOutside + std::wstring(file), "precious");
  }
  REQUIRE(::SetFileAttributesW((kOutside + std::wstring(L"\\precious.txt")).c_str(), FILE_ATTRIBUTE_READONLY));
}

void MakeProduct(World& world) {
  world.WithFile(kProduct + L"\\VELA_OL\\rule\\base.rul").WithFile(kProduct + L"\\Resource\\a.ini");
  for (const std::wstring& folder : DataFolders()) {
    world.WithFile(kCommonBase + folder + L"\\Users\\{4711}\\log\\a.log");
  }
}

// Runs the removal; nothing outside may have changed or be scheduled.
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

// Makes a folder a link after it was one of the product's own.
struct ReplacedByLink {
  ReplacedByLink(const std::wstring& folder, const std::wstring& target) : link((Remove(folder), folder), target) {}
  static void Remove(const std::wstring& folder) { TestSupport::RemoveTree(folder); }
  FolderLink link;
};

TEST_CASE("a link at any level of the product's folder") {
  for (const wchar_t* const place : {L"", L"\\VELA_OL", L"\\VELA_OL\\rule", L"\\Resource\\link"}) {
    CAPTURE(ToUtf8(place));
    World world;
    MakeOutside(world);
    MakeProduct(world);
    const ReplacedByLink link(kProduct + place, kOutside);

    const Outcome outcome = Remove(world);

    CHECK(LinesWith(outcome.log, "Success to delete folder").size() == 1);
    CHECK_LINES(LinesWith(outcome.pending, ToUtf8(kProduct + place) + " -> "), {ToUtf8(kProduct + place) + " -> "});
    for (const std::wstring& folder : DataFolders()) {
      CHECK_FALSE(Exists(kCommonBase + folder));
    }
  }
}

TEST_CASE("a link at any level of the folders for the data of all users") {
  for (const wchar_t* const place : {L"OL", L"OE", L"WLM", L"VELA_common", L"OL\\Users", L"WLM\\Users\\{4711}",
                                     L"OE\\Users\\{4711}\\log", L"VELA_common\\Users\\{4711}\\log\\link"}) {
    CAPTURE(ToUtf8(place));
    World world;
    MakeOutside(world);
    MakeProduct(world);
    const ReplacedByLink link(kCommonBase + place, kOutside);

    const Outcome outcome = Remove(world);

    CHECK_LINES(LinesWith(outcome.log, "RemoveVELAProgramData"), {});
    CHECK_LINES(LinesWith(outcome.pending, ToUtf8(kCommonBase + place) + " -> "),
                {ToUtf8(kCommonBase + place) + " -> "});
    CHECK_FALSE(Exists(kProduct));
  }
}

TEST_CASE("links that lead in circles end somewhere") {
  World world;
  MakeOutside(world);
  MakeProduct(world);
  const FolderLink up(kProduct + L"\\VELA_OL\\up", kProduct);
  const FolderLink round(kProduct + L"\\Resource\\round", kProduct + L"\\Resource");

  const Outcome outcome = Remove(world);

  CHECK_FALSE(outcome.timedOut);
  CHECK_FALSE(Exists(kProduct + L"\\VELA_OL\\rule"));
}

TEST_CASE("the folder of the product for all users' data is a link: refused, and nothing is scheduled behind it") {
  World world;
  MakeOutside(world);
  world.WithFile(kProduct + L"\\VELA_OL\\plugin.dll");
  const FolderLink link(L"C:\\ProgramData\\Orvane Labs", kOutside);

  const Outcome outcome = Remove(world);

  CheckApproved("the folder for all users' data is a link", Lines(outcome.log.end() - 11, outcome.log.end()));
  CHECK(outcome.pending.empty());
  CHECK_FALSE(Exists(kProduct));
}

TEST_CASE("and so is the product's own folder where it lies there") {
  World world;
  MakeOutside(world);
  const FolderLink link(L"C:\\ProgramData\\Orvane Labs", kOutside);

  const Outcome outcome = Remove(world, L"C:\\VelaTest\\Caf\x00E9");

  CheckApproved("the product's folder is below a link", Lines(outcome.log.end() - 11, outcome.log.end()));
  CHECK(outcome.pending.empty());
}

// The destination names the link itself.
void CheckDestinationRefused(const wchar_t* destination) {
  CAPTURE(ToUtf8(destination));
  World world;
  MakeOutside(world);
  const FolderLink link(L"C:\\ProgramData\\Orvane Labs", kOutside);
  const Outcome outcome = Remove(world, destination);
  CHECK(outcome.pending.empty());
  CHECK(LinesWith(outcome.log, "\\VELA dwRtnValue:0").size() == 1);
}

TEST_CASE("a destination that lies there is refused too") {
  CheckDestinationRefused(L"C:\\ProgramData\\Orvane Labs");
  CheckDestinationRefused(L"C:\\ProgramData\\Orvane Labs\\");
}

TEST_CASE("however its name is written") {
  CheckDestinationRefused(L"c:\\PROGRAMDATA\\orvane labs");
  CheckDestinationRefused(L"C:/ProgramData/Orvane Labs");
  CheckDestinationRefused(L"C:\\ProgramData\\.\\Orvane Labs");
}

TEST_CASE("a destination that is reached by the administrator's own link is emptied") {
  World world;
  world.WithFile(L"C:\\VelaTest\\otherdrive\\Orvane Labs\\VELA\\VELA_OL\\plugin.dll");
  const FolderLink link(World::kDestination, L"C:\\VelaTest\\otherdrive");

  const Outcome outcome = world.Run(L"-U", World::kSource, kInstalledFolder);

  CHECK(outcome.exitCode == 0);
  CHECK_FALSE(Exists(L"C:\\VelaTest\\otherdrive\\Orvane Labs\\VELA"));
  CHECK(Exists(L"C:\\VelaTest\\otherdrive\\Orvane Labs"));
}

// ---- the users' profiles

// A profile of the test's own, beside those that are there.
struct Profile {
  Profile() { Clear(); }
  Profile(const Profile&) = delete;
  Profile& operator=(const Profile&) = delete;
  ~Profile() { Clear(); }
  static void Clear() { TestSupport::RemoveTree(kFolder); }
  static constexpr wchar_t kFolder[] = L"C:\\users\\Vela Anna";
};

constexpr wchar_t kCacheFile[] = L"\\Extend.dat";

TEST_CASE("a link in the place of a profile or of any folder on the way to Outlook's cache is not followed") {
  const std::wstring folders[] = {L"", L"\\Application Data", L"\\Application Data\\Microsoft",
                                  L"\\Application Data\\Microsoft\\Outlook"};
  for (const std::wstring& place : folders) {
    CAPTURE(ToUtf8(place));
    World world;
    const Profile profile;
    MakeOutside(world);
    // What lies behind the link under the rest of the way.
    world.WithFile(kOutside + folders[3].substr(place.size()) + kCacheFile, "precious");
    if (!place.empty()) {
      TestSupport::MakeFolder(Profile::kFolder + place.substr(0, place.rfind(L'\\')));
    }
    const FolderLink link(Profile::kFolder + place, kOutside);
    REQUIRE(Exists(Profile::kFolder + folders[3] + kCacheFile));

    const Outcome outcome = Remove(world);

    CHECK(LinesWith(outcome.log, "Begin to delete the file: " + ToUtf8(Profile::kFolder + folders[3])).size() == 1);
  }
}

TEST_CASE("the system's own junction in a profile is followed") {
  World world;
  const Profile profile;
  const std::wstring roaming = Profile::kFolder + std::wstring(L"\\AppData\\Roaming");
  const std::wstring cache = roaming + L"\\Microsoft\\Outlook" + kCacheFile;
  TestSupport::WriteTestFile(cache, "cache");
  const FolderLink junction(Profile::kFolder + std::wstring(L"\\Application Data"), roaming);
  CHECK(world.Run(L"-U", World::kSource, kInstalledFolder).exitCode == 0);
  CHECK_FALSE(Exists(cache));
}

}  // namespace
