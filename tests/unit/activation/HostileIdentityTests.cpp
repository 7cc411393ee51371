// An identity is text of the user's choosing, and the folders that it names are opened to everyone with machine rights:
// nothing that it can say leads out of the user's own tree.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "activation/UserDataTree.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"
#include "tests/support/FolderLink.h"
#include "tests/unit/activation/SwitchedMachine.h"

using namespace TestSupport;

namespace {

const std::wstring kData = SwitchedMachine::kData;
constexpr wchar_t kVictim[] = L"C:\\VelaTest\\Switch\\victim";

void StoreIdentity(const std::wstring& identity) {
  MakeKey(UsersKey(SwitchedMachine::kUser + std::wstring(L"\\Identities")), {{L"Last User ID", identity}});
}

// Builds Outlook's tree; the paths whose access list was renewed.
Lines Renewed() {
  Lines renewed;
  ImportRedirection renew("SetFileSecurityW", [&](LPCWSTR path, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR) -> BOOL {
    renewed.push_back(ToUtf8(path));
    return TRUE;
  });
  std::wstring userId;
  VELAUtility::BuildUserDataTree(MailClient::kOutlook, SwitchedMachine::kUser, userId);
  return renewed;
}

Lines FilesOfVictim() {
  FileSnapshot snapshot;
  snapshot.Add(kVictim);
  return snapshot.AsLines();
}

TEST_CASE("an identity that is no plain name names no folder, and the log goes below the root") {
  for (const wchar_t* const identity : {L"..\\..\\..\\..\\victim", L"..", L"...", L". .", L"link\\sub", L"link/",
                                        L"link\\\\", L"C:\\VelaTest\\Switch\\victim", L"name:stream", L"/", L"\\",
                                        L"link.", L"link ", L"link. .", L"nul", L"COM1.txt"}) {
    const SwitchedMachine machine;
    CAPTURE(ToUtf8(identity));
    WriteTestFile(kVictim + std::wstring(L"\\sub\\secret.txt"), "secret");
    MakeFolder(kData + L"\\Orvane Labs\\OL\\Users");
    const OrCommonTests::FolderLink planted(kData + L"\\Orvane Labs\\OL\\Users\\link", kVictim);
    StoreIdentity(identity);
    const std::string root = ToUtf8(kData);
    const std::string maker = root + "\\Orvane Labs";
    CHECK_LINES(Renewed(), {maker, maker + "\\OL", maker + "\\OL\\Users", maker + "\\OL", maker + "\\OL\\Users",
                            maker + "\\OL\\Users"});
    CHECK_LINES(FilesOfVictim(), {"sub\\", "sub\\secret.txt 6 bytes"});
    CHECK(::GetFileAttributesW((kData + L"\\log").c_str()) != INVALID_FILE_ATTRIBUTES);
  }
}

TEST_CASE("below the root nothing that exists already is opened, whose ever it is") {
  struct Case {
    const wchar_t* blocked;  // the level that a file has the place of; empty: the identity is refused
    const wchar_t* identity;
    std::wstring others;  // a folder below the root that the tree then meets
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
    const Lines renewed = Renewed();
    CHECK_LINES(LinesWith(renewed, "secret"), {});
    const std::string first = ToUtf8(planted.others.substr(0, planted.others.find(L'\\')));
    CHECK_LINES(LinesWith(renewed, ToUtf8(kData) + "\\" + first), {});
  }
}

TEST_CASE("an identity that is a plain name names its folder, dots and blanks within it included") {
  for (const wchar_t* const identity : {L"{0C0FFEE0-1234}", L"Anna B", L".hidden", L"a..b"}) {
    const SwitchedMachine machine;
    CAPTURE(ToUtf8(identity));
    StoreIdentity(identity);
    Renewed();
    CHECK(::GetFileAttributesW((kData + L"\\Orvane Labs\\OL\\Users\\" + identity + L"\\log").c_str()) !=
          INVALID_FILE_ATTRIBUTES);
  }
}

TEST_CASE("an identity too long for plain calls names its folder, too") {
  const std::wstring identity(240, L'n');
  const SwitchedMachine machine;
  StoreIdentity(identity);
  {
    constexpr std::size_t kFirstRefused = 248;  // characters, of a plain path for a folder on Windows
    const ImportRedirection make{"CreateDirectoryW", [&](LPCWSTR path, LPSECURITY_ATTRIBUTES attributes) -> BOOL {
                                   const std::wstring text = path;
                                   if (text.compare(0, 4, L"\\\\?\\") != 0 && text.size() >= kFirstRefused) {
                                     ::SetLastError(ERROR_FILENAME_EXCED_RANGE);
                                     return FALSE;
                                   }
                                   return make.Original<decltype(&::CreateDirectoryW)>()(path, attributes);
                                 }};
    CHECK_LINES(Renewed(), {});
  }
  const std::wstring log = L"\\\\?\\" + kData + L"\\Orvane Labs\\OL\\Users\\" + identity + L"\\log";
  CHECK(::GetFileAttributesW(log.c_str()) == FILE_ATTRIBUTE_DIRECTORY);
  CHECK(::RemoveDirectoryW(log.c_str()));
}

}  // namespace
