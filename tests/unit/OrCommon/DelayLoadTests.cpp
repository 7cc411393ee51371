// Delay-loaded functions that cannot be had. A function that was bound once stays so, and so does a stand-in: each test
// case has functions of its own, in a program of its own, and looks first whether they really are unbound.
#include <doctest/doctest.h>

#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>

#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"

using TestSupport::Calls;
using TestSupport::FailCall;
using TestSupport::LiesInProgram;
using TestSupport::MissingEntry;

namespace {

bool IsUnbound(const std::string& function) {
  for (const auto& slot : TestSupport::ProgramImports()) {
    if (slot.function == function) {
      return slot.delayed && LiesInProgram(*slot.slot);
    }
  }
  return false;
}

TEST_CASE("the functions of a library that cannot be loaded fail, and the process lives") {
  for (const char* const function : {"SHGetFolderPathW", "SHGetSpecialFolderPathW", "SHCreateDirectoryExW"}) {
    REQUIRE(IsUnbound(function));
  }
  wchar_t folder[MAX_PATH] = {};
  HRESULT result = S_OK;
  {
    const FailCall load("LoadLibraryA", Calls::From(1), ERROR_NOT_ENOUGH_MEMORY);
    result = ::SHGetFolderPathW(nullptr, CSIDL_WINDOWS, nullptr, 0, folder);
    CHECK(load.Failed() == 1);
  }
  CHECK(result == HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY));
  CHECK(folder[0] == L'\0');

  // Nobody tries to load it again.
  ::SetLastError(0);
  CHECK_FALSE(::SHGetSpecialFolderPathW(nullptr, folder, CSIDL_COMMON_APPDATA, FALSE));
  CHECK(::GetLastError() == ERROR_NOT_ENOUGH_MEMORY);
  CHECK(folder[0] == L'\0');
  CHECK(::SHCreateDirectoryExW(nullptr, L"C:\\VelaDelayLoad", nullptr) == ERROR_NOT_ENOUGH_MEMORY);
  CHECK(::GetFileAttributesW(L"C:\\VelaDelayLoad") == INVALID_FILE_ATTRIBUTES);
  CHECK(::SHGetFolderPathW(nullptr, CSIDL_WINDOWS, nullptr, 0, folder) == HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY));
}

TEST_CASE("a function that its library has not fails, and the others of that library work") {
  for (const char* const function : {"PathAppendW", "PathFileExistsW", "PathRemoveFileSpecW", "PathFindFileNameA"}) {
    REQUIRE(IsUnbound(function));
  }
  wchar_t path[MAX_PATH] = L"C:\\windows\\system32";
  const char* const file = "C:\\windows\\notepad.exe";
  {
    const MissingEntry append("PathAppendW");
    const MissingEntry exists("PathFileExistsW");
    const MissingEntry fileName("PathFindFileNameA");
    ::SetLastError(0);
    CHECK_FALSE(::PathAppendW(path, L"drivers"));
    CHECK(::GetLastError() == ERROR_PROC_NOT_FOUND);
    ::SetLastError(0);
    CHECK_FALSE(::PathFileExistsW(path));
    CHECK(::GetLastError() == ERROR_PROC_NOT_FOUND);
    CHECK(::PathFindFileNameA(file) == file);
    CHECK(append.Asked() + exists.Asked() + fileName.Asked() == 3);
  }
  CHECK(std::wstring(path) == L"C:\\windows\\system32");
  CHECK(::PathRemoveFileSpecW(path));
  CHECK(std::wstring(path) == L"C:\\windows");
  CHECK_FALSE(::PathFileExistsW(path));
}

}  // namespace
