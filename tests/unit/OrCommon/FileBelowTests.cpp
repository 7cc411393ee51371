// Deleting a file through folders of a user, who may have put links into the path.
#include <doctest/doctest.h>

#include <windows.h>

#include <cwchar>
#include <string>

#include "Common/OrCommon/OrComn_FileBelow.h"
#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/FolderLink.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TextLines.h"

using OrCommon::Storage::File::DeleteFileBelow;
using TestSupport::FolderLink;
using namespace TestSupport;

namespace {

constexpr wchar_t kFile[] = L"anna\\Data\\Mail\\cache.dat";
constexpr wchar_t kAlias[] = L"anna\\Roaming\\Mail\\cache.dat";

struct Profiles {
  // With the file, if one is named.
  explicit Profiles(const wchar_t* file = nullptr) {
    scratch.MakeFolder(L"profiles");
    if (file != nullptr) {
      Make(file);
    }
  }
  std::wstring Path(const std::wstring& below) const { return scratch.Path(L"profiles\\" + below); }
  void Make(const std::wstring& file) const { scratch.MakeFile(L"profiles\\" + file, "cache"); }
  bool Delete(const wchar_t* root = L"profiles") const { return DeleteFileBelow(scratch.Path(root), kFile, kAlias); }

  ScratchFolder scratch{L"file below"};
};

// Each folder of the path is replaced by a link. The target contains a file of this name. Nothing may be deleted.
void CheckLinksOnTheWay() {
  for (const std::wstring folder : {L"anna", L"anna\\Data", L"anna\\Data\\Mail"}) {
    CAPTURE(ToUtf8(folder));
    const Profiles profiles;
    const std::wstring outside = profiles.scratch.MakeFile(L"outside" + std::wstring(kFile).substr(folder.size()), "");
    const std::wstring path = profiles.Path(folder);
    MakeFolder(path.substr(0, path.rfind(L'\\')));
    const FolderLink link(path, profiles.scratch.Path(L"outside"));
    REQUIRE(Exists(profiles.Path(kFile)));
    const CountCalls erase{"DeleteFileW"};
    CHECK_FALSE(profiles.Delete());
    CHECK(erase.Calls() == 0);
    CHECK(Exists(outside));
  }
}

TEST_CASE("an ordinary file is deleted, and nothing else; a folder with its name stays") {
  const Profiles profiles;
  CHECK_FALSE(profiles.Delete());  // nothing exists there
  profiles.Make(kFile);
  profiles.Make(L"anna\\Data\\Mail\\letters");
  CHECK(profiles.Delete());
  CHECK_FALSE(Exists(profiles.Path(kFile)));
  CHECK(Exists(profiles.Path(L"anna\\Data\\Mail\\letters")));
  MakeFolder(profiles.Path(kFile));
  CHECK_FALSE(profiles.Delete());
  CHECK(Exists(profiles.Path(kFile)));
}

TEST_CASE("if any folder of the path is a link, nothing is deleted") {
  CheckLinksOnTheWay();
}

TEST_CASE("a link to the same user's alias folder is followed, a link to another user's folder is not") {
  const Profiles profiles(kAlias);
  profiles.Make(L"bert\\Roaming\\Mail\\cache.dat");
  MakeFolder(profiles.Path(L"anna"));
  {
    const FolderLink foreign(profiles.Path(L"anna\\Data"), profiles.Path(L"bert\\Roaming"));
    CHECK_FALSE(profiles.Delete());
    CHECK(Exists(profiles.Path(L"bert\\Roaming\\Mail\\cache.dat")));
  }
  const FolderLink own(profiles.Path(L"anna\\Data"), profiles.Path(L"anna\\Roaming"));
  CHECK(profiles.Delete());
  CHECK_FALSE(Exists(profiles.Path(kAlias)));
}

TEST_CASE("the path to the root may contain a link, and the file is found whatever the case of its path") {
  const Profiles profiles(L"Anna\\DATA\\Mail\\Cache.dat");
  const FolderLink link(profiles.scratch.Path(L"moved"), profiles.scratch.Path(L"profiles"));
  CHECK(profiles.Delete(L"moved"));
  CHECK_FALSE(Exists(profiles.Path(kFile)));
}

TEST_CASE("the file is opened for deletion, with full sharing, and without following a link") {
  const Profiles profiles(kFile);
  unsigned opened = 0;
  const OnCall open{
      "CreateFileW", &::CreateFileW,
      [&](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD, DWORD flags, HANDLE) {
        if (++opened == 1) {
          CHECK(path == profiles.Path(kFile));
          CHECK(access == (DELETE | FILE_READ_ATTRIBUTES));
          CHECK(share == (FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE));
          CHECK(flags == (FILE_FLAG_OPEN_REPARSE_POINT | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION));
        }
      }};
  const CountCalls erase{"DeleteFileW"};
  const CountCalls closes{"CloseHandle"};
  CHECK(profiles.Delete());
  CHECK(erase.Calls() == 0);
  CHECK(opened == 2);
  CHECK(closes.Calls() == 2);
}

TEST_CASE("if the opened entry turns out to be a link or a folder, it stays") {
  const Profiles profiles(kFile);
  for (const DWORD attributes : {DWORD{FILE_ATTRIBUTE_REPARSE_POINT}, DWORD{FILE_ATTRIBUTE_DIRECTORY}}) {
    const AfterCall ask{"GetFileInformationByHandle", &::GetFileInformationByHandle,
                        [&](BOOL, HANDLE, BY_HANDLE_FILE_INFORMATION* facts) { facts->dwFileAttributes = attributes; }};
    CHECK_FALSE(profiles.Delete());
    CHECK(Exists(profiles.Path(kFile)));
  }
}

// The system reports the location of the opened files.
bool DeletedWhere(const wchar_t* file, const wchar_t* root) {
  const Profiles profiles(kFile);
  unsigned asked = 0;
  const AnswerProcAddress answer{"GetFinalPathNameByHandleW",
                                 [&](HANDLE, LPWSTR path, DWORD capacity, DWORD flags) -> DWORD {
                                   CHECK(flags == 0);
                                   const std::wstring place = ++asked == 1 ? file : root;
                                   REQUIRE(place.size() < capacity);
                                   std::wcscpy(path, place.c_str());
                                   return static_cast<DWORD>(place.size());
                                 }};
  const bool deleted = profiles.Delete();
  CHECK(asked == 2);
  CHECK(Exists(profiles.Path(kFile)) != deleted);
  return deleted;
}

TEST_CASE("a file is deleted only if its whole final path is the expected one below the root") {
  CHECK(DeletedWhere(L"\\\\?\\D:\\p\\anna\\Data\\Mail\\cache.dat", L"\\\\?\\D:\\p"));
  CHECK(DeletedWhere(L"\\\\?\\D:\\p\\ANNA\\roaming\\mail\\CACHE.DAT", L"\\\\?\\D:\\p"));
  CHECK(DeletedWhere(L"\\\\?\\D:\\anna\\Data\\Mail\\cache.dat", L"\\\\?\\D:\\"));
  CHECK_FALSE(DeletedWhere(L"\\\\?\\D:\\q\\anna\\Data\\Mail\\cache.dat", L"\\\\?\\D:\\p"));
  CHECK_FALSE(DeletedWhere(L"\\\\?\\D:\\p\\anna\\Data\\Mail\\cache.dat2", L"\\\\?\\D:\\p"));
  CHECK_FALSE(DeletedWhere(L"\\\\?\\D:\\p\\bert\\Data\\Mail\\cache.dat", L"\\\\?\\D:\\p"));
  CHECK_FALSE(DeletedWhere(L"\\anna\\Data\\Mail\\cache.dat", L""));
  CHECK_FALSE(DeletedWhere(L"", L"\\\\?\\D:\\p"));
}

TEST_CASE("if a call fails, the file stays") {
  const Profiles profiles(kFile);
  const auto check = [&](const char* failing, unsigned call) {
    CAPTURE(std::string(failing));
    const FailCall fail{failing, call, ERROR_ACCESS_DENIED};
    CHECK_FALSE(profiles.Delete());
    CHECK(fail.Failed() == 1);
    CHECK(Exists(profiles.Path(kFile)));
  };
  check("CreateFileW", 1);
  check("CreateFileW", 2);
  check("GetFileInformationByHandle", 1);
}

TEST_CASE("before Windows Vista, a file is deleted unless a folder of its path is a link, even one to its alias") {
  for (const char* const function : {"GetFinalPathNameByHandleW", "SetFileInformationByHandle"}) {
    CAPTURE(std::string(function));
    const MissingEntry missing{function};
    CheckLinksOnTheWay();
    {
      const Profiles profiles(kFile);
      const FolderLink link(profiles.scratch.Path(L"moved"), profiles.scratch.Path(L"profiles"));
      CHECK(profiles.Delete(L"moved"));  // the path to the root may contain one
      CHECK_FALSE(Exists(profiles.Path(kFile)));
    }
    const Profiles profiles(kAlias);
    const FolderLink own(profiles.Path(L"anna\\Data"), profiles.Path(L"anna\\Roaming"));
    CHECK_FALSE(profiles.Delete());
    CHECK(Exists(profiles.Path(kAlias)));
  }
}

}  // namespace
