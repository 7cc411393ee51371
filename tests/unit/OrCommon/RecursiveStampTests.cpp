// Which entries of a tree are stamped, in which order, and what is passed over.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_SecurityAttributes.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/FolderLink.h"
#include "tests/unit/OrCommon/PlainPathLimits.h"
#include "tests/unit/OrCommon/SecurityText.h"
#include "tests/unit/install/ScratchFolder.h"

using OrCommon::AccessControl::ApplyFolderAccessRules;
using OrCommon::AccessControl::ApplySecurityRecursively;
using OrCommonTests::FolderLink;
using OrCommonTests::LinesOf;
using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::ScratchFolder;

namespace {

// "stamp <path below the folder>" and "attributes <number> <path>", in order.
class Stamps {
 public:
  explicit Stamps(const ScratchFolder& scratch) : root_(TestSupport::ToUtf8(scratch.Path())) {}
  const TestSupport::Lines& Events() const { return events_; }
  void FailAll() { failing_ = true; }

 private:
  void Note(const std::string& what, const wchar_t* path) {
    const std::string text = TestSupport::ToUtf8(path);
    events_.push_back(what + " " + (text.compare(0, root_.size(), root_) == 0 ? text.substr(root_.size()) : text));
  }

  std::string root_;
  bool failing_ = false;
  TestSupport::Lines events_;
  ImportRedirection stamp_{"SetFileSecurityW",
                           [this](LPCWSTR path, SECURITY_INFORMATION kind, PSECURITY_DESCRIPTOR descriptor) -> BOOL {
                             Note(kind == DACL_SECURITY_INFORMATION ? "stamp" : "stamp of another kind", path);
                             if (failing_) {
                               ::SetLastError(ERROR_ACCESS_DENIED);
                               return FALSE;
                             }
                             return stamp_.Original<decltype(&::SetFileSecurityW)>()(path, kind, descriptor);
                           }};
  ImportRedirection attributes_{"SetFileAttributesW", [this](LPCWSTR path, DWORD attributes) -> BOOL {
                                  Note("attributes " + std::to_string(attributes), path);
                                  return attributes_.Original<decltype(&::SetFileAttributesW)>()(path, attributes);
                                }};
};

TestSupport::Lines StampsOf(const ScratchFolder& scratch, const std::wstring& folder) {
  const Stamps stamps(scratch);
  ApplyFolderAccessRules(folder);
  return stamps.Events();
}

// Entries are listed in alphabetical order.
TEST_CASE("the folder, then everything in it, folders with their contents") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"tree\\b file", "text");
  scratch.MakeFile(L"tree\\a\\file", "text");
  scratch.MakeFile(L"tree\\c\\d\\e\\\x65E5\x672C", "text");
  scratch.MakeFolder(L"tree\\f");
  scratch.MakeFile(L"beside", "text");
  const CountCalls opened{"FindFirstFileW"};
  const CountCalls closed{"FindClose"};
  CHECK_LINES(StampsOf(scratch, scratch.Path(L"tree")),
              {"stamp \\tree", "stamp \\tree\\a", "stamp \\tree\\a\\file", "stamp \\tree\\b file", "stamp \\tree\\c",
               "stamp \\tree\\c\\d", "stamp \\tree\\c\\d\\e", "stamp \\tree\\c\\d\\e\\\xE6\x97\xA5\xE6\x9C\xAC",
               "stamp \\tree\\f"});
  CHECK(opened.Calls() == 6);
  CHECK(closed.Calls() == 6);
}

TEST_CASE("the pattern is the folder, a backslash and *.*") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFolder(L"a");
  TestSupport::Lines listed;
  {
    const ImportRedirection find{"FindFirstFileW", [&](LPCWSTR pattern, WIN32_FIND_DATAW* entry) -> HANDLE {
                                   listed.push_back(TestSupport::ToUtf8(pattern));
                                   return find.Original<decltype(&::FindFirstFileW)>()(pattern, entry);
                                 }};
    ApplyFolderAccessRules(scratch.Path());
  }
  const std::string root = TestSupport::ToUtf8(scratch.Path());
  CHECK_LINES(listed, {root + "\\*.*", root + "\\a\\*.*"});
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
  CHECK(TestSupport::FileContent(readOnly) == "text");
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
  ImportRedirection first_{"FindFirstFileW", [this](LPCWSTR pattern, WIN32_FIND_DATAW* entry) -> HANDLE {
                             const HANDLE search = first_.Original<decltype(&::FindFirstFileW)>()(pattern, entry);
                             Change(entry);
                             return search;
                           }};
  ImportRedirection next_{"FindNextFileW", [this](HANDLE search, WIN32_FIND_DATAW* entry) -> BOOL {
                            const BOOL found = next_.Original<decltype(&::FindNextFileW)>()(search, entry);
                            Change(entry);
                            return found;
                          }};
};

