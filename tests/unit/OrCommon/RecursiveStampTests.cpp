// Which entries of a tree are stamped, in which order, and what is passed over.
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
class Stamps {
 public:
  explicit Stamps(const ScratchFolder& scratch) : root_(ToUtf8(scratch.Path())) {}
  const Lines& Events() const { return events_; }
  void FailAll() { failing_ = true; }

 private:
  void Note(const std::string& what, const wchar_t* path) {
    const std::string text = ToUtf8(path);
    events_.push_back(what + " " + (text.compare(0, root_.size(), root_) == 0 ? text.substr(root_.size()) : text));
  }

  std::string root_;
  bool failing_ = false;
  Lines events_;
  ImportRedirection stamp_{"SetFileSecurityW",
                           [this](LPCWSTR path, SECURITY_INFORMATION kind, PSECURITY_DESCRIPTOR descriptor) -> BOOL {
                             Note(kind == DACL_SECURITY_INFORMATION ? "stamp" : "stamp of another kind", path);
                             if (failing_) {
                               ::SetLastError(ERROR_ACCESS_DENIED);
                               return FALSE;
                             }
                             return stamp_.Original<decltype(&::SetFileSecurityW)>()(path, kind, descriptor);
                           }};
  OnCall attributes_{"SetFileAttributesW", &::SetFileAttributesW, [this](LPCWSTR path, DWORD attributes) {
                       Note("attributes " + std::to_string(attributes), path);
                     }};
};

Lines StampsOf(const ScratchFolder& scratch, const std::wstring& folder) {
  const Stamps stamps(scratch);
  ApplyFolderAccessRules(folder);
  return stamps.Events();
}

// Entries are listed in alphabetical order.
TEST_CASE("the folder, then everything in it, folders with their contents; each listing is closed") {
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
  CHECK_LINES(StampsOf(scratch, scratch.Path(L"tree")),
              {"stamp \\tree", "stamp \\tree\\a", "stamp \\tree\\a\\file", "stamp \\tree\\b file", "stamp \\tree\\c",
               "stamp \\tree\\c\\d", "stamp \\tree\\c\\d\\\xE6\x97\xA5\xE6\x9C\xAC", "stamp \\tree\\f"});
  const std::string root = ToUtf8(scratch.Path(L"tree"));
  CHECK_LINES(listed, {root + "\\*.*", root + "\\a\\*.*", root + "\\c\\*.*", root + "\\c\\d\\*.*", root + "\\f\\*.*"});
  CHECK(closed.Calls() == 5);
}

TEST_CASE("the read-only bit goes before the stamp, all other attributes stay") {
  const ScratchFolder scratch(L"stamp");
  const std::wstring all = scratch.MakeFile(L"a", "text");
  const std::wstring readOnly = scratch.MakeFile(L"b", "text");
  const std::wstring hidden = scratch.MakeFile(L"c", "text");
  REQUIRE(::SetFileAttributesW(all.c_str(), 0x27));
  REQUIRE(::SetFileAttributesW(readOnly.c_str(), 0x21));
  REQUIRE(::SetFileAttributesW(hidden.c_str(), 0x22));
  CHECK_LINES(StampsOf(scratch, scratch.Path()),
              {"stamp ", "attributes 38 \\a", "stamp \\a", "attributes 32 \\b", "stamp \\b", "stamp \\c"});
  CHECK(::GetFileAttributesW(all.c_str()) == 0x26);
  CHECK(::GetFileAttributesW(readOnly.c_str()) == 0x20);
  CHECK(::GetFileAttributesW(hidden.c_str()) == 0x22);
  CHECK(FileContent(readOnly) == "text");
}

// Changes the attributes of one name in every listing: what this file system does not keep.
class ListedAttributes {
 public:
  ListedAttributes(std::wstring name, DWORD attributes) : name_(std::move(name)), attributes_(attributes) {}

 private:
  void Change(WIN32_FIND_DATAW* entry) const {
    if (name_ == entry->cFileName) {
      entry->dwFileAttributes = attributes_;
    }
  }

  std::wstring name_;
  DWORD attributes_;
  AfterCall first_{"FindFirstFileW", &::FindFirstFileW,
                   [this](HANDLE, LPCWSTR, WIN32_FIND_DATAW* entry) { Change(entry); }};
  AfterCall next_{"FindNextFileW", &::FindNextFileW, [this](BOOL, HANDLE, WIN32_FIND_DATAW* entry) { Change(entry); }};
};

TEST_CASE("a read-only folder loses the bit too, and is entered; a link to a file is passed over") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a\\file", "text");
  scratch.MakeFile(L"b", "text");
  const ListedAttributes readOnly(L"a", FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  const ListedAttributes link(L"b", FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_READONLY);
  CHECK_LINES(StampsOf(scratch, scratch.Path()), {"stamp ", "attributes 18 \\a", "stamp \\a", "stamp \\a\\file"});
}

