// Paths as Windows functions want them.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_File.h"
#include "tests/support/CallFailures.h"

using OrCommon::Storage::File::FullPath;
using OrCommon::Storage::File::IsSameOrBelow;
using OrCommon::Storage::File::SystemPath;

namespace {

std::wstring PathOf(std::size_t length) {
  std::wstring path = L"C:";
  while (path.size() + 100 < length) {
    path += L"\\" + std::wstring(99, L'n');
  }
  return path + L"\\" + std::wstring(length - path.size() - 1, L'n');
}

TEST_CASE("the plain form holds 247 characters, as many as the path of a new folder may have") {
  REQUIRE(PathOf(247).size() == 247);
  CHECK(SystemPath(PathOf(247)) == PathOf(247));
  CHECK(SystemPath(PathOf(248)) == L"\\\\?\\" + PathOf(248));
  CHECK(SystemPath(PathOf(30000)) == L"\\\\?\\" + PathOf(30000));
}

TEST_CASE("on a share") {
  const std::wstring tail = PathOf(300).substr(2);
  CHECK(SystemPath(L"\\\\server\\share" + tail) == L"\\\\?\\UNC\\server\\share" + tail);
  CHECK(SystemPath(L"\\\\server\\share\\a") == L"\\\\server\\share\\a");
  CHECK(SystemPath(L"\\\\server\\share\\a.") == L"\\\\?\\UNC\\server\\share\\a.");
}

TEST_CASE("ordinary names are left as they are") {
  for (const wchar_t* const path :
       {L"C:\\", L"C:\\a", L"C:\\a\\", L"C:\\ a\\.b\\c.d\\*", L"C:\\a\\*.*",
        L"C:\\com\\com10\\lpt\\comx\\con1\\nul1\\xcon", L"C:\\null.txt\\auxiliary\\con$\\conin", L"C:\\a.nul\\a con",
        L"c:\\\x65E5\x672C\x8A9E.txt"}) {
    CHECK(SystemPath(path) == path);
  }
}

TEST_CASE("names that Windows reads as others, anywhere in the path") {
  for (const wchar_t* const name :
       {L"a ",      L"a.",   L"a. .",     L"...",     L" ",         L"CON",         L"con",
        L"Prn",     L"aux",  L"NUL",      L"nul.txt", L"nul .txt",  L"NUL:a",       L"conin$",
        L"CONOUT$", L"COM1", L"com0.log", L"LPT9",    L"com\x00B9", L"com\x00B2.a", L"lpt\x00B3"}) {
    const std::wstring path = L"C:\\a\\" + std::wstring(name);
    CHECK(SystemPath(path) == L"\\\\?\\" + path);
    CHECK(SystemPath(path + L"\\b") == L"\\\\?\\" + path + L"\\b");
    CHECK(SystemPath(path + L"\\*") == L"\\\\?\\" + path + L"\\*");
  }
}

TEST_CASE("what is no full path, or in the long form already, is not changed") {
  const std::wstring tail = PathOf(300).substr(2) + L"\\a.";
  for (const wchar_t* const start :
       {L"", L"a", L"C:a", L"\\\\?\\C:", L"\\\\.\\C:", L"\\??\\C:", L"C:\\a\\", L"C:\\.", L"C:\\a\\..", L"C:\\a/b"}) {
    const std::wstring path = start + (*start == L'\0' ? tail.substr(1) : tail);
    CHECK(SystemPath(path) == path);
  }
  for (const wchar_t* const path : {L"", L"a", L"a.", L"\\\\", L"\\\\?", L"\\"}) {
    CHECK(SystemPath(path) == path);
  }
}

TEST_CASE("a full path is whole, with single backslashes and none at its end") {
  CHECK(FullPath(L"C:\\a//b\\.\\c\\..\\d\\") == L"C:\\a\\b\\d");
  CHECK(FullPath(L"C:\\a\\\\") == L"C:\\a");
  CHECK(FullPath(L"C:\\") == L"C:\\");
  CHECK(FullPath(L"").empty());
  const TestSupport::FailCall refused{"GetFullPathNameW", TestSupport::Calls::From(1), ERROR_FILENAME_EXCED_RANGE};
  CHECK(FullPath(L"C:\\a\\..\\b\\") == L"C:\\a\\..\\b\\");
}

TEST_CASE("a folder, what lies below it, and what only begins like it") {
  CHECK(IsSameOrBelow(L"C:\\data\\Maker", L"C:\\Data\\maker"));
  CHECK(IsSameOrBelow(L"C:\\data\\Maker\\a\\b", L"C:\\data\\Maker"));
  CHECK_FALSE(IsSameOrBelow(L"C:\\data\\Maker2", L"C:\\data\\Maker"));
  CHECK_FALSE(IsSameOrBelow(L"C:\\data", L"C:\\data\\Maker"));
  CHECK_FALSE(IsSameOrBelow(L"C:\\other\\Maker\\a", L"C:\\data\\Maker"));
}

}  // namespace
