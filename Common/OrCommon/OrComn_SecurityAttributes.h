// Who may do what in the folders that this program makes for ordinary users' programs.
//
// Two policies, one for a folder that is made, one for what exists already. Both leave the folders open to everyone,
// because plug-ins and monitors of any user write there; nothing that matters to the machine may be kept in them.
#pragma once

#include <windows.h>

#include <string>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_AtlSecurity.h"

namespace OrCommon::AccessControl {

// The policy for new folders, as CreateDirectoryW takes it. Owns its descriptor.
class SecurityAttributes : private boost::noncopyable {
 public:
  SecurityAttributes();

  // Valid for as long as this object.
  SECURITY_ATTRIBUTES* Get() noexcept { return &attributes_; }

 private:
  ATL::CSecurityDesc descriptor_;
  SECURITY_ATTRIBUTES attributes_ = {};
};

// Stamps the policy for existing folders on `path` and everything below it. Always 1: no failure is reported but that
// of building the access list, on standard output. A link is passed over, also in the place of `path` itself: it was
// planted by somebody who may write there and could point anywhere.
int ApplyFolderAccessRules(const std::wstring& path);

// The stamp itself: sets `acl` in `descriptor` and writes that to `path` and everything below, taking the read-only
// attribute off on the way. Errors of single entries are passed over, and so are links; but not hard links, which
// cannot be told from the file itself.
void ApplySecurityRecursively(const std::wstring& path, SECURITY_DESCRIPTOR* descriptor, ACL* acl);

}  // namespace OrCommon::AccessControl
