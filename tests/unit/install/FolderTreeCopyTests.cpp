// A folder tree is copied into an existing folder. Failures: FolderTreeFailureTests.cpp.
#include <doctest/doctest.h>

#include "tests/support/CallWatch.h"
#include "tests/unit/install/CopiedTree.h"
#include "tests/unit/install/FileCallTrace.h"

using namespace TestSupport;

namespace {

TEST_CASE("a tree is copied completely, each folder before its next sibling") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt", "1");
  tree.MakeSource(L"b\\c\\d.txt", "22");
  tree.MakeSource(L"b\\e.txt", "333");
  tree.MakeSource(L"f.txt", "");
  tree.folder.MakeFolder(L"src\\g");
  Lines searched;
  {
    const OnCall find("FindFirstFileW", &::FindFirstFileW, [&](LPCWSTR pattern, LPWIN32_FIND_DATAW) {
      searched.push_back(ToUtf8(pattern + tree.from.size()));
    });
    CHECK_LINES(tree.Copy(),
                {"result 0, restart 0", Copied("a.txt"), Copied("b\\c\\d.txt"), Copied("b\\e.txt"), Copied("f.txt")});
  }
  CHECK_LINES(searched, {"\\*.*", "\\b\\*.*", "\\b\\c\\*.*", "\\g\\*.*"});
  CHECK_LINES(tree.Copied(),
              {"a.txt 1 bytes", "b\\", "b\\c\\", "b\\c\\d.txt 2 bytes", "b\\e.txt 3 bytes", "f.txt 0 bytes", "g\\"});
  CHECK_LINES(tree.pending.Lines(), {});
}

TEST_CASE("names that only look like the dot entries are copied") {
  const CopiedTree tree;
  tree.MakeSource(L".hidden");
  tree.MakeSource(L"..rules\\y.txt");
  CHECK_LINES(tree.Copy(), {"result 0, restart 0", Copied("..rules\\y.txt"), Copied(".hidden")});
}

TEST_CASE("a file in use is replaced at the restart, and the others are copied") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  tree.MakeSource(L"b.txt");
  tree.MakeSource(L"c.txt");
  tree.MakeDestination(L"b.txt");
  {
    const HeldFile held(tree.to + L"\\b.txt");
    CHECK_LINES(tree.Copy(), {"result 0, restart 1", Copied("a.txt"), NotCopied(32, "b.txt"), LeftToRestart("b.txt"),
                              Copied("c.txt")});
    CHECK_LINES(tree.pending.Lines(),
                {"\\??\\C:\\VelaTest\\Tree\\dst\\b.txt.tmp_ -> !\\??\\C:\\VelaTest\\Tree\\dst\\b.txt"});
    CHECK(VELAUtility::CopyFolderTree(tree.from, tree.to, nullptr, kCopyNow) == 0);
  }
  CHECK(FileContent(tree.to + L"\\b.txt") == "old");
  CHECK(FileContent(tree.to + L"\\b.txt.tmp_") == "new");
}

TEST_CASE("a restart that a folder or a subfolder needs is reported to the caller") {
  for (const wchar_t* const name : {L"a.txt", L"b\\c\\d.txt"}) {
    const CopiedTree tree;
    tree.MakeSource(L"a.txt");
    tree.MakeSource(L"b\\c\\d.txt");
    tree.MakeDestination(name);
    const HeldFile held(tree.to + L"\\" + name);
    CHECK(tree.Copy().front() == "result 0, restart 1");
  }
}

TEST_CASE("with moveAtRestart set, every file is scheduled for the restart at once") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  tree.MakeSource(L"b\\c.txt");
  tree.MakeDestination(L"a.txt");
  Lines calls;
  {
    const FileCallTrace trace;
    CHECK_LINES(tree.Copy(-5), {"result 0, restart 1", LeftToRestart("a.txt"), LeftToRestart("b\\c.txt")});
    calls = trace.Calls();
  }
  CHECK_LINES(LinesWith(calls, "MoveFileExW"), {"MoveFileExW a.txt.tmp_ a.txt 5", "MoveFileExW c.txt.tmp_ c.txt 5"});
  CHECK(LinesWith(calls, "a.txt.tmp_ ").back() == "MoveFileExW a.txt.tmp_ a.txt 5");  // after the copy
  CHECK_LINES(tree.Copied(), {"a.txt 3 bytes", "a.txt.tmp_ 3 bytes", "b\\", "b\\c.txt.tmp_ 3 bytes"});
  CHECK(FileContent(tree.to + L"\\a.txt") == "old");
}

}  // namespace
