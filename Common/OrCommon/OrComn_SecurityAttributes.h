// Access control lists of the folders that ordinary users' programs share.
//
// There are two policies: one for new folders, one for existing ones. Both open the folders to everyone, because the
// plug-ins and monitors of every user write there. Keep nothing there that matters to the machine.
#pragma once

#include <windows.h>

#include <string>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_AtlSecurity.h"

namespace OrCommon::AccessControl {

// The policy for new folders, in the form that CreateDirectoryW takes. Owns its security descriptor.
class SecurityAttributes : private boost::noncopyable {
 public:
  SecurityAttributes();

  // Valid for as long as this object.
  SECURITY_ATTRIBUTES* Get() noexcept { return &attributes_; }

 private:
  ATL::CSecurityDesc descriptor_;
  SECURITY_ATTRIBUTES attributes_ = {};
};

// Applies the policy for existing folders to `path` and everything below it. Skips reparse points, even `path` itself:
// any user with write access there can create one that points anywhere. Always 1. Reports only one failure, that of
// building the access control list, on standard output.
int ApplyFolderAccessRules(const std::wstring& path);

// Sets `acl` in `descriptor` and writes that to `path` and everything below it. Clears the read-only attribute on the
// way. Skips reparse points and ignores the errors of single entries. Hard links are not skipped: nothing distinguishes
// them from the file.
void ApplySecurityRecursively(const std::wstring& path, SECURITY_DESCRIPTOR* descriptor, ACL* acl);

}  // namespace OrCommon::AccessControl
