// Security descriptors as one line.
#pragma once

#include <windows.h>

#include <sddl.h>

#include <cstdio>
#include <string>

namespace OrCommonTests {

// The control word of a descriptor, and its owner, group and lists in the security descriptor definition language:
// "0004 D:(A;;FA;;;WD)". "invalid" if Windows does not accept it.
inline std::string TextOf(const void* descriptor) {
  constexpr SECURITY_INFORMATION kAll =
      OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | SACL_SECURITY_INFORMATION;
  const auto raw = const_cast<void*>(descriptor);
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  char* text = nullptr;
  if (!::GetSecurityDescriptorControl(raw, &control, &revision) ||
      !::ConvertSecurityDescriptorToStringSecurityDescriptorA(raw, SDDL_REVISION_1, kAll, &text, nullptr)) {
    return "invalid";
  }
  char head[8] = {};
  std::snprintf(head, sizeof head, "%04x ", unsigned{control});
  const std::string line = std::string(head) + text;
  ::LocalFree(text);
  return line;
}

}  // namespace OrCommonTests
