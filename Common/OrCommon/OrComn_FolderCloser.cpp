#include "Common/OrCommon/OrComn_FolderCloser.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_AtlSecurity.h"
#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::AccessControl {
namespace {

constexpr SID_IDENTIFIER_AUTHORITY kNtAuthority = {SECURITY_NT_AUTHORITY};

bool IsPlainFolder(HANDLE folder) {
  BY_HANDLE_FILE_INFORMATION facts = {};
  return ::GetFileInformationByHandle(folder, &facts) &&
         (facts.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) ==
             FILE_ATTRIBUTE_DIRECTORY;
}

// Owner and list in one call, which reaches this folder alone: SetSecurityInfo would pass the list on to what lies in
// it.
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

// Looks and sets by one handle, so that nothing can be exchanged in between.
bool CloseFolder(const std::wstring& folder) {
  const FileHandle handle(::CreateFileW(Storage::File::SystemPath(folder).c_str(),
                                        READ_CONTROL | WRITE_DAC | WRITE_OWNER | FILE_READ_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  return handle && IsPlainFolder(handle.Get()) && GiveToAdministrators(handle.Get());
}

}  // namespace

bool FolderCloser::CloseOnce(const std::wstring& folder) {
  for (const auto& [known, isClosed] : closed_) {
    if (known == folder) {
      return isClosed;
    }
  }
  closed_.emplace_back(folder, CloseFolder(folder));
  return closed_.back().second;
}

bool FolderCloser::Close(const std::wstring& path) {
  if (root_.empty() || !Storage::File::IsSameOrBelow(path, root_)) {
    return true;
  }
  for (std::size_t end = root_.size(); end < path.size(); end = path.find(L'\\', end + 1)) {
    if (!CloseOnce(path.substr(0, end))) {
      return false;  // who can change this folder can change the way to all below it
    }
  }
  return !Storage::File::IsFolder(path) || CloseOnce(path);
}

}  // namespace OrCommon::AccessControl
