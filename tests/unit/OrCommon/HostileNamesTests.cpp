// Emptying folders that contain names which ordinary programs cannot handle.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <string>

#include "tests/support/ImportRedirection.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/OrCommon/Emptying.h"
#include "tests/unit/OrCommon/PlainPathLimits.h"

using namespace OrCommonTests;
using namespace TestSupport;

namespace {

struct PlainDeletionLimits : PlainPathLimits {
  PlainDeletionLimits() {
    Limit("DeleteFileW", &::DeleteFileW, FALSE);
    Limit("RemoveDirectoryW", &::RemoveDirectoryW, FALSE);
  }
};

void CheckAllGoes(const ScratchFolder& scratch) {
  const PendingMoves moves;
  {
    const PlainDeletionLimits limits;
    CHECK(Empty(scratch.Path()) == kAllDone);
    CHECK(limits.Refused() == 0);
  }
  CHECK_LINES(ListOf(scratch.Path()), {});
  CHECK_LINES(moves.Lines(), {});
}

TEST_CASE("entries whose paths have more than 259 characters, or nearly that many, are deleted") {
  for (std::size_t length = 256; length <= 264; ++length) {
    CAPTURE(length);
    const ScratchFolder scratch(L"removal names");
    const std::wstring folder = scratch.Path(std::wstring(length - scratch.Path().size() - 1, L'n'));
    MakeHostileFolder(folder);
    MakeHostileFile(folder + L"\\f");
    MakeHostileFile(folder + L"g");
    if (length == 264) {
      const std::wstring deep = MakeDeepFolder(scratch.Path(), 1000);
      MakeHostileFile(deep + L"\\read-only", FILE_ATTRIBUTE_READONLY);
      MakeHostileFile(deep + L"\\file");
    }
    CheckAllGoes(scratch);
  }
}

TEST_CASE("files and folders whose names Windows would read differently, such as nul.txt, are deleted") {
  const ScratchFolder scratch(L"removal names");
  for (const wchar_t* const name : {L"nul.txt", L"CON", L"com1", L"a.", L"a ", L"a", L"lpt\x00B2"}) {
    MakeHostileFile(scratch.Path(name));
    const std::wstring folder = scratch.Path(std::wstring(L"b") + name);
    MakeHostileFolder(folder);
    MakeHostileFile(folder + L"\\file");
    MakeHostileFile(folder + L"\\" + name);
  }
  MakeHostileFolder(scratch.Path(L"aux"));
  MakeHostileFolder(scratch.Path(L"aux\\prn "));
  MakeHostileFile(scratch.Path(L"aux\\prn \\file"));
  CheckAllGoes(scratch);
}

// Empties the folder while no file can be deleted. `asked`: the entries that `mayWait` was called with.
struct Held {
  template <class MayWait>
  Held(const ScratchFolder& scratch, const MayWait& mayWait) {
    const PendingMoves moves;
    const ImportRedirection erase{"DeleteFileW", [](LPCWSTR) -> BOOL { return FALSE; }};
    int restartNeeded = 0;
    CHECK(OrCommon::Storage::File::DeleteAllFiles(scratch.Path(), restartNeeded, nullptr, [&](const auto& path) {
      asked.push_back("\\??\\" + ToUtf8(path) + " -> ");
      return mayWait(path);
    }));
    CHECK(restartNeeded == 1);
    pending = moves.Lines();
  }

  Lines asked;
  Lines pending;
};

TEST_CASE("an entry in use is scheduled by its plain path if the caller allows it, and a restart is needed") {
  const ScratchFolder scratch(L"removal names");
  const std::wstring deep = MakeDeepFolder(scratch.Path(), 200);
  MakeHostileFile(deep + L"\\held.");
  const Held held(scratch, [](const std::wstring& path) { return path.back() == L'.'; });
  const std::string file = "\\??\\" + ToUtf8(deep) + "\\held. -> ";
  REQUIRE(held.asked.size() > 5);
  CHECK(held.asked[0] == file);
  CHECK(held.asked[1] == "\\??\\" + ToUtf8(deep) + " -> ");
  CHECK_LINES(held.pending, {file});
  CheckAllGoes(scratch);
}

TEST_CASE("a path too long for the plain form is not scheduled for the restart, and the caller is not asked") {
  const ScratchFolder scratch(L"removal names");
  const std::wstring folder = MakeDeepFolder(scratch.Path(), 200);
  const std::wstring longest = folder + L"\\" + std::wstring(MAX_PATH - 1 - folder.size() - 1, L'n');
  MakeHostileFile(longest);
  MakeHostileFile(longest + L"n");
  MakeHostileFile(MakeDeepFolder(folder, 1000) + L"\\file");
  const Held held(scratch, [](const std::wstring&) { return true; });
  CHECK(LinesWith(held.asked, ToUtf8(longest)).size() == 1);
  CHECK(std::all_of(held.asked.begin(), held.asked.end(), [](auto& line) { return line.size() < MAX_PATH + 8; }));
  CHECK_LINES(held.pending, (held.asked));
  CheckAllGoes(scratch);
}

// A simulated disk with folders nested so deeply that one call for each would overflow the stack.
struct DeepDisk {
  static constexpr std::ptrdiff_t kDepth = 3500;
  std::ptrdiff_t deepest = 0;
  std::ptrdiff_t removed = 0;

  ImportRedirection get{"GetFileAttributesW", [](LPCWSTR) -> DWORD { return FILE_ATTRIBUTE_DIRECTORY; }};
  ImportRedirection set{"SetFileAttributesW", [](LPCWSTR, DWORD) -> BOOL { return TRUE; }};
  ImportRedirection first{"FindFirstFileW", [this](LPCWSTR path, WIN32_FIND_DATAW* entry) -> HANDLE {
                            deepest = std::max(deepest, std::count(path, path + std::wcslen(path), L'\\'));
                            entry->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
                            entry->cFileName[0] = deepest < kDepth ? L'd' : L'.';
                            entry->cFileName[1] = L'\0';
                            return this;
                          }};
  ImportRedirection next{"FindNextFileW", [](HANDLE, WIN32_FIND_DATAW*) -> BOOL { return FALSE; }};
  ImportRedirection close{"FindClose", [](HANDLE) -> BOOL { return TRUE; }};
  ImportRedirection remove{"RemoveDirectoryW", [this](LPCWSTR) -> BOOL {
                             ++removed;
                             return TRUE;
                           }};
};

TEST_CASE("thousands of nested folders do not exhaust the stack") {
  const DeepDisk disk;
  CHECK(Empty(L"C:\\deep") == kAllDone);
  CHECK(disk.deepest == DeepDisk::kDepth);
  CHECK(disk.removed > DeepDisk::kDepth - 10);
}

}  // namespace
