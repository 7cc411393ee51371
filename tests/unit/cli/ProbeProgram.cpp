// The run log in a separate process: it is opened before wmain starts, and an invalid character ends it permanently.
//
//   probe entries <text>...    writes each text as an entry; exit code 42
// probe command <argument>...  runs the command line that the arguments form; its exit code
// probe abort                aborts, as the runtime does if it lacks the memory to throw
//
// Environment:
// VELA_PROBE_WINDOWS  the Windows folder that Windows reports: a path, "none" (it fails), "needs <n>" (it needs a
//                       buffer of n characters), "long <n>" (a path of n characters)
//   VELA_PROBE_REPORT   file that gets the calls made before wmain, one line each
//   VELA_PROBE_FULL     number of the write to the log at which the disk is full, once
#include <windows.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <optional>
#include <string>

#include "cli/CommandDispatcher.h"
#include "cli/RunLog.h"
#include "tests/support/CallWatch.h"

namespace {

using TestSupport::ImportRedirection;
using TestSupport::OnCall;

std::wstring Variable(const wchar_t* name) {
  wchar_t value[1024] = {};
  ::GetEnvironmentVariableW(name, value, 1024);
  return value;
}

// The paths here are plain ones.
std::string Narrow(const std::wstring& text) {
  std::string narrow;
  for (const wchar_t character : text) {
    narrow += static_cast<char>(character);
  }
  return narrow;
}

unsigned NumberBehind(const std::wstring& text) {
  return static_cast<unsigned>(std::wcstoul(text.c_str() + text.find(L' '), nullptr, 10));
}

// Constructed before every other object of the program (see below), so that it sees how the log is opened.
class Machine {
 public:
  Machine()
      : windows_(Variable(L"VELA_PROBE_WINDOWS")),
        getFileAttributes_("GetFileAttributesW", &::GetFileAttributesW,
                           [this](LPCWSTR path) { report_ += "GetFileAttributesW " + Narrow(path) + "\n"; }),
        createDirectory_("CreateDirectoryW", &::CreateDirectoryW, [this](LPCWSTR path, LPSECURITY_ATTRIBUTES security) {
          report_ += "CreateDirectoryW " + Narrow(path) + (security == nullptr ? " plain\n" : "\n");
        }) {
    if (!windows_.empty()) {
      getWindowsDirectory_.emplace("GetWindowsDirectoryW", [this](LPWSTR folder, UINT capacity) -> UINT {
        report_ += "GetWindowsDirectoryW " + std::to_string(capacity) + "\n";
        return Answer(folder);
      });
    }
    const std::wstring full = Variable(L"VELA_PROBE_FULL");
    if (!full.empty()) {
      failingWrite_ = NumberBehind(L" " + full);
      write_.emplace("_write", [this](int file, const void* text, unsigned size) -> int {
        if (++writes_ == failingWrite_) {
          errno = ENOSPC;
          return -1;
        }
        return write_->Original<int(WINAPI*)(int, const void*, unsigned)>()(file, text, size);
      });
    }
  }

  // What was seen so far.
  void Report() const {
    const std::wstring file = Variable(L"VELA_PROBE_REPORT");
    FILE* const report = file.empty() ? nullptr : ::_wfopen(file.c_str(), L"wb");
    if (report != nullptr) {
      std::fputs(report_.c_str(), report);
      std::fclose(report);
    }
  }

 private:
  UINT Answer(LPWSTR folder) const {
    if (windows_ == L"none") {
      return 0;
    }
    if (windows_.find(L"needs ") == 0) {
      return NumberBehind(windows_);
    }
    std::wstring path = windows_;
    if (windows_.find(L"long ") == 0) {
      path = L"C:\\" + std::wstring(NumberBehind(windows_) - 3, L'w');
    }
    std::wcscpy(folder, path.c_str());
    return static_cast<UINT>(path.size());
  }

  std::wstring windows_;
  std::string report_;
  unsigned writes_ = 0;
  unsigned failingWrite_ = 0;
  std::optional<ImportRedirection> getWindowsDirectory_;
  OnCall getFileAttributes_;
  OnCall createDirectory_;
  std::optional<ImportRedirection> write_;
};

#if defined(_MSC_VER)
#pragma warning(disable : 4073)  // "initializers put in library initialization area": this is intended
#pragma init_seg(lib)
Machine g_machine;
#else
Machine g_machine __attribute__((init_priority(101)));
#endif

}  // namespace

int wmain(int count, wchar_t* arguments[]);

int wmain(int count, wchar_t* arguments[]) {
  g_machine.Report();
  if (count < 2) {
    return 1;
  }
  if (std::wcscmp(arguments[1], L"command") == 0) {
    return RunCommand(count - 1, arguments + 1);
  }
  if (std::wcscmp(arguments[1], L"abort") == 0) {
    EndProperlyAtAbort();
    RunLog::Info() << L"before";
    std::abort();
  }
  for (int i = 2; i < count; ++i) {
    RunLog::Info() << arguments[i];
  }
  return 42;
}