TEST_CASE("links are passed over at every level, and nothing of what they lead to is touched") {
  const ScratchFolder scratch(L"stamp");
  const std::wstring readOnly = scratch.MakeFile(L"target\\file", "text");
  REQUIRE(::SetFileAttributesW(readOnly.c_str(), 0x21));
  scratch.MakeFile(L"tree\\a\\file", "text");
  scratch.MakeFile(L"tree\\b\\file", "text");
  const FolderLink first(scratch.Path(L"tree\\link"), scratch.Path(L"target"));
  const FolderLink second(scratch.Path(L"tree\\a\\link"), scratch.Path(L"target"));
  const FolderLink upwards(scratch.Path(L"tree\\a\\up"), scratch.Path(L"tree"));
  TestSupport::Lines events;
  {
    const std::wstring replaced = scratch.Path(L"tree\\b");  // became a link after it was listed
    const ImportRedirection attributes{"GetFileAttributesW", [&](LPCWSTR path) -> DWORD {
                                         return path == replaced
                                                    ? FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT
                                                    : attributes.Original<decltype(&::GetFileAttributesW)>()(path);
                                       }};
    events = StampsOf(scratch, scratch.Path(L"tree"));
  }
  CHECK_LINES(events, {"stamp \\tree", "stamp \\tree\\a", "stamp \\tree\\a\\file"});
  const CountCalls listings{"FindFirstFileW"};
  CHECK_LINES(StampsOf(scratch, scratch.Path(L"tree\\link")), {});
  CHECK_LINES(StampsOf(scratch, scratch.Path(L"tree\\link\\")), {});
  CHECK(listings.Calls() == 0);
  CHECK(::GetFileAttributesW(readOnly.c_str()) == 0x21);
}

TEST_CASE("stamps and attributes that fail are passed over") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a\\file", "text");
  const std::wstring file = scratch.MakeFile(L"b", "text");
  REQUIRE(::SetFileAttributesW(file.c_str(), 0x21));
  const FailCall attributes{"SetFileAttributesW", Calls::From(1), ERROR_ACCESS_DENIED};
  Stamps stamps(scratch);
  stamps.FailAll();
  CHECK(ApplyFolderAccessRules(scratch.Path()) == 1);
  CHECK_LINES(stamps.Events(), {"stamp ", "stamp \\a", "stamp \\a\\file", "attributes 32 \\b", "stamp \\b"});
}

TEST_CASE("a folder that cannot be listed is stamped and passed over; no search is closed that was not opened") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a\\file", "text");
  scratch.MakeFile(L"b", "text");
  const CountCalls closed{"FindClose"};
  const FailCall listing{"FindFirstFileW", 2, ERROR_ACCESS_DENIED};
  CHECK_LINES(StampsOf(scratch, scratch.Path()), {"stamp ", "stamp \\a", "stamp \\b"});
  CHECK(closed.Calls() == 1);
}

TEST_CASE("a listing that breaks off ends, whatever the error") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a", "text");
  scratch.MakeFile(L"b", "text");
  const FailCall next{"FindNextFileW", 3, ERROR_NOT_READY};  // ".." and "a" before it
  CHECK_LINES(StampsOf(scratch, scratch.Path()), {"stamp ", "stamp \\a"});
  CHECK(next.Calls() == 3);
}

TEST_CASE("the list is put into the descriptor again at every folder; where that fails the folder alone is left out") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a\\file", "text");
  const SID_IDENTIFIER_AUTHORITY world = {SECURITY_WORLD_SID_AUTHORITY};
  ATL::CDacl list;
  list.AddAllowedAce(ATL::CSid(world, 1, 0, 0), 0x1F01FF, 0);
  const auto acl = const_cast<ACL*>(list.GetPACL());
  SECURITY_DESCRIPTOR descriptor = {};
  REQUIRE(::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
  {
    const Stamps stamps(scratch);
    const CountCalls sets{"SetSecurityDescriptorDacl"};
    ApplySecurityRecursively(scratch.Path(), &descriptor, acl);
    CHECK_LINES(stamps.Events(), {"stamp ", "stamp \\a", "stamp \\a\\file"});
    CHECK(sets.Calls() == 2);
    CHECK_LINES(LinesOf(static_cast<const void*>(&descriptor)),
                {"absolute, revision 1, list present", "allow 0x001f01ff flags 0x00 S-1-1-0"});
  }
  const Stamps stamps(scratch);
  const FailCall sets{"SetSecurityDescriptorDacl", 1, ERROR_INVALID_SECURITY_DESCR};
  ApplySecurityRecursively(scratch.Path(), &descriptor, acl);
  CHECK_LINES(stamps.Events(), {"stamp \\a", "stamp \\a\\file"});
}

TEST_CASE("what plain paths cannot name is stamped too") {
  const ScratchFolder scratch(L"stamp");
  std::wstring deep = scratch.Path();
  while (deep.size() < 300) {
    deep += L"\\" + std::wstring(60, L'd');
    REQUIRE(::CreateDirectoryW((L"\\\\?\\" + deep).c_str(), nullptr));
  }
  for (const wchar_t* const name : {L"\\file", L"\\a.", L"\\nul.txt"}) {
    const HANDLE file = ::CreateFileW((L"\\\\?\\" + deep + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_READONLY, nullptr);
    REQUIRE(file != INVALID_HANDLE_VALUE);
    ::CloseHandle(file);
  }
  Lines events;
  {
    const PlainPathLimits limits;
    events = StampsOf(scratch, scratch.Path());
    CHECK(limits.Refused() == 0);
  }
  const std::string place = ToUtf8(L"\\\\?\\" + deep);
  REQUIRE(events.size() > 6);
  CHECK_LINES((Lines(events.end() - 6, events.end())),
              {"attributes 32 " + place + "\\a.", "stamp " + place + "\\a.", "attributes 32 " + place + "\\file",
               "stamp " + place + "\\file", "attributes 32 " + place + "\\nul.txt", "stamp " + place + "\\nul.txt"});
  int restartNeeded = 0;  // what the test has made is hard to delete
  CHECK(OrCommon::Storage::File::DeleteAllFiles(scratch.Path(), restartNeeded, nullptr));
}

}  // namespace
