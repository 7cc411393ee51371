// What an installation takes from its source and where it puts it.
#pragma once

#include <string>
#include <vector>

#include "tests/support/World.h"

namespace Expected {

// Outlook Express is staged before Windows 7 only.
enum class OutlookExpress { kStaged, kLeftOut };

// A folder of the source, copied whole.
struct Tree {
  std::wstring from;
  std::wstring to;
};

// The files of one step: its trees in the order in which they are copied, then one file of settings.
struct StagingStep {
  std::string name;  // "VELA_OL"; empty for the resources, which have no rules and no settings
  std::wstring folder;
  std::vector<Tree> trees;
  std::wstring settings;
};

// The steps of an installation on an AMD64 system in order. `base` ends in a backslash.
std::vector<StagingStep> StagingSteps(OutlookExpress outlookExpress, const std::wstring& base,
                                      const std::wstring& source = TestSupport::World::kSource);

// The files of a folder tree in the order in which a copy meets them: that of the file system, a subfolder as a whole
// where its name stands. With their paths below `folder`, a leading backslash included.
std::vector<std::wstring> FilesInCopyOrder(const std::wstring& folder);

// The subfolders of a folder tree, told as above.
std::vector<std::wstring> FoldersBelow(const std::wstring& folder);

}  // namespace Expected
