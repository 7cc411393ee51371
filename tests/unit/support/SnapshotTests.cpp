#include <doctest/doctest.h>

#include <windows.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "tests/support/FileSnapshot.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestRegistry.h"

using namespace TestSupport;

namespace {

constexpr wchar_t kKey[] = L"Software\\VelaSnapshotTest";

// A key that is gone at the end.
struct TestKey {
  explicit TestKey(KeyPlace where) : place(std::move(where)) { MakeKey(place); }
  TestKey(const TestKey&) = delete;
  TestKey& operator=(const TestKey&) = delete;
  ~TestKey() { RemoveKey(place); }

  void AddSubkey() const { MakeKey({place.hive, place.path + L"\\Sub", place.view}); }
  RegistrySnapshot Snapshot() const {
    RegistrySnapshot snapshot;
    snapshot.Add(place.hive, place.path, place.view);
    return snapshot;
  }

  KeyPlace place;
};

TEST_CASE("a registry snapshot shows keys, values, types and data of one view") {
  const TestKey key(MachineKey32(kKey));
  MakeKey(key.place, {{L"number", 3}, {L"", L"text"}});
  SetRawValue(key.place, L"unterminated", REG_SZ, L"abc", 4);  // a NUL behind the data would be taken in as well
  SetRawValue(key.place, L"list", REG_MULTI_SZ, L"a\0b\0", sizeof L"a\0b\0");
  SetRawValue(key.place, L"raw", REG_BINARY, "\x01\xff", 2);
  key.AddSubkey();
  CHECK_LINES(key.Snapshot().AsLines(),
              {"HKLM\\Software\\VelaSnapshotTest [32]", "HKLM\\Software\\VelaSnapshotTest [32] \"\" REG_SZ \"text\"",
               "HKLM\\Software\\VelaSnapshotTest [32] \"list\" REG_MULTI_SZ \"a\" \"b\"",
               "HKLM\\Software\\VelaSnapshotTest [32] \"number\" REG_DWORD 3",
               "HKLM\\Software\\VelaSnapshotTest [32] \"raw\" REG_BINARY 01 ff",
               "HKLM\\Software\\VelaSnapshotTest [32] \"unterminated\" REG_SZ \"ab\" (4 bytes)",
               "HKLM\\Software\\VelaSnapshotTest\\Sub [32]"});
  RegistrySnapshot other;
  other.Add(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_64KEY);
  CHECK(other.AsLines().empty());
}

TEST_CASE("changes in the registry") {
  const TestKey key(MachineKey64(kKey));
  MakeKey(key.place, {{L"changed", 1}, {L"removed", 2}, {L"same", 3}});
  const RegistrySnapshot before = key.Snapshot();
  CHECK(RegistrySnapshot::Changes(before, key.Snapshot()).empty());
  MakeKey(key.place, {{L"changed", 10}, {L"new", L"x"}});
  RemoveValue(key.place, L"removed");
  key.AddSubkey();
  CHECK_LINES(RegistrySnapshot::Changes(before, key.Snapshot()),
              {"~HKLM\\Software\\VelaSnapshotTest [64] \"changed\" REG_DWORD 10 <- REG_DWORD 1",
               "+HKLM\\Software\\VelaSnapshotTest [64] \"new\" REG_SZ \"x\"",
               "-HKLM\\Software\\VelaSnapshotTest [64] \"removed\" REG_DWORD 2",
               "+HKLM\\Software\\VelaSnapshotTest\\Sub [64]"});
}

TEST_CASE("changes in a folder tree") {
  const ScratchFolder scratch(L"snapshot");
  const auto snapshot = [&] {
    FileSnapshot taken;
    taken.Add(scratch.Path());
    return taken;
  };
  const std::wstring content = scratch.MakeFile(L"content", "one");
  const std::wstring hidden = scratch.MakeFile(L"hidden", "x");
  const std::wstring removed = scratch.MakeFile(L"sub\\removed", "");
  ::SetFileAttributesW(scratch.MakeFile(L"same", "same").c_str(), FILE_ATTRIBUTE_READONLY);
  CHECK_LINES(snapshot().AsLines(),
              {"content 3 bytes", "hidden 1 bytes", "same 4 bytes readonly", "sub\\", "sub\\removed 0 bytes"});
  const FileSnapshot before = snapshot();
  CHECK(FileSnapshot::Changes(before, snapshot()).empty());
  scratch.MakeFile(L"content", "two");  // with the time of before
  ::SetFileAttributesW(hidden.c_str(), FILE_ATTRIBUTE_HIDDEN);
  ::DeleteFileW(removed.c_str());
  scratch.MakeFolder(L"sub\\new");
  CHECK_LINES(FileSnapshot::Changes(before, snapshot()),
              {"~content content", "~hidden attributes", "+sub\\new\\", "-sub\\removed"});
}

TEST_CASE("a file is read to its end, and one that has none is refused") {
  const std::wstring path = L"C:\\windows\\temp\\long file";
  for (const LONG more : {0L, 1L}) {
    const HANDLE longFile = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    REQUIRE(longFile != INVALID_HANDLE_VALUE);
    ::SetFilePointer(longFile, static_cast<LONG>(kLongestFile) + more, nullptr, FILE_BEGIN);
    CHECK(::SetEndOfFile(longFile));
    ::CloseHandle(longFile);
    if (more == 0) {
      CHECK(FileContent(path).size() == kLongestFile);
    } else {
      CHECK_THROWS_AS(FileContent(path), std::length_error);
    }
  }
  CHECK(::DeleteFileW(path.c_str()));
}

}  // namespace
