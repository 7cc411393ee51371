// What emptying a folder reports.
#include <doctest/doctest.h>

#include <windows.h>

#include <map>
#include <string>

#include "Common/OrCommon/OrComn_File.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"
#include "tests/unit/install/ScratchFolder.h"

using OrCommon::Storage::File::DeleteAllFiles;
using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::FileSnapshot;
using TestSupport::ImportRedirection;
using TestSupport::ScratchFolder;

namespace {

TestSupport::Lines ListOf(const std::wstring& folder) {
  FileSnapshot snapshot;
  snapshot.Add(folder);
  return snapshot.AsLines();
}

// Folders that cannot be listed, and the error of each. Counts how many searches were opened and closed.
class UnlistableFolders {
 public:
  explicit UnlistableFolders(std::map<std::wstring, DWORD> errors) : errors_(std::move(errors)) {}
  int Open() const { return open_; }
  const TestSupport::Lines& Listed() const { return listed_; }

 private:
  std::map<std::wstring, DWORD> errors_;
  int open_ = 0;
  TestSupport::Lines listed_;
  ImportRedirection first_{"FindFirstFileW", [this](LPCWSTR pattern, WIN32_FIND_DATAW* entry) -> HANDLE {
                             listed_.push_back(TestSupport::ToUtf8(pattern));
                             const auto failing = errors_.find(pattern);
                             if (failing != errors_.end()) {
                               ::SetLastError(failing->second);
                               return INVALID_HANDLE_VALUE;
                             }
                             ++open_;
                             return first_.Original<decltype(&::FindFirstFileW)>()(pattern, entry);
                           }};
  ImportRedirection close_{"FindClose", [this](HANDLE search) -> BOOL {
                             --open_;
                             return close_.Original<decltype(&::FindClose)>()(search);
                           }};
};

TEST_CASE("an empty path is a bad argument and deletes nothing") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFile(L"file", "text");
  const CountCalls listings{"FindFirstFileW"};
  const CountCalls removals{"DeleteFileW"};
  wchar_t before[MAX_PATH] = {};
  ::GetCurrentDirectoryW(MAX_PATH, before);
  REQUIRE(::SetCurrentDirectoryW(scratch.Path().c_str()));  // where an empty path would lead
  int restartNeeded = 0;
  DWORD error = 4711;
  CHECK_FALSE(DeleteAllFiles(L"", restartNeeded, &error));
  CHECK(error == 160);
  CHECK(restartNeeded == 0);
  CHECK(listings.Calls() == 0);
  CHECK(removals.Calls() == 0);
  ::SetCurrentDirectoryW(before);
  CHECK_LINES(ListOf(scratch.Path()), {"file 4 bytes"});
}

TEST_CASE("a folder that is not there gives the error of the listing") {
  const ScratchFolder scratch(L"removal errors");
  int restartNeeded = 0;
  DWORD error = 4711;
  CHECK_FALSE(DeleteAllFiles(scratch.Path(L"missing"), restartNeeded, &error));
  CHECK(error == ERROR_PATH_NOT_FOUND);
  CHECK(restartNeeded == 0);
}

TEST_CASE("a file in the place of the folder is not deleted") {
  const ScratchFolder scratch(L"removal errors");
  const std::wstring file = scratch.MakeFile(L"file", "text");
  int restartNeeded = 0;
  DWORD error = 0;
  CHECK_FALSE(DeleteAllFiles(file, restartNeeded, &error));
  CHECK(error != 0);  // ERROR_DIRECTORY on Windows, ERROR_INVALID_NAME here
  CHECK(TestSupport::FileContent(file) == "text");
}

TEST_CASE("the pattern is the folder, one backslash and a star") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFolder(L"a\\b");
  TestSupport::Lines listed;
  {
    const UnlistableFolders folders{{}};
    int restartNeeded = 0;
    DeleteAllFiles(scratch.Path() + L"\\", restartNeeded, nullptr);
    listed = folders.Listed();
  }
  const std::string root = TestSupport::ToUtf8(scratch.Path());
  CHECK_LINES(listed, {root + "\\*", root + "\\a\\*", root + "\\a\\b\\*"});
}

