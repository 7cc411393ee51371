#include "install/FileCopy.h"

#include "Common/OrCommon/OrComn_FolderWalk.h"
#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_Shell.h"
#include "cli/RunLog.h"

namespace {

using OrCommon::FileHandle;

// One block serves the whole run, which is a single thread. One byte less than 16 KiB, deliberately.
constexpr DWORD kBlockSize = 0x3FFF;
BYTE g_block[kBlockSize];

FileHandle OpenForReading(const std::wstring& path) {
  return FileHandle(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
}

struct FileTimes {
  FILETIME created = {};
  FILETIME accessed = {};
  FILETIME written = {};
};

bool IsUpToDate(const std::wstring& destination, const FILETIME& sourceWritten) {
  const FileHandle file = OpenForReading(destination);
  FILETIME written = {};
  return file && ::GetFileTime(file.Get(), nullptr, nullptr, &written) &&
         ::CompareFileTime(&written, &sourceWritten) == 0;
}

// Creates the file or empties an existing one. If that fails, the code is in `error`. Windows denies access if the
// existing file is read-only, hidden or system; files copied from a disc are read-only. So these attributes are
// cleared, and restored if they were not the reason. The attributes of a link are not changed: the access was denied by
// its target.
FileHandle CreateAnew(const std::wstring& path, DWORD& error) {
  const auto create = [&] {
    const HANDLE created =
        ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    error = created != INVALID_HANDLE_VALUE ? ERROR_SUCCESS : ::GetLastError();
    return FileHandle(created);
  };
  FileHandle file = create();
  if (file || error != ERROR_ACCESS_DENIED) {
    return file;
  }
  constexpr DWORD kRefused = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
  constexpr DWORD kLeftAlone = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & kRefused) == 0 || (attributes & kLeftAlone) != 0 ||
      !::SetFileAttributesW(path.c_str(), attributes & ~kRefused)) {
    return file;
  }
  file = create();
  if (!file) {
    ::SetFileAttributesW(path.c_str(), attributes);
  }
  return file;
}

enum class Contents {
  kCopied,   // the source's, or the part that could be read
  kUnknown,  // the source cannot be read, and nothing was written
  kFailed    // the destination may contain a part of them
};

// After a failure the code is in `error`.
Contents CopyContents(HANDLE source, HANDLE destination, DWORD& error) {
  for (bool first = true;; first = false) {
    DWORD read = 0;
    if (!::ReadFile(source, g_block, kBlockSize, &read, nullptr)) {
      // After the first block a read error deliberately counts as the end of the file.
      return first ? Contents::kUnknown : Contents::kCopied;
    }
    if (read == 0) {
      return Contents::kCopied;
    }
    DWORD written = 0;
    if (!::WriteFile(destination, g_block, read, &written, nullptr)) {
      error = ::GetLastError();
      return Contents::kFailed;
    }
    if (written < read) {
      error = ERROR_DISK_FULL;  // a short write is a successful call and sets no error code
      return Contents::kFailed;
    }
  }
}

