// A destination that is read-only, hidden or system: Windows refuses to make such a file anew, Wine does not.
#include <doctest/doctest.h>

#include <vector>

#include "install/FileCopy.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/unit/install/FileCallTrace.h"
#include "tests/support/ScratchFolder.h"

using namespace TestSupport;
using VELAUtility::CopyFileKeepingTimes;

namespace {

constexpr DWORD kProtecting[] = {FILE_ATTRIBUTE_READONLY, FILE_ATTRIBUTE_HIDDEN, FILE_ATTRIBUTE_SYSTEM};
constexpr DWORD kAllProtecting = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

// Files have the attributes that the product gives them, kept here since Wine keeps not all; CREATE_ALWAYS over one
// that is protected is refused as Windows refuses it.
class WindowsFiles {
 public:
  explicit WindowsFiles(const std::wstring& protectedFile, DWORD attributes)
      : file_(protectedFile), attributes_(attributes) {}

  DWORD Attributes() const { return attributes_; }
  unsigned Refused() const { return refused_; }

 private:
  bool Concerns(LPCWSTR path) const { return file_ == path; }

  std::wstring file_;
  DWORD attributes_;
  unsigned refused_ = 0;
  ImportRedirection create_{"CreateFileW",
                            [this](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                   DWORD disposition, DWORD flags, HANDLE pattern) -> HANDLE {
                              if (Concerns(path) && disposition == CREATE_ALWAYS &&
                                  (attributes_ & (kAllProtecting | FILE_ATTRIBUTE_DIRECTORY)) != 0) {
                                ++refused_;
                                ::SetLastError(ERROR_ACCESS_DENIED);
                                return INVALID_HANDLE_VALUE;
                              }
                              return create_.Original<decltype(&::CreateFileW)>()(path, access, share, security,
                                                                                  disposition, flags, pattern);
                            }};
  ImportRedirection get_{"GetFileAttributesW", [this](LPCWSTR path) -> DWORD {
                           return Concerns(path) ? attributes_ : get_.Original<decltype(&::GetFileAttributesW)>()(path);
                         }};
  ImportRedirection set_{"SetFileAttributesW", [this](LPCWSTR path, DWORD attributes) -> BOOL {
                           if (!Concerns(path)) {
                             return set_.Original<decltype(&::SetFileAttributesW)>()(path, attributes);
                           }
                           attributes_ = attributes;
                           return TRUE;
                         }};
};

struct Protected {
  ScratchFolder folder{L"Protected"};
  std::wstring source = folder.MakeFile(L"source.txt", "new", 2);
  std::wstring destination = folder.MakeFile(L"destination.txt", "old", 1);
};

TEST_CASE("a destination that is read-only, hidden or system is replaced") {
  for (const DWORD attribute : kProtecting) {
    CAPTURE(attribute);
    const Protected files;
    bool copied = false;
    unsigned refused = 0;
    DWORD attributes = 0;
    {
      const WindowsFiles windows(files.destination, attribute | FILE_ATTRIBUTE_ARCHIVE);
      copied = CopyFileKeepingTimes(files.source, files.destination);
      refused = windows.Refused();
      attributes = windows.Attributes();
    }
    CHECK(copied);
    CHECK(refused == 1);
    CHECK(attributes == ::GetFileAttributesW(files.source.c_str()));
    CHECK(FileContent(files.destination) == "new");
    CHECK(SameTime(LastWriteOf(files.destination), TimeOf(2)));
  }
}

TEST_CASE("only what stands in the way is taken off, and the file is made anew once more") {
  const Protected files;
  Lines calls;
  {
    const WindowsFiles windows(files.destination, kAllProtecting | FILE_ATTRIBUTE_ARCHIVE);
    const FileCallTrace trace;
    CopyFileKeepingTimes(files.source, files.destination);
    calls = trace.Calls();
  }
  REQUIRE(calls.size() > 11);
  CHECK_LINES((Lines{calls.begin() + 7, calls.begin() + 11}),
              {"CreateFileW destination.txt anew for writing -> none", "GetFileAttributesW destination.txt",
               "SetFileAttributesW destination.txt 00000020", "CreateFileW destination.txt anew for writing -> 3"});
}

TEST_CASE("where the file is refused all the same it gets its attributes back, and the second error is told") {
  const Protected files;
  bool copied = true;
  DWORD error = 0;
  DWORD attributes = 0;
  {
    const WindowsFiles windows(files.destination, kAllProtecting | FILE_ATTRIBUTE_ARCHIVE);
    // Opened: the source, the destination for its time, the destination anew, and once more.
    const FailCall second("CreateFileW", 4, ERROR_SHARING_VIOLATION);
    const ImportRedirection put("SetFileAttributesW", [&](LPCWSTR path, DWORD wanted) -> BOOL {
      const BOOL done = put.Original<decltype(&::SetFileAttributesW)>()(path, wanted);
      ::SetLastError(ERROR_INVALID_PARAMETER);
      return done;
    });
    copied = CopyFileKeepingTimes(files.source, files.destination, &error);
    attributes = windows.Attributes();
    CHECK(second.Failed() == 1);
  }
  CHECK_FALSE(copied);
  CHECK(error == ERROR_SHARING_VIOLATION);
  CHECK(attributes == (kAllProtecting | FILE_ATTRIBUTE_ARCHIVE));
  CHECK(FileContent(files.destination) == "old");
}

// A refusal that no attribute explains, or that is not to be got round: the file is asked for once, nothing is changed,
// and the error is that of the refusal.
void CheckLeftAlone(DWORD attributes, bool attributesCanBeSet = true) {
  CAPTURE(attributes);
  const Protected files;
  bool copied = true;
  DWORD error = 0;
  DWORD left = 0;
  Lines calls;
  {
    const WindowsFiles windows(files.destination, attributes);
    const FailCall create("CreateFileW", Calls::Only(3), ERROR_ACCESS_DENIED);
    const FailCall set("SetFileAttributesW", attributesCanBeSet ? Calls::None() : Calls::From(1), ERROR_WRITE_PROTECT);
    const FileCallTrace trace;
    copied = CopyFileKeepingTimes(files.source, files.destination, &error);
    left = windows.Attributes();
    calls = LinesWith(trace.Calls(), "SetFileAttributesW");
  }
  CHECK_FALSE(copied);
  CHECK(error == ERROR_ACCESS_DENIED);
  CHECK(left == attributes);
  CHECK(calls.size() == (attributesCanBeSet ? 0U : 1U));
  CHECK(FileContent(files.destination) == "old");
}

TEST_CASE(
    "a refusal for another reason is left at that: a plain file, a folder, a link, one that cannot be looked at") {
  CheckLeftAlone(FILE_ATTRIBUTE_ARCHIVE);
  CheckLeftAlone(INVALID_FILE_ATTRIBUTES);
  for (const DWORD attribute : kProtecting) {
    CheckLeftAlone(attribute | FILE_ATTRIBUTE_REPARSE_POINT);
    CheckLeftAlone(attribute | FILE_ATTRIBUTE_DIRECTORY);
  }
}

TEST_CASE("attributes that cannot be taken off: the error of the refusal") {
  CheckLeftAlone(FILE_ATTRIBUTE_READONLY, false);
}

TEST_CASE("another error than access denied is no matter of attributes") {
  const Protected files;
  DWORD error = 0;
  Lines calls;
  {
    const WindowsFiles windows(files.destination, FILE_ATTRIBUTE_READONLY);
    const FailCall create("CreateFileW", 3, ERROR_SHARING_VIOLATION);
    const FileCallTrace trace;
    CHECK_FALSE(CopyFileKeepingTimes(files.source, files.destination, &error));
    calls = trace.Calls();
  }
  CHECK(error == ERROR_SHARING_VIOLATION);
  CHECK_LINES(LinesWith(calls, "SetFileAttributesW"), {});
}

}  // namespace
