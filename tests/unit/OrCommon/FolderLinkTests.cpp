// What counts as a link and what as a folder.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_File.h"
#include "tests/support/FolderLink.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/ScratchFolder.h"

using namespace OrCommon::Storage::File;
using OrCommonTests::FolderLink;
using namespace TestSupport;

namespace {

TEST_CASE("a link to a folder is a link and no folder; a folder, a file and what is missing are no links") {
  const ScratchFolder scratch(L"links");
  const std::wstring file = scratch.MakeFile(L"target\\file", "text");
  const FolderLink link(scratch.Path(L"link"), scratch.Path(L"target"));
  struct Case {
    std::wstring path;
    bool isLink;
    bool isFolder;
  };
  for (const Case& one : {Case{scratch.Path(L"link"), true, false}, Case{scratch.Path(L"link\\"), true, false},
                          Case{scratch.Path(L"target"), false, true}, Case{scratch.Path(L"target\\"), false, true},
                          Case{L"C:\\", false, true}, Case{file, false, false},
                          Case{scratch.Path(L"missing"), false, false}, Case{L"", false, false}}) {
    CHECK(IsLink(one.path) == one.isLink);
    CHECK(IsFolder(one.path) == one.isFolder);
  }
}

TEST_CASE("the attributes decide: every reparse point is a link, and so is what Windows does not tell of") {
  struct Case {
    DWORD attributes;
    DWORD error;
    bool isLink;
    bool isFolder;
  };
  for (const Case& expected : {Case{FILE_ATTRIBUTE_DIRECTORY, 0, false, true},
                               Case{FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY, 0, false, true},
                               Case{FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT, 0, true, false},
                               Case{FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT, 0, true, false},
                               Case{FILE_ATTRIBUTE_ARCHIVE, 0, false, false},
                               Case{INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND, false, false},
                               Case{INVALID_FILE_ATTRIBUTES, ERROR_PATH_NOT_FOUND, false, false},
                               Case{INVALID_FILE_ATTRIBUTES, ERROR_ACCESS_DENIED, true, false},
                               Case{INVALID_FILE_ATTRIBUTES, ERROR_SHARING_VIOLATION, true, false}}) {
    CAPTURE(expected.attributes);
    CAPTURE(expected.error);
    bool isLink = false;
    bool isFolder = false;
    {
      const ImportRedirection attributes{"GetFileAttributesW", [&](LPCWSTR) -> DWORD {
                                           ::SetLastError(expected.error);
                                           return expected.attributes;
                                         }};
      isLink = IsLink(L"C:\\a");
      isFolder = IsFolder(L"C:\\a");
    }
    CHECK(isLink == expected.isLink);
    CHECK(isFolder == expected.isFolder);
  }
}

TEST_CASE("separators behind a name are taken off, that of a drive is not") {
  std::vector<std::wstring> asked;
  {
    const ImportRedirection attributes{"GetFileAttributesW", [&](LPCWSTR path) -> DWORD {
                                         asked.emplace_back(path);
                                         return FILE_ATTRIBUTE_DIRECTORY;
                                       }};
    for (const wchar_t* path : {L"C:\\a b\\c", L"C:\\a b\\c\\", L"C:\\a b\\c\\\\", L"C:\\a b\\c/\\/", L"D:\\"}) {
      IsLink(path);
    }
    IsFolder(L"C:\\a\\");
  }
  CHECK(asked ==
        std::vector<std::wstring>{L"C:\\a b\\c", L"C:\\a b\\c", L"C:\\a b\\c", L"C:\\a b\\c", L"D:\\", L"C:\\a"});
}

TEST_CASE("only the two dot entries are dot entries") {
  CHECK(IsDotEntry(L"."));
  CHECK(IsDotEntry(L".."));
  for (const wchar_t* name : {L"", L"...", L".a", L"a.", L"..a", L". "}) {
    CHECK_FALSE(IsDotEntry(name));
  }
}

}  // namespace
