// Files, in the ways that staging, upgrade and uninstall handle them.
#include <windows.h>

#include <shlobj.h>

#include <fstream>
#include <iterator>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

namespace Facts {
namespace {

using OrCommon::FileHandle;
using TestSupport::WriteTestFile;

std::wstring NewFile() {
  std::wstring file = NewFolder() + L"\\file.txt";
  WriteTestFile(file, "old contents");
  return file;
}

FileHandle Open(const std::wstring& path, DWORD access, DWORD sharing, DWORD disposition) {
  return FileHandle(::CreateFileW(path.c_str(), access, sharing, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// In the way that the program replaces a file.
std::string Replace(const std::wstring& file) {
  return Got(Open(file, GENERIC_WRITE, 0, CREATE_ALWAYS));
}

std::string AttributesAs(const std::wstring& path, DWORD attributes) {
  return Hex(::GetFileAttributesW(Marked(path, attributes).c_str()));
}

// Asks to list a folder whose path is longer than 260 characters. It is created and removed in the long form, because
// the clean-up of the run supports only short paths.
std::string ListDeepFolder(const std::wstring& start) {
  std::wstring folder = NewFolder();
  while (folder.size() <= MAX_PATH) {
    folder += L"\\" + std::wstring(60, L'x');
    ::CreateDirectoryW((L"\\\\?\\" + folder).c_str(), nullptr);
  }
  const std::string answer = List(start + folder);
  for (; folder.back() == L'x'; folder.resize(folder.rfind(L'\\'))) {
    ::RemoveDirectoryW((L"\\\\?\\" + folder).c_str());
  }
  return answer;
}

// In the way that two runs write the run log at the same time.
std::string AppendByTwo() {
  const std::wstring path = NewFolder() + L"\\two.log";
  {
    std::wofstream first;
    std::wofstream second;
    first.open(path.c_str(), std::ios_base::out | std::ios_base::app);
    second.open(path.c_str(), std::ios_base::out | std::ios_base::app);
    first << L"1" << std::flush;
    second << L"2" << std::flush;
    first << L"3" << std::flush;
  }
  return TestSupport::FileContent(path);
}

using CreateFolders = int(WINAPI*)(HWND, const wchar_t*, const SECURITY_ATTRIBUTES*);

std::string MakeFolders(const std::wstring& path) {
  return Code(
      static_cast<DWORD>(Find<CreateFolders>(L"shell32.dll", "SHCreateDirectoryExW")(nullptr, path.c_str(), nullptr)));
}

constexpr Fact kFacts[] = {
    {"CREATE_ALWAYS fails for a read-only file.", [] { return Replace(Marked(NewFile(), FILE_ATTRIBUTE_READONLY)); },
     "error 5", "[MS-FSA] Open of an Existing File"},
    {"CREATE_ALWAYS with FILE_ATTRIBUTE_NORMAL fails for a hidden file.",
     [] { return Replace(Marked(NewFile(), FILE_ATTRIBUTE_HIDDEN)); }, "error 5", "CreateFileW function", "done"},
    {"CREATE_ALWAYS with FILE_ATTRIBUTE_NORMAL fails for a system file.",
     [] { return Replace(Marked(NewFile(), FILE_ATTRIBUTE_SYSTEM)); }, "error 5", "CreateFileW function", "done"},
    {"CREATE_ALWAYS without sharing fails for a file that another handle has open for reading.",
     [] {
       const std::wstring file = NewFile();
       const FileHandle reader = Open(file, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
       return Replace(file);
     },
     "error 32", "CreateFileW function"},
    {"SetFileAttributesW with FILE_ATTRIBUTE_NORMAL removes all other attributes of a file.",
     [] { return AttributesAs(NewFile(), FILE_ATTRIBUTE_NORMAL); }, "0x80", "SetFileAttributesW function", "0x20"},
    {"A file keeps the attributes hidden, system, temporary and not content indexed.",
     [] {
       return AttributesAs(NewFile(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_TEMPORARY |
                                          FILE_ATTRIBUTE_NOT_CONTENT_INDEXED);
     },
     "0x2106", "SetFileAttributesW function", "0x26"},
    {"A folder keeps the attribute read-only.", [] { return AttributesAs(NewFolder(), FILE_ATTRIBUTE_READONLY); },
     "0x11", "SetFileAttributesW function", "0x10"},
    {"RemoveDirectoryW fails for a read-only folder.",
     [] { return Done(::RemoveDirectoryW(Marked(NewFolder(), FILE_ATTRIBUTE_READONLY).c_str())); }, "error 5",
     "[MS-FSA] FileDispositionInformation", "done"},
    {"DeleteFileW fails for a read-only file.",
     [] { return Done(::DeleteFileW(Marked(NewFile(), FILE_ATTRIBUTE_READONLY).c_str())); }, "error 5",
     "DeleteFileW function"},
    {"A file keeps the creation time that SetFileTime gives it.",
     []() -> std::string {
       const FILETIME created = {0, 0x01C00000};
       const FILETIME written = {0, 0x01D00000};
       const FileHandle file = Open(NewFile(), GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING);
       ::SetFileTime(file.Get(), &created, nullptr, &written);
       FILETIME found = {};
       ::GetFileTime(file.Get(), &found, nullptr, nullptr);
       return ::CompareFileTime(&found, &created) == 0 ? "kept" : "lost";
     },
     "kept", "SetFileTime function", "lost"},
    {"A range that another handle has locked cannot be read, although the file can be opened.",
     [] {
       const std::wstring file = NewFile();
       const DWORD all = FILE_SHARE_READ | FILE_SHARE_WRITE;
       const FileHandle owner = Open(file, GENERIC_READ | GENERIC_WRITE, all, OPEN_EXISTING);
       ::LockFile(owner.Get(), 0, 0, 4, 0);
       const FileHandle reader = Open(file, GENERIC_READ, all, OPEN_EXISTING);
       char byte = 0;
       DWORD read = 0;
       return Done(::ReadFile(reader.Get(), &byte, 1, &read, nullptr));
     },
     "error 33", "LockFile function", "done"},
    {"A folder whose path has more than 260 characters cannot be listed by its plain path.",
     [] { return ListDeepFolder(L""); }, "error 3", "Maximum Path Length Limitation, which names no code", "done"},
    {"A folder whose path has more than 260 characters can be listed by the long form of its path.",
     [] { return ListDeepFolder(L"\\\\?\\"); }, "done", "Maximum Path Length Limitation"},
    {"A file whose name ends in a blank is not found by its plain path.",
     [] {
       const std::wstring file = NewFolder() + L"\\name ";
       { const FileHandle made = Open(L"\\\\?\\" + file, GENERIC_WRITE, 0, CREATE_NEW); }
       const std::string answer = Done(::DeleteFileW(file.c_str()));
       ::DeleteFileW((L"\\\\?\\" + file).c_str());
       return answer;
     },
     "error 2", "Naming Files, Paths, and Namespaces"},
    {"If two streams append in turn, the file has their texts in that order.", AppendByTwo, "123", "fopen, _wfopen"},
    {"MoveFileExW with MOVEFILE_DELAY_UNTIL_REBOOT fails for an ordinary user.",
     [] {
       // Only for users who may not make the entry. If it is made, it names only a file of this run.
       return Done(::MoveFileExW(NewFile().c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT));
     },
     "error 5", "MoveFileExW function", kNotAsked, kNoElevation},
    {"SHCreateDirectoryExW returns ERROR_ALREADY_EXISTS if the folder exists.", [] { return MakeFolders(NewFolder()); },
     "error 183", "SHCreateDirectoryExW function"},
    {"SHCreateDirectoryExW returns ERROR_BAD_PATHNAME for a relative path.",
     [] {
       wchar_t before[1024] = {};
       ::GetCurrentDirectoryW(1024, before);
       ::SetCurrentDirectoryW(NewFolder().c_str());  // a system that accepts the path creates the folder there
       const std::string answer = MakeFolders(L"relative");
       ::SetCurrentDirectoryW(before);
       return answer;
     },
     "error 161", "SHCreateDirectoryExW function"},
    {"SHCreateDirectoryExW returns ERROR_FILENAME_EXCED_RANGE for a path of more than 248 characters.",
     [] { return MakeFolders(NewFolder() + L"\\" + std::wstring(120, L'a') + L"\\" + std::wstring(130, L'b')); },
     "error 206", "SHCreateDirectoryExW function", "done"},
};
static_assert(AreSound(kFacts));

}  // namespace

const Group kFileFacts = {"Files", kFacts, std::size(kFacts)};

}  // namespace Facts
