#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/FileSnapshot.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestRegistry.h"

using namespace TestSupport;

namespace {

constexpr wchar_t kKey[] = L"Software\\VelaSnapshotTest";

TEST_CASE("a registry snapshot shows keys, values, types and data of one view, and what changed") {
  const KeyPlace place = MachineKey32(kKey);
  const auto snapshot = [&](REGSAM view) {
    RegistrySnapshot taken;
    taken.Add(place.hive, place.path, view);
    return taken;
  };
  MakeKey(place, {{L"number", 3}, {L"", L"text"}});
  SetRawValue(place, L"unterminated", REG_SZ, L"abc", 4);  // a NUL after the data would be read as well
  SetRawValue(place, L"list", REG_MULTI_SZ, L"a\0b\0", sizeof L"a\0b\0");
  SetRawValue(place, L"raw", REG_BINARY, "\x01\xff", 2);
  MakeKey({place.hive, place.path + L"\\Sub", place.view});
  const RegistrySnapshot before = snapshot(place.view);
  CHECK_LINES(before.AsLines(),
              {"HKLM\\Software\\VelaSnapshotTest [32]", "HKLM\\Software\\VelaSnapshotTest [32] \"\" REG_SZ \"text\"",
               "HKLM\\Software\\VelaSnapshotTest [32] \"list\" REG_MULTI_SZ \"a\" \"b\"",
               "HKLM\\Software\\VelaSnapshotTest [32] \"number\" REG_DWORD 3",
               "HKLM\\Software\\VelaSnapshotTest [32] \"raw\" REG_BINARY 01 ff",
               "HKLM\\Software\\VelaSnapshotTest [32] \"unterminated\" REG_SZ \"ab\" (4 bytes)",
               "HKLM\\Software\\VelaSnapshotTest\\Sub [32]"});
  CHECK(snapshot(KEY_WOW64_64KEY).AsLines().empty());
  CHECK(RegistrySnapshot::Changes(before, snapshot(place.view)).empty());
  MakeKey(place, {{L"number", 10}, {L"new", L"x"}});
  RemoveValue(place, L"raw");
  RemoveKey({place.hive, place.path + L"\\Sub", place.view});
  CHECK_LINES(RegistrySnapshot::Changes(before, snapshot(place.view)),
              {"+HKLM\\Software\\VelaSnapshotTest [32] \"new\" REG_SZ \"x\"",
               "~HKLM\\Software\\VelaSnapshotTest [32] \"number\" REG_DWORD 10 <- REG_DWORD 3",
               "-HKLM\\Software\\VelaSnapshotTest [32] \"raw\" REG_BINARY 01 ff",
               "-HKLM\\Software\\VelaSnapshotTest\\Sub [32]"});
  RemoveKey(place);
}

TEST_CASE("a file snapshot shows the entries of a folder tree, and what changed") {
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
  scratch.MakeFile(L"content", "two");  // with the earlier time
  ::SetFileAttributesW(hidden.c_str(), FILE_ATTRIBUTE_HIDDEN);
  ::DeleteFileW(removed.c_str());
  scratch.MakeFolder(L"sub\\new");
  CHECK_LINES(FileSnapshot::Changes(before, snapshot()),
              {"~content content", "~hidden attributes", "+sub\\new\\", "-sub\\removed"});
}

}  // namespace
