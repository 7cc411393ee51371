#include "tests/support/ScratchFolder.h"

#include <stdexcept>

#include "tests/support/TextLines.h"

namespace TestSupport {
namespace {

constexpr wchar_t kRoot[] = L"C:\\VelaTest";

HANDLE Open(const std::wstring& file, DWORD access) {
  const HANDLE handle = ::CreateFileW(file.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot open " + ToUtf8(file));
  }
  return handle;
}

struct AccessAndWrite {
  FILETIME accessed;
  FILETIME written;
};

AccessAndWrite TimesOf(const std::wstring& file) {
  AccessAndWrite times = {};
  const HANDLE handle = Open(file, FILE_READ_ATTRIBUTES);
  ::GetFileTime(handle, nullptr, &times.accessed, &times.written);
  ::CloseHandle(handle);
  return times;
}

}  // namespace

ScratchFolder::ScratchFolder(const std::wstring& name) : path_(std::wstring(kRoot) + L"\\" + name) {
  RemoveTree(path_);
  TestSupport::MakeFolder(path_);
}

ScratchFolder::~ScratchFolder() {
  RemoveTree(path_);
  ::RemoveDirectoryW(kRoot);  // works only if it is empty
}

void ScratchFolder::MakeFolder(const std::wstring& below) const {
  TestSupport::MakeFolder(Path(below));
}

std::wstring ScratchFolder::MakeFile(const std::wstring& below, const std::string& content, int seconds) const {
  const std::wstring path = Path(below);
  WriteTestFile(path, content);
  SetTimes(path, TimeOf(seconds), TimeOf(seconds));
  return path;
}

FILETIME TimeOf(int seconds) {
  constexpr ULONGLONG kStart = 129'600'000'012'345'678;  // in September 2011, in units of 100 ns
  ULARGE_INTEGER time = {};
  time.QuadPart = kStart + static_cast<ULONGLONG>(seconds) * 10'000'000;
  return {time.LowPart, time.HighPart};
}

void SetTimes(const std::wstring& file, const FILETIME& accessed, const FILETIME& written) {
  const HANDLE handle = Open(file, FILE_WRITE_ATTRIBUTES);
  ::SetFileTime(handle, nullptr, &accessed, &written);
  ::CloseHandle(handle);
}

FILETIME LastWriteOf(const std::wstring& file) {
  return TimesOf(file).written;
}

FILETIME LastAccessOf(const std::wstring& file) {
  return TimesOf(file).accessed;
}

bool SameTime(const FILETIME& left, const FILETIME& right) {
  return left.dwLowDateTime == right.dwLowDateTime && left.dwHighDateTime == right.dwHighDateTime;
}

HeldFile::HeldFile(const std::wstring& file, DWORD sharing)
    : handle_(::CreateFileW(file.c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING, 0, nullptr)) {
  if (handle_ == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot keep open " + ToUtf8(file));
  }
}

HeldFile::~HeldFile() {
  ::CloseHandle(handle_);
}

}  // namespace TestSupport
