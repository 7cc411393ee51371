// The functions of the shell's libraries, bound and unbound. A bound function stays bound. So each test case that needs
// an unbound function has its own.
#include <doctest/doctest.h>

#include <windows.h>

#include <shlobj.h>

#include <string>

#include "Common/OrCommon/OrComn_Shell.h"
#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"

using namespace TestSupport;

namespace OrCommon {
namespace {

TEST_CASE("the functions of a library that cannot be loaded fail at each call, and work once it can be loaded") {
  wchar_t folder[MAX_PATH] = {};
  {
    const MissingLibrary shell32(L"shell32.dll", ERROR_NOT_ENOUGH_MEMORY);
    for (int call = 0; call < 2; ++call) {
      CHECK(Shell::SHGetFolderPathW(nullptr, CSIDL_WINDOWS, nullptr, 0, folder) ==
            HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY));
    }
    ::SetLastError(0);
    CHECK_FALSE(Shell::SHGetSpecialFolderPathW(nullptr, folder, CSIDL_COMMON_APPDATA, FALSE));
    CHECK(::GetLastError() == ERROR_NOT_ENOUGH_MEMORY);
    CHECK(folder[0] == L'\0');
    CHECK(Shell::SHCreateDirectoryExW(nullptr, L"C:\\VelaShell", nullptr) == ERROR_NOT_ENOUGH_MEMORY);
    CHECK(::GetFileAttributesW(L"C:\\VelaShell") == INVALID_FILE_ATTRIBUTES);
    CHECK(shell32.Asked() == 4);
  }
  const CountCalls released("FreeLibrary");
  CHECK(Shell::SHGetFolderPathW(nullptr, CSIDL_WINDOWS, nullptr, 0, folder) == S_OK);
  CHECK(::_wcsicmp(folder, L"C:\\windows") == 0);
  CHECK(Shell::SHGetSpecialFolderPathW(nullptr, folder, CSIDL_COMMON_APPDATA, FALSE));
  CHECK(std::wstring(folder) == L"C:\\ProgramData");
  CHECK(Shell::SHCreateDirectoryExW(nullptr, L"C:\\VelaShell", nullptr) == ERROR_SUCCESS);
  CHECK(::RemoveDirectoryW(L"C:\\VelaShell"));
  CHECK(released.Calls() == 0);
}

TEST_CASE("a function that its library lacks fails at each call, and works once the library has it") {
  {
    // If the search cannot be limited to the system folder, the library is loaded by its full path.
    const LoadedNames loaded;
    const MissingEntry limit("SetDefaultDllDirectories");
    const MissingEntry exists("PathFileExistsW");  // otherwise the call would be kept, and would not show a later one
    CHECK_FALSE(Shell::PathFileExistsW(L"C:\\windows"));
    CHECK(loaded.names.size() == 1);
    CHECK(loaded.WithoutFolder().empty());
  }
  wchar_t path[MAX_PATH] = L"C:\\windows\\system32";
  const char* const file = "C:\\windows\\notepad.exe";
  {
    const MissingEntry append("PathAppendW");
    const MissingEntry exists("PathFileExistsW");
    const MissingEntry remove("PathRemoveFileSpecW");
    const MissingEntry fileName("PathFindFileNameA");
    const CountCalls loaded("LoadLibraryW");
    const CountCalls released("FreeLibrary");
    const auto check = [](BOOL done) {
      CHECK(::GetLastError() == ERROR_PROC_NOT_FOUND);
      CHECK_FALSE(done);
      ::SetLastError(0);
    };
    check(Shell::PathAppendW(path, L"drivers"));
    check(Shell::PathFileExistsW(path));
    check(Shell::PathRemoveFileSpecW(path));
    for (int call = 0; call < 2; ++call) {
      CHECK(Shell::PathFindFileNameA(file) == file);
    }
    CHECK(append.Asked() + exists.Asked() + remove.Asked() + fileName.Asked() == 5);
    CHECK(loaded.Calls() == 5);
    CHECK(released.Calls() == 5);
  }
  CHECK(std::wstring(path) == L"C:\\windows\\system32");
  CHECK(Shell::PathRemoveFileSpecW(path));
  CHECK(std::wstring(path) == L"C:\\windows");
  CHECK(Shell::PathFileExistsW(path));
  CHECK(Shell::PathAppendW(path, L"system32"));
  CHECK(std::wstring(path) == L"C:\\windows\\system32");
  CHECK(std::string(Shell::PathFindFileNameA(file)) == "notepad.exe");
  // A bound function is kept: nothing is loaded or released for it again.
  const FailCall load("LoadLibraryW", Calls::From(1), ERROR_NOT_ENOUGH_MEMORY);
  const CountCalls released("FreeLibrary");
  CHECK(Shell::PathFileExistsW(L"C:\\windows"));
  CHECK_FALSE(Shell::PathFileExistsW(L"C:\\no such folder"));
  CHECK(::GetLastError() == ERROR_FILE_NOT_FOUND);
  CHECK(load.Calls() + released.Calls() == 0);
}

}  // namespace
}  // namespace OrCommon
