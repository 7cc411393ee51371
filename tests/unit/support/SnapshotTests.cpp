#include <doctest/doctest.h>

#include <windows.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "tests/support/FileSnapshot.h"
#include "tests/support/RegistrySnapshot.h"

using TestSupport::FileSnapshot;
using TestSupport::RegistrySnapshot;

namespace {

constexpr wchar_t kKey[] = L"Software\\VelaSnapshotTest";

class TestKey {
 public:
  explicit TestKey(REGSAM view) : view_(view) {
    ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS | view, nullptr, &key_,
                      nullptr);
  }
  TestKey(const TestKey&) = delete;
  TestKey& operator=(const TestKey&) = delete;
  ~TestKey() {
    ::RegDeleteKeyW(key_, L"Sub");
    ::RegDeleteKeyW(key_, L"");
    ::RegCloseKey(key_);
  }

  void SetNumber(const wchar_t* name, DWORD value) {
    ::RegSetValueExW(key_, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
  }
  void SetBytes(const wchar_t* name, DWORD type, const void* data, DWORD size) {
    ::RegSetValueExW(key_, name, 0, type, static_cast<const BYTE*>(data), size);
  }
  void Delete(const wchar_t* name) { ::RegDeleteValueW(key_, name); }
  void AddSubkey() {
    HKEY subkey = nullptr;
    ::RegCreateKeyExW(key_, L"Sub", 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &subkey, nullptr);
    ::RegCloseKey(subkey);
  }
  RegistrySnapshot Snapshot() const {
    RegistrySnapshot snapshot;
    snapshot.Add(HKEY_LOCAL_MACHINE, kKey, view_);
    return snapshot;
  }

 private:
  REGSAM view_;
  HKEY key_ = nullptr;
};

TEST_CASE("a registry snapshot shows keys, values, types and data") {
  TestKey key(KEY_WOW64_32KEY);
  key.SetNumber(L"number", 3);
  key.SetBytes(L"", REG_SZ, L"text", sizeof L"text");
  key.SetBytes(L"unterminated", REG_SZ, L"abc", 4);  // a NUL behind the data would be taken in as well
  key.SetBytes(L"list", REG_MULTI_SZ, L"a\0b\0", sizeof L"a\0b\0");
  key.SetBytes(L"raw", REG_BINARY, "\x01\xff", 2);
  key.AddSubkey();
  CHECK_LINES(key.Snapshot().AsLines(),
              {"HKLM\\Software\\VelaSnapshotTest [32]", "HKLM\\Software\\VelaSnapshotTest [32] \"\" REG_SZ \"text\"",
               "HKLM\\Software\\VelaSnapshotTest [32] \"list\" REG_MULTI_SZ \"a\" \"b\"",
               "HKLM\\Software\\VelaSnapshotTest [32] \"number\" REG_DWORD 3",
               "HKLM\\Software\\VelaSnapshotTest [32] \"raw\" REG_BINARY 01 ff",
               "HKLM\\Software\\VelaSnapshotTest [32] \"unterminated\" REG_SZ \"ab\" (4 bytes)",
               "HKLM\\Software\\VelaSnapshotTest\\Sub [32]"});
}

TEST_CASE("the two views of the registry are told apart") {
  const TestKey key(KEY_WOW64_32KEY);
  RegistrySnapshot other;
  other.Add(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_64KEY);
  CHECK(other.AsLines().empty());
  CHECK(key.Snapshot().AsLines().size() == 1);
}

TEST_CASE("changes in the registry") {
  TestKey key(KEY_WOW64_64KEY);
  key.SetNumber(L"changed", 1);
  key.SetNumber(L"removed", 2);
  key.SetNumber(L"same", 3);
  const RegistrySnapshot before = key.Snapshot();
  CHECK(RegistrySnapshot::Changes(before, key.Snapshot()).empty());
  key.SetNumber(L"changed", 10);
  key.Delete(L"removed");
  key.SetBytes(L"new", REG_SZ, L"x", sizeof L"x");
  key.AddSubkey();
  CHECK_LINES(RegistrySnapshot::Changes(before, key.Snapshot()),
              {"~HKLM\\Software\\VelaSnapshotTest [64] \"changed\" REG_DWORD 10 <- REG_DWORD 1",
               "+HKLM\\Software\\VelaSnapshotTest [64] \"new\" REG_SZ \"x\"",
               "-HKLM\\Software\\VelaSnapshotTest [64] \"removed\" REG_DWORD 2",
               "+HKLM\\Software\\VelaSnapshotTest\\Sub [64]"});
}

void Write(const wchar_t* path, const std::string& content) {
  FILE* const file = ::_wfopen(path, L"wb");
  REQUIRE(file != nullptr);
  CHECK(std::fwrite(content.data(), 1, content.size(), file) == content.size());
  std::fclose(file);
}

FileSnapshot SnapshotOfFolder() {
  FileSnapshot snapshot;
  snapshot.Add(L"C:\\VelaSnapshotTest");
  return snapshot;
}

TEST_CASE("changes in a folder tree") {
  ::CreateDirectoryW(L"C:\\VelaSnapshotTest", nullptr);
  ::CreateDirectoryW(L"C:\\VelaSnapshotTest\\sub", nullptr);
  Write(L"C:\\VelaSnapshotTest\\content", "one");
  Write(L"C:\\VelaSnapshotTest\\hidden", "x");
  Write(L"C:\\VelaSnapshotTest\\same", "same");
  Write(L"C:\\VelaSnapshotTest\\sub\\removed", "");
  ::SetFileAttributesW(L"C:\\VelaSnapshotTest\\same", FILE_ATTRIBUTE_READONLY);
  CHECK_LINES(SnapshotOfFolder().AsLines(),
              {"content 3 bytes", "hidden 1 bytes", "same 4 bytes readonly", "sub\\", "sub\\removed 0 bytes"});

  const FileSnapshot before = SnapshotOfFolder();
  CHECK(FileSnapshot::Changes(before, SnapshotOfFolder()).empty());

  WIN32_FILE_ATTRIBUTE_DATA data = {};
  CHECK(::GetFileAttributesExW(L"C:\\VelaSnapshotTest\\content", GetFileExInfoStandard, &data));
  Write(L"C:\\VelaSnapshotTest\\content", "two");
  const HANDLE file =
      ::CreateFileW(L"C:\\VelaSnapshotTest\\content", FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  CHECK(::SetFileTime(file, nullptr, nullptr, &data.ftLastWriteTime));
  CHECK(::CloseHandle(file));
  ::SetFileAttributesW(L"C:\\VelaSnapshotTest\\hidden", FILE_ATTRIBUTE_HIDDEN);
  ::DeleteFileW(L"C:\\VelaSnapshotTest\\sub\\removed");
  ::CreateDirectoryW(L"C:\\VelaSnapshotTest\\sub\\new", nullptr);
  CHECK_LINES(FileSnapshot::Changes(before, SnapshotOfFolder()),
              {"~content content", "~hidden attributes", "+sub\\new\\", "-sub\\removed"});
}

TEST_CASE("a file is read to its end, and one that has none is refused") {
  const std::wstring path = L"C:\\windows\\temp\\long file";
  for (const LONG more : {0L, 1L}) {
    const HANDLE longFile = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    REQUIRE(longFile != INVALID_HANDLE_VALUE);
    ::SetFilePointer(longFile, static_cast<LONG>(TestSupport::kLongestFile) + more, nullptr, FILE_BEGIN);
    CHECK(::SetEndOfFile(longFile));
    ::CloseHandle(longFile);
    if (more == 0) {
      CHECK(TestSupport::FileContent(path).size() == TestSupport::kLongestFile);
    } else {
      CHECK_THROWS_AS(TestSupport::FileContent(path), std::length_error);
    }
  }
  CHECK(::DeleteFileW(path.c_str()));
}

}  // namespace
