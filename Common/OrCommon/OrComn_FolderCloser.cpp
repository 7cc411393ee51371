#include "Common/OrCommon/OrComn_FolderCloser.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

#include "Common/OrCommon/OrComn_AtlSecurity.h"
#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::AccessControl {
namespace {

constexpr SID_IDENTIFIER_AUTHORITY kNtAuthority = {SECURITY_NT_AUTHORITY};

using Facts = BY_HANDLE_FILE_INFORMATION;

FileHandle Open(const std::wstring& folder, DWORD access) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  return FileHandle(::CreateFileW(Storage::File::SystemPath(folder).c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT | Storage::File::kNotLent,
                                  nullptr));
}

// False also for a link.
bool IsPlainFolder(HANDLE folder, Facts& facts) {
  return ::GetFileInformationByHandle(folder, &facts) &&
         (facts.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) ==
             FILE_ATTRIBUTE_DIRECTORY;
}

bool IsSame(const Facts& left, const Facts& right) {
  return left.dwVolumeSerialNumber == right.dwVolumeSerialNumber && left.nFileIndexHigh == right.nFileIndexHigh &&
         left.nFileIndexLow == right.nFileIndexLow;
}

// Sets owner and access control list in one call, for this folder only: SetSecurityInfo would change its contents, too.
bool GiveToAdministrators(HANDLE folder) {
  const ATL::CSid administrators(kNtAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS);
  const ATL::CSid localSystem(kNtAuthority, 1, SECURITY_LOCAL_SYSTEM_RID, 0);
  ATL::CDacl list;
  for (const ATL::CSid* sid : {&localSystem, &administrators}) {
    list.AddAllowedAce(*sid, FILE_ALL_ACCESS, OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE);
  }
  SECURITY_DESCRIPTOR descriptor = {};
  return ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) &&
         ::SetSecurityDescriptorOwner(&descriptor, const_cast<SID*>(administrators.GetPSID()), FALSE) &&
         ::SetSecurityDescriptorDacl(&descriptor, TRUE, const_cast<ACL*>(list.GetPACL()), FALSE) &&
         ::SetSecurityDescriptorControl(&descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED) &&
         ::SetKernelObjectSecurity(
             folder, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
             &descriptor);
}

// Until the folder is closed, a user can make it a link or replace it by another folder. So check it again afterwards,
// when that is no longer possible.
bool CloseFolder(const std::wstring& folder) {
  Facts facts = {};
  const FileHandle handle = Open(folder, READ_CONTROL | WRITE_DAC | WRITE_OWNER | FILE_READ_ATTRIBUTES);
  if (!handle || !IsPlainFolder(handle.Get(), facts) || !GiveToAdministrators(handle.Get()) ||
      !IsPlainFolder(handle.Get(), facts)) {
    return false;
  }
  Facts there = {};
  const FileHandle again = Open(folder, FILE_READ_ATTRIBUTES);
  return again && IsPlainFolder(again.Get(), there) && IsSame(facts, there);
}

// The length of the longest common path: equal to `one` and `other`, or a parent of them.
std::size_t CommonLength(const std::wstring& one, const std::wstring& other) {
  const auto split = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
  const auto length = static_cast<std::size_t>(split.first - one.begin());
  const auto endsAt = [](const std::wstring& path, std::size_t end) {
    return end == path.size() || path[end] == L'\\';
  };
  if (endsAt(one, length) && endsAt(other, length)) {
    return length;
  }
  const std::size_t separator = std::wstring_view(one).substr(0, length).rfind(L'\\');
  return separator == std::wstring::npos ? 0 : separator;
}

}  // namespace

bool FolderCloser::CloseNext(const std::wstring& folder) {
  way_ = folder;
  isWayClosed_ = CloseFolder(folder);
  return isWayClosed_;
}

bool FolderCloser::Close(const std::wstring& path) {
  if (root_.empty() || !Storage::File::IsSameOrBelow(path, root_)) {
    return true;
  }
  const std::size_t known = CommonLength(way_, path);
  const bool isKnown = known >= root_.size();
  if (isKnown && known == way_.size() && !isWayClosed_) {
    return false;  // a user who can change this folder can divert every path below it
  }
  for (std::size_t end = isKnown ? path.find(L'\\', known + 1) : root_.size(); end < path.size();
       end = path.find(L'\\', end + 1)) {
    if (!CloseNext(path.substr(0, end))) {
      return false;
    }
  }
  return (isKnown && known == path.size()) || !Storage::File::IsFolder(path) || CloseNext(path);
}

}  // namespace OrCommon::AccessControl
