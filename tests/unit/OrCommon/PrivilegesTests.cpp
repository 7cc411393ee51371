// Bypassing access control lists for the duration of a scope.
#include "Common/OrCommon/OrComn_Privileges.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"

using OrCommon::AccessControl::BackupPrivileges;
using namespace TestSupport;

namespace {

// A privilege of this process. When a process starts, it has the privilege, but it is not enabled.
class Privilege {
 public:
  explicit Privilege(const wchar_t* name) {
    REQUIRE(::LookupPrivilegeValueW(nullptr, name, &luid_));
    REQUIRE(::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY | TOKEN_ADJUST_PRIVILEGES, &token_));
    Set(false);
  }
  Privilege(const Privilege&) = delete;
  Privilege& operator=(const Privilege&) = delete;
  ~Privilege() {
    Set(false);
    ::CloseHandle(token_);
  }
  void Set(bool enabled) const {
    TOKEN_PRIVILEGES state = {1, {{luid_, enabled ? DWORD{SE_PRIVILEGE_ENABLED} : DWORD{0}}}};
    CHECK(::AdjustTokenPrivileges(token_, FALSE, &state, 0, nullptr, nullptr));
  }
  bool IsEnabled() const {
    PRIVILEGE_SET asked = {1, PRIVILEGE_SET_ALL_NECESSARY, {{luid_, 0}}};
    BOOL enabled = FALSE;
    CHECK(::PrivilegeCheck(token_, &asked, &enabled));
    return enabled != FALSE;
  }

 private:
  LUID luid_ = {};
  HANDLE token_ = nullptr;
};

struct Process {
  const Privilege backup{L"SeBackupPrivilege"};
  const Privilege restore{L"SeRestorePrivilege"};
};

TEST_CASE_FIXTURE(Process, "both privileges are enabled in the scope, with one call each, and then restored") {
  const OnCall open{"OpenProcessToken", &::OpenProcessToken,
                    [](HANDLE, DWORD access, HANDLE*) { CHECK(access == (TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY)); }};
  const OnCall adjust{"AdjustTokenPrivileges", &::AdjustTokenPrivileges,
                      [](HANDLE, BOOL, TOKEN_PRIVILEGES* wanted, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
                        CHECK(wanted->PrivilegeCount == 1);
                      }};
  for (const bool before : {false, true}) {
    restore.Set(before);
    {
      const BackupPrivileges privileges;
      CHECK(backup.IsEnabled());
      CHECK(restore.IsEnabled());
    }
    CHECK_FALSE(backup.IsEnabled());
    CHECK(restore.IsEnabled() == before);
  }
}

TEST_CASE_FIXTURE(Process, "if one privilege fails, the other is enabled; the scope's end keeps the last error") {
  for (const char* const failing : {"LookupPrivilegeValueW", "AdjustTokenPrivileges"}) {
    CAPTURE(std::string(failing));
    {
      const FailCall fail{failing, 1, ERROR_ACCESS_DENIED};
      const BackupPrivileges privileges;
      CHECK_FALSE(backup.IsEnabled());
      CHECK(restore.IsEnabled());
      ::SetLastError(4711);
    }
    CHECK(::GetLastError() == 4711);
    CHECK_FALSE(restore.IsEnabled());
  }
}

TEST_CASE("without the process token, no privilege is changed and no handle closed") {
  const CountCalls adjusted{"AdjustTokenPrivileges"};
  const CountCalls closed{"CloseHandle"};
  {
    const FailCall open{"OpenProcessToken", 1, ERROR_ACCESS_DENIED};
    const BackupPrivileges privileges;
    CHECK(open.Failed() == 1);
  }
  CHECK(adjusted.Calls() + closed.Calls() == 0);
}

}  // namespace
