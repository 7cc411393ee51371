// What counts as a link, and what counts as a folder.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_File.h"
#include "tests/support/FolderLink.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/ScratchFolder.h"

using namespace OrCommon::Storage::File;
using namespace TestSupport;

namespace {

TEST_CASE("a link to a folder is not a folder; folders, files and missing entries are not links") {
  const ScratchFolder scratch(L"links");
  const std::wstring file = scratch.MakeFile(L"target\\file", "text");
  const FolderLink link(scratch.Path(L"link"), scratch.Path(L"target"));
  for (const wchar_t* const path : {L"link", L"link\\", L"target", L"target\\", L"target\\file", L"missing"}) {
    const std::wstring name = path;
    CHECK(IsLink(scratch.Path(name)) == (name[0] == L'l'));
    CHECK(IsFolder(scratch.Path(name)) == (name == L"target" || name == L"target\\"));
  }
  CHECK((IsFolder(L"C:\\") && !IsLink(L"C:\\")));
  CHECK_FALSE((IsLink(L"") || IsFolder(L"")));
}

TEST_CASE("reparse points count as links, and so do existing entries whose attributes cannot be read") {
  struct Case {
    DWORD attributes;
    DWORD error;
    bool isLink;
    bool isFolder;
  };
  constexpr DWORD kFolder = FILE_ATTRIBUTE_DIRECTORY;
  for (const Case& expected : {Case{kFolder, 0, false, true}, Case{kFolder | FILE_ATTRIBUTE_READONLY, 0, false, true},
                               Case{kFolder | FILE_ATTRIBUTE_REPARSE_POINT, 0, true, false},
                               Case{FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT, 0, true, false},
                               Case{FILE_ATTRIBUTE_ARCHIVE, 0, false, false},
                               Case{INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND, false, false},
                               Case{INVALID_FILE_ATTRIBUTES, ERROR_PATH_NOT_FOUND, false, false},
                               Case{INVALID_FILE_ATTRIBUTES, ERROR_ACCESS_DENIED, true, false},
                               Case{INVALID_FILE_ATTRIBUTES, ERROR_SHARING_VIOLATION, true, false}}) {
    CAPTURE(expected.attributes);
    CAPTURE(expected.error);
    const ImportRedirection attributes{"GetFileAttributesW", [&](LPCWSTR) -> DWORD {
                                         ::SetLastError(expected.error);
                                         return expected.attributes;
                                       }};
    CHECK(IsLink(L"C:\\a") == expected.isLink);
    CHECK(IsFolder(L"C:\\a") == expected.isFolder);
  }
}

TEST_CASE("trailing separators are removed, except that of a drive; only one dot or two dots are dot entries") {
  std::vector<std::wstring> asked;
  const ImportRedirection attributes{"GetFileAttributesW", [&](LPCWSTR path) -> DWORD {
                                       asked.emplace_back(path);
                                       return FILE_ATTRIBUTE_DIRECTORY;
                                     }};
  for (const wchar_t* path : {L"C:\\a b", L"C:\\a b\\", L"C:\\a b\\\\", L"C:\\a b/\\/"}) {
    IsLink(path);
  }
  IsFolder(L"C:\\a b\\");
  CHECK(asked == std::vector<std::wstring>(5, L"C:\\a b"));
  IsLink(L"D:\\");
  CHECK(asked.back() == L"D:\\");
  CHECK((IsDotEntry(L".") && IsDotEntry(L"..")));
  for (const wchar_t* name : {L"", L"...", L".a", L"a.", L"..a", L". "}) {
    CHECK_FALSE(IsDotEntry(name));
  }
}

}  // namespace
