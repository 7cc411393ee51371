#include "install/FolderListing.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/ScratchFolder.h"

using namespace TestSupport;
using VELAUtility::ListSubfolders;

namespace {

using Names = std::vector<std::wstring>;

TEST_CASE("subfolders are appended by name, files and dot entries are not, and the search is closed") {
  const ScratchFolder folder(L"Listing");
  folder.MakeFolder(L"b\\below");
  folder.MakeFolder(L"a");
  folder.MakeFile(L"c.txt", "x");
  folder.MakeFolder(L"d.e");
  Names names = {L"first"};
  Names patterns;
  {
    const OnCall find("FindFirstFileW", &::FindFirstFileW,
                      [&](LPCWSTR pattern, LPWIN32_FIND_DATAW) { patterns.emplace_back(pattern); });
    const CountCalls close("FindClose");
    ListSubfolders(folder.Path(), names);
    CHECK(close.Calls() == 1);
  }
  CHECK(names == Names{L"first", L"a", L"b", L"d.e"});
  CHECK(patterns == Names{folder.Path(L"*")});
}

TEST_CASE("a folder that is missing, empty or cannot be listed appends no names") {
  const ScratchFolder folder(L"Listing");
  Names names;
  ListSubfolders(folder.Path(), names);
  ListSubfolders(folder.Path(L"no"), names);
  folder.MakeFolder(L"a");
  const FailCall find("FindFirstFileW", 1, ERROR_ACCESS_DENIED);
  ListSubfolders(folder.Path(), names);
  CHECK(names.empty());
}

}  // namespace
