// Emptying a folder: what is deleted at once, what is left for the next restart, and the targets of links.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/FolderLink.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/OrCommon/Emptying.h"

using namespace OrCommonTests;
using namespace TestSupport;

namespace {

TEST_CASE("files and folders of every kind are deleted, the folder itself stays") {
  const ScratchFolder scratch(L"removal");
  const PendingMoves moves;
  CHECK(Empty(scratch.Path()) == kAllDone);  // empty already
  scratch.MakeFile(L"empty", "");
  scratch.MakeFile(L".begins with a dot", "text");
  scratch.MakeFile(L"\x65E5\x672C\x8A9E \x00FC\x00DF \xD83D\xDE00.dat", "text");
  scratch.MakeFile(std::wstring(200, L'n') + L".txt", "text");
  scratch.MakeFile(L"1\\2\\3\\4\\5\\file", "text");
  scratch.MakeFile(L"1\\2\\beside\\\x65E5\x672C\\file", "text");
  scratch.MakeFolder(L"without anything");
  for (const DWORD attributes :
       {DWORD{FILE_ATTRIBUTE_READONLY}, DWORD{FILE_ATTRIBUTE_HIDDEN}, DWORD{FILE_ATTRIBUTE_SYSTEM}, DWORD{0x27}}) {
    const std::wstring file = scratch.MakeFile(L"below\\file " + std::to_wstring(attributes), "text");
    REQUIRE(::SetFileAttributesW(file.c_str(), attributes));
    REQUIRE((::GetFileAttributesW(file.c_str()) & attributes) == attributes);
  }
  REQUIRE(::SetFileAttributesW(scratch.Path(L"below").c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
  CHECK(Empty(scratch.Path() + L"\\") == kAllDone);
  CHECK(Exists(scratch.Path()));  // the folder itself stays
  CHECK_LINES(ListOf(scratch.Path()), {});
  CHECK_LINES(moves.Lines(), {});
}

TEST_CASE("the error code may be omitted, and a restart flag that is already set stays set") {
  const ScratchFolder scratch(L"removal");
  scratch.MakeFile(L"below\\file", "text");
  int restartNeeded = 1;
  CHECK(OrCommon::Storage::File::DeleteAllFiles(scratch.Path(), restartNeeded, nullptr));
  CHECK(restartNeeded == 1);
  for (const std::wstring& none : {std::wstring(), scratch.Path(L"missing")}) {
    CHECK_FALSE(OrCommon::Storage::File::DeleteAllFiles(none, restartNeeded, nullptr));
  }
}

TEST_CASE("a file in use and its folders are scheduled for the restart, all others are deleted") {
  const ScratchFolder scratch(L"removal");
  const PendingMoves moves;
  scratch.MakeFile(L"a\\before", "text");
  const std::wstring file = scratch.MakeFile(L"a\\b\\held", "held text");
  scratch.MakeFile(L"a\\b\\other", "text");
  scratch.MakeFile(L"c\\after", "text");
  {
    const HeldFile held(file);
    CHECK(Empty(scratch.Path()) == kRestWaits);
    CHECK_LINES(ListOf(scratch.Path()), {"a\\", "a\\b\\", "a\\b\\held 9 bytes"});
  }
  const std::string root = "\\??\\" + ToUtf8(scratch.Path());
  CHECK_LINES(moves.Lines(), {root + "\\a\\b\\held -> ", root + "\\a\\b -> ", root + "\\a -> "});
  CHECK(FileContent(file) == "held text");
}

// The calls that change something, in order, with the paths below the folder.
struct Changes {
  explicit Changes(const ScratchFolder& scratch) : root(scratch.Path().size()) {}

  std::size_t root;
  Lines events = {};

  void Note(const std::string& what, const std::wstring& path) {
    events.push_back(what + " " + ToUtf8(path.substr(root)));
  }
  OnCall attributes{"SetFileAttributesW", &::SetFileAttributesW,
                    [this](LPCWSTR path, DWORD wanted) { Note("attributes " + std::to_string(wanted), path); }};
  OnCall erase{"DeleteFileW", &::DeleteFileW, [this](LPCWSTR path) { Note("delete", path); }};
  OnCall remove{"RemoveDirectoryW", &::RemoveDirectoryW, [this](LPCWSTR path) { Note("remove", path); }};
  OnCall move{"MoveFileExW", &::MoveFileExW, [this](LPCWSTR path, LPCWSTR to, DWORD flags) {
                Note("move " + std::to_string(flags) + (to == nullptr ? " to nothing" : " to something"), path);
              }};
};

TEST_CASE("only the read-only attribute is cleared before an entry is deleted") {
  const ScratchFolder scratch(L"removal");
  REQUIRE(::SetFileAttributesW(scratch.MakeFile(L"a\\file", "text").c_str(), 0x27));
  // A read-only folder. This file system cannot store that attribute.
  const std::wstring folder = scratch.Path(L"a");
  const ImportRedirection attributes{
      "GetFileAttributesW", [&](LPCWSTR path) -> DWORD {
        return path == folder ? DWORD{0x13} : attributes.Original<decltype(&::GetFileAttributesW)>()(path);
      }};
  const Changes changes(scratch);
  CHECK(Empty(scratch.Path()) == kAllDone);
  CHECK_LINES(changes.events, {"attributes 38 \\a\\file", "delete \\a\\file", "attributes 18 \\a", "remove \\a"});
}

TEST_CASE("what cannot be deleted is scheduled for deletion without an error, and is no longer read-only") {
  const ScratchFolder scratch(L"removal");
  const PendingMoves moves;
  const std::wstring file = scratch.MakeFile(L"a\\file", "text");
  for (const bool scheduled : {true, false}) {  // the flag is set also if the restart cannot be arranged
    REQUIRE(::SetFileAttributesW(file.c_str(), 0x27));
    const FailCall erase{"DeleteFileW", 1, ERROR_ACCESS_DENIED};
    const FailCall move{"MoveFileExW", scheduled ? Calls::None() : Calls::From(1), ERROR_ACCESS_DENIED};
    const Changes changes(scratch);
    CHECK(Empty(scratch.Path() + L"\\") == kRestWaits);
    CHECK_LINES(changes.events, {"attributes 38 \\a\\file", "delete \\a\\file", "move 4 to nothing \\a\\file",
                                 "attributes 16 \\a", "remove \\a", "move 4 to nothing \\a"});
    CHECK(::GetFileAttributesW(file.c_str()) == 0x26);
  }
}

// Links below the folder, or instead of it, lead to "target". RemoveDirectoryW removes a link as on Windows.
struct LinkedFolder {
  LinkedFolder() {
    scratch.MakeFile(L"target\\file", "kept");
    scratch.MakeFile(L"target\\below\\file", "kept");
    scratch.MakeFile(L"folder\\a\\file", "text");
    before.Add(scratch.Path(L"target"));
  }
  void CheckTarget() const {
    FileSnapshot after;
    after.Add(scratch.Path(L"target"));
    CHECK_LINES(FileSnapshot::Changes(before, after), {});
  }

  ScratchFolder scratch{L"removal links"};
  FileSnapshot before;
  ImportRedirection remove{"RemoveDirectoryW", [this](LPCWSTR path) -> BOOL {
                             const DWORD attributes = ::GetFileAttributesW(path);
                             return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0
                                        ? TestSupport::RemoveFolderLink(path)
                                        : remove.Original<decltype(&::RemoveDirectoryW)>()(path);
                           }};
};

TEST_CASE_FIXTURE(LinkedFolder, "links are deleted at every level, and their targets stay") {
  const FolderLink first(scratch.Path(L"folder\\link"), scratch.Path(L"target"));
  const FolderLink second(scratch.Path(L"folder\\a\\link"), scratch.Path(L"target"));
  const FolderLink upwards(scratch.Path(L"folder\\a\\up"), scratch.Path(L"folder"));
  CHECK(Empty(scratch.Path(L"folder")) == kAllDone);
  CHECK_LINES(ListOf(scratch.Path(L"folder")), {});
  CheckTarget();
}

TEST_CASE_FIXTURE(LinkedFolder, "a link that cannot be deleted is scheduled for the restart, not entered") {
  const PendingMoves moves;
  const std::wstring path = scratch.Path(L"folder\\link");
  const FolderLink link(path, scratch.Path(L"target"));
  {
    const ImportRedirection refuse{"RemoveDirectoryW", [&](LPCWSTR asked) -> BOOL {
                                     return asked != path && refuse.Original<decltype(&::RemoveDirectoryW)>()(asked);
                                   }};
    CHECK(Empty(scratch.Path(L"folder")) == kRestWaits);
  }
  CHECK_LINES(ListOf(scratch.Path(L"folder")), {"link\\ link"});
  CheckTarget();
  CHECK_LINES(moves.Lines(), {"\\??\\" + ToUtf8(path) + " -> "});
}

TEST_CASE_FIXTURE(LinkedFolder, "a link in place of the folder, however it is written, counts as empty and stays") {
  const FolderLink link(scratch.Path(L"link"), scratch.Path(L"target"));
  for (const wchar_t* const name : {L"link", L"link\\", L"link.", L"link ", L"none\\..\\link"}) {
    CAPTURE(ToUtf8(name));
    CHECK(Empty(scratch.Path(name)).substr(0, 4) == "done");
    CHECK(Exists(scratch.Path(L"link")));
    CheckTarget();
  }
  CHECK(Empty(scratch.Path(L"link")) == kAllDone);
}

}  // namespace
