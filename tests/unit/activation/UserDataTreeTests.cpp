// The folders of one user's data, and whose identity names them. The user chooses the text of the identity, and a
// process with machine rights opens these folders to everyone. No identity may lead out of the user's tree.
#include "activation/UserDataTree.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/Clients.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/support/FolderLink.h"
#include "tests/unit/activation/SwitchedMachine.h"

using namespace TestSupport;
using VELAUtility::BuildUserDataTree;
using VELAUtility::GetCurrentUserID;

namespace {

constexpr wchar_t kIdentity[] = L"{0C0FFEE0-1234-4321-8888-00112233AABB}";
constexpr wchar_t kOther[] = L"{DEFAULT0-1234-4321-8888-00112233AABB}";

const std::wstring kData = SwitchedMachine::kData;

void StoreIdentity(const std::wstring& identity) {
  MakeKey(UsersKey(SwitchedMachine::kUser + std::wstring(L"\\Identities")), {{L"Last User ID", identity}});
}

// What happens to each level: the folders that are created, with the number of entries in their access control list,
// and the folders and files that get a new list. Paths below the common data folder.
class FolderCalls {
 public:
  // Creating the folders with the numbers in `refused`, counted from 1, fails.
  explicit FolderCalls(std::vector<int> refused = {}) : refused_(std::move(refused)) {}

  const Lines& Calls() const { return calls_; }

 private:
  static std::string Shown(LPCWSTR path) {
    const std::string root = ToUtf8(kData) + "\\";
    const std::string text = ToUtf8(path);
    return text.compare(0, root.size(), root) == 0 ? text.substr(root.size()) : text;
  }

  static WORD EntriesOf(const SECURITY_ATTRIBUTES* attributes) {
    BOOL present = FALSE;
    BOOL defaulted = TRUE;
    PACL list = nullptr;
    if (attributes == nullptr || attributes->nLength != sizeof *attributes || attributes->bInheritHandle ||
        !::GetSecurityDescriptorDacl(attributes->lpSecurityDescriptor, &present, &list, &defaulted) || !present ||
        defaulted) {
      return 0;
    }
    return list->AceCount;
  }

