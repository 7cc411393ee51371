// Junctions, which any user can create, and what a handle reports about the path to its file.
#include <windows.h>

#include <winioctl.h>

#include <cstddef>
#include <iterator>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TextLines.h"

namespace Facts {
namespace {

using OrCommon::FileHandle;
using OrCommon::FindHandle;

constexpr DWORD kSharedByAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kAsLink = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;

// REPARSE_DATA_BUFFER of a mount point. Only a driver header defines it.
struct MountPoint {
  DWORD tag;
  WORD dataLength;
  WORD reserved;
  WORD substituteOffset;  // of the two names, in bytes from the start of `names`
  WORD substituteLength;  // in bytes, without the terminator
  WORD printOffset;
  WORD printLength;
  wchar_t names[600];
};

void MakeJunction(const std::wstring& link, const std::wstring& target) {
  const std::wstring substitute = L"\\??\\" + target;
  MountPoint data = {};
  data.tag = IO_REPARSE_TAG_MOUNT_POINT;
  data.substituteLength = static_cast<WORD>(substitute.size() * sizeof(wchar_t));
  data.printOffset = static_cast<WORD>(data.substituteLength + sizeof(wchar_t));
  data.printLength = static_cast<WORD>(target.size() * sizeof(wchar_t));
  substitute.copy(data.names, substitute.size());
  target.copy(data.names + substitute.size() + 1, target.size());
  const std::size_t used = offsetof(MountPoint, names) + data.printOffset + data.printLength + sizeof(wchar_t);
  data.dataLength = static_cast<WORD>(used - offsetof(MountPoint, substituteOffset));
  ::CreateDirectoryW(link.c_str(), nullptr);
  const FileHandle handle(::CreateFileW(link.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, kAsLink, nullptr));
  DWORD returned = 0;
  if (!::DeviceIoControl(handle.Get(), FSCTL_SET_REPARSE_POINT, &data, static_cast<DWORD>(used), nullptr, 0, &returned,
                         nullptr)) {
    throw std::runtime_error("no junction, " + Done(false));
  }
}

// A folder "target" with a file in it, and a junction "link" to it.
struct Linked {
  Linked() { MakeJunction(link, target); }

