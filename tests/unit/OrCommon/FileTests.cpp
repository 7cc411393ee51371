#include "Common/OrCommon/OrComn_File.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <string>

#include "tests/support/ImportRedirection.h"

using OrCommon::Storage::File::GetTemporaryFolder;
using TestSupport::ImportRedirection;

namespace {

constexpr wchar_t kFallback[] = L"C:\\WINDOWS\\Temp";

struct Asked {
  std::wstring folder;
  UINT capacity = 0;
  unsigned calls = 0;
};

// The temporary folder of a machine whose Windows folder is `windowsFolder`, or where asking for it gives `result`.
Asked TemporaryFolderWhere(const std::wstring& windowsFolder, UINT result) {
  Asked asked;
  asked.folder = L"content of before";
  const ImportRedirection redirect{"GetWindowsDirectoryW", [&](LPWSTR buffer, UINT capacity) -> UINT {
                                     ++asked.calls;
                                     asked.capacity = capacity;
                                     if (windowsFolder.size() < capacity) {
                                       std::copy_n(windowsFolder.c_str(), windowsFolder.size() + 1, buffer);
                                     }
                                     return result;
                                   }};
  GetTemporaryFolder(asked.folder);
  return asked;
}

Asked TemporaryFolderWhere(const std::wstring& windowsFolder) {
  return TemporaryFolderWhere(windowsFolder, static_cast<UINT>(windowsFolder.size()));
}

// A folder of so many characters in all.
std::wstring FolderOf(std::size_t length) {
  return L"D:\\" + std::wstring(length - 3, L'w');
}

TEST_CASE("the temporary folder is the Windows folder and \\Temp") {
  const Asked asked = TemporaryFolderWhere(L"E:\\Win NT");
  CHECK(asked.folder == L"E:\\Win NT\\Temp");
  CHECK(asked.capacity == 261);
  CHECK(asked.calls == 1);
}

TEST_CASE("the temporary folder of this machine") {
  wchar_t windowsFolder[MAX_PATH] = {};
  REQUIRE(::GetWindowsDirectoryW(windowsFolder, MAX_PATH) != 0);
  std::wstring folder;
  GetTemporaryFolder(folder);
  CHECK(folder == std::wstring(windowsFolder) + L"\\Temp");
}

// Another value of an environment variable, for as long as it lives.
class Variable {
 public:
  Variable(const wchar_t* name, const wchar_t* value) : name_(name) {
    ::GetEnvironmentVariableW(name, before_, MAX_PATH);
    ::SetEnvironmentVariableW(name, value);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() { ::SetEnvironmentVariableW(name_, before_[0] != L'\0' ? before_ : nullptr); }

 private:
  const wchar_t* name_;
  wchar_t before_[MAX_PATH] = {};
};

TEST_CASE("the user's own temporary folder is not consulted") {
  const Variable temp(L"TEMP", L"C:\\elsewhere");
  const Variable tmp(L"TMP", L"C:\\elsewhere");
  CHECK(TemporaryFolderWhere(L"C:\\windows").folder == L"C:\\windows\\Temp");
}

TEST_CASE("a Windows folder that leaves room for \\Temp in 261 characters, and one that does not") {
  CHECK(TemporaryFolderWhere(FolderOf(254)).folder == FolderOf(254) + L"\\Temp");
  CHECK(TemporaryFolderWhere(FolderOf(255)).folder == FolderOf(255) + L"\\Temp");
  CHECK(TemporaryFolderWhere(FolderOf(256)).folder == kFallback);
  CHECK(TemporaryFolderWhere(FolderOf(257)).folder == kFallback);
  CHECK(TemporaryFolderWhere(FolderOf(260)).folder == kFallback);
}

TEST_CASE("a Windows folder that cannot be had gives the fixed one") {
  CHECK(TemporaryFolderWhere(L"", 0).folder == kFallback);
  CHECK(TemporaryFolderWhere(FolderOf(261)).folder == kFallback);
  CHECK(TemporaryFolderWhere(FolderOf(261), 262).folder == kFallback);
  CHECK(TemporaryFolderWhere(FolderOf(400), 0xFFFFFFFF).folder == kFallback);
  CHECK(TemporaryFolderWhere(FolderOf(400), 0xFFFFFFFA).folder == kFallback);  // too long for a sum of 32 bits
}

}  // namespace