  Lines calls_;
  int made_ = 0;
  std::vector<int> refused_;
  FailWhere create_{"CreateDirectoryW", &::CreateDirectoryW,
                    [this](LPCWSTR path, const SECURITY_ATTRIBUTES* attributes) -> DWORD {
                      calls_.push_back("make " + Shown(path) + " " + std::to_string(EntriesOf(attributes)));
                      const bool refused = std::count(refused_.begin(), refused_.end(), ++made_) != 0;
                      return refused ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
                    }};
  OnCall renew_{"SetFileSecurityW", &::SetFileSecurityW,
                [this](LPCWSTR path, SECURITY_INFORMATION, const void*) { calls_.push_back("renew " + Shown(path)); }};
};

// Builds the tree and returns what was done. The identity is stored in `userId`.
Lines Build(MailClient client, std::wstring& userId, std::vector<int> refused = {}) {
  const FolderCalls calls(std::move(refused));
  BuildUserDataTree(client, SwitchedMachine::kUser, userId);
  return calls.Calls();
}

Lines BuildForOutlook(std::vector<int> refused = {}) {
  std::wstring userId = L"of somebody else";
  return Build(MailClient::kOutlook, userId, std::move(refused));
}

Lines FilesBelow(const std::wstring& folder) {
  FileSnapshot snapshot;
  snapshot.Add(folder);
  return snapshot.AsLines();
}

// ---- the identity

TEST_CASE("the identity is the one used last, or the default one if that cannot be read") {
  struct Row {
    const char* name;
    std::vector<NamedValue> values;
    const wchar_t* user;
    const wchar_t* identity;
  };
  const NamedValue other = {L"Default User ID", kOther};
  for (const Row& row :
       {Row{"used last", {{L"Last User ID", kIdentity}, other}, SwitchedMachine::kUser, kIdentity},
        Row{"none used", {other}, SwitchedMachine::kUser, kOther},
        Row{"too long", {{L"Last User ID", std::wstring(1024, L'x')}, other}, SwitchedMachine::kUser, kOther},
        Row{"empty", {{L"Last User ID", L""}, other}, SwitchedMachine::kUser, L""},
        Row{"no identities", {}, SwitchedMachine::kUser, L""},
        Row{"another user", {other}, L"S-1-5-21-1-2-3-7777", L""}, Row{"no user", {other}, L"", L""}}) {
    CAPTURE(std::string(row.name));
    const SwitchedMachine machine;
    if (!row.values.empty()) {
      MakeKey(UsersKey(SwitchedMachine::kUser + std::wstring(L"\\Identities")), row.values);
    }
    std::wstring userId = L"old";
    CHECK(GetCurrentUserID(row.user, userId));
    CHECK(userId == row.identity);
  }
}

// ---- the folders

TEST_CASE("the folders are created level by level, each with access for everyone") {
  for (const MailClientFacts& facts : kMailClients) {
    const std::string name = ToUtf8(Clients()[static_cast<std::size_t>(facts.client)].shortName);
    const SwitchedMachine machine;
    StoreIdentity(L"{ID}");
    const LogCapture log;
    std::wstring userId;
    const Lines calls = Build(facts.client, userId);
    const std::string top = "Orvane Labs\\" + name + "\\";
    CHECK(userId == L"{ID}");
    CHECK_LINES(calls, {"make Orvane Labs 7", "make " + top.substr(0, top.size() - 1) + " 7", "make " + top + "Users 7",
                        "make " + top + "Users\\{ID} 7", "make " + top + "Users\\{ID}\\log 7"});
    CHECK_LINES(machine.Data(), {"data\\", "data\\Orvane Labs\\", "data\\" + top, "data\\" + top + "Users\\",
                                 "data\\" + top + "Users\\{ID}\\", "data\\" + top + "Users\\{ID}\\log\\"});
    CHECK_LINES(log.Lines(), {});
  }
}

TEST_CASE("each existing level, with everything below it, gets access for everyone again") {
  const SwitchedMachine machine;
  StoreIdentity(L"{ID}");
  BuildForOutlook();
  WriteTestFile(kData + L"\\Orvane Labs\\OL\\Users\\{ID}\\log\\ol.log", "spam");
  const Lines calls = BuildForOutlook();
  CHECK_LINES(LinesWith(calls, "make"), {});
  // From each of the five levels down to the file.
  CHECK(LinesWith(calls, "ol.log").size() == 5);
  REQUIRE(calls.size() == 6 + 5 + 4 + 3 + 2);
  CHECK(calls.front() == "renew Orvane Labs");
}

TEST_CASE("if a level cannot be created, the next ones are created in the root, whose access never changes") {
  const std::vector<std::vector<int>> rows = {{1}, {2}, {3}, {4}, {5}, {1, 2, 3, 4, 5}};
  for (const bool hasIdentity : {true, false}) {
    std::vector<std::string> levels = {"Orvane Labs", "OL", "Users", "{ID}", "log"};
    if (!hasIdentity) {
      levels.erase(levels.begin() + 3);
    }
    for (const std::vector<int>& refused : rows) {
      CAPTURE(hasIdentity);
      CAPTURE(refused.front());
      const SwitchedMachine machine;
      if (hasIdentity) {
        StoreIdentity(L"{ID}");
      }
      Lines wanted;
      std::string path;
      for (std::size_t level = 0; level < levels.size(); ++level) {
        path += (path.empty() ? "" : "\\") + levels[level];
        wanted.push_back("make " + path + " 7");
        if (std::count(refused.begin(), refused.end(), static_cast<int>(level) + 1) != 0) {
          path.clear();
        }
        if (!hasIdentity && level == 2 && refused.front() > 3) {
          wanted.push_back("renew " + path);  // instead of the identity's level, if all above were created
        }
      }
      CHECK_LINES(BuildForOutlook(refused), (wanted));
    }
  }
}

TEST_CASE("a missing root is not created: everyone would have access to it") {
  const SwitchedMachine machine;
  RemoveTree(kData);
  CHECK_LINES(BuildForOutlook(), {"make Orvane Labs 7", "make OL 7", "make Users 7", "make log 7"});
  CHECK_FALSE(Exists(kData));
}

TEST_CASE("a link in place of a folder is not followed: its target gets neither access rights nor folders") {
  struct Case {
    std::string place;
    std::string next;  // what is created after it
  };
  for (const Case& linked :
       {Case{"Orvane Labs", "OL"}, Case{"Orvane Labs\\OL", "Users"}, Case{"Orvane Labs\\OL\\Users", "{ID}"},
        Case{"Orvane Labs\\OL\\Users\\{ID}", "log"}, Case{"Orvane Labs\\OL\\Users\\{ID}\\log", ""}}) {
    CAPTURE(linked.place);
    const SwitchedMachine machine;
    StoreIdentity(L"{ID}");
    const std::wstring target = L"C:\\VelaTest\\Switch\\precious";
    WriteTestFile(target + L"\\Users\\{ID}\\secret.txt", "secret");
    const std::wstring link = kData + L"\\" + std::wstring(linked.place.begin(), linked.place.end());
    MakeFolder(link.substr(0, link.rfind(L'\\')));
    const TestSupport::FolderLink planted(link, target);
    const Lines calls = BuildForOutlook();
    CHECK_LINES(FilesBelow(target), {"Users\\", "Users\\{ID}\\", "Users\\{ID}\\secret.txt 6 bytes"});
    CHECK_LINES(LinesWith(calls, "secret"), {});
    CHECK_LINES(LinesWith(calls, "renew " + linked.place), {});
    const Lines made = LinesWith(calls, "make");
    const std::string tried = "make " + linked.place;
    REQUIRE(!made.empty());
    CHECK(made.front().compare(0, tried.size(), tried) == 0);
    CHECK((made.size() > 1 ? made[1] : "") == (linked.next.empty() ? "" : "make " + linked.next + " 7"));
  }
}

TEST_CASE("without a data folder and a Windows folder, nothing is created, but the identity is returned") {
  const SwitchedMachine machine;
  StoreIdentity(kIdentity);
  std::wstring userId;
  const FailCall noFolder("SHGetSpecialFolderPathW", Calls::From(1), ERROR_PATH_NOT_FOUND);
  const FailCall noWindows("SHGetFolderPathW", Calls::From(1), ERROR_PATH_NOT_FOUND);
  CHECK_LINES(Build(MailClient::kOutlookExpress, userId), {});
  CHECK(userId == kIdentity);
}

// ---- hostile identities

TEST_CASE("an identity that is not a plain name gets no folder, and the log folder is created in the root") {
  for (const wchar_t* const identity : {L"..\\..\\..\\..\\victim", L"..", L"...", L". .", L"link\\sub", L"link/",
                                        L"link\\\\", L"C:\\VelaTest\\Switch\\victim", L"name:stream", L"/", L"\\",
                                        L"link.", L"link ", L"link. .", L"nul", L"COM1.txt"}) {
    const SwitchedMachine machine;
    CAPTURE(ToUtf8(identity));
    const std::wstring victim = L"C:\\VelaTest\\Switch\\victim";
    WriteTestFile(victim + L"\\sub\\secret.txt", "secret");
    MakeFolder(kData + L"\\Orvane Labs\\OL\\Users");
    const TestSupport::FolderLink planted(kData + L"\\Orvane Labs\\OL\\Users\\link", victim);
    StoreIdentity(identity);
    const std::string maker = "renew Orvane Labs";
    CHECK_LINES(BuildForOutlook(), {maker, maker + "\\OL", maker + "\\OL\\Users", maker + "\\OL", maker + "\\OL\\Users",
                                    maker + "\\OL\\Users", "make log 7"});
    CHECK_LINES(FilesBelow(victim), {"sub\\", "sub\\secret.txt 6 bytes"});
    CHECK(Exists(kData + L"\\log"));
  }
}

TEST_CASE("existing folders in the root do not get access for everyone") {
  struct Case {
    const wchar_t* blocked;  // the level that is a file; empty: the identity is refused
    const wchar_t* identity;
    std::wstring others;  // an existing folder below the root that the tree would use
  };
  for (const Case& planted :
       {Case{L"", L"..", L"log"}, Case{L"Orvane Labs\\OL\\Users\\{ID}", L"{ID}", L"log"},
        Case{L"Orvane Labs\\OL\\Users", L"Microsoft", L"Microsoft\\log"}, Case{L"Orvane Labs\\OL\\Users", L"", L"log"},
        Case{L"Orvane Labs\\OL", L"{ID}", L"Users"}, Case{L"Orvane Labs\\OL", L"", L"Users\\log"},
        Case{L"Orvane Labs", L"{ID}", L"OL\\Users\\{ID}\\log"}}) {
    const SwitchedMachine machine;
    CAPTURE(ToUtf8(planted.others));
    StoreIdentity(planted.identity);
    WriteTestFile(kData + L"\\" + planted.others + L"\\secret.txt", "secret");
    if (*planted.blocked != L'\0') {
      WriteTestFile(kData + L"\\" + planted.blocked, "a file that blocks the level");
    }
    const Lines calls = BuildForOutlook();
    CHECK_LINES(LinesWith(calls, "secret"), {});
    CHECK_LINES(LinesWith(calls, "renew " + ToUtf8(planted.others.substr(0, planted.others.find(L'\\')))), {});
  }
}

TEST_CASE("an identity that is a plain name is the name of a folder, even with dots and blanks inside") {
  for (const wchar_t* const identity : {L"{0C0FFEE0-1234}", L"Anna B", L".hidden", L"a..b"}) {
    const SwitchedMachine machine;
    CAPTURE(ToUtf8(identity));
    StoreIdentity(identity);
    BuildForOutlook();
    CHECK(Exists(kData + L"\\Orvane Labs\\OL\\Users\\" + identity + L"\\log"));
  }
}

TEST_CASE("an identity too long for plain paths is the name of a folder, too") {
  const std::wstring identity(240, L'n');
  const SwitchedMachine machine;
  StoreIdentity(identity);
  {
    constexpr std::size_t kFirstRefused = 248;  // characters, of a plain path for a folder on Windows
    const FailWhere make("CreateDirectoryW", &::CreateDirectoryW, [&](const std::wstring& path, const void*) -> DWORD {
      const bool refused = path.compare(0, 4, L"\\\\?\\") != 0 && path.size() >= kFirstRefused;
      return refused ? ERROR_FILENAME_EXCED_RANGE : ERROR_SUCCESS;
    });
    CHECK_LINES(LinesWith(BuildForOutlook(), "renew"), {});
  }
  const std::wstring log = L"\\\\?\\" + kData + L"\\Orvane Labs\\OL\\Users\\" + identity + L"\\log";
  CHECK(::GetFileAttributesW(log.c_str()) == FILE_ATTRIBUTE_DIRECTORY);
  CHECK(::RemoveDirectoryW(log.c_str()));
}

}  // namespace
