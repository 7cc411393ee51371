// Removing one folder of the product.
#include "uninstall/FolderRemoval.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/support/FolderLink.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/uninstall/Removal.h"

using namespace TestSupport;
using OrCommonTests::FolderLink;
using VELAUtility::DeleteFolderFiles;

namespace {

constexpr wchar_t kProgramData[] = L"C:\\ProgramData\\Orvane Labs";

TEST_CASE("a folder is deleted with everything in it, with or without a backslash at its end") {
  for (const wchar_t* const folder : {L"VELA", L"VELA\\"}) {
    const PendingMoves pending;
    const ScratchFolder scratch(L"Removal");
    scratch.MakeFile(L"VELA\\a.txt", "a");
    scratch.MakeFile(L"VELA\\sub\\b.txt", "b");
    const Removal removal = Remove(scratch.Path(folder));
    CHECK(removal.succeeded);
    CHECK(removal.restartNeeded == 0);
    CHECK(removal.error == 0);
    CHECK_LINES(removal.log, (FolderEmptied()));
    CHECK_FALSE(Exists(scratch.Path(L"VELA")));
    CHECK(Exists(scratch.Path()));
    CHECK_LINES(pending.Lines(), {});
  }
}

TEST_CASE("an empty path: a bad argument, nothing removed, nothing scheduled") {
  unsigned moves = 0;
  Removal removal = {};
  {
    const CountCalls move("MoveFileExW");
    removal = Remove(L"");
    moves = move.Calls();
  }
  CHECK_FALSE(removal.succeeded);
  CHECK(removal.error == ERROR_BAD_ARGUMENTS);
  CHECK_LINES(removal.log, (FolderNotEmptied(160)));
  CHECK(moves == 0);
}

TEST_CASE("a folder that is not there: the code of the listing, and it is scheduled all the same") {
  const PendingMoves pending;
  const ScratchFolder scratch(L"Removal");
  const Removal removal = Remove(scratch.Path(L"nothing"));
  CHECK_FALSE(removal.succeeded);
  CHECK(removal.restartNeeded == 0);
  CHECK(removal.error == ERROR_PATH_NOT_FOUND);
  CHECK_LINES(removal.log, (FolderNotEmptied(3)));
  CHECK_LINES(pending.Lines(), {"\\??\\C:\\VelaTest\\Removal\\nothing -> "});
}

TEST_CASE("only the folder itself is in use: a success that tells of no restart, and is scheduled") {
  const PendingMoves pending;
  const ScratchFolder scratch(L"Removal");
  scratch.MakeFile(L"VELA\\a.txt", "a");
  const Removal removal = [&] {
    const FailCall remove("RemoveDirectoryW", Calls::From(1), ERROR_SHARING_VIOLATION);
    return Remove(scratch.Path(L"VELA"));
  }();
  CHECK(removal.succeeded);
  CHECK(removal.restartNeeded == 0);
  CHECK_LINES(removal.log, (FolderEmptied()));
  CHECK_LINES(pending.Lines(), {"\\??\\C:\\VelaTest\\Removal\\VELA -> "});
}

TEST_CASE("the folder is scheduled without a target, at the restart") {
  const ScratchFolder scratch(L"Removal");
  std::wstring from;
  bool hasTarget = true;
  DWORD flags = 0;
  {
    const ImportRedirection move("MoveFileExW", [&](LPCWSTR file, LPCWSTR target, DWORD how) -> BOOL {
      from = file;
      hasTarget = target != nullptr;
      flags = how;
      return TRUE;
    });
    Remove(scratch.Path(L"nothing"));
  }
  CHECK(from == scratch.Path(L"nothing"));
  CHECK_FALSE(hasTarget);
  CHECK(flags == MOVEFILE_DELAY_UNTIL_REBOOT);
}

TEST_CASE("the error code may be left out, and a flag that is set stays set") {
  const ScratchFolder scratch(L"Removal");
  scratch.MakeFolder(L"VELA");
  const LogCapture log;
  int restartNeeded = 1;
  CHECK(DeleteFolderFiles(scratch.Path(L"VELA"), restartNeeded, nullptr));
  CHECK(restartNeeded == 1);
  CHECK_LINES(log.Lines(), (FolderEmptied()));
}

// ---- links

// Links that lead out of the product to something of somebody else's.
class Outside {
 public:
  Outside() {
    RemoveTree(kProgramData);
    scratch_.MakeFile(L"outside\\OL\\precious.txt", "precious");
    scratch_.MakeFile(L"outside\\VELA\\precious.txt", "precious");
    scratch_.MakeFile(L"outside\\precious.txt", "precious");
  }
  Outside(const Outside&) = delete;
  Outside& operator=(const Outside&) = delete;
  ~Outside() { RemoveTree(kProgramData); }