  const std::wstring folder = NewFolder();
  const std::wstring target = folder + L"\\target";
  const std::wstring link = folder + L"\\link";
  const bool filled = (TestSupport::WriteTestFile(target + L"\\file", "contents"), true);
};

FileHandle Open(const std::wstring& path, DWORD access, DWORD flags) {
  return FileHandle(::CreateFileW(path.c_str(), access, kSharedByAll, nullptr, OPEN_EXISTING, flags, nullptr));
}

std::wstring WholePath(HANDLE handle) {
  wchar_t path[1024] = {};
  Find<DWORD(WINAPI*)(HANDLE, wchar_t*, DWORD, DWORD)>(L"kernel32.dll", "GetFinalPathNameByHandleW")(handle, path, 1024,
                                                                                                     0);
  return path;
}

// The target of a handle: the last two parts of its final path.
std::string FinalPath(HANDLE handle) {
  const std::wstring text = WholePath(handle);
  const std::size_t last = text.rfind(L'\\');
  return last == std::wstring::npos || last == 0 ? Done(false)
                                                 : TestSupport::ToUtf8(text.substr(text.rfind(L'\\', last - 1) + 1));
}

std::string DeleteByHandle() {
  const std::wstring file = NewFolder() + L"\\file";
  TestSupport::WriteTestFile(file, "contents");
  std::string answer;
  {
    const FileHandle handle = Open(file, DELETE, FILE_FLAG_OPEN_REPARSE_POINT);
    constexpr int kFileDispositionInfo = 4;  // FILE_INFO_BY_HANDLE_CLASS
    BOOLEAN remove = TRUE;
    const auto set = Find<BOOL(WINAPI*)(HANDLE, int, void*, DWORD)>(L"kernel32.dll", "SetFileInformationByHandle");
    answer = Done(set(handle.Get(), kFileDispositionInfo, &remove, sizeof remove));
  }
  return answer + (TestSupport::Exists(file) ? ", file kept" : ", file gone");
}

std::wstring OldApplicationData() {
  wchar_t profile[MAX_PATH] = {};
  ::GetEnvironmentVariableW(L"USERPROFILE", profile, MAX_PATH);
  return std::wstring(profile) + L"\\Application Data";
}

constexpr Fact kFacts[] = {
    {"RemoveDirectoryW on a junction removes the junction, and nothing in its target.",
     [] {
       const Linked place;
       const std::string answer = Done(::RemoveDirectoryW(place.link.c_str()));
       return answer + (TestSupport::Exists(place.target + L"\\file") ? ", file kept" : ", file gone");
     },
     "done, file kept", "RemoveDirectoryW function", "no junction, error 50"},
    {"FindFirstFileW reports that an entry is a junction.",
     [] {
       const Linked place;
       WIN32_FIND_DATAW found = {};
       const FindHandle search(::FindFirstFileW(place.link.c_str(), &found));
       return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ? "link, " + Hex(found.dwReserved0)
                                                                           : "no link";
     },
     "link, 0xA0000003", "WIN32_FIND_DATAW structure", "no junction, error 50"},
    {"GetFileAttributesW on a junction returns the junction's attributes, not those of its target.",
     [] {
       const Linked place;
       const DWORD attributes = ::GetFileAttributesW(place.link.c_str());
       return attributes == INVALID_FILE_ATTRIBUTES ? Done(false) : Hex(attributes & FILE_ATTRIBUTE_REPARSE_POINT);
     },
     "0x400", "Determining Whether a Directory Is a Mounted Folder", "no junction, error 50"},
    {"For a file opened through a junction, GetFinalPathNameByHandleW returns the path in the target folder.",
     [] {
       const Linked place;
       return FinalPath(Open(place.link + L"\\file", GENERIC_READ, 0).Get());
     },
     "target\\file", "GetFinalPathNameByHandleW function", "no junction, error 50", kVista},
    {"FILE_FLAG_OPEN_REPARSE_POINT opens the junction itself.",
     []() -> std::string {
       const Linked place;
       const std::string parent = TestSupport::ToUtf8(place.folder.substr(place.folder.rfind(L'\\') + 1));
       return FinalPath(Open(place.link, 0, kAsLink).Get()) == parent + "\\link" ? "link" : "something else";
     },
     "link", "CreateFileW function", "no junction, error 50", kVista},
    {"SetFileInformationByHandle with FileDispositionInfo deletes the opened file.", DeleteByHandle, "done, file gone",
     "SetFileInformationByHandle function", kAsWindows, kVista},
    {"With the redirection guard, a process does not follow a junction that an ordinary user created.",
     [] {
       const Linked place;
       return Code(RunChild({L"open-guarded", place.link + L"\\file"}));
     },
     "error 448", "PROCESS_MITIGATION_REDIRECTION_TRUST_POLICY structure", kNotAsked, kWindows10In22H2, kNoElevation},
    {"A child process does not inherit the redirection guard.",
     [] {
       const Linked place;
       return Code(RunChild({L"open-below-guarded", place.link + L"\\file"}));
     },
     "done", "no page of Microsoft says so; reported of an installer", kNotAsked, kWindows10In22H2, kNoElevation},
    {"GetFinalPathNameByHandleW returns a path with a backslash at the end for the root of a volume.",
     [] {
       // The only final path that ends in a backslash.
       wchar_t path[MAX_PATH] = {};
       ::GetSystemWindowsDirectoryW(path, MAX_PATH);
       path[3] = L'\0';
       const FileHandle root = Open(path, 0, FILE_FLAG_BACKUP_SEMANTICS);
       const std::wstring found = WholePath(root.Get());
       return found.empty() ? Done(false) : TestSupport::ToUtf8(found.substr(found.size() - 2));
     },
     ":\\", "GetFinalPathNameByHandleW function", kAsWindows, kVista},
    {"\"Application Data\" in a profile is a hidden system junction.",
     [] {
       const DWORD attributes = ::GetFileAttributesW(OldApplicationData().c_str());
       return attributes == INVALID_FILE_ATTRIBUTES ? Done(false)
                                                    : Hex(attributes & ~DWORD{FILE_ATTRIBUTE_NOT_CONTENT_INDEXED});
     },
     "0x416", "Junction Points and Backup Applications", "error 2", kVista, kNotLocalSystem},
    {"\"Application Data\" in a profile cannot be listed.", [] { return List(OldApplicationData()); }, "error 5",
     "Junction Points and Backup Applications", "error 3", kVista, kNotLocalSystem},
    {"\"Application Data\" in a profile leads to AppData\\Roaming.",
     [] {
       const FileHandle handle = Open(OldApplicationData(), 0, FILE_FLAG_BACKUP_SEMANTICS);
       return handle ? FinalPath(handle.Get()) : Done(false);
     },
     "AppData\\Roaming", "Junction Points and Backup Applications", "error 2", kVista, kNotLocalSystem},
};
static_assert(AreSound(kFacts));

}  // namespace

const Group kLinkFacts = {"Links", kFacts, std::size(kFacts)};

}  // namespace Facts
