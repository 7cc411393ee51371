// Removing one folder of the product.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/TestFiles.h"
#include "tests/support/FolderLink.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/uninstall/Removal.h"

using namespace TestSupport;
using TestSupport::FolderLink;

namespace {

TEST_CASE("a folder is deleted with everything in it, with or without a backslash at its end") {
  for (const wchar_t* const folder : {L"VELA", L"VELA\\"}) {
    const PendingMoves pending;
    const ScratchFolder scratch(L"Removal");
    scratch.MakeFile(L"VELA\\a.txt", "a");
    scratch.MakeFile(L"VELA\\sub\\b.txt", "b");
    CHECK_LINES(Remove(scratch.Path(folder)), (Removed()));
    CHECK_FALSE(Exists(scratch.Path(L"VELA")));
    CHECK(Exists(scratch.Path()));
    CHECK_LINES(pending.Lines(), {});
  }
}

TEST_CASE("an empty path: a bad argument, nothing removed, nothing scheduled") {
  const CountCalls move("MoveFileExW");
  CHECK_LINES(Remove(L""), (NotRemoved(ERROR_BAD_ARGUMENTS)));
  CHECK(move.Calls() == 0);
}

TEST_CASE("a missing folder gives the error of the listing, and is scheduled for the restart anyway") {
  const PendingMoves pending;
  const ScratchFolder scratch(L"Removal");
  const OnCall move("MoveFileExW", &::MoveFileExW, [](LPCWSTR, LPCWSTR target, DWORD flags) {
    CHECK((target == nullptr && flags == MOVEFILE_DELAY_UNTIL_REBOOT));
  });
  CHECK_LINES(Remove(scratch.Path(L"nothing")), (NotRemoved(ERROR_PATH_NOT_FOUND)));
  CHECK_LINES(pending.Lines(), {"\\??\\C:\\VelaTest\\Removal\\nothing -> "});
}

TEST_CASE("if only the folder itself is in use, it is scheduled, but no restart is reported") {
  const PendingMoves pending;
  const ScratchFolder scratch(L"Removal");
  scratch.MakeFile(L"VELA\\a.txt", "a");
  {
    const FailCall remove("RemoveDirectoryW", Calls::From(1), ERROR_SHARING_VIOLATION);
    CHECK_LINES(Remove(scratch.Path(L"VELA")), (Removed()));
  }
  CHECK_LINES(pending.Lines(), {"\\??\\C:\\VelaTest\\Removal\\VELA -> "});
}

TEST_CASE("the error code may be omitted, and a restart flag that is already set stays set") {
  const ScratchFolder scratch(L"Removal");
  scratch.MakeFolder(L"VELA");
  int restartNeeded = 1;
  CHECK(VELAUtility::DeleteFolderFiles(scratch.Path(L"VELA"), restartNeeded, nullptr));
  CHECK(restartNeeded == 1);
}

// ---- links

TEST_CASE("a folder below a link in place of the product's data folder is refused, however it is written") {
  const ClearedData cleared;
  const PendingMoves pending;
  const ScratchFolder scratch(L"Removal");
  scratch.MakeFile(L"outside\\OL\\precious.txt", "precious");
  scratch.MakeFile(L"outside\\VELA\\precious.txt", "precious");
  const FolderLink link(kProgramData, scratch.Path(L"outside"));
  for (const wchar_t* const folder :
       {L"C:\\ProgramData\\Orvane Labs\\OL", L"C:\\ProgramData\\Orvane Labs\\VELA",
        L"C:\\ProgramData\\Orvane Labs\\OL\\", L"c:\\PROGRAMDATA\\orvane labs\\OL", L"C:/ProgramData/Orvane Labs/OL",
        L"C:\\ProgramData\\.\\Orvane Labs\\OL", L"C:\\Windows\\..\\ProgramData\\Orvane Labs\\OL"}) {
    CAPTURE(ToUtf8(folder));
    const CountCalls remove("RemoveDirectoryW");
    const CountCalls erase("DeleteFileW");
    CHECK_LINES(Remove(folder), (NotRemoved(ERROR_ACCESS_DENIED)));
    CHECK(remove.Calls() + erase.Calls() == 0);
  }
  CHECK(Exists(scratch.Path(L"outside\\OL\\precious.txt")));
  CHECK_LINES(pending.Lines(), {});  // scheduled, it would be deleted at the restart
}

TEST_CASE("a data folder whose attributes cannot be read counts as a link") {
  const ClearedData cleared;
  const PendingMoves pending;
  const std::wstring folder = kProgramData + std::wstring(L"\\OL");
  WriteTestFile(folder + L"\\own.txt", "own");
  {
    const FailCall attributes("GetFileAttributesW", 1, ERROR_ACCESS_DENIED);
    CHECK_LINES(Remove(folder), (NotRemoved(ERROR_ACCESS_DENIED)));
  }
  CHECK(Exists(folder + L"\\own.txt"));
  CHECK_LINES(pending.Lines(), {});
}

TEST_CASE("a folder whose path is too long for the plain form is deleted by its long form") {
  const ScratchFolder scratch(L"Removal");
  std::wstring folder = scratch.Path();
  while (folder.size() < 300) {
    folder += L"\\" + std::wstring(60, L'd');
  }
  MakeFolder(folder);
  std::wstring removed;
  {
    const OnCall remove("RemoveDirectoryW", &::RemoveDirectoryW, [&](LPCWSTR path) { removed = path; });
    CHECK_LINES(Remove(folder), (Removed()));
  }
  CHECK(removed == L"\\\\?\\" + folder);
  CHECK_FALSE(Exists(folder));
}

}  // namespace
