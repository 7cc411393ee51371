#include "Common/OrCommon/OrComn_SecurityAttributes.h"

#include <aclapi.h>

#include <cstdio>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_FolderWalk.h"
#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::AccessControl {
namespace {

constexpr ACCESS_MASK kFullAccess = FILE_ALL_ACCESS;
static_assert(kFullAccess == 0x1F01FF);
// Read data, write data, append data, delete child, read attributes, delete, synchronize.
constexpr ACCESS_MASK kWorkingAccess = 0x1100C7;

constexpr SID_IDENTIFIER_AUTHORITY kWorldAuthority = {SECURITY_WORLD_SID_AUTHORITY};
constexpr SID_IDENTIFIER_AUTHORITY kNtAuthority = {SECURITY_NT_AUTHORITY};

struct Trustee {
  SID_IDENTIFIER_AUTHORITY authority;
  BYTE count;  // of sub-authorities
  DWORD first;
  DWORD second;
};

constexpr Trustee kAdministrators = {kNtAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS};
constexpr Trustee kPowerUsers = {kNtAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_POWER_USERS};
constexpr Trustee kUsers = {kNtAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_USERS};
constexpr Trustee kLocalSystem = {kNtAuthority, 1, SECURITY_LOCAL_SYSTEM_RID, 0};
constexpr Trustee kAuthenticatedUsers = {kNtAuthority, 1, SECURITY_AUTHENTICATED_USER_RID, 0};
constexpr Trustee kInteractive = {kNtAuthority, 1, SECURITY_INTERACTIVE_RID, 0};
constexpr Trustee kEveryone = {kWorldAuthority, 1, SECURITY_WORLD_RID, 0};

struct CreationEntry {
  Trustee trustee;
  ACCESS_MASK mask;
};

// In this order. The last entry makes the kWorkingAccess entries redundant; they are kept.
constexpr CreationEntry kCreationEntries[] = {
    {kAdministrators, kFullAccess}, {kPowerUsers, kFullAccess},
    {kLocalSystem, kFullAccess},    {kAuthenticatedUsers, kWorkingAccess},
    {kUsers, kWorkingAccess},       {kInteractive, kWorkingAccess},
    {kEveryone, kFullAccess},
};

struct ReapplyEntry {
  Trustee trustee;
  TRUSTEE_TYPE type;
};

constexpr ReapplyEntry kReapplyEntries[] = {
    {kEveryone, TRUSTEE_IS_WELL_KNOWN_GROUP},
    {kUsers, TRUSTEE_IS_GROUP},
    {kAdministrators, TRUSTEE_IS_GROUP},
};
constexpr ULONG kReapplyPrepared = sizeof kReapplyEntries / sizeof kReapplyEntries[0];
// The last entry is prepared but not passed: the list names only everyone and the users.
constexpr ULONG kReapplyPassed = kReapplyPrepared - 1;

bool Allocate(const Trustee& trustee, Sid& sid) {
  SID_IDENTIFIER_AUTHORITY authority = trustee.authority;
  return ::AllocateAndInitializeSid(&authority, trustee.count, trustee.first, trustee.second, 0, 0, 0, 0, 0, 0,
                                    sid.Receive()) != FALSE;
}

// The access control list of the policy; false if it could not be built.
bool BuildReapplyAcl(LocalMemory<ACL>& acl) {
  Sid sids[kReapplyPrepared];
  EXPLICIT_ACCESS_W entries[kReapplyPrepared] = {};
  for (ULONG index = 0; index < kReapplyPrepared; ++index) {
    if (!Allocate(kReapplyEntries[index].trustee, sids[index])) {
      return false;
    }
    entries[index].grfAccessPermissions = kFullAccess;
    entries[index].grfAccessMode = SET_ACCESS;
    entries[index].grfInheritance = NO_INHERITANCE;
    entries[index].Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entries[index].Trustee.TrusteeType = kReapplyEntries[index].type;
    entries[index].Trustee.ptstrName = static_cast<wchar_t*>(sids[index].Get());
  }
  if (::SetEntriesInAclW(kReapplyPassed, entries, nullptr, acl.Receive()) != ERROR_SUCCESS) {
    std::printf("SetEntriesInAcl Error %u\n", static_cast<unsigned int>(::GetLastError()));
    return false;
  }
  return true;
}

}  // namespace

SecurityAttributes::SecurityAttributes() {
  ATL::CDacl dacl;
  for (const CreationEntry& entry : kCreationEntries) {
    const Trustee& trustee = entry.trustee;
    dacl.AddAllowedAce(ATL::CSid(trustee.authority, trustee.count, trustee.first, trustee.second), entry.mask, 0);
  }
  descriptor_.SetDacl(dacl, false);
  attributes_.nLength = sizeof attributes_;
  attributes_.lpSecurityDescriptor = const_cast<SECURITY_DESCRIPTOR*>(descriptor_.GetPSECURITY_DESCRIPTOR());
  attributes_.bInheritHandle = FALSE;
}

int ApplyFolderAccessRules(const std::wstring& path) {
  constexpr int kDone = 1;
  LocalMemory<ACL> acl;
  if (!BuildReapplyAcl(acl)) {
    return kDone;
  }
  const LocalMemory<SECURITY_DESCRIPTOR> descriptor(
      static_cast<SECURITY_DESCRIPTOR*>(::LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH)));
  if (descriptor && ::InitializeSecurityDescriptor(descriptor.Get(), SECURITY_DESCRIPTOR_REVISION) &&
      ::SetSecurityDescriptorDacl(descriptor.Get(), TRUE, acl.Get(), FALSE)) {
    ApplySecurityRecursively(path, descriptor.Get(), acl.Get());
  }
  return kDone;
}

void ApplySecurityRecursively(const std::wstring& path, SECURITY_DESCRIPTOR* descriptor, ACL* acl) {
  namespace File = Storage::File;
  File::FolderWalk walk(File::FullPath(path), L"*.*");
  const auto stamp = [&] {
    ::SetFileSecurityW(File::SystemPath(walk.Path()).c_str(), DACL_SECURITY_INFORMATION, descriptor);
  };
  const auto stampAndEnter = [&] {
    // Checked again for every folder: since it was listed, a user may have replaced it.
    if (File::IsLink(walk.Path())) {
      return;
    }
    if (::SetSecurityDescriptorDacl(descriptor, TRUE, acl, FALSE)) {
      stamp();
    }
    walk.Enter();
  };
  for (stampAndEnter(); walk.Next();) {
    const DWORD attributes = walk.Attributes();
    if (walk.IsLeaving() || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
      continue;
    }
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
      ::SetFileAttributesW(File::SystemPath(walk.Path()).c_str(),
                           attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      stampAndEnter();
    } else {
      stamp();
    }
  }
}

}  // namespace OrCommon::AccessControl
