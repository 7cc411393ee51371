// Who may do what with files: the access list of a whole tree. Wine keeps of it what the modes of the host's files can
// hold, and asks nobody who has the host's right to pass over modes (run_in_prefix.sh: VELA_TEST_RIGHTS=ordinary).
#pragma once

#include <string>

namespace TestSupport {

// In the security descriptor language.
inline constexpr wchar_t kFullFileAccess[] = L"D:(A;;FA;;;WD)";
inline constexpr wchar_t kReadOnlyFileAccess[] = L"D:(A;;FRFX;;;WD)";

enum class Locked {
  kFolders,          // nothing can be made or deleted in them
  kFoldersAndFiles,  // and no file be written to
};

// Takes the right to write from everybody. Throws std::runtime_error where it fails, and where it changes nothing
// because this program may write everywhere. A link is left out.
void LockTree(const std::wstring& path, Locked locked);
// Gives all rights to everybody again.
void UnlockTree(const std::wstring& path);

}  // namespace TestSupport
