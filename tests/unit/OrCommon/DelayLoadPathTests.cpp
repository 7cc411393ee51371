// A program of its own, since DelayLoadTests.cpp wants this function to work, and what is bound once stays bound.
#include <doctest/doctest.h>

#include <windows.h>

#include <shlwapi.h>

#include <string>

#include "tests/support/LibraryAnswers.h"

namespace {

TEST_CASE("a path that nothing can cut stays whole") {
  const TestSupport::MissingEntry remove("PathRemoveFileSpecW");
  wchar_t path[MAX_PATH] = L"C:\\windows\\system32";
  ::SetLastError(0);
  CHECK_FALSE(::PathRemoveFileSpecW(path));
  CHECK(::GetLastError() == ERROR_PROC_NOT_FOUND);
  CHECK(std::wstring(path) == L"C:\\windows\\system32");
  CHECK(remove.Asked() == 1);  // not bound before: the answer is the stand-in's
}

}  // namespace
