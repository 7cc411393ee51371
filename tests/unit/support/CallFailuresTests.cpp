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

TEST_CASE("a failing call over a redirection; calls are still counted after that redirection has ended") {
  auto between = std::make_unique<ImportRedirection>("GetFileAttributesW", [](LPCWSTR) -> DWORD { return 42; });
  const FailCall fail{"GetFileAttributesW", 1, ERROR_ACCESS_DENIED};
  CHECK(::GetFileAttributesW(L"C:\\windows") == INVALID_FILE_ATTRIBUTES);
  CHECK(::GetFileAttributesW(L"C:\\windows") == 42);
  between.reset();
  CHECK((::GetFileAttributesW(L"C:\\windows") & FILE_ATTRIBUTE_DIRECTORY) != 0);
  CHECK(fail.Calls() == 3);
}

TEST_CASE("several functions are counted as one sequence; a failing registry function keeps the last error") {
  const std::vector<std::string> functions = {"GetFileAttributesW", "RegOpenKeyExW", "NoSuchFunctionW"};
  const FailNthOf fail{functions, Calls::Only(2), ERROR_ACCESS_DENIED};
  HKEY key = nullptr;
  CHECK(::GetFileAttributesW(L"C:\\windows") != INVALID_FILE_ATTRIBUTES);
  ::SetLastError(4711);
  CHECK(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key) == ERROR_ACCESS_DENIED);
  CHECK(::GetLastError() == 4711);
  CHECK(::GetFileAttributesW(L"C:\\windows") != INVALID_FILE_ATTRIBUTES);
  CHECK(fail.Failed() == std::vector<std::string>{"RegOpenKeyExW"});
}

TEST_CASE("a function that is unknown, or not imported, is refused with a message") {
  CHECK_THROWS_WITH_AS(FailCall("GetTickCount", 1, ERROR_ACCESS_DENIED),
                       "FailureReturns.cpp does not know how GetTickCount reports a failure", std::logic_error);
  CHECK_THROWS_WITH_AS(CountCalls("NoSuchFunctionW"), "this program does not import NoSuchFunctionW", std::logic_error);
  CHECK_THROWS_AS(FailNthOf({"NoSuchFunctionW"}, Calls::Only(1), 5), std::logic_error);
}

TEST_CASE("every function in the table can be made to fail, and none is listed twice") {
  auto names = FunctionsThatMayFail();
  CHECK(names.size() > 50);
  for (const std::string& name : names) {
    CAPTURE(name);
    CHECK(FailureReturn::Of(name.c_str(), ERROR_ACCESS_DENIED).error == ERROR_ACCESS_DENIED);
    CHECK(std::count(names.begin(), names.end(), name) == 1);
  }
}

}  // namespace
