// Emptying a folder: what goes at once, what is left to the next restart, and what links lead to.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_File.h"
#include "tests/support/CallWatch.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/FolderLink.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestRegistry.h"
#include "tests/support/TextLines.h"

using OrCommon::Storage::File::DeleteAllFiles;
using OrCommonTests::FolderLink;
using namespace TestSupport;

namespace {

struct Removal {
  bool succeeded = false;
  int restartNeeded = 0;
  DWORD error = 4711;
};

Removal Empty(const std::wstring& folder) {
  Removal removal;
  removal.succeeded = DeleteAllFiles(folder, removal.restartNeeded, &removal.error);
  return removal;
}

Lines ListOf(const std::wstring& folder) {
  FileSnapshot snapshot;
  snapshot.Add(folder);
  return snapshot.AsLines();
}

void CheckAllGone(const Removal& removal, const ScratchFolder& folder) {
  CHECK(removal.succeeded);
  CHECK(removal.restartNeeded == 0);
  CHECK(removal.error == 0);
  CHECK(Exists(folder.Path()));  // the folder itself stays
  CHECK_LINES(ListOf(folder.Path()), {});
}

TEST_CASE("files and folders of every kind go, the folder stays") {
  const ScratchFolder scratch(L"removal");
  const PendingMoves moves;
  CheckAllGone(Empty(scratch.Path()), scratch);  // empty already
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
  CheckAllGone(Empty(scratch.Path() + L"\\"), scratch);
  CHECK_LINES(moves.Lines(), {});
}

TEST_CASE("the error code may be left out, and a flag that is set stays set") {
  const ScratchFolder scratch(L"removal");
  scratch.MakeFile(L"below\\file", "text");
  int restartNeeded = 1;
  CHECK(DeleteAllFiles(scratch.Path(), restartNeeded, nullptr));
  CHECK(restartNeeded == 1);
  restartNeeded = 0;
  CHECK_FALSE(DeleteAllFiles(L"", restartNeeded, nullptr));
  CHECK_FALSE(DeleteAllFiles(scratch.Path(L"missing"), restartNeeded, nullptr));
  CHECK(restartNeeded == 0);
}

TEST_CASE("a held file and the folders that hold it are left to the next restart, all others go") {
  const ScratchFolder scratch(L"removal");
  const PendingMoves moves;
  scratch.MakeFile(L"a\\before", "text");
  const std::wstring file = scratch.MakeFile(L"a\\b\\held", "held text");
  scratch.MakeFile(L"a\\b\\other", "text");
  scratch.MakeFile(L"c\\after", "text");
  Removal removal;
  {
    const HeldFile held(file);
    removal = Empty(scratch.Path());
    CHECK_LINES(ListOf(scratch.Path()), {"a\\", "a\\b\\", "a\\b\\held 9 bytes"});
  }
  CHECK(removal.succeeded);  // what is left to the restart is no failure
  CHECK(removal.error == 0);
  CHECK(removal.restartNeeded == 1);
  const std::string root = "\\??\\" + ToUtf8(scratch.Path());
  CHECK_LINES(moves.Lines(), {root + "\\a\\b\\held -> ", root + "\\a\\b -> ", root + "\\a -> "});
  CHECK(FileContent(file) == "held text");
}

// The calls that change something, in order.
class Changes {
 public:
  const Lines& Events() const { return events_; }
  // Has DeleteFileW and RemoveDirectoryW fail; `scheduled`: what MoveFileExW answers.
  void FailRemovals(BOOL scheduled) {
    failing_ = true;
    scheduled_ = scheduled;
  }

 private:
  void Note(const std::string& what, const wchar_t* path) { events_.push_back(what + " " + ToUtf8(path)); }

