// Creates and removes files for tests. Every failure throws std::runtime_error: a test on a wrongly prepared machine
// would prove nothing.
#pragma once

#include <string>
#include <string_view>

namespace TestSupport {

// Creates all missing folders of the path.
void MakeFolder(const std::wstring& path);

// Creates missing folders, replaces an existing file.
void WriteTestFile(const std::wstring& path, std::string_view content);

// Copies one file with times and attributes; creates missing folders, replaces an existing file.
void CopyTestFile(const std::wstring& from, const std::wstring& to);

// Copies everything below a folder into another one, times and attributes included.
void CopyTree(const std::wstring& from, const std::wstring& to);

// Removes a file or a folder with everything below it, also read-only files. Links are removed, not followed. It is no
// error if the path does not exist.
void RemoveTree(const std::wstring& path);

bool Exists(const std::wstring& path);

// The first part of the path that does not exist yet; empty if all parts exist.
std::wstring FirstMissing(const std::wstring& path);

// Returns when another program has written a whole line into the file. After 10 seconds it throws.
void WaitForFile(const std::wstring& path);

}  // namespace TestSupport
