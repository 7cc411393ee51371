// Closing the way to a folder: which folders, in which order, with which owner and list.
#include "Common/OrCommon/OrComn_FolderCloser.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <map>
#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/FolderLink.h"
#include "tests/unit/OrCommon/SecurityText.h"
#include "tests/unit/install/ScratchFolder.h"

using OrCommon::AccessControl::FolderCloser;
using OrCommonTests::FolderLink;
using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::Lines;
using TestSupport::ScratchFolder;
using TestSupport::ToUtf8;

namespace {

// "close <path below the folder>", in order, and what was set last.
class Closings {
 public:
  explicit Closings(const ScratchFolder& scratch) : root_(ToUtf8(scratch.Path())) {}

  const Lines& Events() const { return events_; }
  const Lines& Descriptor() const { return descriptor_; }
  SECURITY_INFORMATION Kind() const { return kind_; }
  DWORD Access() const { return access_; }
  DWORD Flags() const { return flags_; }

 private:
  std::string root_;
  std::map<HANDLE, std::string> open_;
  Lines events_;
  Lines descriptor_;
  SECURITY_INFORMATION kind_ = 0;
  DWORD access_ = 0;
  DWORD flags_ = 0;
  ImportRedirection create_{"CreateFileW",
                            [this](LPCWSTR path, DWORD rights, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD how,
                                   DWORD options, HANDLE pattern) -> HANDLE {
                              const HANDLE file = create_.Original<decltype(&::CreateFileW)>()(
                                  path, rights, sharing, security, how, options, pattern);
                              const std::string text = ToUtf8(path);
                              open_[file] =
                                  text.compare(0, root_.size(), root_) == 0 ? text.substr(root_.size()) : text;
                              access_ = rights;
                              flags_ = options;
                              return file;
                            }};
  ImportRedirection set_{"SetKernelObjectSecurity",
                         [this](HANDLE object, SECURITY_INFORMATION kind, PSECURITY_DESCRIPTOR descriptor) -> BOOL {
                           events_.push_back("close " + open_[object]);
                           kind_ = kind;
                           descriptor_ = OrCommonTests::LinesOf(static_cast<const void*>(descriptor));
                           return set_.Original<decltype(&::SetKernelObjectSecurity)>()(object, kind, descriptor);
                         }};
};

TEST_CASE("from the top down, the folder itself last, and each once") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFile(L"maker\\a\\b\\file", "text");
  scratch.MakeFile(L"maker\\a\\c\\file", "text");
  scratch.MakeFile(L"maker\\other\\file", "text");
  const Closings closings(scratch);
  FolderCloser closer(scratch.Path(L"maker"));
  CHECK(closer.Close(scratch.Path(L"maker\\a\\b\\file")));
  CHECK_LINES(closings.Events(), {"close \\maker", "close \\maker\\a", "close \\maker\\a\\b"});
  CHECK(closer.Close(scratch.Path(L"maker\\a\\b")));
  CHECK(closer.Close(scratch.Path(L"maker\\a\\c")));
  CHECK(closer.Close(scratch.Path(L"maker")));
  CHECK_LINES(closings.Events(), {"close \\maker", "close \\maker\\a", "close \\maker\\a\\b", "close \\maker\\a\\c"});
}

TEST_CASE("the administrators own it, a protected list names them and the system, and the entry is not followed") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFolder(L"maker");
  const Closings closings(scratch);
  CHECK(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker\\gone")));
  CHECK_LINES(closings.Descriptor(),
              {"absolute, revision 1, list present, protected, owner S-1-5-32-544",
               "allow 0x001f01ff flags 0x03 S-1-5-18", "allow 0x001f01ff flags 0x03 S-1-5-32-544"});
  CHECK(closings.Kind() ==
        (OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION));
  CHECK(closings.Access() == (READ_CONTROL | WRITE_DAC | WRITE_OWNER | FILE_READ_ATTRIBUTES));
  CHECK(closings.Flags() == (FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT));
}

TEST_CASE("what lies elsewhere, or has no root, may be deleted as it is") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFile(L"maker2\\file", "text");
  const CountCalls opened{"CreateFileW"};
  CHECK(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker2\\file")));
  CHECK(FolderCloser(L"").Close(scratch.Path(L"maker2\\file")));
  CHECK(opened.Calls() == 0);
}

TEST_CASE("a folder that is missing cannot be closed, nor the way below it") {
  const ScratchFolder scratch(L"closing");
  const Closings closings(scratch);
  CHECK_FALSE(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker\\a")));
  CHECK_LINES(closings.Events(), {});
}

TEST_CASE("a link in the entry's own place is what will be deleted: the way to it is closed") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFolder(L"maker");
  scratch.MakeFolder(L"target");
  const FolderLink link(scratch.Path(L"maker\\link"), scratch.Path(L"target"));
  const Closings closings(scratch);
  CHECK(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker\\link")));
  CHECK_LINES(closings.Events(), {"close \\maker"});
}

TEST_CASE("what was opened proves to be a link, or a file: it is not closed, and nothing below it") {
  for (const DWORD attributes :
       {DWORD{FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT}, DWORD{FILE_ATTRIBUTE_ARCHIVE}}) {
    const ScratchFolder scratch(L"closing");
    scratch.MakeFile(L"maker\\a\\b\\file", "text");
    unsigned asked = 0;
    const ImportRedirection ask{"GetFileInformationByHandle", [&](HANDLE, BY_HANDLE_FILE_INFORMATION* facts) -> BOOL {
                                  facts->dwFileAttributes = ++asked == 2 ? attributes : FILE_ATTRIBUTE_DIRECTORY;
                                  return TRUE;
                                }};
    const Closings closings(scratch);
    FolderCloser closer(scratch.Path(L"maker"));
    CHECK_FALSE(closer.Close(scratch.Path(L"maker\\a\\b\\file")));
    CHECK_LINES(closings.Events(), {"close \\maker"});
    CHECK_FALSE(closer.Close(scratch.Path(L"maker\\a\\b")));  // known by now
    CHECK(asked == 2);
  }
}

TEST_CASE("each call that fails leaves the entry unmade, and no handle open") {
  for (const char* const failing :
       {"CreateFileW", "GetFileInformationByHandle", "InitializeSecurityDescriptor", "SetSecurityDescriptorOwner",
        "SetSecurityDescriptorDacl", "SetSecurityDescriptorControl", "SetKernelObjectSecurity"}) {
    CAPTURE(failing);
    const ScratchFolder scratch(L"closing");
    scratch.MakeFolder(L"maker");
    FolderCloser closer(scratch.Path(L"maker"));
    const CountCalls closes{"CloseHandle"};
    const FailCall fail{failing, 1, ERROR_ACCESS_DENIED};
    CHECK_FALSE(closer.Close(scratch.Path(L"maker\\a")));
    CHECK(fail.Failed() == 1);
    CHECK(closes.Calls() == (std::string(failing) == "CreateFileW" ? 0 : 1));
  }
}

}  // namespace
