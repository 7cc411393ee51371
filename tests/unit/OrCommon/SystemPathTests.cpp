// Paths in the form that Windows functions need, and the folder for temporary files.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_File.h"
#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"

using OrCommon::Storage::File::GetTemporaryFolder;
using TestSupport::ImportRedirection;
using namespace OrCommon::Storage::File;

namespace {

std::wstring PathOf(std::size_t length) {
  std::wstring path = L"C:";
  while (path.size() + 100 < length) {
    path += L"\\" + std::wstring(99, L'n');
  }
  return path + L"\\" + std::wstring(length - path.size() - 1, L'n');
}

TEST_CASE("paths of up to 247 characters, the limit for new folders, keep the plain form, also on a share") {
  REQUIRE(PathOf(247).size() == 247);
  CHECK(SystemPath(PathOf(247)) == PathOf(247));
  CHECK(SystemPath(PathOf(248)) == L"\\\\?\\" + PathOf(248));
  CHECK(SystemPath(PathOf(30000)) == L"\\\\?\\" + PathOf(30000));
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

TEST_CASE("a path that contains a name which Windows would read differently gets the long form") {
  std::vector<std::wstring> names = {L"a ",       L"a.",        L"a. .",        L"...",      L" ",
                                     L"CON",      L"con",       L"Prn",         L"aux",      L"NUL",
                                     L"nul.txt",  L"nul .txt",  L"NUL:a",       L"conin$",   L"CONOUT$",
                                     L"com0.log", L"com\x00B9", L"com\x00B2.a", L"lpt\x00B3"};
  for (wchar_t digit = L'0'; digit <= L'9'; ++digit) {
    names.push_back(std::wstring(L"COM") + digit);
    names.push_back(std::wstring(L"LPT") + digit);
  }
  for (const std::wstring& name : names) {
    const std::wstring path = L"C:\\a\\" + name;
    for (const wchar_t* const below : {L"", L"\\b", L"\\*"}) {
      CHECK(SystemPath(path + below) == L"\\\\?\\" + path + below);
    }
  }
}

TEST_CASE("a path that is not a full path, or already has the long form, is not changed") {
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

TEST_CASE("a full path has its dots resolved, single backslashes, and none at its end") {
  CHECK(FullPath(L"C:\\a//b\\.\\c\\..\\d\\") == L"C:\\a\\b\\d");
  CHECK(FullPath(L"C:\\a\\\\") == L"C:\\a");
  CHECK(FullPath(L"C:\\") == L"C:\\");
  CHECK(FullPath(L"").empty());
  const TestSupport::FailCall refused{"GetFullPathNameW", TestSupport::Calls::From(1), ERROR_FILENAME_EXCED_RANGE};
  CHECK(FullPath(L"C:\\a\\..\\b\\") == L"C:\\a\\..\\b\\");
}

TEST_CASE("a path is the folder or below it if all its names match in any case, not if it only begins like it") {
  CHECK(IsSameOrBelow(L"C:\\data\\Maker", L"C:\\Data\\maker"));
  CHECK(IsSameOrBelow(L"C:\\data\\Maker\\a\\b", L"C:\\data\\Maker"));
  CHECK_FALSE(IsSameOrBelow(L"C:\\data\\Maker2", L"C:\\data\\Maker"));
  CHECK_FALSE(IsSameOrBelow(L"C:\\data", L"C:\\data\\Maker"));
  CHECK_FALSE(IsSameOrBelow(L"C:\\other\\Maker\\a", L"C:\\data\\Maker"));
}

constexpr wchar_t kFallback[] = L"C:\\WINDOWS\\Temp";

// The temporary folder of a machine whose Windows folder is `windowsFolder`, or whose query for it returns `result`.
std::wstring TemporaryFolderWhere(const std::wstring& windowsFolder, std::size_t result) {
  wchar_t folder[OrCommon::Storage::File::kTemporaryFolderCapacity] = L"content of before";
  const ImportRedirection redirect{"GetWindowsDirectoryW", [&](LPWSTR buffer, UINT capacity) -> UINT {
                                     CHECK(capacity == 261);
                                     if (windowsFolder.size() < capacity) {
                                       std::copy_n(windowsFolder.c_str(), windowsFolder.size() + 1, buffer);
                                     }
                                     return static_cast<UINT>(result);
                                   }};
  GetTemporaryFolder(folder);
  return folder;
}

TEST_CASE("the temporary folder is \\Temp in the Windows folder, or the fixed one if that is too long or unknown") {
  wchar_t before[MAX_PATH] = {};
  ::GetEnvironmentVariableW(L"TEMP", before, MAX_PATH);
  ::SetEnvironmentVariableW(L"TEMP", L"C:\\elsewhere");  // the user's own one
  CHECK(TemporaryFolderWhere(L"E:\\Win NT", 9) == L"E:\\Win NT\\Temp");
  ::SetEnvironmentVariableW(L"TEMP", before);
  for (const std::size_t length : {254U, 255U, 256U, 257U, 260U, 261U}) {
    CAPTURE(length);
    const std::wstring folder = L"D:\\" + std::wstring(length - 3, L'w');
    CHECK(TemporaryFolderWhere(folder, length) == (length < 256 ? folder + L"\\Temp" : kFallback));
  }
  CHECK(TemporaryFolderWhere(L"", 0) == kFallback);
  for (const std::size_t result : {262U, 0xFFFFFFFFU, 0xFFFFFFFAU}) {  // the last one is too long for a sum of 32 bits
    CHECK(TemporaryFolderWhere(std::wstring(400, L'w'), result) == kFallback);
  }
}

}  // namespace
