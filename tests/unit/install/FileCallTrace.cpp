#include "tests/unit/install/FileCallTrace.h"

#include <cstdio>

namespace TestSupport {
namespace {

std::string Leaf(const wchar_t* path) {
  const std::wstring text = path;
  return ToUtf8(text.substr(text.rfind(L'\\') + 1));
}

std::string Hex(DWORD number) {
  char text[16] = {};
  std::snprintf(text, sizeof text, "%08lX", number);
  return text;
}

std::string WayOfOpening(DWORD access, DWORD share, const SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                         HANDLE pattern) {
  if (security == nullptr && pattern == nullptr && flags == FILE_ATTRIBUTE_NORMAL) {
    if (access == GENERIC_READ && share == FILE_SHARE_READ && disposition == OPEN_EXISTING) {
      return "for reading";
    }
    if (access == GENERIC_WRITE && share == 0 && disposition == CREATE_ALWAYS) {
      return "anew for writing";
    }
    if (access == (GENERIC_READ | GENERIC_WRITE) && share == FILE_SHARE_READ && disposition == OPEN_EXISTING) {
      return "for reading and writing";
    }
  }
  return Hex(access) + " " + Hex(share) + " " + Hex(disposition) + " " + Hex(flags) +
         (security != nullptr ? " security" : "") + (pattern != nullptr ? " pattern" : "");
}

std::string TimesNamed(const FILETIME* created, const FILETIME* accessed, const FILETIME* written) {
  return std::string(created != nullptr ? " created" : "") + (accessed != nullptr ? " accessed" : "") +
         (written != nullptr ? " written" : "");
}

}  // namespace

FileCallTrace::FileCallTrace()
    : createFile_("CreateFileW",
                  [this](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
                         DWORD flags, HANDLE pattern) -> HANDLE {
                    const HANDLE file = createFile_.Original<decltype(&::CreateFileW)>()(path, access, share, security,
                                                                                         disposition, flags, pattern);
                    const DWORD error = ::GetLastError();
                    if (file != INVALID_HANDLE_VALUE) {
                      open_[file] = ++opened_;
                    }
                    calls_.push_back("CreateFileW " + Leaf(path) + " " +
                                     WayOfOpening(access, share, security, disposition, flags, pattern) + " -> " +
                                     NameOf(file));
                    ::SetLastError(error);
                    return file;
                  }),
      getFileTime_("GetFileTime",
                   [this](HANDLE file, LPFILETIME created, LPFILETIME accessed, LPFILETIME written) -> BOOL {
                     calls_.push_back("GetFileTime " + NameOf(file) + TimesNamed(created, accessed, written));
                     return getFileTime_.Original<decltype(&::GetFileTime)>()(file, created, accessed, written);
                   }),
      getFileAttributes_("GetFileAttributesW",
                         [this](LPCWSTR path) -> DWORD {
                           calls_.push_back("GetFileAttributesW " + Leaf(path));
                           return getFileAttributes_.Original<decltype(&::GetFileAttributesW)>()(path);
                         }),
      compareFileTime_("CompareFileTime",
                       [this](const FILETIME* left, const FILETIME* right) -> LONG {
                         calls_.push_back("CompareFileTime");
                         return compareFileTime_.Original<decltype(&::CompareFileTime)>()(left, right);
                       }),
      readFile_("ReadFile",
                [this](HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED overlapped) -> BOOL {
                  const BOOL result = readFile_.Original<decltype(&::ReadFile)>()(file, buffer, size, read, overlapped);
                  calls_.push_back("ReadFile " + NameOf(file) + " " + std::to_string(size) + " bytes -> " +
                                   (result ? std::to_string(*read) : "failed"));
                  return result;
                }),
      writeFile_("WriteFile",
                 [this](HANDLE file, LPCVOID buffer, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) -> BOOL {
                   calls_.push_back("WriteFile " + NameOf(file) + " " + std::to_string(size) + " bytes");
                   return writeFile_.Original<decltype(&::WriteFile)>()(file, buffer, size, written, overlapped);
                 }),
      setFileTime_(
          "SetFileTime",
          [this](HANDLE file, const FILETIME* created, const FILETIME* accessed, const FILETIME* written) -> BOOL {
            calls_.push_back("SetFileTime " + NameOf(file) + TimesNamed(created, accessed, written));
            return setFileTime_.Original<decltype(&::SetFileTime)>()(file, created, accessed, written);
          }),
      setFileAttributes_("SetFileAttributesW",
                         [this](LPCWSTR path, DWORD attributes) -> BOOL {
                           calls_.push_back("SetFileAttributesW " + Leaf(path) + " " + Hex(attributes));
                           return setFileAttributes_.Original<decltype(&::SetFileAttributesW)>()(path, attributes);
                         }),
      moveFileEx_("MoveFileExW",
                  [this](LPCWSTR from, LPCWSTR to, DWORD flags) -> BOOL {
                    calls_.push_back("MoveFileExW " + Leaf(from) + " " + Leaf(to) + " " + std::to_string(flags));
                    return moveFileEx_.Original<decltype(&::MoveFileExW)>()(from, to, flags);
                  }),
      closeHandle_("CloseHandle", [this](HANDLE handle) -> BOOL {
        const auto file = open_.find(handle);
        if (file != open_.end()) {
          calls_.push_back("CloseHandle " + std::to_string(file->second));
          open_.erase(file);
        }
        return closeHandle_.Original<decltype(&::CloseHandle)>()(handle);
      }) {}

std::string FileCallTrace::NameOf(HANDLE handle) const {
  const auto file = open_.find(handle);
  return file != open_.end() ? std::to_string(file->second) : handle == INVALID_HANDLE_VALUE ? "none" : "unknown";
}

}  // namespace TestSupport
