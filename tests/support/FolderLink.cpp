#include "tests/support/FolderLink.h"

#include <windows.h>

#include <cstring>
#include <stdexcept>

#include "tests/support/TextLines.h"

namespace TestSupport {
namespace {

template <class Function>
Function KernelEntry(const char* name) {
  // Calls LoadLibraryA directly, so that the program imports it: redirections work only on imports.
  const HMODULE kernel = ::LoadLibraryA("kernel32.dll");
  const FARPROC address = ::GetProcAddress(kernel, name);
  Function function = nullptr;
  static_assert(sizeof function == sizeof address);
  std::memcpy(&function, &address, sizeof function);
  return function;
}

DWORD AttributesOf(const std::wstring& path) {
  return KernelEntry<decltype(&::GetFileAttributesW)>("GetFileAttributesW")(path.c_str());
}

// A device of the host has no attributes, but can be opened.
bool IsThere(const std::wstring& path) {
  if (AttributesOf(path) != INVALID_FILE_ATTRIBUTES) {
    return true;
  }
  const HANDLE device = KernelEntry<decltype(&::CreateFileW)>("CreateFileW")(
      path.c_str(), GENERIC_WRITE, FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  return device != INVALID_HANDLE_VALUE && ::CloseHandle(device);
}

// The host's path of a path of Wine, quoted; empty on Windows.
std::wstring HostPath(const std::wstring& path) {
  const auto toHost = KernelEntry<char*(CDECL*)(const wchar_t*)>("wine_get_unix_file_name");
  char* const hostPath = toHost != nullptr ? toHost(path.c_str()) : nullptr;
  if (hostPath == nullptr) {
    return {};
  }
  const std::string text = hostPath;
  ::HeapFree(::GetProcessHeap(), 0, hostPath);
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                             wide.data(), static_cast<int>(wide.size()))));
  return L'"' + wide + L'"';
}

// The host's link that is a drive of Wine (L"v:"), quoted; empty on Windows.
std::wstring HostDrive(const std::wstring& drive) {
  std::wstring path = HostPath(L"C:\\windows");
  const std::size_t begin = path.rfind(L"c:/windows");
  return begin == std::wstring::npos ? std::wstring() : path.replace(begin, std::wstring::npos, drive + L"\"");
}

// Starts a program of the host and waits until `path` exists, or is gone: Wine gives no handle for such a program.
bool RunOnHost(std::wstring commandLine, const std::wstring& path, bool there) {
  const std::wstring program = L"Z:\\bin\\" + commandLine.substr(0, commandLine.find(L' '));
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!KernelEntry<decltype(&::CreateProcessW)>("CreateProcessW")(program.c_str(), commandLine.data(), nullptr, nullptr,
                                                                  FALSE, 0, nullptr, nullptr, &startup, &process)) {
    return false;
  }
  for (int attempt = 0; attempt < 500 && IsThere(path) != there; ++attempt) {
    ::Sleep(10);
  }
  return IsThere(path) == there;
}

}  // namespace

void MakeFolderLink(const std::wstring& link, const std::wstring& target) {
  const std::wstring hostLink = HostPath(link);
  bool made = false;
  if (!hostLink.empty()) {
    made = RunOnHost(L"ln -s " + HostPath(target) + L" " + hostLink, link, true);
  } else {
    constexpr DWORD kFolder = 1;
    const auto create = KernelEntry<BOOLEAN(WINAPI*)(const wchar_t*, const wchar_t*, DWORD)>("CreateSymbolicLinkW");
    made = create != nullptr && create(link.c_str(), target.c_str(), kFolder) != FALSE;
  }
  if (!made || (AttributesOf(link) & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
    throw std::runtime_error("cannot create a link at " + TestSupport::ToUtf8(link));
  }
}

bool RemoveFolderLink(const std::wstring& link) {
  if (!IsThere(link)) {
    return true;
  }
  const std::wstring hostLink = HostPath(link);
  return hostLink.empty() ? KernelEntry<decltype(&::RemoveDirectoryW)>("RemoveDirectoryW")(link.c_str()) != FALSE
                          : RunOnHost(L"rm -f " + hostLink, link, false);
}

FolderDrive::FolderDrive(wchar_t letter, const std::wstring& folder) : drive_{letter, L':'} {
  const std::wstring hostLink = HostDrive(drive_);
  const bool made = hostLink.empty() ? ::DefineDosDeviceW(0, drive_.c_str(), folder.c_str()) != FALSE
                                     : RunOnHost(L"ln -s " + HostPath(folder) + L" " + hostLink, drive_ + L"\\", true);
  if (!made) {
    throw std::runtime_error("cannot create the drive " + TestSupport::ToUtf8(drive_));
  }
}

FolderDrive::~FolderDrive() {
  const std::wstring hostLink = HostDrive(drive_);
  if (hostLink.empty()) {
    ::DefineDosDeviceW(DDD_REMOVE_DEFINITION, drive_.c_str(), nullptr);
  } else {
    RunOnHost(L"rm -f " + hostLink, drive_ + L"\\", false);
  }
}

FullDiskFile::FullDiskFile(const std::wstring& path) : path_(path) {
  if (!RunOnHost(L"ln -s /dev/full " + HostPath(path), path, true)) {
    throw std::runtime_error("cannot create a link to /dev/full at " + TestSupport::ToUtf8(path));
  }
}

FullDiskFile::~FullDiskFile() {
  RunOnHost(L"rm -f " + HostPath(path_), path_, false);  // if the link stays, the next world cannot clear its folders
}

}  // namespace TestSupport
