// Paths of files and folders. Strings only: nothing here accesses the disk.
#pragma once

#include <string>
#include <string_view>

namespace OrCommon::Storage::File {

// "." and "..", which every listing contains.
bool IsDotEntry(std::wstring_view name) noexcept;

// `path` without trailing separators. The root of a drive keeps its own.
std::wstring WithoutSeparator(std::wstring path);

// `folder` and a separator; the root of a drive has its own.
std::wstring WithSeparator(const std::wstring& folder);

// True if Windows interprets `name` in a plain path as another name: it ends in a blank or a dot, or is a device's. Any
// user can give a file such a name.
bool IsReadAsAnother(std::wstring_view name);

// `path` as an absolute path with single backslashes and without a trailing one, except for a drive's root. Unchanged
// if the system cannot resolve it.
std::wstring FullPath(const std::wstring& path);

// True if the full path `path` is the full path `folder` or below it. Ignores ASCII case.
bool IsSameOrBelow(const std::wstring& path, const std::wstring& folder);

// The full path `path` in the form to pass to Windows functions: the path itself, or its long form ("\\?\C:\...",
// "\\?\UNC\...") if it has 248 characters or more, the limit of a folder, or if IsReadAsAnother is true of one of its
// names. Any other path is not changed.
std::wstring SystemPath(const std::wstring& path);

}  // namespace OrCommon::Storage::File
