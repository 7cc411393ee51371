#include "tests/support/LibraryAnswers.h"

#include <doctest/doctest.h>

#include <windows.h>

using namespace TestSupport;

namespace {

void WINAPI SayIntel(SYSTEM_INFO* info) {
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_INTEL;
}

// As plain addresses, which doctest can print.
void* FindInKernel(LPCSTR function) {
  return reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), function));
}
void* FindNativeSystemInfo() {
  return FindInKernel("GetNativeSystemInfo");
}

TEST_CASE("a function that is looked up by name is answered, others are not") {
  void* const real = FindNativeSystemInfo();
  REQUIRE(real != nullptr);
  {
    const AnswerProcAddress answer{"GetNativeSystemInfo", &SayIntel};
    CHECK(FindNativeSystemInfo() == reinterpret_cast<void*>(&SayIntel));
    CHECK(FindInKernel("GetTickCount") != nullptr);
    CHECK(answer.Asked() == 1);
  }
  CHECK(FindNativeSystemInfo() == real);
}

TEST_CASE("an entry that is missing; a lookup by number passes through") {
  const MissingEntry missing{"GetNativeSystemInfo"};
  ::SetLastError(0);
  CHECK(FindNativeSystemInfo() == nullptr);
  CHECK(::GetLastError() == ERROR_PROC_NOT_FOUND);
  CHECK(FindInKernel(reinterpret_cast<LPCSTR>(ULONG_PTR{0xFFFE})) == nullptr);
  CHECK(missing.Asked() == 1);
}

TEST_CASE("a library that is missing, asked for by name or by path") {
  const MissingLibrary missing{L"psapi.dll"};
  ::SetLastError(0);
  CHECK(::LoadLibraryW(L"PSAPI.DLL") == nullptr);
  CHECK(::GetLastError() == ERROR_MOD_NOT_FOUND);
  CHECK(::LoadLibraryW(L"C:\\windows\\system32\\psapi.dll") == nullptr);
  const HMODULE other = ::LoadLibraryW(L"kernel32.dll");
  CHECK(other != nullptr);
  CHECK(::FreeLibrary(other));
  CHECK(missing.Asked() == 2);
}

}  // namespace
