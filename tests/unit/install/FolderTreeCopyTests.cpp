// A folder tree, copied into a folder that exists. What goes wrong: FolderTreeFailureTests.cpp.
#include <doctest/doctest.h>

#include <vector>

#include "install/FileCopy.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/CopiedTree.h"
#include "tests/unit/install/FileCallTrace.h"

using namespace TestSupport;
using VELAUtility::CopyFolderTree;

namespace {

TEST_CASE("a tree is copied whole, each folder before its next sibling") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt", "1");
  tree.MakeSource(L"b\\c\\d.txt", "22");
  tree.MakeSource(L"b\\e.txt", "333");
  tree.MakeSource(L"f.txt", "");
  tree.folder.MakeFolder(L"src\\g");
  const LogCapture log;
  int rebootNeeded = 7;
  CHECK(CopyFolderTree(tree.from, tree.to, &rebootNeeded, kCopyNow) == 0);
  CHECK(rebootNeeded == 0);
  CHECK_LINES(tree.Copied(),
              {"a.txt 1 bytes", "b\\", "b\\c\\", "b\\c\\d.txt 2 bytes", "b\\e.txt 3 bytes", "f.txt 0 bytes", "g\\"});
  CHECK_LINES(log.Lines(), {Copied("a.txt"), Copied("b\\c\\d.txt"), Copied("b\\e.txt"), Copied("f.txt")});
  CHECK_LINES(tree.pending.Lines(), {});
}

TEST_CASE("the source is searched with its pattern, and the search is closed") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  tree.MakeSource(L"b\\c.txt");
  std::vector<std::wstring> patterns;
  unsigned closes = 0;
  {
    ImportRedirection find("FindFirstFileW", [&](LPCWSTR pattern, LPWIN32_FIND_DATAW entry) -> HANDLE {
      patterns.emplace_back(pattern);
      return find.Original<decltype(&::FindFirstFileW)>()(pattern, entry);
    });
    const CountCalls close("FindClose");
    CopyFolderTree(tree.from, tree.to, nullptr, kCopyNow);
    closes = close.Calls();
  }
  REQUIRE(patterns.size() == 2);
  CHECK(patterns[0] == tree.from + L"\\*.*");
  CHECK(patterns[1] == tree.from + L"\\b\\*.*");
  CHECK(closes == 2);
}

TEST_CASE("a file in use is replaced at the restart, and the others are copied") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  tree.MakeSource(L"b.txt");
  tree.MakeSource(L"c.txt");
  tree.MakeDestination(L"b.txt");
  const LogCapture log;
  int rebootNeeded = 0;
  {
    const HeldFile held(tree.to + L"\\b.txt");
    CHECK(CopyFolderTree(tree.from, tree.to, &rebootNeeded, kCopyNow) == 0);
  }
  CHECK(rebootNeeded == 1);
  CHECK_LINES(log.Lines(), {Copied("a.txt"), NotCopied(32, "b.txt"), LeftToRestart("b.txt"), Copied("c.txt")});
  CHECK(FileContent(tree.to + L"\\b.txt") == "old");
  CHECK(FileContent(tree.to + L"\\b.txt.tmp_") == "new");
  CHECK_LINES(tree.pending.Lines(),
              {"\\??\\C:\\VelaTest\\Tree\\dst\\b.txt.tmp_ -> !\\??\\C:\\VelaTest\\Tree\\dst\\b.txt"});

  SUBCASE("without a flag to set") {
    const HeldFile held(tree.to + L"\\b.txt");
    CHECK(CopyFolderTree(tree.from, tree.to, nullptr, kCopyNow) == 0);
  }
}

TEST_CASE("a subfolder does not take the flag back") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  tree.MakeSource(L"b\\c.txt");
  tree.MakeDestination(L"a.txt");
  int rebootNeeded = 0;
  {
    const HeldFile held(tree.to + L"\\a.txt");
    CHECK(CopyFolderTree(tree.from, tree.to, &rebootNeeded, kCopyNow) == 0);
  }
  CHECK(rebootNeeded == 1);
  CHECK(FileContent(tree.to + L"\\b\\c.txt") == "new");
}

TEST_CASE("a subfolder sets the flag of the whole") {
  const CopiedTree tree;
  tree.MakeSource(L"b\\c\\d.txt");
  tree.MakeDestination(L"b\\c\\d.txt");
  int rebootNeeded = 0;
  {
    const HeldFile held(tree.to + L"\\b\\c\\d.txt");
    CHECK(CopyFolderTree(tree.from, tree.to, &rebootNeeded, kCopyNow) == 0);
  }
  CHECK(rebootNeeded == 1);
}

TEST_CASE("with the switch every file is left to the restart at once") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  tree.MakeSource(L"b\\c.txt");
  tree.MakeDestination(L"a.txt");
  const LogCapture log;
  int rebootNeeded = 0;
  Lines calls;
  {
    const FileCallTrace trace;
    CHECK(CopyFolderTree(tree.from, tree.to, &rebootNeeded, -5) == 0);
    calls = trace.Calls();
  }
  CHECK(rebootNeeded == 1);
  CHECK_LINES(log.Lines(), {LeftToRestart("a.txt"), LeftToRestart("b\\c.txt")});
  CHECK_LINES(LinesWith(calls, "MoveFileExW"), {"MoveFileExW a.txt.tmp_ a.txt 5", "MoveFileExW c.txt.tmp_ c.txt 5"});
  CHECK(LinesWith(calls, "a.txt.tmp_ ").back() == "MoveFileExW a.txt.tmp_ a.txt 5");  // after the copy
  CHECK(FileContent(tree.to + L"\\a.txt") == "old");
  CHECK_FALSE(Exists(tree.to + L"\\b\\c.txt"));
  CHECK(FileContent(tree.to + L"\\b\\c.txt.tmp_") == "new");
}

TEST_CASE("names that only look like the dot entries are copied") {
  const CopiedTree tree;
  tree.MakeSource(L".hidden", "x");
  tree.MakeSource(L"..rules\\y.txt", "y");
  CHECK(CopyFolderTree(tree.from, tree.to, nullptr, kCopyNow) == 0);
  CHECK(FileContent(tree.to + L"\\.hidden") == "x");
  CHECK(FileContent(tree.to + L"\\..rules\\y.txt") == "y");
}

}  // namespace
