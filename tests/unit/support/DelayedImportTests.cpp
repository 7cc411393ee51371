// Imports that are bound at their first call: version.dll, see CMakeLists.txt. A function stays bound until the process
// ends, so each test case has one of its own, and looks first whether it really is unbound.
#include <doctest/doctest.h>

#include <windows.h>

#include <stdexcept>
#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"

using TestSupport::ImportRedirection;
using TestSupport::LiesInProgram;

namespace {

using InfoSize = decltype(&::GetFileVersionInfoSizeW);

constexpr wchar_t kFile[] = L"C:\\windows\\system32\\kernel32.dll";

void*& SlotOf(const std::string& function) {
  for (const auto& slot : TestSupport::ProgramImports()) {
    if (slot.function == function && slot.delayed) {
      return *slot.slot;
    }
  }
  throw std::logic_error(function + " is not delay-loaded");
}

TEST_CASE("an unbound import: replaced without loading its library, unbound again afterwards") {
  void* const before = SlotOf("GetFileVersionInfoSizeW");
  REQUIRE(LiesInProgram(before));
  const bool wasLoaded = ::GetModuleHandleW(L"version.dll") != nullptr;
  {
    const ImportRedirection redirect{"GetFileVersionInfoSizeW", [](LPCWSTR, LPDWORD) -> DWORD { return 12345; }};
    DWORD unused = 0;
    CHECK(::GetFileVersionInfoSizeW(kFile, &unused) == 12345);
    CHECK((::GetModuleHandleW(L"version.dll") != nullptr) == wasLoaded);
  }
  CHECK(SlotOf("GetFileVersionInfoSizeW") == before);
}

TEST_CASE("an unbound import: the original can be called, and the redirection stays in place") {
  void* const before = SlotOf("GetFileVersionInfoSizeW");
  REQUIRE(LiesInProgram(before));
  int calls = 0;
  {
    const ImportRedirection redirect{"GetFileVersionInfoSizeW", [&](LPCWSTR path, LPDWORD handle) {
                                       ++calls;
                                       return redirect.Original<InfoSize>()(path, handle);
                                     }};
    DWORD unused = 0;
    const DWORD first = ::GetFileVersionInfoSizeW(kFile, &unused);
    CHECK(first > 0);
    CHECK(first != 12345);
    CHECK(::GetFileVersionInfoSizeW(kFile, &unused) == first);
    CHECK(calls == 2);
  }
  CHECK(SlotOf("GetFileVersionInfoSizeW") == before);

  // The first call without a redirection binds it, as if nothing had been.
  DWORD unused = 0;
  CHECK(::GetFileVersionInfoSizeW(kFile, &unused) > 0);
  CHECK_FALSE(LiesInProgram(SlotOf("GetFileVersionInfoSizeW")));
  CHECK(calls == 2);
}

TEST_CASE("a bound import: replaced, and bound to the same function afterwards") {
  void* value = nullptr;
  UINT length = 0;
  BYTE nothing[512] = {};
  ::VerQueryValueW(nothing, L"\\", &value, &length);
  void* const before = SlotOf("VerQueryValueW");
  REQUIRE_FALSE(LiesInProgram(before));
  {
    const ImportRedirection redirect{"VerQueryValueW", [](LPCVOID, LPCWSTR, LPVOID*, PUINT size) -> BOOL {
                                       *size = 4711;
                                       return TRUE;
                                     }};
    CHECK(::VerQueryValueW(nothing, L"\\", &value, &length));
    CHECK(length == 4711);
  }
  CHECK(SlotOf("VerQueryValueW") == before);
  ::VerQueryValueW(nothing, L"\\", &value, &length);
  CHECK(length != 4711);
}

TEST_CASE("an unbound import can be counted and failed") {
  void* const before = SlotOf("GetFileVersionInfoW");
  REQUIRE(LiesInProgram(before));
  BYTE data[8192] = {};
  {
    const TestSupport::FailCall second{"GetFileVersionInfoW", TestSupport::Calls::Only(2),
                                       TestSupport::FailureReturn{0, ERROR_GEN_FAILURE, true}};
    CHECK(::GetFileVersionInfoW(kFile, 0, sizeof data, data));
    ::SetLastError(0);
    CHECK_FALSE(::GetFileVersionInfoW(kFile, 0, sizeof data, data));
    CHECK(::GetLastError() == ERROR_GEN_FAILURE);
    CHECK(::GetFileVersionInfoW(kFile, 0, sizeof data, data));
    CHECK(second.Calls() == 3);
    CHECK(second.Failed() == 1);
  }
  CHECK(SlotOf("GetFileVersionInfoW") == before);
}

}  // namespace
