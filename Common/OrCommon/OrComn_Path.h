// Paths of files and folders as texts. The disk is never asked.
#pragma once

#include <string>
#include <string_view>

namespace OrCommon::Storage::File {

// "." and "..", which every listing holds and nobody wants.
bool IsDotEntry(std::wstring_view name) noexcept;

// `path` without a separator at its end, but for the root of a drive.
std::wstring WithoutSeparator(std::wstring path);

// `folder` and a separator; the root of a drive has its own.
std::wstring WithSeparator(const std::wstring& folder);

// True where Windows would read the name `name` in a plain path as another: one that ends in a blank or a dot, or a
// device's. Any user can give a file such a name.
bool IsReadAsAnother(std::wstring_view name);

// `path` as the system reads it: whole, with single backslashes and without one at its end (but for a drive's root). As
// it is where the system cannot read it.
std::wstring FullPath(const std::wstring& path);

// True where the full path `path` is the full path `folder` or lies below it; ASCII case is ignored.
bool IsSameOrBelow(const std::wstring& path, const std::wstring& folder);

// The full path `path` as Windows functions want it. That is the path itself, or its long form ("\\?\C:\...",
// "\\?\UNC\...") where the plain one is too long for a folder (248 characters), or where a name in it is read as
// another. What is no full path is not changed.
std::wstring SystemPath(const std::wstring& path);

}  // namespace OrCommon::Storage::File
