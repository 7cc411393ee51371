// Paths of files and folders as texts. The disk is never asked.
#pragma once

#include <string>
#include <string_view>

namespace OrCommon::Storage::File {

// "." and "..", which every listing holds and nobody wants.
bool IsDotEntry(std::wstring_view name) noexcept;

// `path` without a separator at its end, but for the root of a drive.
std::wstring WithoutSeparator(std::wstring path);

// `path` as the system reads it: whole, with single backslashes and without one at its end (but for a drive's root). As
// it is where the system cannot read it.
std::wstring FullPath(const std::wstring& path);

// True where the full path `path` is the full path `folder` or lies below it; ASCII case is ignored.
bool IsSameOrBelow(const std::wstring& path, const std::wstring& folder);

// The full path `path` as Windows functions want it. That is the path itself, or its long form ("\\?\C:\...",
// "\\?\UNC\...") where the plain one is too long, or where Windows would read a name in it as another: one that ends in
// a blank or a dot, or a device's. Any user can give a file such a name. What is no full path is not changed.
std::wstring SystemPath(const std::wstring& path);

}  // namespace OrCommon::Storage::File
