// Preparing and clearing away files. Whatever fails here throws std::runtime_error: a test in a world that is not the
// one it describes would prove nothing.
#pragma once

#include <string>
#include <string_view>

namespace TestSupport {

// All missing folders of the path.
void MakeFolder(const std::wstring& path);

// Makes missing folders, replaces what is there.
void WriteTestFile(const std::wstring& path, std::string_view content);

// Copies one file with times and attributes; makes missing folders, replaces what is there.
void CopyTestFile(const std::wstring& from, const std::wstring& to);

// Copies everything below a folder into another one, times and attributes included.
void CopyTree(const std::wstring& from, const std::wstring& to);

// Removes a file or a folder with everything below it, read-only or not. Links are removed, not followed. What does not
// exist is fine.
void RemoveTree(const std::wstring& path);

bool Exists(const std::wstring& path);

// The first part of the path that does not exist yet; empty where all of it does.
std::wstring FirstMissing(const std::wstring& path);

// Returns when another program has written a whole line into the file; after 10 seconds it throws.
void WaitForFile(const std::wstring& path);

}  // namespace TestSupport
