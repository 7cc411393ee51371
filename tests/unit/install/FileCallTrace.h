// The calls by which files are copied, in order, as lines:
//
//   CreateFileW a.txt for reading -> 1
//   GetFileTime 1 created accessed written
//   ReadFile 1 16383 bytes -> 20
//   CloseHandle 1
//
// A file that is opened in another way than the three that a copy uses shows its arguments in hexadecimal. Handles are
// numbered in the order in which they are opened, "none" is a failure. CloseHandle of anything else is not shown.
#pragma once

#include <windows.h>

#include <cstdio>
#include <map>
#include <string>

#include "install/FileCopy.h"
#include "tests/support/CallWatch.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

class FileCallTrace {
 public:
  const Lines& Calls() const { return calls_; }
  bool AllClosed() const { return open_.empty(); }

 private:
  static std::string Leaf(const std::wstring& path) { return ToUtf8(path.substr(path.rfind(L'\\') + 1)); }
  static std::string Hex(DWORD number) {
    char text[16] = {};
    std::snprintf(text, sizeof text, "%08lX", number);
    return text;
  }
  static std::string WayOfOpening(DWORD access, DWORD share, bool hasSecurity, DWORD how, DWORD flags,
                                  bool hasPattern) {
    const std::string way = Hex(access) + " " + Hex(share) + " " + Hex(how) + " " + Hex(flags) +
                            (hasSecurity ? " security" : "") + (hasPattern ? " pattern" : "");
    return way == "80000000 00000001 00000003 00000080"   ? "for reading"
           : way == "40000000 00000000 00000002 00000080" ? "anew for writing"
           : way == "C0000000 00000001 00000003 00000080" ? "for reading and writing"
                                                          : way;
  }
  std::string NameOf(HANDLE handle) const {
    const auto file = open_.find(handle);
    return file != open_.end() ? std::to_string(file->second) : handle == INVALID_HANDLE_VALUE ? "none" : "unknown";
  }
  std::string Times(HANDLE file, const FILETIME* created, const FILETIME* accessed, const FILETIME* written) const {
    return NameOf(file) + (created != nullptr ? " created" : "") + (accessed != nullptr ? " accessed" : "") +
           (written != nullptr ? " written" : "");
  }

  Lines calls_;
  int opened_ = 0;
  std::map<HANDLE, int> open_;

  AfterCall createFile_{
      "CreateFileW", &::CreateFileW,
      [this](HANDLE file, LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD how,
             DWORD flags, HANDLE pattern) {
        const DWORD error = ::GetLastError();
        if (file != INVALID_HANDLE_VALUE) {
          open_[file] = ++opened_;
        }
        calls_.push_back("CreateFileW " + Leaf(path) + " " +
                         WayOfOpening(access, share, security != nullptr, how, flags, pattern != nullptr) + " -> " +
                         NameOf(file));
        ::SetLastError(error);
      }};
  OnCall getTime_{"GetFileTime", &::GetFileTime, [this](HANDLE file, LPFILETIME c, LPFILETIME a, LPFILETIME w) {
                    calls_.push_back("GetFileTime " + Times(file, c, a, w));
                  }};
  OnCall setTime_{"SetFileTime", &::SetFileTime,
                  [this](HANDLE file, const FILETIME* c, const FILETIME* a, const FILETIME* w) {
                    calls_.push_back("SetFileTime " + Times(file, c, a, w));
                  }};
  OnCall compareTime_{"CompareFileTime", &::CompareFileTime, [this] { calls_.push_back("CompareFileTime"); }};
  OnCall getAttributes_{"GetFileAttributesW", &::GetFileAttributesW,
                        [this](LPCWSTR path) { calls_.push_back("GetFileAttributesW " + Leaf(path)); }};
  OnCall setAttributes_{"SetFileAttributesW", &::SetFileAttributesW, [this](LPCWSTR path, DWORD attributes) {
                          calls_.push_back("SetFileAttributesW " + Leaf(path) + " " + Hex(attributes));
                        }};
  AfterCall read_{"ReadFile", &::ReadFile,
                  [this](BOOL done, HANDLE file, LPVOID, DWORD size, LPDWORD read, LPOVERLAPPED) {
                    calls_.push_back("ReadFile " + NameOf(file) + " " + std::to_string(size) + " bytes -> " +
                                     (done ? std::to_string(*read) : "failed"));
                  }};
  OnCall write_{"WriteFile", &::WriteFile, [this](HANDLE file, LPCVOID, DWORD size, LPDWORD, LPOVERLAPPED) {
                  calls_.push_back("WriteFile " + NameOf(file) + " " + std::to_string(size) + " bytes");
                }};
  OnCall move_{"MoveFileExW", &::MoveFileExW, [this](LPCWSTR from, LPCWSTR to, DWORD flags) {
                 calls_.push_back("MoveFileExW " + Leaf(from) + " " + Leaf(to) + " " + std::to_string(flags));
               }};
  OnCall close_{"CloseHandle", &::CloseHandle, [this](HANDLE handle) {
                  if (open_.count(handle) != 0) {
                    calls_.push_back("CloseHandle " + NameOf(handle));
                    open_.erase(handle);
                  }
                }};
};

// One file that is copied, and what its copying did.
struct CopiedFile {
  ScratchFolder folder{L"FileCopy"};
  std::wstring source;
  std::wstring destination = folder.Path(L"destination.txt");
  bool copied = false;
  DWORD error = ERROR_SUCCESS;
  Lines calls;
  bool closed = false;

  explicit CopiedFile(const std::string& content, int seconds = 0)
      : source(folder.MakeFile(L"source.txt", content, seconds)) {}
  void Copy() {
    const FileCallTrace trace;
    ::SetLastError(ERROR_SUCCESS);
    copied = VELAUtility::CopyFileKeepingTimes(source, destination, &error);
    calls = trace.Calls();
    closed = trace.AllClosed();
  }
};

}  // namespace TestSupport
