// A folder tree with entries that cannot be copied.
#include <doctest/doctest.h>

#include "tests/support/CallWatch.h"
#include "tests/unit/install/CopiedTree.h"

using namespace TestSupport;

namespace {

TEST_CASE("an empty path is refused and counts as success") {
  for (std::wstring CopiedTree::*const path : {&CopiedTree::from, &CopiedTree::to}) {
    CopiedTree tree;
    tree.MakeSource(L"a.txt");
    (tree.*path).clear();
    CHECK_LINES(tree.Copy(), {"result 0, restart 0", "LOG_ERROR: Empty source/destination path"});
  }
}

TEST_CASE("a destination that does not exist gives the error of the system") {
  struct Row {
    const wchar_t* below;
    DWORD error;
  };
  for (const Row& row :
       {Row{L"\\no", ERROR_FILE_NOT_FOUND}, Row{L"\\no\\such", ERROR_PATH_NOT_FOUND}, Row{L"", ERROR_BAD_NETPATH}}) {
    CopiedTree tree;
    tree.MakeSource(L"a.txt");
    tree.to += row.below;
    const FailCall exists("PathFileExistsW", *row.below == L'\0' ? Calls::Only(1) : Calls::None(), row.error);
    CHECK_LINES(tree.Copy(), {"result " + std::to_string(row.error) + ", restart 0",
                              "LOG_ERROR: Path not exists: C:\\VelaTest\\Tree\\dst" + ToUtf8(row.below)});
  }
}

TEST_CASE("a file that can be neither copied nor scheduled ends the copy of its own folder only") {
  const CopiedTree tree;
  tree.MakeSource(L"a\\1.txt");
  tree.MakeSource(L"a\\2.txt");
  tree.MakeSource(L"a\\3.txt");
  tree.MakeSource(L"b.txt");
  tree.MakeDestination(L"a\\2.txt");
  const HeldFile held(tree.to + L"\\a\\2.txt");
  const FailCall move("MoveFileExW", Calls::From(1), ERROR_ACCESS_DENIED);
  CHECK_LINES(tree.Copy(), {"result 0, restart 0", Copied("a\\1.txt"), NotCopied(32, "a\\2.txt"),
                            NotScheduled(5, "a\\2.txt"), Copied("b.txt")});
}

TEST_CASE("with moveAtRestart set, a file that cannot be scheduled ends the copy of its folder, too") {
  const CopiedTree tree;
  tree.MakeSource(L"a\\1.txt");
  tree.MakeSource(L"a\\2.txt");
  tree.MakeSource(L"b.txt");
  const FailCall move("MoveFileExW", 1, ERROR_ACCESS_DENIED);
  CHECK_LINES(tree.Copy(1), {"result 0, restart 1", NotScheduled(5, "a\\1.txt"), LeftToRestart("b.txt")});
}

TEST_CASE("the logged error is that of the failed copy, not of a later call") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  const FailCall write("WriteFile", Calls::From(1), ERROR_DISK_FULL);
  const AfterCall close("CloseHandle", &::CloseHandle, [] { ::SetLastError(ERROR_INVALID_HANDLE); });
  CHECK_LINES(tree.Copy(), {"result 0, restart 0", NotCopied(112, "a.txt"),
                            "LOG_ERROR: CoreAgentUtility::File::copyFileEx(C:\\VelaTest\\Tree\\src\\a.txt,"
                            "C:\\VelaTest\\Tree\\dst\\a.txt.tmp_) failed, err=112"});
}

TEST_CASE("a subfolder that cannot be created ends the copy at every level with its error") {
  const CopiedTree tree;
  tree.MakeSource(L"a.txt");
  tree.MakeSource(L"b\\c\\d.txt");
  tree.MakeSource(L"b\\e.txt");
  tree.MakeSource(L"f.txt");
  const FailCall make("SHCreateDirectoryExW", 2, ERROR_FILE_EXISTS);
  CHECK_LINES(tree.Copy(),
              {"result 80, restart 0", Copied("a.txt"),
               "LOG_ERROR: ::SHCreateDirectoryEx('C:\\VelaTest\\Tree\\dst\\b\\c') failed: 80",
               "LOG_ERROR: CopyFileRecursive('C:\\VelaTest\\Tree\\src\\b', 'C:\\VelaTest\\Tree\\dst\\b') failed [80]"});
}

TEST_CASE("a subfolder that vanishes after it was created gives the error of a missing destination") {
  const CopiedTree tree;
  tree.MakeSource(L"a\\b.txt");
  const ImportRedirection make("SHCreateDirectoryExW",
                               [](HWND, LPCWSTR, const SECURITY_ATTRIBUTES*) -> int { return ERROR_SUCCESS; });
  CHECK_LINES(tree.Copy(),
              {"result 2, restart 0", "LOG_ERROR: Path not exists: C:\\VelaTest\\Tree\\dst\\a",
               "LOG_ERROR: CopyFileRecursive('C:\\VelaTest\\Tree\\src\\a', 'C:\\VelaTest\\Tree\\dst\\a') failed [2]"});
}

}  // namespace
