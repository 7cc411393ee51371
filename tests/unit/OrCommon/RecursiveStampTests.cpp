// Which entries of a tree get the access control list, in which order, and what is skipped.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_SecurityAttributes.h"
#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/FolderLink.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/PlainPathLimits.h"
#include "tests/unit/OrCommon/SecurityText.h"

using namespace OrCommon::AccessControl;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

// "stamp <path below the folder>" and "attributes <number> <path>", in order.
struct Stamps {
  explicit Stamps(const ScratchFolder& scratch) : root(ToUtf8(scratch.Path())) {}

  Lines events;

 private:
  void Note(const std::string& what, const wchar_t* path) {
    const std::string text = ToUtf8(path);
    events.push_back(what + " " + (text.compare(0, root.size(), root) == 0 ? text.substr(root.size()) : text));
  }

  std::string root;
  OnCall stamp{"SetFileSecurityW", &::SetFileSecurityW,
               [this](LPCWSTR path, SECURITY_INFORMATION kind, PSECURITY_DESCRIPTOR) {
                 Note(kind == DACL_SECURITY_INFORMATION ? "stamp" : "stamp of another kind", path);
               }};
  OnCall attributes{"SetFileAttributesW", &::SetFileAttributesW,
                    [this](LPCWSTR path, DWORD wanted) { Note("attributes " + std::to_string(wanted), path); }};
};

Lines StampsOf(const ScratchFolder& scratch, const std::wstring& below = {}) {
  const Stamps stamps(scratch);
  CHECK(ApplyFolderAccessRules(below.empty() ? scratch.Path() : scratch.Path(below)) == 1);
  return stamps.events;
}

// Entries are listed in alphabetical order.
TEST_CASE("a folder gets the access control list first, then everything below it; each search is closed") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"tree\\b file", "text");
  scratch.MakeFile(L"tree\\a\\file", "text");
  scratch.MakeFile(L"tree\\c\\d\\\x65E5\x672C", "text");
  scratch.MakeFolder(L"tree\\f");
  scratch.MakeFile(L"beside", "text");
  Lines listed;
  const OnCall find{"FindFirstFileW", &::FindFirstFileW,
                    [&](LPCWSTR pattern, WIN32_FIND_DATAW*) { listed.push_back(ToUtf8(pattern)); }};
  const CountCalls closed{"FindClose"};
  CHECK_LINES(StampsOf(scratch, L"tree"),
              {"stamp \\tree", "stamp \\tree\\a", "stamp \\tree\\a\\file", "stamp \\tree\\b file", "stamp \\tree\\c",
               "stamp \\tree\\c\\d", "stamp \\tree\\c\\d\\\xE6\x97\xA5\xE6\x9C\xAC", "stamp \\tree\\f"});
  const std::string root = ToUtf8(scratch.Path(L"tree"));
  CHECK_LINES(listed, {root + "\\*.*", root + "\\a\\*.*", root + "\\c\\*.*", root + "\\c\\d\\*.*", root + "\\f\\*.*"});
  CHECK(closed.Calls() == 5);
}

TEST_CASE("a folder is listed after it got the list, which may be what allows that") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFolder(L"tree\\a");
  Stamps stamps(scratch);
  const OnCall find{"FindFirstFileW", &::FindFirstFileW,
                    [&](LPCWSTR, WIN32_FIND_DATAW*) { stamps.events.emplace_back("list"); }};
  ApplyFolderAccessRules(scratch.Path(L"tree"));
  CHECK_LINES(stamps.events, {"stamp \\tree", "list", "stamp \\tree\\a", "list"});
}

// Changes the attributes of one name in every listing, because this file system cannot store them.
struct ListedAttributes {
  std::wstring name;
  DWORD attributes;

  void Change(WIN32_FIND_DATAW* entry) const {
    entry->dwFileAttributes = name == entry->cFileName ? attributes : entry->dwFileAttributes;
  }
  AfterCall first{"FindFirstFileW", &::FindFirstFileW,
                  [this](HANDLE, LPCWSTR, WIN32_FIND_DATAW* entry) { Change(entry); }};
  AfterCall next{"FindNextFileW", &::FindNextFileW, [this](BOOL, HANDLE, WIN32_FIND_DATAW* entry) { Change(entry); }};
};

TEST_CASE("only the read-only attribute is cleared before an entry gets the list; a link to a file is skipped") {
  const ScratchFolder scratch(L"stamp");
  constexpr DWORD kBefore[] = {0x27, 0x21, 0x22};
  for (const DWORD attributes : kBefore) {
    REQUIRE(::SetFileAttributesW(scratch.MakeFile(std::to_wstring(attributes), "text").c_str(), attributes));
  }
  scratch.MakeFile(L"a\\file", "text");
  scratch.MakeFile(L"b", "text");
  const ListedAttributes folder{L"a", FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN};
  const ListedAttributes link{L"b", FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_READONLY};
  CHECK_LINES(StampsOf(scratch), {"stamp ", "attributes 32 \\33", "stamp \\33", "stamp \\34", "attributes 38 \\39",
                                  "stamp \\39", "attributes 18 \\a", "stamp \\a", "stamp \\a\\file"});
  for (const DWORD attributes : kBefore) {
    CHECK(::GetFileAttributesW(scratch.Path(std::to_wstring(attributes)).c_str()) == (attributes & 0x26));
  }
  CHECK(FileContent(scratch.Path(L"33")) == "text");
}

