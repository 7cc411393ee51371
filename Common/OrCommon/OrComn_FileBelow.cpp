#include "Common/OrCommon/OrComn_FileBelow.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_Library.h"
#include "Common/OrCommon/OrComn_String.h"

namespace OrCommon::Storage::File {
namespace {

using Library::EntryPoint;

using GetFinalPathNameByHandleFunction = DWORD(WINAPI*)(HANDLE, wchar_t*, DWORD, DWORD);
using SetFileInformationByHandleFunction = BOOL(WINAPI*)(HANDLE, int, void*, DWORD);

constexpr DWORD kLongestPath = 32768;  // characters, terminator included
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr int kFileDispositionInfo = 4;

// The real path of the open file, with all links resolved; empty if it cannot be determined.
std::wstring FinalPath(HANDLE file, GetFinalPathNameByHandleFunction getFinalPathNameByHandle) {
  constexpr DWORD kDriveLetterAndWholeNames = 0;
  std::wstring path(kLongestPath, L'\0');
  const DWORD length = getFinalPathNameByHandle(file, path.data(), kLongestPath, kDriveLetterAndWholeNames);
  path.resize(length < kLongestPath ? length : 0);
  return path;
}

bool IsPlainFile(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION facts = {};
  return ::GetFileInformationByHandle(file, &facts) &&
         (facts.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
}

bool HasLinkBelow(const std::wstring& root, const std::wstring& file) {
  for (std::size_t end = 0; end != std::wstring::npos;) {
    end = file.find(L'\\', end + 1);
    if (IsLink(WithSeparator(root) + file.substr(0, end))) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool DeleteFileBelow(const std::wstring& root, const std::wstring& file, const std::wstring& alias) {
  const std::wstring path = SystemPath(WithSeparator(root) + file);
  const EntryPoint finalPath(L"kernel32.dll", L"GetFinalPathNameByHandleW");
  const EntryPoint setInformation(L"kernel32.dll", L"SetFileInformationByHandle");
  const auto getFinalPathNameByHandle = finalPath.As<GetFinalPathNameByHandleFunction>();
  const auto setFileInformationByHandle = setInformation.As<SetFileInformationByHandleFunction>();
  if (getFinalPathNameByHandle == nullptr || setFileInformationByHandle == nullptr) {
    return !HasLinkBelow(root, file) && ::DeleteFileW(path.c_str());
  }
  const FileHandle handle(::CreateFileW(path.c_str(), DELETE | FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_OPEN_REPARSE_POINT | kNotLent, nullptr));
  if (!handle || !IsPlainFile(handle.Get())) {
    return false;
  }
  // Only administrators control the path of the root: it may contain links.
  const FileHandle rootHandle(::CreateFileW(SystemPath(root).c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr,
                                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (!rootHandle) {
    return false;
  }
  const std::wstring place = FinalPath(handle.Get(), getFinalPathNameByHandle);
  const std::wstring rootPlace = FinalPath(rootHandle.Get(), getFinalPathNameByHandle);
  const auto isAt = [&](const std::wstring& expected) {
    return !rootPlace.empty() && String::EqualsIgnoringAsciiCase(place, WithSeparator(rootPlace) + expected);
  };
  BOOLEAN isDeleted = TRUE;  // the whole of FILE_DISPOSITION_INFO
  return (isAt(file) || isAt(alias)) &&
         setFileInformationByHandle(handle.Get(), kFileDispositionInfo, &isDeleted, sizeof isDeleted);
}

}  // namespace OrCommon::Storage::File
