// Closing the way to a folder: which folders, in which order, with which owner and list.
#include "Common/OrCommon/OrComn_FolderCloser.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/FolderLink.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/SecurityText.h"

using OrCommon::AccessControl::FolderCloser;
using OrCommonTests::FolderLink;
using namespace TestSupport;

namespace {

// "close <path below the folder>", in order, and what was set last.
class Closings {
 public:
  explicit Closings(const ScratchFolder& scratch) : root_(ToUtf8(scratch.Path())) {}

  const Lines& Events() const { return events_; }
  const Lines& Descriptor() const { return descriptor_; }
  SECURITY_INFORMATION Kind() const { return kind_; }
  const std::vector<DWORD>& Access() const { return access_; }
  const std::vector<DWORD>& Flags() const { return flags_; }

 private:
  std::string root_;
  std::map<HANDLE, std::string> open_;
  Lines events_;
  Lines descriptor_;
  SECURITY_INFORMATION kind_ = 0;
  std::vector<DWORD> access_;
  std::vector<DWORD> flags_;
  AfterCall create_{
      "CreateFileW", &::CreateFileW,
      [this](HANDLE file, LPCWSTR path, DWORD rights, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD options, HANDLE) {
        const std::string text = ToUtf8(path);
        open_[file] = text.compare(0, root_.size(), root_) == 0 ? text.substr(root_.size()) : text;
        access_.push_back(rights);
        flags_.push_back(options);
      }};
  OnCall set_{"SetKernelObjectSecurity", &::SetKernelObjectSecurity,
              [this](HANDLE object, SECURITY_INFORMATION kind, PSECURITY_DESCRIPTOR descriptor) {
                events_.push_back("close " + open_[object]);
                kind_ = kind;
                descriptor_ = OrCommonTests::LinesOf(static_cast<const void*>(descriptor));
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
  CHECK(closings.Access() ==
        std::vector<DWORD>{READ_CONTROL | WRITE_DAC | WRITE_OWNER | FILE_READ_ATTRIBUTES, FILE_READ_ATTRIBUTES});
  CHECK(closings.Flags() == std::vector<DWORD>(2, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT |
                                                      SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION));
}

TEST_CASE("what lies elsewhere, or has no root, may be deleted as it is; a missing folder cannot be closed") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFile(L"maker2\\file", "text");
  const CountCalls opened{"CreateFileW"};
  CHECK(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker2\\file")));
  CHECK(FolderCloser(L"").Close(scratch.Path(L"maker2\\file")));
  CHECK(opened.Calls() == 0);
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
                                  facts->dwFileAttributes = ++asked == 4 ? attributes : FILE_ATTRIBUTE_DIRECTORY;
                                  return TRUE;
                                }};
    const Closings closings(scratch);
    FolderCloser closer(scratch.Path(L"maker"));
    CHECK_FALSE(closer.Close(scratch.Path(L"maker\\a\\b\\file")));
    CHECK_LINES(closings.Events(), {"close \\maker"});
    CHECK_FALSE(closer.Close(scratch.Path(L"maker\\a\\b")));  // known by now
    CHECK(asked == 4);
  }
}

