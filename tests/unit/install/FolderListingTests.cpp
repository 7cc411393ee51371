#include "install/FolderListing.h"

#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"
#include "tests/support/ScratchFolder.h"

using namespace TestSupport;
using VELAUtility::ListSubfolders;

namespace {

using Names = std::vector<std::wstring>;

TEST_CASE("subfolders are appended by name, files and dot entries are not") {
  const ScratchFolder folder(L"Listing");
  folder.MakeFolder(L"b\\below");
  folder.MakeFolder(L"a");
  folder.MakeFile(L"c.txt", "x");
  folder.MakeFolder(L"d.e");
  const LogCapture log;
  Names names = {L"first"};
  ListSubfolders(folder.Path(), names);
  CHECK(names == Names{L"first", L"a", L"b", L"d.e"});
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a folder that is missing, empty or refuses to be listed appends none") {
  const ScratchFolder folder(L"Listing");
  Names names;
  ListSubfolders(folder.Path(), names);
  ListSubfolders(folder.Path(L"no"), names);
  folder.MakeFolder(L"a");
  {
    const FailCall find("FindFirstFileW", 1, ERROR_ACCESS_DENIED);
    ListSubfolders(folder.Path(), names);
  }
  CHECK(names.empty());
}

TEST_CASE("the folder is searched with its own pattern, and the search is closed") {
  const ScratchFolder folder(L"Listing");
  folder.MakeFolder(L"a");
  Names patterns;
  Names names;
  unsigned closes = 0;
  {
    ImportRedirection find("FindFirstFileW", [&](LPCWSTR pattern, LPWIN32_FIND_DATAW entry) -> HANDLE {
      patterns.emplace_back(pattern);
      return find.Original<decltype(&::FindFirstFileW)>()(pattern, entry);
    });
    const CountCalls close("FindClose");
    ListSubfolders(folder.Path(), names);
    closes = close.Calls();
  }
  CHECK(patterns == Names{folder.Path(L"*")});
  CHECK(closes == 1);
}

}  // namespace
