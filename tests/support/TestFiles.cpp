#include "tests/support/TestFiles.h"

#include <windows.h>

#include <cstdio>
#include <stdexcept>

#include "tests/support/FileSnapshot.h"
#include "tests/support/TextLines.h"

namespace TestSupport {
namespace {

[[noreturn]] void Fail(const char* what, const std::wstring& path) {
  const DWORD error = ::GetLastError();
  throw std::runtime_error(std::string(what) + " " + ToUtf8(path) + ": error " + std::to_string(error));
}

std::wstring FolderOf(const std::wstring& path) {
  return path.substr(0, path.find_last_of(L'\\'));
}

// Calls `visit` with the find data of every entry of a folder except "." and "..".
template <class Visitor>
void ForEachIn(const std::wstring& folder, const Visitor& visit) {
  WIN32_FIND_DATAW found = {};
  const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    Fail("cannot list", folder);
  }
  do {
    const std::wstring name = found.cFileName;
    if (name != L"." && name != L"..") {
      visit(found);
    }
  } while (::FindNextFileW(search, &found));
  ::FindClose(search);
}

}  // namespace

bool Exists(const std::wstring& path) {
  return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring FirstMissing(const std::wstring& path) {
  std::wstring missing;
  for (std::wstring part = path; part.size() > 3 && !Exists(part); part = FolderOf(part)) {
    missing = part;
  }
  return missing;
}

void WaitForFile(const std::wstring& path) {
  for (int i = 0; i < 500; ++i) {
    if (Exists(path)) {
      const std::string content = FileContent(path);
      if (!content.empty() && content.back() == '\n') {
        return;
      }
    }
    ::Sleep(20);
  }
  throw std::runtime_error("no line was written within 10 seconds to " + ToUtf8(path));
}

void MakeFolder(const std::wstring& path) {
  if (path.size() > 3 && !Exists(path)) {
    MakeFolder(FolderOf(path));
    if (!::CreateDirectoryW(path.c_str(), nullptr)) {
      Fail("cannot create", path);
    }
  }
}

void WriteTestFile(const std::wstring& path, std::string_view content) {
  MakeFolder(FolderOf(path));
  ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  FILE* const file = ::_wfopen(path.c_str(), L"wb");
  if (file == nullptr) {
    Fail("cannot write", path);
  }
  // Only an empty content may have no address.
  const bool written = content.empty() || std::fwrite(content.data(), 1, content.size(), file) == content.size();
  if (std::fclose(file) != 0 || !written) {
    Fail("cannot write", path);
  }
}

void CopyTestFile(const std::wstring& from, const std::wstring& to) {
  MakeFolder(FolderOf(to));
  ::SetFileAttributesW(to.c_str(), FILE_ATTRIBUTE_NORMAL);
  if (!::CopyFileW(from.c_str(), to.c_str(), FALSE)) {
    Fail("cannot copy", from);
  }
}

void CopyTree(const std::wstring& from, const std::wstring& to) {
  MakeFolder(to);
  ForEachIn(from, [&](const WIN32_FIND_DATAW& found) {
    const std::wstring source = from + L"\\" + found.cFileName;
    const std::wstring target = to + L"\\" + found.cFileName;
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      CopyTree(source, target);
    } else {
      CopyTestFile(source, target);
    }
  });
}

void RemoveTree(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    return;
  }
  if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  }
  const bool isFolder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  if (isFolder && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
    ForEachIn(path, [&](const WIN32_FIND_DATAW& found) { RemoveTree(path + L"\\" + found.cFileName); });
  }
  if (!(isFolder ? ::RemoveDirectoryW(path.c_str()) : ::DeleteFileW(path.c_str()))) {
    Fail("cannot remove", path);
  }
}

}  // namespace TestSupport