TEST_CASE("what proves another folder, a link or a file once it is closed: nothing below it may wait") {
  struct Change {
    unsigned answer;  // to which question
    DWORD BY_HANDLE_FILE_INFORMATION::*fact;
    DWORD value;
  };
  using Facts = BY_HANDLE_FILE_INFORMATION;
  constexpr DWORD kLink = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  for (const Change& change :
       {Change{2, &Facts::dwFileAttributes, kLink}, Change{2, &Facts::dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE},
        Change{3, &Facts::dwFileAttributes, kLink}, Change{3, &Facts::dwVolumeSerialNumber, 4711},
        Change{3, &Facts::nFileIndexHigh, 4711}, Change{3, &Facts::nFileIndexLow, 4711}}) {
    CAPTURE(change.answer);
    CAPTURE(change.value);
    const ScratchFolder scratch(L"closing");
    scratch.MakeFile(L"maker\\a\\file", "text");
    unsigned asked = 0;
    const ImportRedirection ask{"GetFileInformationByHandle", [&](HANDLE file, Facts* facts) -> BOOL {
                                  const BOOL done =
                                      ask.Original<decltype(&::GetFileInformationByHandle)>()(file, facts);
                                  if (++asked == change.answer) {
                                    facts->*change.fact = change.value;
                                  }
                                  return done;
                                }};
    const Closings closings(scratch);
    CHECK_FALSE(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker\\a\\file")));
    CHECK_LINES(closings.Events(), {"close \\maker"});
    CHECK(asked == change.answer);
  }
}

// A disk on which each folder is there and can be closed.
class AnyFolder {
 public:
  unsigned Closed() const { return closed_; }

 private:
  unsigned closed_ = 0;
  ImportRedirection create_{
      "CreateFileW",
      [this](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) -> HANDLE { return this; }};
  ImportRedirection ask_{"GetFileInformationByHandle", [](HANDLE, BY_HANDLE_FILE_INFORMATION* facts) -> BOOL {
                           facts->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
                           return TRUE;
                         }};
  ImportRedirection get_{"GetFileAttributesW", [](LPCWSTR) -> DWORD { return FILE_ATTRIBUTE_DIRECTORY; }};
  ImportRedirection set_{"SetKernelObjectSecurity", [this](HANDLE, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR) -> BOOL {
                           ++closed_;
                           return TRUE;
                         }};
  ImportRedirection close_{"CloseHandle", [](HANDLE) -> BOOL { return TRUE; }};
};

TEST_CASE("thousands of folders in one another are closed once each, and only the last way is kept") {
  constexpr std::size_t kDepth = 2000;
  const std::wstring root = L"C:\\maker";
  long long kept = 0;
  unsigned closed = 0;
  bool succeeded = true;
  {
    const AnyFolder disk;
    FolderCloser closer(root);
    const long long before = OrCommonTests::LiveBlocks();
    for (const wchar_t* const name : {L"\\a", L"\\b"}) {
      std::wstring path = root;
      for (std::size_t level = 0; level < kDepth; ++level) {
        path += name;
      }
      for (; path.size() > root.size(); path.resize(path.size() - 2)) {  // as a walk leaves them
        succeeded = closer.Close(path) && succeeded;
      }
    }
    kept = OrCommonTests::LiveBlocks() - before;
    closed = disk.Closed();
  }
  CHECK(succeeded);
  CHECK(closed == 1 + 2 * kDepth);
  CHECK(kept <= 1);
}

TEST_CASE("each call that fails leaves the entry unmade, and no handle open") {
  struct Failure {
    const char* call;
    unsigned number;
    unsigned opened;  // handles by then
  };
  for (const Failure& failing :
       {Failure{"CreateFileW", 1, 0}, Failure{"GetFileInformationByHandle", 1, 1},
        Failure{"InitializeSecurityDescriptor", 1, 1}, Failure{"SetSecurityDescriptorOwner", 1, 1},
        Failure{"SetSecurityDescriptorDacl", 1, 1}, Failure{"SetSecurityDescriptorControl", 1, 1},
        Failure{"SetKernelObjectSecurity", 1, 1}, Failure{"GetFileInformationByHandle", 2, 1},
        Failure{"CreateFileW", 2, 1}, Failure{"GetFileInformationByHandle", 3, 2}}) {
    CAPTURE(failing.call);
    CAPTURE(failing.number);
    const ScratchFolder scratch(L"closing");
    scratch.MakeFolder(L"maker");
    FolderCloser closer(scratch.Path(L"maker"));
    const CountCalls closes{"CloseHandle"};
    const FailCall fail{failing.call, failing.number, ERROR_ACCESS_DENIED};
    CHECK_FALSE(closer.Close(scratch.Path(L"maker\\a")));
    CHECK(fail.Failed() == 1);
    CHECK(closes.Calls() == failing.opened);
  }
}

}  // namespace