// Both of these are best effort: the contents are in place.
void CarryTimesAndAttributes(const std::wstring& destination, const FileTimes& times, DWORD attributes) {
  {
    const FileHandle file(::CreateFileW(destination.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file) {
      ::SetFileTime(file.Get(), &times.created, &times.accessed, &times.written);
    }
  }
  if (attributes != INVALID_FILE_ATTRIBUTES) {
    ::SetFileAttributesW(destination.c_str(), attributes);
  }
}

bool CopyOneFile(const std::wstring& source, const std::wstring& destination, DWORD& error) {
  FileHandle from = OpenForReading(source);
  if (!from) {
    error = ::GetLastError();
    return false;
  }
  FileTimes times;
  ::GetFileTime(from.Get(), &times.created, &times.accessed, &times.written);
  const DWORD attributes = ::GetFileAttributesW(source.c_str());
  if (IsUpToDate(destination, times.written)) {
    return true;
  }
  FileHandle to = CreateAnew(destination, error);
  if (!to) {
    return false;
  }
  const Contents contents = CopyContents(from.Get(), to.Get(), error);
  if (contents == Contents::kFailed) {
    return false;
  }
  from.Reset();
  to.Reset();
  // With the source's time, a file without contents would always count as up to date.
  if (contents == Contents::kCopied) {
    CarryTimesAndAttributes(destination, times, attributes);
  }
  return true;
}

// Settings for a whole tree.
struct TreeCopy {
  int* rebootNeeded;
  int moveAtRestart;
};

// Copies or schedules one file; false if neither could be done.
bool CopyTreeFile(const TreeCopy& copy, const std::wstring& source, const std::wstring& destination) {
  if (copy.moveAtRestart == 0) {
    DWORD error = ERROR_SUCCESS;
    if (CopyOneFile(source, destination, error)) {
      RunLog::Info() << L"CopyFile(" << source << L", " << destination << L") successed.";
      return true;
    }
    RunLog::Error() << L"::CopyFile() failed: err(" << error << L"), src(" << source << L"), dst(" << destination
                    << L")";
  }
  if (!CoreAgentUtility::File::copyFileEx(source, destination)) {
    return false;
  }
  RunLog::Info() << L"RebootMove('" << source << L"', '" << destination << L"') succeeded";
  if (copy.rebootNeeded != nullptr) {
    *copy.rebootNeeded = 1;
  }
  return true;
}

DWORD CopyTree(const TreeCopy& copy, const std::wstring& source, const std::wstring& destination);

DWORD CopySubfolder(const TreeCopy& copy, const std::wstring& source, const std::wstring& destination) {
  const int created = OrCommon::Shell::SHCreateDirectoryExW(nullptr, destination.c_str(), nullptr);
  if (created != ERROR_SUCCESS && created != ERROR_ALREADY_EXISTS) {
    RunLog::Error() << L"::SHCreateDirectoryEx('" << destination << L"') failed: " << created;
    return static_cast<DWORD>(created);
  }
  const DWORD result = CopyTree(copy, source, destination);
  if (result != ERROR_SUCCESS) {
    RunLog::Error() << L"CopyFileRecursive('" << source << L"', '" << destination << L"') failed [" << result << L"]";
  }
  return result;
}

DWORD CopyTree(const TreeCopy& copy, const std::wstring& source, const std::wstring& destination) {
  if (source.empty() || destination.empty()) {
    RunLog::Error() << L"Empty source/destination path";
    return ERROR_SUCCESS;
  }
  if (!OrCommon::Shell::PathFileExistsW(destination.c_str())) {
    const DWORD error = ::GetLastError();
    RunLog::Error() << L"Path not exists: " << destination;
    return error;
  }
  WIN32_FIND_DATAW entry;
  OrCommon::Storage::File::FolderEntries entries(source + L"\\*.*", entry);
  while (entries.Next(entry)) {
    const std::wstring from = source + L"\\" + entry.cFileName;
    const std::wstring to = destination + L"\\" + entry.cFileName;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      const DWORD result = CopySubfolder(copy, from, to);
      if (result != ERROR_SUCCESS) {
        return result;
      }
    } else if (!CopyTreeFile(copy, from, to)) {
      break;  // skip the rest of this folder; the result does not change
    }
  }
  return ERROR_SUCCESS;
}

}  // namespace

namespace VELAUtility {

DWORD CopyFolderTree(const std::wstring& source, const std::wstring& destination, int* rebootNeeded,
                     int moveAtRestart) {
  // Here and not in the recursion: a subfolder must not reset what an earlier file has set.
  if (rebootNeeded != nullptr) {
    *rebootNeeded = 0;
  }
  return CopyTree({rebootNeeded, moveAtRestart}, source, destination);
}

bool CopyFileKeepingTimes(const std::wstring& source, const std::wstring& destination, DWORD* error) {
  DWORD code = ERROR_SUCCESS;
  const bool copied = CopyOneFile(source, destination, code);
  if (error != nullptr) {
    *error = code;
  }
  return copied;
}

}  // namespace VELAUtility

namespace CoreAgentUtility::File {

bool copyFileEx(const std::wstring& source, const std::wstring& destination) {
  const std::wstring waiting = destination + L".tmp_";
  DWORD error = ERROR_SUCCESS;
  if (!CopyOneFile(source, waiting, error)) {
    RunLog::Error() << L"CoreAgentUtility::File::copyFileEx(" << source << L"," << waiting << L") failed, err="
                    << error;
    return false;
  }
  if (!::MoveFileExW(waiting.c_str(), destination.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_DELAY_UNTIL_REBOOT)) {
    RunLog::Error() << L"MoveFileEx(" << waiting << L"," << destination << L") failed, err=" << ::GetLastError();
    return false;
  }
  return true;
}

}  // namespace CoreAgentUtility::File
