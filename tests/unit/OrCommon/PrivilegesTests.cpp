// Passing over access lists, for as long as a scope lasts.
#include "Common/OrCommon/OrComn_Privileges.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"

using OrCommon::AccessControl::BackupPrivileges;
using namespace TestSupport;

namespace {

constexpr const wchar_t* kNames[] = {L"SeBackupPrivilege", L"SeRestorePrivilege"};

HANDLE OwnToken() {
  HANDLE token = nullptr;
  REQUIRE(::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY | TOKEN_ADJUST_PRIVILEGES, &token));
  return token;
}

bool IsEnabled(const wchar_t* name) {
  LUID wanted = {};
  REQUIRE(::LookupPrivilegeValueW(nullptr, name, &wanted));
  const HANDLE token = OwnToken();
  std::vector<BYTE> buffer(4096);
  DWORD size = 0;
  REQUIRE(::GetTokenInformation(token, TokenPrivileges, buffer.data(), static_cast<DWORD>(buffer.size()), &size));
  ::CloseHandle(token);
  const auto* const held = reinterpret_cast<const TOKEN_PRIVILEGES*>(buffer.data());
  for (DWORD index = 0; index < held->PrivilegeCount; ++index) {
    const LUID_AND_ATTRIBUTES& entry = held->Privileges[index];
    if (entry.Luid.LowPart == wanted.LowPart && entry.Luid.HighPart == wanted.HighPart) {
      return (entry.Attributes & SE_PRIVILEGE_ENABLED) != 0;
    }
  }
  return false;
}

void Set(const wchar_t* name, bool enabled) {
  TOKEN_PRIVILEGES state = {};
  state.PrivilegeCount = 1;
  state.Privileges[0].Attributes = enabled ? DWORD{SE_PRIVILEGE_ENABLED} : DWORD{0};
  REQUIRE(::LookupPrivilegeValueW(nullptr, name, &state.Privileges[0].Luid));
  const HANDLE token = OwnToken();
  REQUIRE(::AdjustTokenPrivileges(token, FALSE, &state, 0, nullptr, nullptr));
  ::CloseHandle(token);
}

// As a process begins: the privileges are held and not enabled.
struct Disabled {
  Disabled() { Clear(); }
  Disabled(const Disabled&) = delete;
  Disabled& operator=(const Disabled&) = delete;
  ~Disabled() { Clear(); }
  static void Clear() {
    for (const wchar_t* const name : kNames) {
      Set(name, false);
    }
  }
};

TEST_CASE("both are enabled within the scope; after it each is as before") {
  const Disabled process;
  for (const bool before : {false, true}) {
    Set(kNames[1], before);
    {
      const BackupPrivileges privileges;
      CHECK(IsEnabled(kNames[0]));
      CHECK(IsEnabled(kNames[1]));
    }
    CHECK_FALSE(IsEnabled(kNames[0]));
    CHECK(IsEnabled(kNames[1]) == before);
  }
}

TEST_CASE("where one cannot be had the other is, and the end leaves the last error alone") {
  for (const char* const failing : {"LookupPrivilegeValueW", "AdjustTokenPrivileges"}) {
    CAPTURE(failing);
    const Disabled process;
    bool first = true;
    bool second = false;
    {
      const FailCall fail{failing, 1, ERROR_ACCESS_DENIED};
      const BackupPrivileges privileges;
      first = IsEnabled(kNames[0]);
      second = IsEnabled(kNames[1]);
      ::SetLastError(4711);
    }
    CHECK(::GetLastError() == 4711);
    CHECK_FALSE(first);
    CHECK(second);
    CHECK_FALSE(IsEnabled(kNames[1]));
  }
}

TEST_CASE("it asks for the two accesses it needs and changes one privilege a call") {
  const Disabled process;
  DWORD asked = 0;
  std::vector<DWORD> changed;
  {
    const OnCall open{"OpenProcessToken", &::OpenProcessToken, [&](HANDLE, DWORD access, HANDLE*) { asked = access; }};
    const OnCall adjust{"AdjustTokenPrivileges", &::AdjustTokenPrivileges,
                        [&](HANDLE, BOOL, TOKEN_PRIVILEGES* wanted, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
                          changed.push_back(wanted->PrivilegeCount);
                        }};
    const BackupPrivileges privileges;
  }
  CHECK(asked == (TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY));
  CHECK(changed.size() >= 2);
  CHECK(std::count(changed.begin(), changed.end(), 1U) == static_cast<std::ptrdiff_t>(changed.size()));
}

TEST_CASE("without a token nothing is changed and nothing closed") {
  const Disabled process;
  const CountCalls adjusted{"AdjustTokenPrivileges"};
  const CountCalls closed{"CloseHandle"};
  {
    const FailCall open{"OpenProcessToken", 1, ERROR_ACCESS_DENIED};
    const BackupPrivileges privileges;
    CHECK(open.Failed() == 1);
  }
  CHECK(adjusted.Calls() == 0);
  CHECK(closed.Calls() == 0);
}

}  // namespace
