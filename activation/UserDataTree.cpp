#include "activation/UserDataTree.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_SecurityAttributes.h"
#include "install/DataFolder.h"
#include "settings/ProductFolders.h"
#include "settings/ProductSettings.h"

namespace VELAUtility {
namespace {

namespace File = OrCommon::Storage::File;

// True for a text that is the name of one folder. The user can store any text as identity, and folders are created and
// opened here with machine rights: reject "..\\..\\Windows".
bool IsPlainName(const std::wstring& name) {
  return name.find_first_of(L"\\/:") == std::wstring::npos && !File::IsReadAsAnother(name);
}

// The path of the tree while it grows level by level. Check, creation and permission change use the same form of the
// path: Windows may resolve two forms to two places, and the check would be of the wrong one.
class Tree {
 public:
  explicit Tree(const std::wstring& commonData) : root_(File::WithoutSeparator(commonData)), path_(root_) {}

  void AddLevel(const std::wstring& level) {
    path_ = File::WithSeparator(path_) + level;
    MakeOrOpen();
  }

  // An empty identity adds nothing: its parent folder is opened to everyone again.
  void AddIdentity(const std::wstring& identity) {
    if (!identity.empty() && !IsPlainName(identity)) {
      FallBack();
    } else if (!identity.empty()) {
      AddLevel(identity);
    } else if (!fallenBack_) {
      MakeOrOpen();
    }
  }

 private:
  void MakeOrOpen() {
    if (!File::IsFolder(path_)) {
      Create();
    } else if (!fallenBack_) {
      OrCommon::AccessControl::ApplyFolderAccessRules(path_);
    }
  }

  // Also fails if a file or a link has the level's name: a link may lead anywhere, and new folders are open to
  // everyone.
  void Create() {
    if (!::CreateDirectoryW(File::SystemPath(path_).c_str(), attributes_.Get())) {
      FallBack();
    }
  }

  // The tree continues below the root, where other programs have their folders. Existing folders, even the root itself,
  // may be theirs. They are used as they are: a user chose the name, so they must not be opened to everyone.
  void FallBack() {
    path_ = root_;
    fallenBack_ = true;
  }

  const std::wstring root_;
  std::wstring path_;
  bool fallenBack_ = false;
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

void BuildUserDataTree(MailClient client, const std::wstring& userSid, std::wstring& userId) {
  const std::wstring commonData = GetCommonDataFolder();
  if (commonData.empty()) {
    GetCurrentUserID(userSid, userId);
    return;  // open nothing below the current folder, which any user may own
  }
  Tree tree(commonData);
  tree.AddLevel(L"Orvane Labs");
  tree.AddLevel(FactsOf(client).shortName);
  tree.AddLevel(L"Users");
  GetCurrentUserID(userSid, userId);
  tree.AddIdentity(userId);
  tree.AddLevel(L"log");
}

}  // namespace VELAUtility