  bool failing_ = false;
  BOOL scheduled_ = TRUE;
  Lines events_;
  OnCall attributes_{"SetFileAttributesW", &::SetFileAttributesW, [this](LPCWSTR path, DWORD attributes) {
                       Note("attributes " + std::to_string(attributes), path);
                     }};
  ImportRedirection delete_{"DeleteFileW", [this](LPCWSTR path) -> BOOL {
                              Note("delete", path);
                              return failing_ ? FALSE : delete_.Original<decltype(&::DeleteFileW)>()(path);
                            }};
  ImportRedirection remove_{"RemoveDirectoryW", [this](LPCWSTR path) -> BOOL {
                              Note("remove", path);
                              return failing_ ? FALSE : remove_.Original<decltype(&::RemoveDirectoryW)>()(path);
                            }};
  ImportRedirection move_{"MoveFileExW", [this](LPCWSTR path, LPCWSTR to, DWORD flags) -> BOOL {
                            Note("move " + std::to_string(flags) + (to == nullptr ? " to nothing" : " to something"),
                                 path);
                            return scheduled_;
                          }};
};

TEST_CASE("only the read-only bit is taken off before an entry is removed") {
  const ScratchFolder scratch(L"removal");
  const std::wstring file = scratch.MakeFile(L"a\\file", "text");
  REQUIRE(::SetFileAttributesW(file.c_str(), 0x27));
  // A folder that is read-only, which this file system does not keep.
  const std::wstring folder = scratch.Path(L"a");
  Lines events;
  {
    const ImportRedirection attributes{
        "GetFileAttributesW", [&](LPCWSTR path) -> DWORD {
          return path == folder ? DWORD{0x13} : attributes.Original<decltype(&::GetFileAttributesW)>()(path);
        }};
    const Changes changes;
    Empty(scratch.Path());
    events = changes.Events();
  }
  const std::string root = ToUtf8(scratch.Path());
  CHECK_LINES(events, {"attributes 38 " + root + "\\a\\file", "delete " + root + "\\a\\file",
                       "attributes 18 " + root + "\\a", "remove " + root + "\\a"});
}

TEST_CASE("what cannot be removed is scheduled without a target, and the attribute is off all the same") {
  const ScratchFolder scratch(L"removal");
  const std::wstring file = scratch.MakeFile(L"a\\file", "text");
  REQUIRE(::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
  Removal removal;
  Lines events;
  for (const BOOL scheduled : {TRUE, FALSE}) {  // the flag is set also where the restart cannot be arranged
    Changes changes;
    changes.FailRemovals(scheduled);
    removal = Empty(scratch.Path() + L"\\");
    CHECK(removal.restartNeeded == 1);
    if (scheduled) {
      events = changes.Events();
    }
  }
  CHECK(removal.succeeded);
  CHECK(removal.error == 0);
  CHECK(removal.restartNeeded == 1);
  const std::string root = ToUtf8(scratch.Path());
  REQUIRE(events.size() == 6);
  CHECK(events[0].find(root + "\\a\\file") != std::string::npos);
  events.erase(events.begin());  // the file's other attributes are the file system's
  CHECK_LINES(events, {"delete " + root + "\\a\\file", "move 4 to nothing " + root + "\\a\\file",
                       "attributes 16 " + root + "\\a", "remove " + root + "\\a", "move 4 to nothing " + root + "\\a"});
  CHECK((::GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY) == 0);
}

// Links below and in the place of the folder lead to "target"; RemoveDirectoryW removes a link as Windows does.
struct LinkedFolder {
  LinkedFolder() {
    scratch.MakeFile(L"target\\file", "kept");
    scratch.MakeFile(L"target\\below\\file", "kept");
    scratch.MakeFile(L"folder\\a\\file", "text");
    before.Add(scratch.Path(L"target"));
  }
  Lines ChangesOfTarget() const {
    FileSnapshot after;
    after.Add(scratch.Path(L"target"));
    return FileSnapshot::Changes(before, after);
  }

  ScratchFolder scratch{L"removal links"};
  FileSnapshot before;
  ImportRedirection remove{"RemoveDirectoryW", [this](LPCWSTR path) -> BOOL {
                             const DWORD attributes = ::GetFileAttributesW(path);
                             return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0
                                        ? OrCommonTests::RemoveFolderLink(path)
                                        : remove.Original<decltype(&::RemoveDirectoryW)>()(path);
                           }};
};

TEST_CASE("links are deleted at every level, and what they lead to stays") {
  const LinkedFolder linked;
  const ScratchFolder& scratch = linked.scratch;
  const FolderLink first(scratch.Path(L"folder\\link"), scratch.Path(L"target"));
  const FolderLink second(scratch.Path(L"folder\\a\\link"), scratch.Path(L"target"));
  const FolderLink upwards(scratch.Path(L"folder\\a\\up"), scratch.Path(L"folder"));
  const Removal removal = Empty(scratch.Path(L"folder"));
  CHECK(removal.succeeded);
  CHECK(removal.error == 0);
  CHECK(removal.restartNeeded == 0);
  CHECK_LINES(ListOf(scratch.Path(L"folder")), {});
  CHECK_LINES(linked.ChangesOfTarget(), {});
  CHECK(FileContent(scratch.Path(L"target\\below\\file")) == "kept");
}

TEST_CASE("a link by a name that Windows reads as the link's: what it leads to stays") {
  const LinkedFolder linked;
  const FolderLink link(linked.scratch.Path(L"link"), linked.scratch.Path(L"target"));
  for (const wchar_t* const name : {L"link.", L"link ", L"none\\..\\link"}) {
    CAPTURE(ToUtf8(name));
    CHECK(Empty(linked.scratch.Path(name)).succeeded);
    CHECK_LINES(linked.ChangesOfTarget(), {});
  }
}

TEST_CASE("a link that cannot be deleted is scheduled, not entered") {
  const LinkedFolder linked;
  const ScratchFolder& scratch = linked.scratch;
  const PendingMoves moves;
  const FolderLink link(scratch.Path(L"folder\\link"), scratch.Path(L"target"));
  Removal removal;
  {
    const ImportRedirection remove{
        "RemoveDirectoryW", [&](LPCWSTR path) -> BOOL {
          return path == scratch.Path(L"folder\\link") ? FALSE : remove.Original<decltype(&::RemoveDirectoryW)>()(path);
        }};
    removal = Empty(scratch.Path(L"folder"));
  }
  CHECK(removal.succeeded);
  CHECK(removal.restartNeeded == 1);
  CHECK_LINES(ListOf(scratch.Path(L"folder")), {"link\\ link"});
  CHECK_LINES(linked.ChangesOfTarget(), {});
  CHECK_LINES(moves.Lines(), {"\\??\\" + ToUtf8(scratch.Path(L"folder\\link")) + " -> "});
}

TEST_CASE("a link in the place of the folder counts as empty and stays for the caller") {
  const LinkedFolder linked;
  const ScratchFolder& scratch = linked.scratch;
  const FolderLink link(scratch.Path(L"link"), scratch.Path(L"target"));
  for (const wchar_t* name : {L"link", L"link\\"}) {
    const Removal removal = Empty(scratch.Path(name));
    CHECK(removal.succeeded);
    CHECK(removal.error == 0);
    CHECK(removal.restartNeeded == 0);
    CHECK(Exists(scratch.Path(L"link")));
    CHECK_LINES(linked.ChangesOfTarget(), {});
  }
}

}  // namespace
