// What emptying a folder reports if something fails.
#include <doctest/doctest.h>

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/OrCommon/Emptying.h"

using namespace OrCommonTests;
using namespace TestSupport;

namespace {

// Folders that cannot be listed, by their search pattern, and the error of each.
struct UnlistableFolders {
  std::map<std::wstring, DWORD> errors;
  Lines listed = {};  // patterns, in order
  int open = 0;       // searches
  ImportRedirection first{"FindFirstFileW", [this](LPCWSTR pattern, WIN32_FIND_DATAW* entry) -> HANDLE {
                            listed.push_back(ToUtf8(pattern));
                            if (errors.count(pattern) != 0) {
                              ::SetLastError(errors[pattern]);
                              return INVALID_HANDLE_VALUE;
                            }
                            ++open;
                            return first.Original<decltype(&::FindFirstFileW)>()(pattern, entry);
                          }};
  OnCall close{"FindClose", &::FindClose, [this] { --open; }};
};

TEST_CASE("an empty path is a bad argument; a missing folder, or a file, gives the error of the listing") {
  const ScratchFolder scratch(L"removal errors");
  const std::wstring file = scratch.MakeFile(L"file", "text");
  wchar_t before[MAX_PATH] = {};
  ::GetCurrentDirectoryW(MAX_PATH, before);
  REQUIRE(::SetCurrentDirectoryW(scratch.Path().c_str()));  // an empty path would mean this folder
  const UnlistableFolders folders{{}};
  CHECK(Empty(L"") == "failed, error 160, restart 0");
  ::SetCurrentDirectoryW(before);
  CHECK(Empty(scratch.Path(L"missing\\")) == "failed, error 3, restart 0");
  CHECK(Empty(file) != "failed, error 0, restart 0");  // ERROR_DIRECTORY on Windows, ERROR_INVALID_NAME here
  CHECK_LINES(folders.listed, {ToUtf8(scratch.Path(L"missing\\*")), ToUtf8(file + L"\\*")});
  CHECK_LINES(ListOf(scratch.Path()), {"file 4 bytes"});
}

// Entries are listed in alphabetical order.
TEST_CASE("a folder that cannot be listed fails with its code; all else is deleted, and every search is closed") {
  struct Case {
    const char* what;
    std::vector<const wchar_t*> files;
    std::vector<std::pair<const wchar_t*, DWORD>> unlistable;
    const char* outcome;
    Lines left;
  };
  for (const Case& one : std::vector<Case>{
           {"the folder itself", {L"file"}, {{L"*", 5}}, "failed, error 5, restart 0", {"file 4 bytes"}},
           {"a subfolder with a file",
            {L"a\\file", L"b\\c\\kept", L"b\\file", L"file"},
            {{L"b\\c\\*", 32}},
            "failed, error 32, restart 1",
            {"b\\", "b\\c\\", "b\\c\\kept 4 bytes"}},
           {"an empty subfolder, which can be deleted", {L"a\\"}, {{L"a\\*", 5}}, "failed, error 5, restart 0", {}},
           {"two errors, the last", {L"a\\", L"b\\"}, {{L"a\\*", 5}, {L"b\\*", 32}}, "failed, error 32, restart 0", {}},
           {"a later success clears the code", {L"a\\", L"b\\"}, {{L"a\\*", 5}}, "failed, error 0, restart 0", {}}}) {
    CAPTURE(std::string(one.what));
    const ScratchFolder scratch(L"removal errors");
    for (const std::wstring file : one.files) {
      file.back() == L'\\' ? scratch.MakeFolder(file.substr(0, file.size() - 1)) : void(scratch.MakeFile(file, "text"));
    }
    UnlistableFolders folders{{}};
    for (const auto& [pattern, error] : one.unlistable) {
      folders.errors[scratch.Path(pattern)] = error;
    }
    CHECK(Empty(scratch.Path()) == one.outcome);
    CHECK(folders.open == 0);
    folders.errors.clear();
    CHECK_LINES(ListOf(scratch.Path()), (one.left));
  }
}

TEST_CASE("a file whose attributes cannot be read or changed is removed all the same") {
  const ScratchFolder scratch(L"removal errors");
  for (const bool reading : {true, false}) {
    scratch.MakeFile(L"file", "text");
    // The attributes of the folder itself are read first.
    const FailCall attributes{reading ? "GetFileAttributesW" : "SetFileAttributesW", Calls::Only(reading ? 2 : 1), 5};
    const CountCalls writes{"SetFileAttributesW"};
    CHECK(Empty(scratch.Path()) == kAllDone);
    CHECK(attributes.Failed() == 1);
    CHECK(writes.Calls() == (reading ? 0 : 1));  // attributes that could not be read are not written
    CHECK_LINES(ListOf(scratch.Path()), {});
  }
}

// The attributes of one path, and the error if there are none.
struct AttributesOfPath {
  std::wstring path;
  DWORD attributes;
  DWORD error;
  ImportRedirection get{"GetFileAttributesW", [this](LPCWSTR asked) -> DWORD {
                          if (path != asked) {
                            return get.Original<decltype(&::GetFileAttributesW)>()(asked);
                          }
                          ::SetLastError(error);
                          return attributes;
                        }};
};

TEST_CASE("a folder whose attributes cannot be read may be a link: it is left alone, with that error code") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFile(L"file", "text");
  {
    const CountCalls listings{"FindFirstFileW"};
    const AttributesOfPath refused{scratch.Path(), INVALID_FILE_ATTRIBUTES, ERROR_SHARING_VIOLATION};
    CHECK(Empty(scratch.Path() + L"\\") == "failed, error 32, restart 0");
    CHECK(listings.Calls() == 0);
  }
  CHECK_LINES(ListOf(scratch.Path()), {"file 4 bytes"});
}

TEST_CASE("a subfolder that became a link after it was listed, or may have, is not entered") {
  const ScratchFolder scratch(L"removal errors");
  scratch.MakeFile(L"a\\file", "text");
  const FailCall move{"MoveFileExW", Calls::From(1), ERROR_ACCESS_DENIED};  // keeps the list unchanged
  for (const DWORD told : {DWORD{FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT}, INVALID_FILE_ATTRIBUTES}) {
    {
      const AttributesOfPath replaced{scratch.Path(L"a"), told, ERROR_ACCESS_DENIED};
      CHECK(Empty(scratch.Path()) == kRestWaits);  // it is not empty, so it could not be removed
    }
    CHECK_LINES(ListOf(scratch.Path()), {"a\\", "a\\file 4 bytes"});
  }
}

}  // namespace
