// Functions that a program binds by name at the first call and keeps, as the product does. Each test case has its own
// function, because a bound function stays bound.
#include <doctest/doctest.h>

#include <windows.h>

#include <stdexcept>
#include <string>

#include "tests/support/ImportRedirection.h"

using namespace TestSupport;

namespace {

using Exists = BOOL(WINAPI*)(LPCWSTR);
using FileName = LPSTR(WINAPI*)(LPCSTR);
using Append = BOOL(WINAPI*)(LPWSTR, LPCWSTR);

constexpr wchar_t kFolder[] = L"C:\\windows";

const void* ContentsOf(const std::string& function) {
  for (const auto& slot : ProgramImports()) {
    if (slot.function == function && slot.jump != nullptr) {
      return *slot.slot;
    }
  }
  throw std::logic_error(function + " is not bound late");
}

template <class Function>
Function Bind(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryW(L"shlwapi.dll"), name)));
}

TEST_CASE("a function bound before a redirection reaches the replacement, and itself again afterwards") {
  const auto exists = Bind<Exists>("PathFileExistsW");
  const void* const before = ContentsOf("PathFileExistsW");
  {
    const ImportRedirection redirect{"PathFileExistsW",
                                     [&](LPCWSTR path) -> BOOL { return !redirect.Original<Exists>()(path); }};
    CHECK_FALSE(exists(kFolder));
    CHECK(OriginalImport<Exists>("PathFileExistsW")(kFolder));
  }
  CHECK(ContentsOf("PathFileExistsW") == before);
  CHECK(exists(kFolder));
}

TEST_CASE("a function bound during a redirection reaches the replacement, and itself again afterwards") {
  REQUIRE(ContentsOf("PathFindFileNameA") == nullptr);
  static char answer[] = "another";
  FileName fileName = nullptr;
  {
    const ImportRedirection redirect{"PathFindFileNameA", [](LPCSTR) -> LPSTR { return answer; }};
    fileName = Bind<FileName>("PathFindFileNameA");
    CHECK(std::string(fileName("a\\b")) == "another");
    CHECK(std::string(redirect.Original<FileName>()("a\\b")) == "b");
  }
  CHECK(std::string(fileName("a\\b")) == "b");
  CHECK((Bind<FileName>("PathFindFileNameA") == fileName));
}

TEST_CASE("redirected but never bound: the original can be called, and the slot is empty again afterwards") {
  REQUIRE(ContentsOf("PathAppendW") == nullptr);
  {
    const ImportRedirection redirect{"PathAppendW", [](LPWSTR, LPCWSTR) -> BOOL { return FALSE; }};
    wchar_t path[MAX_PATH] = L"C:\\windows";
    CHECK(redirect.Original<Append>()(path, L"system32"));
    CHECK(std::wstring(path) == L"C:\\windows\\system32");
  }
  CHECK(ContentsOf("PathAppendW") == nullptr);
}

}  // namespace
