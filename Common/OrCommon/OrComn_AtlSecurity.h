// CSid, CDacl and CSecurityDesc: ATL's own if the toolchain has them. Otherwise these replacements, with the members
// that are used here, which make the same Win32 calls.
#pragma once

#include <windows.h>

#if defined(__has_include) && __has_include(<atlsecurity.h>)

#include <atlsecurity.h>

#else

#include <array>
#include <vector>

namespace ATL {

// A security identifier.
class CSid {
 public:
  // `authority` and up to two sub-authorities; the first `count` are used.
  CSid(const SID_IDENTIFIER_AUTHORITY& authority, BYTE count, DWORD first, DWORD second) noexcept {
    SID_IDENTIFIER_AUTHORITY copy = authority;
    ::InitializeSid(sid_.data(), &copy, count);
    const std::array<DWORD, 2> parts = {first, second};
    for (BYTE index = 0; index < count && index < parts.size(); ++index) {
      *::GetSidSubAuthority(Raw(), index) = parts[index];
    }
  }

  const SID* GetPSID() const noexcept { return reinterpret_cast<const SID*>(sid_.data()); }
  DWORD GetLength() const noexcept { return ::GetLengthSid(Raw()); }

 private:
  PSID Raw() const noexcept { return sid_.data(); }

  alignas(DWORD) mutable std::array<BYTE, SECURITY_MAX_SID_SIZE> sid_{};  // Win32 takes identifiers without const
};

// A discretionary access list, in the order in which its entries are added.
class CDacl {
 public:
  bool AddAllowedAce(const CSid& sid, ACCESS_MASK mask, BYTE flags) {
    entries_.push_back({sid, mask, flags});
    return true;
  }

  // The list in the form that Windows expects; valid until the next change.
  const ACL* GetPACL() const {
    std::size_t size = sizeof(ACL);
    for (const Entry& entry : entries_) {
      size += sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD) + entry.sid.GetLength();
    }
    acl_.assign((size + sizeof(DWORD) - 1) / sizeof(DWORD), 0);
    const auto acl = reinterpret_cast<ACL*>(acl_.data());
    ::InitializeAcl(acl, static_cast<DWORD>(acl_.size() * sizeof(DWORD)), ACL_REVISION);
    for (const Entry& entry : entries_) {
      ::AddAccessAllowedAceEx(acl, ACL_REVISION, entry.flags, entry.mask, const_cast<SID*>(entry.sid.GetPSID()));
    }
    return acl;
  }

 private:
  struct Entry {
    CSid sid;
    ACCESS_MASK mask;
    BYTE flags;
  };
  std::vector<Entry> entries_;
  mutable std::vector<DWORD> acl_;
};

// A security descriptor that owns its access list.
class CSecurityDesc {
 public:
  CSecurityDesc() noexcept { ::InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION); }
  CSecurityDesc(const CSecurityDesc&) = delete;
  CSecurityDesc& operator=(const CSecurityDesc&) = delete;

  void SetDacl(const CDacl& dacl, bool defaulted = false) {
    dacl_ = dacl;
    ::SetSecurityDescriptorDacl(&descriptor_, TRUE, const_cast<ACL*>(dacl_.GetPACL()), defaulted ? TRUE : FALSE);
  }

  const SECURITY_DESCRIPTOR* GetPSECURITY_DESCRIPTOR() const noexcept { return &descriptor_; }

 private:
  SECURITY_DESCRIPTOR descriptor_ = {};
  CDacl dacl_;
};

}  // namespace ATL

#endif
