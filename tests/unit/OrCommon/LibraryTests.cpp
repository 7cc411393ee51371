#include "Common/OrCommon/OrComn_Library.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/unit/OrCommon/HeapWatch.h"

using OrCommon::Library::EntryPoint;
using OrCommon::Library::FindEntryPoint;
using OrCommon::Library::FunctionCast;
using OrCommonTests::HeapLimit;
using OrCommonTests::LiveBlocks;
using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;

namespace {

using ProcessId = DWORD(WINAPI*)();

HMODULE Kernel() {
  return ::GetModuleHandleW(L"kernel32.dll");
}

bool IsFound(const wchar_t* name, DWORD& error) {
  return FindEntryPoint(Kernel(), name, error) != nullptr;
}

bool IsBound(const EntryPoint& entry) {
  return entry.As<FARPROC>() != nullptr;
}

TEST_CASE("an entry point that is there can be called") {
  const EntryPoint entry(L"kernel32.dll", L"GetCurrentProcessId");
  const auto function = entry.As<ProcessId>();
  REQUIRE(static_cast<bool>(function));
  CHECK(function() == ::GetCurrentProcessId());
  CHECK(entry.Error() == ERROR_SUCCESS);
}

TEST_CASE("the library stays for as long as the entry point, and is loaded and released once") {
  REQUIRE(::GetModuleHandleW(L"userenv.dll") == nullptr);
  const CountCalls loads{"LoadLibraryW"};
  const CountCalls frees{"FreeLibrary"};
  {
    const EntryPoint entry(L"userenv.dll", L"CreateEnvironmentBlock");
    CHECK(IsBound(entry));
    CHECK(::GetModuleHandleW(L"userenv.dll") != nullptr);
    CHECK(frees.Calls() == 0);
  }
  CHECK(::GetModuleHandleW(L"userenv.dll") == nullptr);
  CHECK(loads.Calls() == 1);
  CHECK(frees.Calls() == 1);
}

TEST_CASE("a library that is not there gives its load error and looks nothing up") {
  const CountCalls lookups{"GetProcAddress"};  // one: whether the search can be limited
  const CountCalls frees{"FreeLibrary"};
  {
    const TestSupport::MissingLibrary missing{L"wtsapi32.dll", ERROR_BAD_EXE_FORMAT};
    const EntryPoint entry(L"wtsapi32.dll", L"WTSQueryUserToken");
    CHECK_FALSE(IsBound(entry));
    CHECK(entry.Error() == ERROR_BAD_EXE_FORMAT);
  }
  CHECK(lookups.Calls() == 1);
  CHECK(frees.Calls() == 0);
}

TEST_CASE("where the search cannot be limited to the system folder, a library is loaded from there by its full path") {
  const TestSupport::LoadedNames loaded;
  SUBCASE("it can") {
    const EntryPoint entry(L"userenv.dll", L"CreateEnvironmentBlock");
    CHECK(IsBound(entry));
    CHECK(loaded.names == std::vector<std::wstring>{L"userenv.dll"});
  }
  SUBCASE("it cannot") {
    const TestSupport::MissingEntry missing("SetDefaultDllDirectories");
    const EntryPoint entry(L"userenv.dll", L"CreateEnvironmentBlock");
    CHECK(IsBound(entry));
    wchar_t folder[MAX_PATH] = {};
    REQUIRE(::GetSystemDirectoryW(folder, MAX_PATH) > 0);
    CHECK(loaded.names == std::vector<std::wstring>{std::wstring(folder) + L"\\userenv.dll"});
  }
  SUBCASE("it cannot, and the system folder has no name: nothing is loaded") {
    const TestSupport::MissingEntry missing("SetDefaultDllDirectories");
    const FailCall unnamed{"GetSystemDirectoryW", 1, ERROR_NOT_ENOUGH_MEMORY};
    const EntryPoint entry(L"userenv.dll", L"CreateEnvironmentBlock");
    CHECK_FALSE(IsBound(entry));
    CHECK(entry.Error() != ERROR_SUCCESS);
    CHECK(loaded.names == std::vector<std::wstring>{L"?"});
  }
  SUBCASE("it cannot, and the system folder's name is too long") {
    const TestSupport::MissingEntry missing("SetDefaultDllDirectories");
    const ImportRedirection tooLong{"GetSystemDirectoryW", [](LPWSTR, UINT room) -> UINT { return room; }};
    const EntryPoint entry(L"userenv.dll", L"CreateEnvironmentBlock");
    CHECK_FALSE(IsBound(entry));
    CHECK(entry.Error() != ERROR_SUCCESS);
    CHECK(loaded.names == std::vector<std::wstring>{L"?"});
  }
}

TEST_CASE("an entry that the library lacks gives the error of the lookup, and the library is released") {
  const CountCalls frees{"FreeLibrary"};
  {
    const EntryPoint entry(L"userenv.dll", L"NoSuchEntry");
    CHECK_FALSE(IsBound(entry));
    CHECK(entry.Error() == ERROR_PROC_NOT_FOUND);
  }
  CHECK(frees.Calls() == 1);
  const FailCall fails{"GetProcAddress", 1, ERROR_INVALID_ORDINAL};
  DWORD error = 4711;
  CHECK_FALSE(IsFound(L"GetCurrentProcessId", error));
  CHECK(error == ERROR_INVALID_ORDINAL);
}

TEST_CASE("a name that cannot be converted is a bad argument and is not looked up") {
  const CountCalls lookups{"GetProcAddress"};  // one: whether the search can be limited
  const FailCall conversion{"WideCharToMultiByte", TestSupport::Calls::From(1), ERROR_NO_UNICODE_TRANSLATION};
  DWORD error = 4711;
  CHECK_FALSE(IsFound(L"GetCurrentProcessId", error));
  CHECK(error == 160);
  const EntryPoint entry(L"kernel32.dll", L"GetCurrentProcessId");
  CHECK_FALSE(IsBound(entry));
  CHECK(entry.Error() == 160);
  CHECK(conversion.Failed() == 2);
  CHECK(lookups.Calls() == 1);
}

// The narrow names that were looked up, and the room for each.
class Lookups {
 public:
  std::vector<std::string> names;
  std::vector<int> rooms;

