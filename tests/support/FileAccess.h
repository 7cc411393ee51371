// Who may do what with files. Wine keeps of access lists what the modes of the host's files can hold, and asks nobody
// who has the host's right to pass over modes (run_in_prefix.sh: VELA_TEST_RIGHTS=ordinary).
#pragma once

#include <string>

namespace TestSupport {

// Takes the right to write, to delete and to make something from this user, in a folder with all that lies in it.
// Throws std::runtime_error where it fails, and where it changes nothing because this program may write everywhere.
// Links are left out. Attributes stay as they are.
void LockTree(const std::wstring& folder);
// Gives all rights to everybody.
void UnlockTree(const std::wstring& folder);

}  // namespace TestSupport
