#include "Common/OrCommon/OrComn_Library.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <cwchar>
#include <new>
#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"

using namespace OrCommon::Library;
using namespace TestSupport;

namespace {

bool IsFound(const wchar_t* name, DWORD& error) {
  return FindEntryPoint(::GetModuleHandleW(L"kernel32.dll"), name, error) != nullptr;
}

bool IsBound(const EntryPoint& entry) {
  return entry.As<FARPROC>() != nullptr;
}

TEST_CASE("a library is loaded and released once, together with its entry point; a missing one gives the error code") {
  CHECK(EntryPoint(L"kernel32.dll", L"GetCurrentProcessId").As<DWORD(WINAPI*)()>()() == ::GetCurrentProcessId());
  REQUIRE(::GetModuleHandleW(L"userenv.dll") == nullptr);
  const CountCalls loads{"LoadLibraryW"};
  const CountCalls frees{"FreeLibrary"};
  {
    const EntryPoint entry(L"userenv.dll", L"CreateEnvironmentBlock");
    CHECK(IsBound(entry));
    CHECK(entry.Error() == ERROR_SUCCESS);
    CHECK(::GetModuleHandleW(L"userenv.dll") != nullptr);
    CHECK(frees.Calls() == 0);
  }
  CHECK(::GetModuleHandleW(L"userenv.dll") == nullptr);
  CHECK(loads.Calls() == 1);
  CHECK(frees.Calls() == 1);
  {
    const EntryPoint entry(L"userenv.dll", L"NoSuchEntry");
    CHECK_FALSE(IsBound(entry));
    CHECK(entry.Error() == ERROR_PROC_NOT_FOUND);
  }
  CHECK(frees.Calls() == 2);
  const CountCalls lookups{"GetProcAddress"};
  {
    const MissingLibrary missing{L"wtsapi32.dll", ERROR_BAD_EXE_FORMAT};
    const EntryPoint entry(L"wtsapi32.dll", L"WTSQueryUserToken");
    CHECK_FALSE(IsBound(entry));
    CHECK(entry.Error() == ERROR_BAD_EXE_FORMAT);
  }
  CHECK(lookups.Calls() == 1);  // true if the search can be limited
  CHECK(frees.Calls() == 2);
  const FailCall fails{"GetProcAddress", 1, ERROR_INVALID_ORDINAL};
  DWORD error = 4711;
  CHECK_FALSE(IsFound(L"GetCurrentProcessId", error));
  CHECK(error == ERROR_INVALID_ORDINAL);
}

TEST_CASE("if the search cannot be limited to the system folder, a library is loaded by its full path there") {
  wchar_t folder[MAX_PATH] = {};
  REQUIRE(::GetSystemDirectoryW(folder, MAX_PATH) > 0);
  const LoadedNames loaded;
  const auto bind = [&](const std::wstring& asked) {
    const EntryPoint entry(L"userenv.dll", L"CreateEnvironmentBlock");
    CHECK(IsBound(entry) == (asked != L"?"));
    CHECK((entry.Error() == ERROR_SUCCESS) == IsBound(entry));
    CHECK(loaded.names.back() == asked);
  };
  bind(L"userenv.dll");
  const MissingEntry missing("SetDefaultDllDirectories");
  bind(std::wstring(folder) + L"\\userenv.dll");
  {
    const FailCall unnamed{"GetSystemDirectoryW", 1, ERROR_NOT_ENOUGH_MEMORY};
    bind(L"?");  // nothing is loaded
  }
  const std::wstring longest(MAX_PATH - 2 - std::wcslen(folder), L'n');
  CHECK(std::wstring(SystemLibrary(longest.c_str()).Path()) == std::wstring(folder) + L"\\" + longest);
  CHECK(std::wstring(SystemLibrary((longest + L"n").c_str()).Path()) == L"?");
}

TEST_CASE("a null name, or one that cannot be converted, is a bad argument and is not looked up") {
  const CountCalls lookups{"GetProcAddress"};  // one: whether the search can be limited
  const FailCall conversion{"WideCharToMultiByte", Calls::From(1), ERROR_NO_UNICODE_TRANSLATION};
  DWORD error = 4711;
  CHECK_FALSE(IsFound(L"GetCurrentProcessId", error));
  CHECK(error == 160);
  const EntryPoint entry(L"kernel32.dll", L"GetCurrentProcessId");
  CHECK_FALSE(IsBound(entry));
  CHECK(entry.Error() == 160);
  error = 4711;
  CHECK_FALSE(IsFound(nullptr, error));
  CHECK(error == 160);
  CHECK(conversion.Failed() == 2);
  CHECK(lookups.Calls() == 1);
}

TEST_CASE("names of every length are looked up completely, and heap memory for long ones is freed") {
  for (const std::size_t length : {0U, 1U, 30U, 31U, 32U, 33U, 127U, 128U, 129U, 1000U}) {
    CAPTURE(length);
    std::string asked;
    int room = 0;
    asked.reserve(length);
    const OnCall convert{"WideCharToMultiByte", &::WideCharToMultiByte,
                         [&](UINT, DWORD, LPCWCH, int, LPSTR, int given, LPCCH, LPBOOL) { room = given; }};
    const OnCall lookup{"GetProcAddress", &::GetProcAddress, [&](HMODULE, LPCSTR name) { asked = name; }};
    const std::wstring name(length, L'n');
    DWORD error = 0;
    const long long before = LiveBlocks();
    const bool found = IsFound(name.c_str(), error);
    const long long after = LiveBlocks();
    CHECK_FALSE(found);
    CHECK(error != ERROR_SUCCESS);
    CHECK(asked == std::string(length, 'n'));
    CHECK(room >= static_cast<int>(length * 4 + 1));
    CHECK(after == before);
  }
}

TEST_CASE("a long name throws std::bad_alloc if memory is short; a short name needs no heap memory") {
  const std::wstring name(200, L'n');
  DWORD error = 4711;
  {
    const HeapLimit limit(200);
    CHECK_THROWS_AS(IsFound(name.c_str(), error), std::bad_alloc);
  }
  const HeapLimit limit(1);
  const bool found = IsFound(L"GetCurrentProcessId", error);
  CHECK(limit.Refused() == 0);
  CHECK(found);
}

}  // namespace
