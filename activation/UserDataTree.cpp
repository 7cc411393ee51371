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

// True for a text that names one folder and nothing else. The identity is any text that the user cares to store, and
// what is made or opened here is done with machine rights: "..\\..\\Windows" must lead nowhere.
bool IsPlainName(const std::wstring& name) {
  return name.find_first_of(L"\\/:") == std::wstring::npos && !File::IsReadAsAnother(name);
}

// The path of the tree while it grows level by level. Look, creation and stamp take it in one form: where Windows reads
// two forms as two places, the look would not be at what is opened.
class Tree {
 public:
  explicit Tree(const std::wstring& commonData) : root_(File::WithoutSeparator(commonData)), path_(root_) {}

  void AddLevel(const std::wstring& level) {
    path_ = File::WithSeparator(path_) + level;
    MakeOrOpen();
  }

  // An empty identity adds nothing: the folder above is opened once more.
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

  // A file or a link in the level's place makes this fail too: a link may lead anywhere, and what is made is open to
  // everyone.
  void Create() {
    if (!::CreateDirectoryW(File::SystemPath(path_).c_str(), attributes_.Get())) {
      FallBack();
    }
  }

  // The tree goes on below the root, where other programs keep their folders. What is there already is theirs, the root
  // itself included: it is used as it is, and not opened to everyone because a user chose its name.
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
    return;  // below the current folder, which may be anybody's, nothing is opened to everyone
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
