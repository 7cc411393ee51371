// A destination that is read-only, hidden or system: Windows refuses to create such a file again, Wine does not.
#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/unit/install/FileCallTrace.h"

using namespace TestSupport;

namespace {

constexpr DWORD kProtecting[] = {FILE_ATTRIBUTE_READONLY, FILE_ATTRIBUTE_HIDDEN, FILE_ATTRIBUTE_SYSTEM};
constexpr DWORD kAllProtecting = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

// A copy over an older file. The destination's attributes are stored here, because Wine does not keep all.
// CREATE_ALWAYS over a protected file is refused, as on Windows.
class ProtectedCopy {
 public:
  explicit ProtectedCopy(DWORD attributes) : attributes_(attributes) {
    file.folder.MakeFile(L"destination.txt", "old", 1);
  }

  CopiedFile file{"new", 2};
  unsigned refused = 0;
  DWORD Attributes() const { return attributes_; }
  void Copy() {
    ImportRedirection create(
        "CreateFileW",
        [&](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD how, DWORD flags,
            HANDLE pattern) -> HANDLE {
          if (how == CREATE_ALWAYS && (attributes_ & (kAllProtecting | FILE_ATTRIBUTE_DIRECTORY)) != 0) {
            ++refused;
            ::SetLastError(ERROR_ACCESS_DENIED);
            return INVALID_HANDLE_VALUE;
          }
          return create.Original<decltype(&::CreateFileW)>()(path, access, share, security, how, flags, pattern);
        });
    ImportRedirection get("GetFileAttributesW", [&](LPCWSTR path) -> DWORD {
      return path == file.destination ? attributes_ : get.Original<decltype(&::GetFileAttributesW)>()(path);
    });
    ImportRedirection set("SetFileAttributesW", [&](LPCWSTR path, DWORD attributes) -> BOOL {
      CHECK(path == file.destination);
      ::SetLastError(attributesCanBeSet ? ERROR_INVALID_PARAMETER : ERROR_WRITE_PROTECT);
      attributes_ = attributesCanBeSet ? attributes : attributes_;
      return attributesCanBeSet ? TRUE : FALSE;
    });
    // Opened: the source, the destination for its time, the destination again, and once more.
    const FailCall open("CreateFileW", failing, failure);
    file.Copy();
  }
  Calls failing = Calls::None();
  DWORD failure = ERROR_ACCESS_DENIED;
  bool attributesCanBeSet = true;

 private:
  DWORD attributes_;
};

TEST_CASE("a destination that is read-only, hidden or system is replaced") {
  for (const DWORD attribute : kProtecting) {
    CAPTURE(attribute);
    ProtectedCopy copy(attribute | FILE_ATTRIBUTE_ARCHIVE);
    copy.Copy();
    CHECK(copy.file.copied);
    CHECK(copy.refused == 1);
    CHECK(copy.Attributes() == ::GetFileAttributesW(copy.file.source.c_str()));
    CHECK(FileContent(copy.file.destination) == "new");
    CHECK(SameTime(LastWriteOf(copy.file.destination), TimeOf(2)));
  }
}

TEST_CASE("only the protecting attributes are cleared, and creating the file is tried once more") {
  ProtectedCopy copy(kAllProtecting | FILE_ATTRIBUTE_ARCHIVE);
  copy.Copy();
  const Lines& calls = copy.file.calls;
  REQUIRE(calls.size() > 11);
  CHECK_LINES((Lines{calls.begin() + 7, calls.begin() + 11}),
              {"CreateFileW destination.txt anew for writing -> none", "GetFileAttributesW destination.txt",
               "SetFileAttributesW destination.txt 00000020", "CreateFileW destination.txt anew for writing -> 3"});
}

TEST_CASE("if the second attempt fails, too, the attributes are restored and its error is returned") {
  ProtectedCopy copy(kAllProtecting | FILE_ATTRIBUTE_ARCHIVE);
  copy.failing = Calls::Only(4);
  copy.failure = ERROR_SHARING_VIOLATION;
  copy.Copy();
  CHECK_FALSE(copy.file.copied);
  CHECK(copy.file.error == ERROR_SHARING_VIOLATION);
  CHECK(copy.Attributes() == (kAllProtecting | FILE_ATTRIBUTE_ARCHIVE));
  CHECK(FileContent(copy.file.destination) == "old");
}

struct Refusal {
  DWORD attributes;
  DWORD error = ERROR_ACCESS_DENIED;
  bool attributesCanBeSet = true;
};

TEST_CASE("if the attributes do not explain the refusal, or cannot be changed, there is no second attempt") {
  std::vector<Refusal> refusals = {{FILE_ATTRIBUTE_ARCHIVE},
                                   {INVALID_FILE_ATTRIBUTES},
                                   {FILE_ATTRIBUTE_READONLY, ERROR_ACCESS_DENIED, false},
                                   {FILE_ATTRIBUTE_READONLY, ERROR_SHARING_VIOLATION}};
  for (const DWORD attribute : kProtecting) {
    refusals.push_back({attribute | FILE_ATTRIBUTE_REPARSE_POINT});
    refusals.push_back({attribute | FILE_ATTRIBUTE_DIRECTORY});
  }
  for (const Refusal& refusal : refusals) {
    CAPTURE(refusal.attributes);
    ProtectedCopy copy(refusal.attributes);
    copy.failing = Calls::Only(3);
    copy.failure = refusal.error;
    copy.attributesCanBeSet = refusal.attributesCanBeSet;
    copy.Copy();
    CHECK_FALSE(copy.file.copied);
    CHECK(copy.file.error == refusal.error);
    CHECK(copy.Attributes() == refusal.attributes);
    CHECK(LinesWith(copy.file.calls, "SetFileAttributesW").size() == (refusal.attributesCanBeSet ? 0 : 1));
    CHECK(FileContent(copy.file.destination) == "old");
  }
}

}  // namespace