TEST_CASE("the folder's own listing fails: its error, nothing deleted") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFile(L"file", "text");
  int restartNeeded = 0;
  DWORD error = 4711;
  bool succeeded = true;
  {
    const FailCall listing{"FindFirstFileW", 1, ERROR_ACCESS_DENIED};
    succeeded = DeleteAllFiles(scratch.Path(), restartNeeded, &error);
  }
  CHECK_FALSE(succeeded);
  CHECK(error == ERROR_ACCESS_DENIED);
  CHECK(restartNeeded == 0);
  CHECK_LINES(ListOf(scratch.Path()), {"file 4 bytes"});
}

// Entries are listed in alphabetical order.
TEST_CASE("a folder below that cannot be listed: all else goes, its error stays, every search is closed") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFile(L"a\\file", "text");
  scratch.MakeFile(L"b\\c\\kept", "text");
  scratch.MakeFile(L"b\\file", "text");
  scratch.MakeFile(L"file", "text");
  int restartNeeded = 0;
  DWORD error = 4711;
  bool succeeded = true;
  int open = -1;
  {
    const UnlistableFolders folders({{scratch.Path(L"b\\c\\*"), ERROR_SHARING_VIOLATION}});
    succeeded = DeleteAllFiles(scratch.Path(), restartNeeded, &error);
    open = folders.Open();
  }
  CHECK_FALSE(succeeded);
  CHECK(error == ERROR_SHARING_VIOLATION);
  CHECK(restartNeeded == 1);  // the folders are not empty
  CHECK(open == 0);
  CHECK_LINES(ListOf(scratch.Path()), {"b\\", "b\\c\\", "b\\c\\kept 4 bytes"});
}

TEST_CASE("an empty folder that cannot be listed is removed, and still counts as a failure") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFolder(L"a");
  int restartNeeded = 0;
  DWORD error = 4711;
  bool succeeded = true;
  {
    const UnlistableFolders folders({{scratch.Path(L"a\\*"), ERROR_ACCESS_DENIED}});
    succeeded = DeleteAllFiles(scratch.Path(), restartNeeded, &error);
  }
  CHECK_FALSE(succeeded);
  CHECK(error == ERROR_ACCESS_DENIED);
  CHECK(restartNeeded == 0);
  CHECK_LINES(ListOf(scratch.Path()), {});
}

TEST_CASE("of two folders that cannot be listed the last one's error is given") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFolder(L"a");
  scratch.MakeFolder(L"b");
  int restartNeeded = 0;
  DWORD error = 4711;
  bool succeeded = true;
  {
    const UnlistableFolders folders(
        {{scratch.Path(L"a\\*"), ERROR_ACCESS_DENIED}, {scratch.Path(L"b\\*"), ERROR_SHARING_VIOLATION}});
    succeeded = DeleteAllFiles(scratch.Path(), restartNeeded, &error);
  }
  CHECK_FALSE(succeeded);
  CHECK(error == ERROR_SHARING_VIOLATION);
}

TEST_CASE("a later folder that succeeds clears the code; the result stays a failure") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFolder(L"a");
  scratch.MakeFolder(L"b");
  int restartNeeded = 0;
  DWORD error = 4711;
  bool succeeded = true;
  {
    const UnlistableFolders folders({{scratch.Path(L"a\\*"), ERROR_ACCESS_DENIED}});
    succeeded = DeleteAllFiles(scratch.Path(), restartNeeded, &error);
  }
  CHECK_FALSE(succeeded);
  CHECK(error == 0);
}

TEST_CASE("removals that fail leave no error code behind") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFile(L"a\\file", "text");
  int restartNeeded = 0;
  DWORD error = 4711;
  bool succeeded = false;
  {
    const FailCall deletion{"DeleteFileW", 1, ERROR_ACCESS_DENIED};
    const FailCall removal{"RemoveDirectoryW", 1, ERROR_DIR_NOT_EMPTY};
    const FailCall move{"MoveFileExW", TestSupport::Calls::From(1), ERROR_ACCESS_DENIED};
    succeeded = DeleteAllFiles(scratch.Path(), restartNeeded, &error);
  }
  CHECK(succeeded);
  CHECK(error == 0);
  CHECK(restartNeeded == 1);
}

