// Protecting the path to a folder: which folders, in which order, with which owner and access control list.
#include "Common/OrCommon/OrComn_FolderCloser.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <map>
#include <string>

#include "Common/OrCommon/OrComn_Handles.h"
#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/FolderLink.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/SecurityText.h"

using OrCommon::AccessControl::FolderCloser;
using TestSupport::FolderLink;
using namespace TestSupport;

namespace {

// What is opened, "<path below the folder> <access> <flags>", and what is closed, in order.
struct Closings {
  explicit Closings(const ScratchFolder& scratch) : root(scratch.Path().size()) {}

  Lines opened;
  Lines closed;
  std::string set;  // last, "<kind> <descriptor>"

  std::size_t root;
  std::map<HANDLE, std::string> names;
  AfterCall create{
      "CreateFileW", &::CreateFileW,
      [this](HANDLE file, LPCWSTR path, DWORD access, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD flags, HANDLE) {
        names[file] = ToUtf8(path).substr(root);
        opened.push_back(names[file] + " " + std::to_string(access) + " " + std::to_string(flags));
      }};
  OnCall setSecurity{"SetKernelObjectSecurity", &::SetKernelObjectSecurity,
                     [this](HANDLE object, SECURITY_INFORMATION kind, PSECURITY_DESCRIPTOR descriptor) {
                       closed.push_back(names[object]);
                       set = std::to_string(kind) + " " + OrCommonTests::TextOf(descriptor);
                     }};
};

TEST_CASE("folders are protected from the top down, the innermost last, and each only once") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFile(L"maker\\a\\b\\file", "text");
  scratch.MakeFile(L"maker\\a\\c\\file", "text");
  scratch.MakeFile(L"maker\\other\\file", "text");
  const Closings closings(scratch);
  FolderCloser closer(scratch.Path(L"maker"));
  CHECK(closer.Close(scratch.Path(L"maker\\a\\b\\file")));
  CHECK_LINES(closings.closed, {"\\maker", "\\maker\\a", "\\maker\\a\\b"});
  for (const wchar_t* const more : {L"maker\\a\\b", L"maker\\a\\c", L"maker"}) {
    CHECK(closer.Close(scratch.Path(more)));
  }
  CHECK_LINES(closings.closed, {"\\maker", "\\maker\\a", "\\maker\\a\\b", "\\maker\\a\\c"});
}

TEST_CASE("the root alone is protected once; a root that is missing needs no protection") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFolder(L"maker");
  const Closings closings(scratch);
  CHECK(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker")));
  CHECK_LINES(closings.closed, {"\\maker"});
  CHECK(FolderCloser(scratch.Path(L"none")).Close(scratch.Path(L"none")));
}

TEST_CASE("below a folder that could not be protected, nothing is protected and nothing may be scheduled") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFile(L"maker\\a\\b\\c\\file", "text");
  const Closings closings(scratch);
  FolderCloser closer(scratch.Path(L"maker"));
  {
    const FailCall fail("SetKernelObjectSecurity", 2, ERROR_ACCESS_DENIED);
    CHECK_FALSE(closer.Close(scratch.Path(L"maker\\a\\b\\c\\file")));
  }
  CHECK_FALSE(closer.Close(scratch.Path(L"maker\\a\\b\\c\\file")));
  CHECK_LINES(closings.closed, {"\\maker"});
}

