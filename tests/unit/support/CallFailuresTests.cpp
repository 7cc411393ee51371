#include "tests/support/CallFailures.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace TestSupport;

namespace {

HANDLE OpenWindowsFolder() {
  return ::CreateFileW(L"C:\\windows", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

TEST_CASE("only the chosen call fails, or all from it on, with the error asked for") {
  const FailCall fail{"CreateFileW", 2, ERROR_SHARING_VIOLATION};
  const HANDLE first = OpenWindowsFolder();
  CHECK(first != INVALID_HANDLE_VALUE);
  ::SetLastError(0);
  CHECK(OpenWindowsFolder() == INVALID_HANDLE_VALUE);
  CHECK(::GetLastError() == ERROR_SHARING_VIOLATION);
  const HANDLE third = OpenWindowsFolder();
  CHECK(third != INVALID_HANDLE_VALUE);
  CHECK(fail.Calls() == 3);
  CHECK(fail.Failed() == 1);
  CHECK(::CloseHandle(first));
  const FailCall all{"CloseHandle", Calls::From(2), ERROR_BUSY};
  CHECK(::CloseHandle(third));
  for (int call = 0; call < 2; ++call) {
    CHECK_FALSE(::CloseHandle(nullptr));
    CHECK(::GetLastError() == ERROR_BUSY);
  }
  CHECK(all.Failed() == 2);
}

TEST_CASE("a registry function returns its error and leaves the last-error code alone") {
  const FailCall fail{"RegOpenKeyExW", 1, ERROR_ACCESS_DENIED};
  HKEY key = nullptr;
  ::SetLastError(4711);
  CHECK(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key) == ERROR_ACCESS_DENIED);
  CHECK(::GetLastError() == 4711);
  CHECK(key == nullptr);
  CHECK(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key) == ERROR_SUCCESS);
  CHECK(::RegCloseKey(key) == ERROR_SUCCESS);
}

TEST_CASE("calls are counted without being touched, nine arguments included") {
  const CountCalls creates{"RegCreateKeyExW"};
  const CountCalls closes{"RegCloseKey"};
  HKEY key = nullptr;
  DWORD disposition = 0;
  CHECK(::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\VelaSupportTest", 0, nullptr, REG_OPTION_VOLATILE,
                          KEY_ALL_ACCESS, nullptr, &key, &disposition) == ERROR_SUCCESS);
  CHECK(disposition == REG_CREATED_NEW_KEY);
  CHECK(::RegCloseKey(key) == ERROR_SUCCESS);
  CHECK(::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\VelaSupportTest") == ERROR_SUCCESS);
  CHECK(creates.Calls() == 1);
  CHECK(closes.Calls() == 1);
}

TEST_CASE("a failing call in front of a redirection, and a count after what lay between is gone") {
  auto between = std::make_unique<ImportRedirection>("GetFileAttributesW", [](LPCWSTR) -> DWORD { return 42; });
  const FailCall fail{"GetFileAttributesW", 1, ERROR_ACCESS_DENIED};
  CHECK(::GetFileAttributesW(L"C:\\windows") == INVALID_FILE_ATTRIBUTES);
  CHECK(::GetFileAttributesW(L"C:\\windows") == 42);
  between.reset();
  CHECK((::GetFileAttributesW(L"C:\\windows") & FILE_ATTRIBUTE_DIRECTORY) != 0);
  CHECK(fail.Calls() == 3);
}

TEST_CASE("several functions are counted as one sequence") {
  const std::vector<std::string> functions = {"GetFileAttributesW", "RegOpenKeyExW", "NoSuchFunctionW"};
  const FailNthOf fail{functions, Calls::Only(2), ERROR_ACCESS_DENIED};
  HKEY key = nullptr;
  CHECK(::GetFileAttributesW(L"C:\\windows") != INVALID_FILE_ATTRIBUTES);
  CHECK(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key) == ERROR_ACCESS_DENIED);
  CHECK(::GetFileAttributesW(L"C:\\windows") != INVALID_FILE_ATTRIBUTES);
  CHECK(fail.Calls() == 3);
  CHECK(fail.Failed() == std::vector<std::string>{"RegOpenKeyExW"});
}

TEST_CASE("mistakes are told") {
  CHECK_THROWS_WITH_AS(FailCall("GetTickCount", 1, ERROR_ACCESS_DENIED),
                       "FailureReturns.cpp does not know how GetTickCount reports a failure", std::logic_error);
  CHECK_THROWS_WITH_AS(CountCalls("NoSuchFunctionW"), "this program does not import NoSuchFunctionW", std::logic_error);
  CHECK_THROWS_AS(FailNthOf({"NoSuchFunctionW"}, Calls::Only(1), 5), std::logic_error);
}

TEST_CASE("every function in the table can be failed, and none stands there twice") {
  auto names = FunctionsThatMayFail();
  CHECK(names.size() > 50);
  for (const std::string& name : names) {
    CAPTURE(name);
    CHECK(FailureReturn::Of(name.c_str(), ERROR_ACCESS_DENIED).error == ERROR_ACCESS_DENIED);
    CHECK(std::count(names.begin(), names.end(), name) == 1);
  }
}

}  // namespace
