#include "activation/UserDataTree.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_SecurityAttributes.h"
#include "install/DataFolder.h"
#include "settings/ProductFolders.h"
#include "settings/ProductSettings.h"

namespace VELAUtility {
namespace {

using ProductFolders::WithTrailingBackslash;

// The path of the tree while it grows level by level.
class Tree {
 public:
  Tree() : root_(WithTrailingBackslash(GetCommonDataFolder())), path_(root_) {}

  void AddLevel(const std::wstring& level) {
    path_ += level;
    if (OrCommon::Storage::File::IsFolder(path_)) {
      OrCommon::AccessControl::ApplyFolderAccessRules(path_);
    } else if (!::CreateDirectoryW(path_.c_str(), attributes_.Get())) {
      // Also where a file or a link stands in its place: a link may lead anywhere, and what is made is open to
      // everyone.
      path_ = root_;
    }
  }

 private:
  const std::wstring root_;
  std::wstring path_;
  OrCommon::AccessControl::SecurityAttributes attributes_;
};

}  // namespace

bool GetCurrentUserID(const std::wstring& userSid, std::wstring& userId) {
  const std::wstring identities = ProductFolders::Join(userSid, L"Identities\\");
  if (!ReadUserStringValue(identities, L"Last User ID", userId)) {
    ReadUserStringValue(identities, L"Default User ID", userId);
  }
  return true;
}

void BuildUserDataTree(const wchar_t* clientName, const std::wstring& userSid, std::wstring& userId) {
  Tree tree;
  tree.AddLevel(L"Orvane Labs\\");
  tree.AddLevel(std::wstring(clientName) + L"\\");
  tree.AddLevel(L"Users\\");
  GetCurrentUserID(userSid, userId);
  tree.AddLevel(userId);
  tree.AddLevel(L"\\log\\");  // after an empty identity the separator is doubled, which does no harm
}

}  // namespace VELAUtility
