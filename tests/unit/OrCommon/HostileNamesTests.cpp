// Emptying folders in which users have made what ordinary programs cannot name.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <string>

#include "Common/OrCommon/OrComn_File.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/PlainPathLimits.h"

using OrCommon::Storage::File::DeleteAllFiles;
using OrCommonTests::PlainDeletionLimits;
using namespace TestSupport;

namespace {

constexpr wchar_t kLong[] = L"\\\\?\\";

void MakeFolderOf(const std::wstring& path) {
  REQUIRE(::CreateDirectoryW((kLong + path).c_str(), nullptr));
}

void MakeFileOf(const std::wstring& path, DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  const HANDLE file = ::CreateFileW((kLong + path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, attributes, nullptr);
  REQUIRE(file != INVALID_HANDLE_VALUE);
  ::CloseHandle(file);
}

// Folders in one another until the path has this length at least; the path of the last.
std::wstring MakeDeepFolder(std::wstring path, std::size_t length) {
  while (path.size() < length) {
    path += L"\\" + std::wstring(40, L'd');
    MakeFolderOf(path);
  }
  return path;
}

void CheckAllGone(const ScratchFolder& scratch) {
  const PendingMoves moves;
  int restartNeeded = 0;
  DWORD error = 4711;
  bool succeeded = false;
  unsigned refused = 1;
  {
    const PlainDeletionLimits limits;
    succeeded = DeleteAllFiles(scratch.Path(), restartNeeded, &error);
    refused = limits.Refused();
  }
  CHECK(succeeded);
  CHECK(error == 0);
  CHECK(restartNeeded == 0);
  CHECK(refused == 0);
  FileSnapshot left;
  left.Add(scratch.Path());
  CHECK_LINES(left.AsLines(), {});
  CHECK_LINES(moves.Lines(), {});
}

TEST_CASE("paths of more than 259 characters go, at the limit character by character") {
  for (std::size_t length = 256; length <= 264; ++length) {
    CAPTURE(length);
    const ScratchFolder scratch(L"removal names");
    const std::wstring folder = scratch.Path(std::wstring(length - scratch.Path().size() - 1, L'n'));
    MakeFolderOf(folder);
    MakeFileOf(folder + L"\\f");
    MakeFileOf(folder + L"g");
    if (length == 264) {
      const std::wstring deep = MakeDeepFolder(scratch.Path(), 1000);
      MakeFileOf(deep + L"\\read-only", FILE_ATTRIBUTE_READONLY);
      MakeFileOf(deep + L"\\file");
    }
    CheckAllGone(scratch);
  }
}

TEST_CASE("names that Windows reads as others go, files and folders") {
  const ScratchFolder scratch(L"removal names");
  for (const wchar_t* const name : {L"nul.txt", L"CON", L"com1", L"a.", L"a ", L"a", L"lpt\x00B2"}) {
    MakeFileOf(scratch.Path(name));
    const std::wstring folder = scratch.Path(std::wstring(L"b") + name);
    MakeFolderOf(folder);
    MakeFileOf(folder + L"\\file");
    MakeFileOf(folder + L"\\" + name);
  }
  MakeFolderOf(scratch.Path(L"aux"));
  MakeFolderOf(scratch.Path(L"aux\\prn "));
  MakeFileOf(scratch.Path(L"aux\\prn \\file"));
  CheckAllGone(scratch);
}

// Empties the folder while no file can be deleted. `asked`: the entries that `mayWait` was asked for.
struct Held {
  template <class MayWait>
  Held(const ScratchFolder& scratch, const MayWait& mayWait) {
    const PendingMoves moves;
    const ImportRedirection erase{"DeleteFileW", [](LPCWSTR) -> BOOL { return FALSE; }};
    int restartNeeded = 0;
    CHECK(DeleteAllFiles(scratch.Path(), restartNeeded, nullptr, [&](const std::wstring& path) {
      asked.push_back("\\??\\" + ToUtf8(path) + " -> ");
      return mayWait(path);
    }));
    CHECK(restartNeeded == 1);
    pending = moves.Lines();
  }

  Lines asked;
  Lines pending;
};

TEST_CASE("what is held is left to the restart by its plain name, if the caller lets it wait; the restart is needed") {
  const ScratchFolder scratch(L"removal names");
  const std::wstring deep = MakeDeepFolder(scratch.Path(), 200);
  MakeFileOf(deep + L"\\held.");
  const Held held(scratch, [](const std::wstring& path) { return path.back() == L'.'; });
  REQUIRE(held.asked.size() > 5);
  const std::string file = "\\??\\" + ToUtf8(deep) + "\\held. -> ";
  CHECK(held.asked[0] == file);
  CHECK(held.asked[1] == "\\??\\" + ToUtf8(deep) + " -> ");
  CHECK_LINES(held.pending, {file});
  CheckAllGone(scratch);
}

TEST_CASE("what is too long for a plain path is not left to the restart, nor asked for") {
  const ScratchFolder scratch(L"removal names");
  const std::wstring folder = MakeDeepFolder(scratch.Path(), 200);
  const std::wstring longest = folder + L"\\" + std::wstring(MAX_PATH - 1 - folder.size() - 1, L'n');
  MakeFileOf(longest);
  MakeFileOf(longest + L"n");
  MakeFileOf(MakeDeepFolder(folder, 1000) + L"\\file");
  const Held held(scratch, [](const std::wstring&) { return true; });
  CHECK(LinesWith(held.asked, ToUtf8(longest)).size() == 1);
  for (const std::string& line : held.asked) {
    CHECK(line.size() < MAX_PATH + 8);
  }
  CHECK_LINES(held.pending, (held.asked));
  CheckAllGone(scratch);
}

// A disk on which folders lie in one another so deep that no stack holds a call for each. Made of answers alone.
class DeepDisk {
 public:
  static constexpr std::size_t kDepth = 3500;
  std::size_t Deepest() const { return deepest_; }
  std::size_t Removed() const { return removed_; }

 private:
  static std::size_t DepthOf(const std::wstring& path) {
    return static_cast<std::size_t>(std::count(path.begin(), path.end(), L'\\'));
  }

  std::size_t deepest_ = 0;
  std::size_t removed_ = 0;
  ImportRedirection get_{"GetFileAttributesW", [](LPCWSTR) -> DWORD { return FILE_ATTRIBUTE_DIRECTORY; }};
  ImportRedirection set_{"SetFileAttributesW", [](LPCWSTR, DWORD) -> BOOL { return TRUE; }};
  ImportRedirection first_{"FindFirstFileW", [this](LPCWSTR pattern, WIN32_FIND_DATAW* entry) -> HANDLE {
                             deepest_ = std::max(deepest_, DepthOf(pattern));
                             entry->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
                             entry->cFileName[0] = deepest_ < kDepth ? L'd' : L'.';
                             entry->cFileName[1] = L'\0';
                             return this;
                           }};
  ImportRedirection next_{"FindNextFileW", [](HANDLE, WIN32_FIND_DATAW*) -> BOOL { return FALSE; }};
  ImportRedirection close_{"FindClose", [](HANDLE) -> BOOL { return TRUE; }};
  ImportRedirection remove_{"RemoveDirectoryW", [this](LPCWSTR) -> BOOL {
                              ++removed_;
                              return TRUE;
                            }};
};

TEST_CASE("thousands of folders in one another do not exhaust the stack") {
  int restartNeeded = 0;
  bool succeeded = false;
  std::size_t removed = 0;
  {
    const DeepDisk disk;
    succeeded = DeleteAllFiles(L"C:\\deep", restartNeeded, nullptr);
    removed = disk.Removed();
    CHECK(disk.Deepest() == DeepDisk::kDepth);
  }
  CHECK(succeeded);
  CHECK(restartNeeded == 0);
  CHECK(removed > DeepDisk::kDepth - 10);
}

}  // namespace