TEST_CASE("a read-only folder loses the bit too, and is entered") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a\\file", "text");
  const ListedAttributes readOnly(L"a", FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  CHECK_LINES(StampsOf(scratch, scratch.Path()), {"stamp ", "attributes 18 \\a", "stamp \\a", "stamp \\a\\file"});
}

TEST_CASE("links are passed over at every level, and nothing of what they lead to is touched") {
  const ScratchFolder scratch(L"stamp");
  const std::wstring readOnly = scratch.MakeFile(L"target\\file", "text");
  REQUIRE(::SetFileAttributesW(readOnly.c_str(), 0x21));
  scratch.MakeFile(L"tree\\a\\file", "text");
  const FolderLink first(scratch.Path(L"tree\\link"), scratch.Path(L"target"));
  const FolderLink second(scratch.Path(L"tree\\a\\link"), scratch.Path(L"target"));
  const FolderLink upwards(scratch.Path(L"tree\\a\\up"), scratch.Path(L"tree"));
  CHECK_LINES(StampsOf(scratch, scratch.Path(L"tree")), {"stamp \\tree", "stamp \\tree\\a", "stamp \\tree\\a\\file"});
  CHECK(::GetFileAttributesW(readOnly.c_str()) == 0x21);
}

TEST_CASE("a link in the place of the folder is passed over") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"target\\file", "text");
  const FolderLink link(scratch.Path(L"link"), scratch.Path(L"target"));
  const CountCalls listings{"FindFirstFileW"};
  CHECK_LINES(StampsOf(scratch, scratch.Path(L"link")), {});
  CHECK_LINES(StampsOf(scratch, scratch.Path(L"link\\")), {});
  CHECK(ApplyFolderAccessRules(scratch.Path(L"link")) == 1);
  CHECK(listings.Calls() == 0);
}

TEST_CASE("a folder that became a link after it was listed is passed over") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a\\file", "text");
  scratch.MakeFile(L"b", "text");
  TestSupport::Lines events;
  {
    const std::wstring replaced = scratch.Path(L"a");
    const ImportRedirection attributes{"GetFileAttributesW", [&](LPCWSTR path) -> DWORD {
                                         return path == replaced
                                                    ? FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT
                                                    : attributes.Original<decltype(&::GetFileAttributesW)>()(path);
                                       }};
    events = StampsOf(scratch, scratch.Path());
  }
  CHECK_LINES(events, {"stamp ", "stamp \\b"});
}

TEST_CASE("a link to a file, read-only or not, is passed over") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a", "text");
  scratch.MakeFile(L"b", "text");
  const ListedAttributes link(L"a", FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_READONLY);
  CHECK_LINES(StampsOf(scratch, scratch.Path()), {"stamp ", "stamp \\b"});
}

TEST_CASE("stamps and attributes that fail are passed over") {
  const ScratchFolder scratch(L"stamp");
  scratch.MakeFile(L"a\\file", "text");
  const std::wstring file = scratch.MakeFile(L"b", "text");
  REQUIRE(::SetFileAttributesW(file.c_str(), 0x21));
  const FailCall attributes{"SetFileAttributesW", TestSupport::Calls::From(1), ERROR_ACCESS_DENIED};
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

TEST_CASE("32 levels are stamped") {
  const ScratchFolder scratch(L"stamp");
  std::wstring below;
  for (int level = 1; level <= 32; ++level) {
    below += (below.empty() ? L"" : L"\\") + std::to_wstring(level);
  }
  scratch.MakeFile(below + L"\\file", "text");
  const TestSupport::Lines events = StampsOf(scratch, scratch.Path());
  CHECK(events.size() == 34);
  CHECK(events.back() == "stamp \\" + TestSupport::ToUtf8(below) + "\\file");
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
  TestSupport::Lines events;
  {
    const OrCommonTests::PlainPathLimits limits;
    events = StampsOf(scratch, scratch.Path());
    CHECK(limits.Refused() == 0);
  }
  const std::string place = TestSupport::ToUtf8(L"\\\\?\\" + deep);
  REQUIRE(events.size() > 6);
  CHECK_LINES((TestSupport::Lines(events.end() - 6, events.end())),
              {"attributes 32 " + place + "\\a.", "stamp " + place + "\\a.", "attributes 32 " + place + "\\file",
               "stamp " + place + "\\file", "attributes 32 " + place + "\\nul.txt", "stamp " + place + "\\nul.txt"});
  int restartNeeded = 0;  // what the test has made is hard to delete
  CHECK(OrCommon::Storage::File::DeleteAllFiles(scratch.Path(), restartNeeded, nullptr));
}

}  // namespace
