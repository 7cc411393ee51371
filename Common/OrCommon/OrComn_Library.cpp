#include "Common/OrCommon/OrComn_Library.h"

#include <cwchar>
#include <memory>

namespace OrCommon::Library {
namespace {

constexpr std::size_t kShortName = 128;       // bytes
constexpr std::size_t kLongestCharacter = 4;  // bytes that one character can become

// True if SetDefaultDllDirectories limits the search for libraries to the system folder (OrComn_ProcessGuards).
bool CanLimitSearch() noexcept {
  return ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "SetDefaultDllDirectories") != nullptr;
}

}  // namespace

SystemLibrary::SystemLibrary(const wchar_t* name) noexcept {
  if (!CanLimitSearch()) {
    const UINT length = ::GetSystemDirectoryW(path_, kCapacity);
    if (length == 0 || length + std::wcslen(name) + 2 > kCapacity) {
      std::wcscpy(path_, L"?");
      return;
    }
    std::wcscat(path_, L"\\");
  }
  std::wcscat(path_, name);
}

FARPROC FindEntryPoint(HMODULE module, const wchar_t* name, DWORD& error) {
  if (name == nullptr) {
    error = ERROR_BAD_ARGUMENTS;
    return nullptr;
  }
  const std::size_t size = (std::wcslen(name) + 1) * kLongestCharacter;
  char shortName[kShortName];
  std::unique_ptr<char[]> longName;
  char* narrow = shortName;
  if (size > kShortName) {
    longName.reset(new char[size]);
    narrow = longName.get();
  }
  if (::WideCharToMultiByte(CP_ACP, 0, name, -1, narrow, static_cast<int>(size), nullptr, nullptr) == 0) {
    error = ERROR_BAD_ARGUMENTS;
    return nullptr;
  }
  const FARPROC address = ::GetProcAddress(module, narrow);
  error = address != nullptr ? ERROR_SUCCESS : ::GetLastError();
  return address;
}

EntryPoint::EntryPoint(const wchar_t* library, const wchar_t* name)
    : library_(::LoadLibraryW(SystemLibrary(library).Path())) {
  if (!library_) {
    error_ = ::GetLastError();
    return;
  }
  address_ = FindEntryPoint(library_.Get(), name, error_);
}

}  // namespace OrCommon::Library