TEST_CASE("links are skipped at every level, and their targets are not touched") {
  const ScratchFolder scratch(L"stamp");
  const std::wstring readOnly = scratch.MakeFile(L"target\\file", "text");
  REQUIRE(::SetFileAttributesW(readOnly.c_str(), 0x21));
  scratch.MakeFile(L"tree\\a\\file", "text");
  scratch.MakeFile(L"tree\\b\\file", "text");
  const FolderLink first(scratch.Path(L"tree\\link"), scratch.Path(L"target"));
  const FolderLink second(scratch.Path(L"tree\\a\\link"), scratch.Path(L"target"));
  const FolderLink upwards(scratch.Path(L"tree\\a\\up"), scratch.Path(L"tree"));
  {
    const std::wstring replaced = scratch.Path(L"tree\\b");  // became a link after it was listed
    const ImportRedirection attributes{"GetFileAttributesW", [&](LPCWSTR path) -> DWORD {
                                         return path == replaced
                                                    ? FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT
                                                    : attributes.Original<decltype(&::GetFileAttributesW)>()(path);
                                       }};
    CHECK_LINES(StampsOf(scratch, L"tree"), {"stamp \\tree", "stamp \\tree\\a", "stamp \\tree\\a\\file"});
  }
  const CountCalls listings{"FindFirstFileW"};
  CHECK_LINES(StampsOf(scratch, L"tree\\link"), {});
  CHECK_LINES(StampsOf(scratch, L"tree\\link\\"), {});
  CHECK(listings.Calls() == 0);
  CHECK(::GetFileAttributesW(readOnly.c_str()) == 0x21);
}

TEST_CASE("entries that fail are skipped, whatever the error; a search that was not opened is not closed") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a\\file", "text");
  REQUIRE(::SetFileAttributesW(scratch.MakeFile(L"b", "text").c_str(), 0x21));
  {
    const FailCall attributes{"SetFileAttributesW", Calls::From(1), ERROR_ACCESS_DENIED};
    const FailCall stamps{"SetFileSecurityW", Calls::From(1), ERROR_ACCESS_DENIED};
    CHECK_LINES(StampsOf(scratch), {"stamp ", "stamp \\a", "stamp \\a\\file", "attributes 32 \\b", "stamp \\b"});
  }
  {
    const CountCalls closed{"FindClose"};
    const FailCall listing{"FindFirstFileW", 2, ERROR_ACCESS_DENIED};
    CHECK_LINES(StampsOf(scratch), {"stamp ", "stamp \\a", "attributes 32 \\b", "stamp \\b"});
    CHECK(closed.Calls() == 1);
  }
  const FailCall next{"FindNextFileW", 4, ERROR_NOT_READY};  // after "..", "a" and ".." in it
  CHECK_LINES(StampsOf(scratch), {"stamp ", "stamp \\a", "stamp \\b"});
}

TEST_CASE("the list is put into the descriptor again for each folder; if that fails, only this folder is skipped") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a\\file", "text");
  const SID_IDENTIFIER_AUTHORITY world = {SECURITY_WORLD_SID_AUTHORITY};
  ATL::CDacl list;
  list.AddAllowedAce(ATL::CSid(world, 1, 0, 0), 0x1F01FF, 0);
  SECURITY_DESCRIPTOR descriptor = {};
  REQUIRE(::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
  const auto apply = [&] {
    const Stamps stamps(scratch);
    ApplySecurityRecursively(scratch.Path(), &descriptor, const_cast<ACL*>(list.GetPACL()));
    return stamps.events;
  };
  const CountCalls sets{"SetSecurityDescriptorDacl"};
  CHECK_LINES(apply(), {"stamp ", "stamp \\a", "stamp \\a\\file"});
  CHECK(sets.Calls() == 2);
  CHECK(TextOf(&descriptor) == "0004 D:(A;;FA;;;WD)");
  const FailCall set{"SetSecurityDescriptorDacl", 1, ERROR_INVALID_SECURITY_DESCR};
  CHECK_LINES(apply(), {"stamp \\a", "stamp \\a\\file"});
}

TEST_CASE("entries that plain paths cannot name get the access control list, too") {
  const ScratchFolder scratch(L"stamp");
  const std::wstring deep = MakeDeepFolder(scratch.Path(), 300);
  for (const wchar_t* const name : {L"\\file", L"\\a.", L"\\nul.txt"}) {
    MakeHostileFile(deep + name, FILE_ATTRIBUTE_READONLY);
  }
  Lines events;
  {
    const PlainPathLimits limits;
    events = StampsOf(scratch);
    CHECK(limits.Refused() == 0);
  }
  const std::string place = ToUtf8(L"\\\\?\\" + deep);
  REQUIRE(events.size() > 6);
  CHECK_LINES((Lines(events.end() - 6, events.end())),
              {"attributes 32 " + place + "\\a.", "stamp " + place + "\\a.", "attributes 32 " + place + "\\file",
               "stamp " + place + "\\file", "attributes 32 " + place + "\\nul.txt", "stamp " + place + "\\nul.txt"});
  int restartNeeded = 0;  // what the test has created is hard to delete
  CHECK(OrCommon::Storage::File::DeleteAllFiles(scratch.Path(), restartNeeded, nullptr));
}

}  // namespace
