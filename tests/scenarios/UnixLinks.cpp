#include "tests/scenarios/UnixLinks.h"

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "tests/support/TestFiles.h"
#include "tests/support/TextLines.h"

namespace TestSupport {
namespace {

// The path of the host for one of Windows, as Wine's kernel32 tells it.
std::string HostPath(const std::wstring& path) {
  const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
  const FARPROC address = ::GetProcAddress(kernel, "wine_get_unix_file_name");
  if (address == nullptr) {
    throw std::runtime_error("this is not Wine: there is no host to make a link on");
  }
  char*(CDECL * getUnixFileName)(LPCWSTR) = nullptr;
  std::memcpy(&getUnixFileName, &address, sizeof getUnixFileName);
  char* const text = getUnixFileName(path.c_str());
  if (text == nullptr) {
    throw std::runtime_error("no host path for " + ToUtf8(path));
  }
  const std::string host = text;
  ::HeapFree(::GetProcessHeap(), 0, text);
  return host;
}

// Runs a command in the shell of the host. A program of the host leaves no process to wait for: it makes a file when it
// is done.
void RunOnHost(const std::string& command) {
  const std::wstring done = L"C:\\host_command_done";
  RemoveTree(done);
  const std::string line = "sh -c \"" + command + "; : > '" + HostPath(done) + "'\"";
  std::wstring commandLine(line.begin(), line.end());
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!::CreateProcessW(L"Z:\\bin\\sh", commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process)) {
    throw std::runtime_error("cannot start the shell of the host: error " + std::to_string(::GetLastError()));
  }
  ::CloseHandle(process.hProcess);
  ::CloseHandle(process.hThread);
  for (int i = 0; !Exists(done); ++i) {
    if (i == 1000) {
      throw std::runtime_error("the host does not do: " + command);
    }
    ::Sleep(10);
  }
  RemoveTree(done);
}

}  // namespace

FullDiskFile::FullDiskFile(const std::wstring& path) : hostPath_(HostPath(path)) {
  RunOnHost("ln -s /dev/full '" + hostPath_ + "'");
}

FullDiskFile::~FullDiskFile() {
  try {
    RunOnHost("rm -f '" + hostPath_ + "'");
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "FullDiskFile: %s\n", failure.what());  // the next world fails to clear its folders
  }
}

FolderLink::FolderLink(const std::wstring& link, const std::wstring& target) : hostPath_(HostPath(link)) {
  RunOnHost("ln -s '" + HostPath(target) + "' '" + hostPath_ + "'");
  if ((::GetFileAttributesW(link.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
    throw std::runtime_error("no link at " + ToUtf8(link));
  }
}

FolderLink::~FolderLink() {
  try {
    RunOnHost("rm -f '" + hostPath_ + "'");
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "FolderLink: %s\n", failure.what());
  }
}

}  // namespace TestSupport
