#include "Common/OrCommon/OrComn_Privileges.h"

#include <iterator>

namespace OrCommon::AccessControl {
namespace {

constexpr const wchar_t* kNames[] = {L"SeBackupPrivilege", L"SeRestorePrivilege"};

}  // namespace

BackupPrivileges::BackupPrivileges() {
  static_assert(std::size(kNames) == sizeof previous_ / sizeof previous_[0]);
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token_.Receive())) {
    return;
  }
  for (std::size_t index = 0; index < std::size(kNames); ++index) {
    TOKEN_PRIVILEGES wanted = {};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    DWORD size = 0;
    if (::LookupPrivilegeValueW(nullptr, kNames[index], &wanted.Privileges[0].Luid)) {
      ::AdjustTokenPrivileges(token_.Get(), FALSE, &wanted, sizeof previous_[index], &previous_[index], &size);
    }
  }
}

BackupPrivileges::~BackupPrivileges() {
  const LastErrorKeeper keeper;
  for (TOKEN_PRIVILEGES& previous : previous_) {
    if (previous.PrivilegeCount != 0) {
      ::AdjustTokenPrivileges(token_.Get(), FALSE, &previous, sizeof previous, nullptr, nullptr);
    }
  }
}

}  // namespace OrCommon::AccessControl
