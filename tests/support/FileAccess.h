// Access rights of files. Of an access control list, Wine keeps only what the modes of the host's files can hold. It
// checks nothing for a user who may ignore file modes (run_in_prefix.sh: VELA_TEST_RIGHTS=ordinary).
#pragma once

#include <string>

namespace TestSupport {

// Denies this user to write, to delete and to create, in a folder and everything in it. Throws std::runtime_error if
// this fails, or if it has no effect because this program may write everywhere. Links are skipped. Attributes stay the
// same.
void LockTree(const std::wstring& folder);
// Gives all rights to everybody.
void UnlockTree(const std::wstring& folder);

}  // namespace TestSupport