TEST_CASE("a folder that another program reads, writes or deletes can be protected") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFolder(L"maker");
  for (const DWORD access : {DWORD{GENERIC_READ}, DWORD{GENERIC_WRITE}, DWORD{DELETE}}) {
    CAPTURE(access);
    const OrCommon::FileHandle user(::CreateFileW(scratch.Path(L"maker").c_str(), access,
                                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    REQUIRE(user);
    CHECK(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker\\gone")));
  }
}

TEST_CASE("only administrators (the owners) and the system have access to a protected folder; no link is followed") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFolder(L"maker");
  const Closings closings(scratch);
  CHECK(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker\\gone")));
  constexpr DWORD kKind = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;
  CHECK(closings.set == std::to_string(kKind) + " 1004 O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)");
  const auto opened = [](DWORD access) {
    constexpr DWORD kFlags = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT | SECURITY_SQOS_PRESENT;
    return "\\maker " + std::to_string(access) + " " + std::to_string(kFlags | SECURITY_IDENTIFICATION);
  };
  CHECK_LINES(closings.opened,
              {opened(READ_CONTROL | WRITE_DAC | WRITE_OWNER | FILE_READ_ATTRIBUTES), opened(FILE_READ_ATTRIBUTES)});
}

TEST_CASE("a path outside the root, or without a root, needs no protection; a missing folder cannot be protected") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFile(L"maker2\\file", "text");
  const CountCalls opened{"CreateFileW"};
  CHECK(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker2\\file")));
  CHECK(FolderCloser(L"").Close(scratch.Path(L"maker2\\file")));
  CHECK(opened.Calls() == 0);
  const CountCalls closed{"SetKernelObjectSecurity"};
  CHECK_FALSE(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker\\a")));
  CHECK(closed.Calls() == 0);
}

TEST_CASE("if the entry itself is a link, it is the link that will be deleted: the path to it is protected") {
  const ScratchFolder scratch(L"closing");
  scratch.MakeFolder(L"maker");
  scratch.MakeFolder(L"target");
  const FolderLink link(scratch.Path(L"maker\\link"), scratch.Path(L"target"));
  const Closings closings(scratch);
  CHECK(FolderCloser(scratch.Path(L"maker")).Close(scratch.Path(L"maker\\link")));
  CHECK_LINES(closings.closed, {"\\maker"});
}

TEST_CASE("if a folder of the path becomes a link, a file or another folder, nothing below it may be scheduled") {
  using Facts = BY_HANDLE_FILE_INFORMATION;
  struct Change {
    unsigned answer;  // the number of the query whose answer is changed
    DWORD Facts::*fact;
    DWORD value;
  };
  constexpr DWORD kLink = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  for (const Change& change :
       {Change{2, &Facts::dwFileAttributes, kLink}, Change{2, &Facts::dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE},
        Change{3, &Facts::dwFileAttributes, kLink}, Change{3, &Facts::dwVolumeSerialNumber, 4711},
        Change{3, &Facts::nFileIndexHigh, 4711}, Change{3, &Facts::nFileIndexLow, 4711},
        Change{4, &Facts::dwFileAttributes, kLink}, Change{4, &Facts::dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE}}) {
    CAPTURE(change.answer);
    CAPTURE(change.value);
    const ScratchFolder scratch(L"closing");
    scratch.MakeFile(L"maker\\a\\b\\file", "text");
    unsigned asked = 0;
    const AfterCall ask{"GetFileInformationByHandle", &::GetFileInformationByHandle, [&](BOOL, HANDLE, Facts* facts) {
                          if (++asked == change.answer) {
                            facts->*change.fact = change.value;
                          }
                        }};
    const Closings closings(scratch);
    FolderCloser closer(scratch.Path(L"maker"));
    CHECK_FALSE(closer.Close(scratch.Path(L"maker\\a\\b\\file")));
    CHECK_FALSE(closer.Close(scratch.Path(change.answer == 4 ? L"maker\\a\\b" : L"maker")));  // known by then
    CHECK_LINES(closings.closed, {"\\maker"});
    CHECK(asked == change.answer);
  }
}

// A disk on which each folder exists and can be protected.
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

TEST_CASE("thousands of nested folders are protected once each, and only the last path is kept in memory") {
  constexpr std::size_t kDepth = 2000;
  const std::wstring root = L"C:\\maker";
  long long kept = 0;
  unsigned closed = 0;
  bool succeeded = true;
  {
    const AnyFolder disk;
    FolderCloser closer(root);
    const long long before = LiveBlocks();
    for (const wchar_t* const name : {L"\\a", L"\\b"}) {
      std::wstring path = root;
      for (std::size_t level = 0; level < kDepth; ++level) {
        path += name;
      }
      for (; path.size() > root.size(); path.resize(path.size() - 2)) {  // as a walk leaves them
        succeeded = closer.Close(path) && succeeded;
      }
    }
    kept = LiveBlocks() - before;
    closed = disk.Closed();
  }
  CHECK(succeeded);
  CHECK(closed == 1 + 2 * kDepth);
  CHECK(kept <= 1);
}

TEST_CASE("if a call fails, the folder does not count as protected, and no handle stays open") {
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
    CAPTURE(std::string(failing.call));
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