  std::wstring Folder() const { return scratch_.Path(L"outside"); }
  const ScratchFolder& Scratch() const { return scratch_; }
  void CheckUntouched() const {
    for (const wchar_t* const file : {L"precious.txt", L"OL\\precious.txt", L"VELA\\precious.txt"}) {
      CHECK(Exists(Folder() + L"\\" + file));
    }
  }

 private:
  ScratchFolder scratch_{L"Removal"};
};

TEST_CASE("a folder behind a link in the place of the product's data folder is refused") {
  const PendingMoves pending;
  const Outside outside;
  const FolderLink link(kProgramData, outside.Folder());
  for (const wchar_t* const below : {L"\\OL", L"\\VELA", L"\\OL\\"}) {
    CAPTURE(ToUtf8(below));
    unsigned removals = 0;
    unsigned deletions = 0;
    Removal removal = {};
    {
      const CountCalls remove("RemoveDirectoryW");
      const CountCalls erase("DeleteFileW");
      removal = Remove(kProgramData + std::wstring(below));
      removals = remove.Calls();
      deletions = erase.Calls();
    }
    CHECK_FALSE(removal.succeeded);
    CHECK(removal.restartNeeded == 0);
    CHECK(removal.error == ERROR_ACCESS_DENIED);
    CHECK_LINES(removal.log, (FolderNotEmptied(5)));
    CHECK(removals == 0);
    CHECK(deletions == 0);
    outside.CheckUntouched();
  }
  CHECK_LINES(pending.Lines(), {});  // scheduled, it would be deleted at the restart
}

TEST_CASE("a link whose kind cannot be told counts as one") {
  const PendingMoves pending;
  const Outside outside;
  MakeFolder(kProgramData);
  WriteTestFile(kProgramData + std::wstring(L"\\OL\\own.txt"), "own");
  const Removal removal = [] {
    const FailCall attributes("GetFileAttributesW", 1, ERROR_ACCESS_DENIED);
    return Remove(kProgramData + std::wstring(L"\\OL"));
  }();
  CHECK_FALSE(removal.succeeded);
  CHECK(removal.error == ERROR_ACCESS_DENIED);
  CHECK(Exists(kProgramData + std::wstring(L"\\OL\\own.txt")));
  CHECK_LINES(pending.Lines(), {});
}

TEST_CASE("a folder with too long a path for plain calls goes by its long one") {
  const ScratchFolder scratch(L"Removal");
  std::wstring folder = scratch.Path();
  while (folder.size() < 300) {
    folder += L"\\" + std::wstring(60, L'd');
  }
  MakeFolder(folder);
  std::wstring removed;
  {
    const ImportRedirection remove{"RemoveDirectoryW", [&](LPCWSTR path) -> BOOL {
                                     removed = path;
                                     return remove.Original<decltype(&::RemoveDirectoryW)>()(path);
                                   }};
    CHECK(Remove(folder).succeeded);
  }
  CHECK(removed == L"\\\\?\\" + folder);
  CHECK_FALSE(Exists(folder));
}

}  // namespace
