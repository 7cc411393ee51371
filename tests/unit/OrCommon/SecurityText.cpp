#include "tests/unit/OrCommon/SecurityText.h"

#include <sddl.h>

#include <cstdio>

namespace OrCommonTests {

std::string TextOf(PSID sid) {
  char* text = nullptr;
  if (!::IsValidSid(sid) || !::ConvertSidToStringSidA(sid, &text)) {
    return "invalid";
  }
  const std::string copy = text;
  ::LocalFree(text);
  return copy;
}

TestSupport::Lines LinesOf(const ACL* acl) {
  const auto list = const_cast<ACL*>(acl);
  if (list == nullptr || !::IsValidAcl(list)) {
    return {"invalid"};
  }
  TestSupport::Lines lines;
  for (DWORD index = 0; index < acl->AceCount; ++index) {
    void* raw = nullptr;
    if (!::GetAce(list, index, &raw)) {
      return {"invalid"};
    }
    const auto ace = static_cast<ACCESS_ALLOWED_ACE*>(raw);
    char head[64] = {};
    std::snprintf(head, sizeof head, "0x%08x flags 0x%02x ", static_cast<unsigned>(ace->Mask),
                  unsigned{ace->Header.AceFlags});
    const std::string type =
        ace->Header.AceType == ACCESS_ALLOWED_ACE_TYPE ? "allow " : "type " + std::to_string(ace->Header.AceType) + " ";
    lines.push_back(type + head + TextOf(&ace->SidStart));
  }
  return lines;
}

TestSupport::Lines LinesOf(const void* descriptor) {
  const auto raw = const_cast<void*>(descriptor);
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  ACL* acl = nullptr;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  if (raw == nullptr || !::IsValidSecurityDescriptor(raw) ||
      !::GetSecurityDescriptorControl(raw, &control, &revision) ||
      !::GetSecurityDescriptorDacl(raw, &present, &acl, &defaulted)) {
    return {"invalid"};
  }
  std::string head = (control & SE_SELF_RELATIVE) != 0 ? "self-relative" : "absolute";
  head += ", revision " + std::to_string(revision);
  head += present ? ", list present" : ", no list";
  head += defaulted ? ", defaulted" : "";
  head += (control & SE_SACL_PRESENT) != 0 ? ", system list" : "";
  head += (control & SE_DACL_PROTECTED) != 0 ? ", protected" : "";
  PSID owner = nullptr;
  PSID group = nullptr;
  BOOL ignored = FALSE;
  head += ::GetSecurityDescriptorOwner(raw, &owner, &ignored) && owner != nullptr ? ", owner " + TextOf(owner) : "";
  head += ::GetSecurityDescriptorGroup(raw, &group, &ignored) && group != nullptr ? ", group " + TextOf(group) : "";
  TestSupport::Lines lines = {head};
  for (std::string& line : LinesOf(static_cast<const ACL*>(acl))) {
    lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace OrCommonTests