 private:
  ImportRedirection convert_{"WideCharToMultiByte",
                             [this](UINT page, DWORD flags, LPCWCH wide, int length, LPSTR narrow, int room,
                                    LPCCH replacement, LPBOOL replaced) -> int {
                               rooms.push_back(room);
                               return convert_.Original<decltype(&::WideCharToMultiByte)>()(
                                   page, flags, wide, length, narrow, room, replacement, replaced);
                             }};
  ImportRedirection lookup_{"GetProcAddress", [this](HMODULE module, LPCSTR name) -> FARPROC {
                              names.emplace_back(name);
                              return lookup_.Original<decltype(&::GetProcAddress)>()(module, name);
                            }};
};

TEST_CASE("names of every length are looked up whole, the long ones by way of the heap") {
  for (const std::size_t length : {0U, 1U, 30U, 31U, 32U, 33U, 127U, 128U, 129U, 1000U}) {
    CAPTURE(length);
    const Lookups lookups;
    const std::wstring name(length, L'n');
    DWORD error = 4711;
    const long long before = LiveBlocks();
    const bool found = IsFound(name.c_str(), error);
    const long long after = LiveBlocks();
    CHECK_FALSE(found);
    CHECK(error != ERROR_SUCCESS);
    CHECK(error != 4711);
    REQUIRE(lookups.names.size() == 1);
    CHECK(lookups.names[0] == std::string(length, 'n'));
    CHECK(lookups.rooms.back() >= static_cast<int>(length * 4 + 1));
    CHECK(after - before <= 3);  // what is recorded above; the name itself is given back
  }
}

TEST_CASE("a long name that the heap cannot hold raises the platform's out-of-memory error") {
  const std::wstring name(200, L'n');
  DWORD error = 4711;
  bool raised = false;
  {
    const HeapLimit limit(200);
    try {
      IsFound(name.c_str(), error);
    } catch (const std::bad_alloc&) {
      raised = true;
    }
  }
  CHECK(raised);
  const HeapLimit limit(1);  // a short name needs no heap
  const bool found = IsFound(L"GetCurrentProcessId", error);
  CHECK(limit.Refused() == 0);
  CHECK(found);
}

TEST_CASE("without a name the arguments are bad") {
  DWORD error = 4711;
  CHECK_FALSE(IsFound(nullptr, error));
  CHECK(error == ERROR_BAD_ARGUMENTS);
}

TEST_CASE("an entry point is not copied") {
  CHECK(std::is_base_of_v<boost::noncopyable, EntryPoint>);
  CHECK_FALSE(std::is_copy_constructible_v<EntryPoint>);
  CHECK_FALSE(static_cast<bool>(FunctionCast<ProcessId>(nullptr)));
}

}  // namespace
