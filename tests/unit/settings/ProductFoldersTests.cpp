#include "settings/ProductFolders.h"

#include <doctest/doctest.h>

#include <string>

#include "settings/CommandLineFolders.h"

using namespace ProductFolders;

namespace {

TEST_CASE("a folder gets a trailing backslash if it has none, and an empty path stays empty") {
  CHECK(WithTrailingBackslash(L"C:\\a") == L"C:\\a\\");
  CHECK(WithTrailingBackslash(L"C:\\a\\") == L"C:\\a\\");
  CHECK(WithTrailingBackslash(L"C:\\a\\\\") == L"C:\\a\\\\");
  CHECK(WithTrailingBackslash(L"C:\\a/") == L"C:\\a/\\");
  CHECK(WithTrailingBackslash(L"\\") == L"\\");
  CHECK(WithTrailingBackslash(L"").empty());
}

TEST_CASE("folder and name are joined by one backslash") {
  CHECK(Join(L"C:\\a", L"b.dll") == L"C:\\a\\b.dll");
  CHECK(Join(L"C:\\a\\", L"b.dll") == L"C:\\a\\b.dll");
  CHECK(Join(L"C:\\a\\\\", L"b") == L"C:\\a\\\\b");
  CHECK(Join(L"C:\\a", L"") == L"C:\\a\\");
  CHECK(Join(L"", L"b") == L"\\b");
}

TEST_CASE("the base folder is below the root, whatever the root ends in") {
  CHECK(GetBaseFolder(L"C:\\Program Files") == L"C:\\Program Files\\Orvane Labs\\");
  CHECK(GetBaseFolder(L"C:\\Program Files\\") == L"C:\\Program Files\\Orvane Labs\\");
  CHECK(GetBaseFolder(L"C:\\") == L"C:\\Orvane Labs\\");
  CHECK(GetBaseFolder(L"") == L"Orvane Labs\\");
  CHECK(GetBaseFolder(L"\\\\server\\share") == L"\\\\server\\share\\Orvane Labs\\");
}

TEST_CASE("the folders of the command line have default values before a command line is read") {
  CHECK(std::wstring(SrcPath) == L"C:\\MyVELA\\src\\install");
  CHECK(std::wstring(DestPath) == L"C:\\MyVELA\\dest");
}

}  // namespace
