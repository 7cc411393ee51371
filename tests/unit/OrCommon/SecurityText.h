// Access lists as lines, every field of them.
#pragma once

#include <windows.h>

#include "tests/support/TextLines.h"

namespace OrCommonTests {

// "S-1-5-32-544".
std::string TextOf(PSID sid);

// One line per entry, in order: "allow 0x001f01ff flags 0x00 S-1-1-0". "invalid" where Windows takes it for no list.
TestSupport::Lines LinesOf(const ACL* acl);

// The list of a descriptor, and first what the descriptor says about itself: "absolute, revision 1, list present".
// "defaulted", an owner, a group or a system list would be named there too.
TestSupport::Lines LinesOf(const void* descriptor);

}  // namespace OrCommonTests
