// A folder tree of which something cannot be copied.
#include <doctest/doctest.h>

#include "install/FileCopy.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/CopiedTree.h"

using namespace TestSupport;
using VELAUtility::CopyFolderTree;

namespace {

TEST_CASE("an empty path is refused and counts as success") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  const LogCapture log;
  int rebootNeeded = 7;
  SUBCASE("source") {
    CHECK(CopyFolderTree(L"", tree.to, &rebootNeeded, kCopyNow) == 0);
  }
  SUBCASE("destination") {
    CHECK(CopyFolderTree(tree.from, L"", &rebootNeeded, kCopyNow) == 0);
  }
  CHECK(rebootNeeded == 0);
  CHECK_LINES(log.Lines(), {"LOG_ERROR: Empty source/destination path"});
  CHECK_LINES(tree.Copied(), {});
}

TEST_CASE("a destination that does not exist gives the error of the system") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  const LogCapture log;
  int rebootNeeded = 7;
  SUBCASE("the folder") {
    CHECK(CopyFolderTree(tree.from, tree.to + L"\\no", &rebootNeeded, kCopyNow) == ERROR_FILE_NOT_FOUND);
    CHECK_LINES(log.Lines(), {"LOG_ERROR: Path not exists: C:\\VelaTest\\Tree\\dst\\no"});
  }
  SUBCASE("its parent") {
    CHECK(CopyFolderTree(tree.from, tree.to + L"\\no\\such", &rebootNeeded, kCopyNow) == ERROR_PATH_NOT_FOUND);
    CHECK_LINES(log.Lines(), {"LOG_ERROR: Path not exists: C:\\VelaTest\\Tree\\dst\\no\\such"});
  }
  SUBCASE("as the system says it") {
    const FailCall exists("PathFileExistsW", 1, ERROR_BAD_NETPATH);
    CHECK(CopyFolderTree(tree.from, tree.to, &rebootNeeded, kCopyNow) == ERROR_BAD_NETPATH);
    CHECK_LINES(log.Lines(), {"LOG_ERROR: Path not exists: C:\\VelaTest\\Tree\\dst"});
  }
  CHECK(rebootNeeded == 0);
  CHECK_LINES(tree.Copied(), {});
}

TEST_CASE("a file that can be neither copied nor scheduled ends its folder and nothing more") {
  const CopiedTree tree;
  tree.MakeSource(L"a\\1.txt");
  tree.MakeSource(L"a\\2.txt");
  tree.MakeSource(L"a\\3.txt");
  tree.MakeSource(L"b.txt");
  tree.MakeDestination(L"a\\2.txt");
  const LogCapture log;
  int rebootNeeded = 0;
  unsigned searches = 0;
  unsigned closes = 0;
  {
    const HeldFile held(tree.to + L"\\a\\2.txt");
    const FailCall move("MoveFileExW", Calls::From(1), ERROR_ACCESS_DENIED);
    const CountCalls find("FindFirstFileW");
    const CountCalls close("FindClose");
    CHECK(CopyFolderTree(tree.from, tree.to, &rebootNeeded, kCopyNow) == 0);
    searches = find.Calls();
    closes = close.Calls();
  }
  CHECK(rebootNeeded == 0);
  CHECK_LINES(log.Lines(),
              {Copied("a\\1.txt"), NotCopied(32, "a\\2.txt"), NotScheduled(5, "a\\2.txt"), Copied("b.txt")});
  CHECK_FALSE(Exists(tree.to + L"\\a\\3.txt"));
  CHECK(searches == 2);
  CHECK(closes == 2);
}

TEST_CASE("with the switch a failed replacement ends its folder too") {
  const CopiedTree tree;
  tree.MakeSource(L"a\\1.txt");
  tree.MakeSource(L"a\\2.txt");
  tree.MakeSource(L"b.txt");
  const LogCapture log;
  int rebootNeeded = 0;
  {
    const FailCall move("MoveFileExW", 1, ERROR_ACCESS_DENIED);
    CHECK(CopyFolderTree(tree.from, tree.to, &rebootNeeded, 1) == 0);
  }
  CHECK(rebootNeeded == 1);
  CHECK_LINES(log.Lines(), {NotScheduled(5, "a\\1.txt"), LeftToRestart("b.txt")});
}

TEST_CASE("the error that is told is the failed copy's own") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  const LogCapture log;
  {
    const FailCall write("WriteFile", Calls::From(1), ERROR_DISK_FULL);
    ImportRedirection close("CloseHandle", [&](HANDLE handle) -> BOOL {
      const BOOL closed = close.Original<decltype(&::CloseHandle)>()(handle);
      ::SetLastError(ERROR_INVALID_HANDLE);
      return closed;
    });
    CHECK(CopyFolderTree(tree.from, tree.to, nullptr, kCopyNow) == 0);
  }
  CHECK_LINES(log.Lines(), {NotCopied(112, "a.txt"),
                            "LOG_ERROR: CoreAgentUtility::File::copyFileEx(C:\\VelaTest\\Tree\\src\\a.txt,"
                            "C:\\VelaTest\\Tree\\dst\\a.txt.tmp_) failed, err=112"});
}

TEST_CASE("a subfolder that cannot be made ends the copy at every level with its error") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  tree.MakeSource(L"b\\c\\d.txt");
  tree.MakeSource(L"b\\e.txt");
  tree.MakeSource(L"f.txt");
  const LogCapture log;
  int rebootNeeded = 0;
  unsigned searches = 0;
  unsigned closes = 0;
  {
    const FailCall make("SHCreateDirectoryExW", 2, ERROR_FILE_EXISTS);
    const CountCalls find("FindFirstFileW");
    const CountCalls close("FindClose");
    CHECK(CopyFolderTree(tree.from, tree.to, &rebootNeeded, kCopyNow) == ERROR_FILE_EXISTS);
    searches = find.Calls();
    closes = close.Calls();
  }
  CHECK_LINES(log.Lines(),
              {Copied("a.txt"), "LOG_ERROR: ::SHCreateDirectoryEx('C:\\VelaTest\\Tree\\dst\\b\\c') failed: 80",
               "LOG_ERROR: CopyFileRecursive('C:\\VelaTest\\Tree\\src\\b', 'C:\\VelaTest\\Tree\\dst\\b') failed [80]"});
  CHECK_LINES(tree.Copied(), {"a.txt 3 bytes", "b\\"});
  CHECK(searches == 2);
  CHECK(closes == 2);
}

TEST_CASE("a subfolder that vanishes after it was made gives the error of a missing destination") {
  const CopiedTree tree;
  tree.MakeSource(L"a\\b.txt");
  const LogCapture log;
  {
    const ImportRedirection make("SHCreateDirectoryExW",
                                 [](HWND, LPCWSTR, const SECURITY_ATTRIBUTES*) -> int { return ERROR_SUCCESS; });
    CHECK(CopyFolderTree(tree.from, tree.to, nullptr, kCopyNow) == ERROR_FILE_NOT_FOUND);
  }
  CHECK_LINES(log.Lines(),
              {"LOG_ERROR: Path not exists: C:\\VelaTest\\Tree\\dst\\a",
               "LOG_ERROR: CopyFileRecursive('C:\\VelaTest\\Tree\\src\\a', 'C:\\VelaTest\\Tree\\dst\\a') failed [2]"});
}

}  // namespace