TEST_CASE("a file whose attributes cannot be read or changed is removed all the same") {
  const ScratchFolder scratch(L"removal errors");
  for (const char* failing : {"GetFileAttributesW", "SetFileAttributesW"}) {
    CAPTURE(failing);
    scratch.MakeFile(L"file", "text");
    int restartNeeded = 0;
    bool succeeded = false;
    unsigned writes = 0;
    {
      // The folder's own attributes are asked for first.
      const FailCall attributes{failing, TestSupport::Calls::From(failing[0] == 'G' ? 2 : 1), ERROR_ACCESS_DENIED};
      const CountCalls writing{"SetFileAttributesW"};
      succeeded = DeleteAllFiles(scratch.Path(), restartNeeded, nullptr);
      writes = writing.Calls();
      CHECK(attributes.Failed() > 0);
    }
    CHECK(succeeded);
    CHECK(restartNeeded == 0);
    CHECK(writes == (failing[0] == 'G' ? 0 : 1));  // attributes that could not be read are not written
    CHECK_LINES(ListOf(scratch.Path()), {});
  }
}

// The attributes of one path, and the error where there are none.
class AttributesOfPath {
 public:
  AttributesOfPath(std::wstring path, DWORD attributes, DWORD error)
      : path_(std::move(path)), attributes_(attributes), error_(error) {}

 private:
  std::wstring path_;
  DWORD attributes_;
  DWORD error_;
  ImportRedirection get_{"GetFileAttributesW", [this](LPCWSTR path) -> DWORD {
                           if (path_ != path) {
                             return get_.Original<decltype(&::GetFileAttributesW)>()(path);
                           }
                           ::SetLastError(error_);
                           return attributes_;
                         }};
};

TEST_CASE("a folder that could be a link, since Windows does not tell, is left alone: that code") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFile(L"file", "text");
  int restartNeeded = 0;
  DWORD error = 4711;
  bool succeeded = true;
  unsigned listings = 0;
  {
    const CountCalls listing{"FindFirstFileW"};
    const AttributesOfPath refused(scratch.Path(), INVALID_FILE_ATTRIBUTES, ERROR_SHARING_VIOLATION);
    succeeded = DeleteAllFiles(scratch.Path() + L"\\", restartNeeded, &error);
    listings = listing.Calls();
  }
  CHECK_FALSE(succeeded);
  CHECK(error == ERROR_SHARING_VIOLATION);
  CHECK(restartNeeded == 0);
  CHECK(listings == 0);
  CHECK_LINES(ListOf(scratch.Path()), {"file 4 bytes"});
}

TEST_CASE("a folder below that became a link after it was listed, or could have, is not entered") {
  const ScratchFolder scratch(L"removal errors");
  struct Case {
    DWORD attributes;
    DWORD error;
  };
  for (const Case& now : {Case{FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT, 0},
                          Case{INVALID_FILE_ATTRIBUTES, ERROR_ACCESS_DENIED}}) {
    scratch.MakeFile(L"a\\file", "text");
    int restartNeeded = 0;
    DWORD error = 4711;
    bool succeeded = false;
    {
      const FailCall move{"MoveFileExW", TestSupport::Calls::From(1), ERROR_ACCESS_DENIED};  // keeps the list clean
      const AttributesOfPath replaced(scratch.Path(L"a"), now.attributes, now.error);
      succeeded = DeleteAllFiles(scratch.Path(), restartNeeded, &error);
    }
    CHECK(succeeded);
    CHECK(error == 0);
    CHECK(restartNeeded == 1);  // it could not be removed, being a folder that is not empty
    CHECK_LINES(ListOf(scratch.Path()), {"a\\", "a\\file 4 bytes"});
  }
}

}  // namespace
