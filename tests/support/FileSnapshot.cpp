#include "tests/support/FileSnapshot.h"

#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>

namespace TestSupport {
namespace {

constexpr struct {
  DWORD attribute;
  const char* name;
} kShownAttributes[] = {
    {FILE_ATTRIBUTE_READONLY, "readonly"},   {FILE_ATTRIBUTE_HIDDEN, "hidden"},
    {FILE_ATTRIBUTE_SYSTEM, "system"},       {FILE_ATTRIBUTE_REPARSE_POINT, "link"},
    {FILE_ATTRIBUTE_TEMPORARY, "temporary"}, {FILE_ATTRIBUTE_OFFLINE, "offline"},
};

// FNV-1a: enough to see that two contents differ.
std::uint64_t Hash(const std::string& content) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char character : content) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3U;
  }
  return hash;
}

std::uint64_t Joined(DWORD high, DWORD low) {
  return (static_cast<std::uint64_t>(high) << 32) | low;
}

}  // namespace

std::string FileContent(const std::wstring& path) {
  FILE* const file = ::_wfopen(path.c_str(), L"rb");
  if (file == nullptr) {
    throw std::runtime_error("cannot read " + ToUtf8(path));
  }
  const std::unique_ptr<FILE, int (*)(FILE*)> owner(file, &std::fclose);
  return RestOfFile(file, path);
}

std::string RestOfFile(FILE* file, const std::wstring& name) {
  std::string content;
  char block[16384];
  for (std::size_t read; (read = std::fread(block, 1, sizeof block, file)) != 0;) {
    content.append(block, read);
    if (content.size() > kLongestFile) {
      throw std::length_error(ToUtf8(name) + " is endless, or too long for a test");
    }
  }
  return content;
}

void FileSnapshot::Add(const std::wstring& folder, const std::string& label) {
  AddTree(folder, label.empty() ? "" : label + "\\");
}

void FileSnapshot::AddTree(const std::wstring& folder, const std::string& label) {
  WIN32_FIND_DATAW found = {};
  const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    return;
  }
  do {
    const std::wstring name = found.cFileName;
    if (name == L"." || name == L"..") {
      continue;
    }
    const bool isLink = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    const bool isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    Entry entry;
    entry.attributes = found.dwFileAttributes;
    if (!isFolder && !isLink) {
      entry.lastWrite = Joined(found.ftLastWriteTime.dwHighDateTime, found.ftLastWriteTime.dwLowDateTime);
      entry.size = Joined(found.nFileSizeHigh, found.nFileSizeLow);
      try {
        entry.contentHash = entry.size == 0 ? 0 : Hash(FileContent(folder + L"\\" + name));
      } catch (const std::runtime_error&) {
        // Another program holds it open with exclusive access: only size and time can be compared.
      }
    }
    entries_[label + ToUtf8(name) + (isFolder ? "\\" : "")] = entry;
    if (isFolder && !isLink) {
      AddTree(folder + L"\\" + name, label + ToUtf8(name) + "\\");
    }
  } while (::FindNextFileW(search, &found));
  ::FindClose(search);
}

Lines FileSnapshot::AsLines() const {
  Lines lines;
  for (const auto& [path, entry] : entries_) {
    std::string line = path;
    if ((entry.attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      line += " " + std::to_string(entry.size) + " bytes";
    }
    for (const auto& shown : kShownAttributes) {
      if ((entry.attributes & shown.attribute) != 0) {
        line += std::string(" ") + shown.name;
      }
    }
    lines.push_back(line);
  }
  return lines;
}

Lines FileSnapshot::Changes(const FileSnapshot& before, const FileSnapshot& after) {
  std::map<std::string, std::string> changes;
  for (const auto& [path, entry] : after.entries_) {
    const auto old = before.entries_.find(path);
    if (old == before.entries_.end()) {
      changes[path] = "+" + path;
      continue;
    }
    std::string what;
    if (entry.size != old->second.size || entry.contentHash != old->second.contentHash) {
      what += " content";
    }
    if (entry.lastWrite != old->second.lastWrite) {
      what += " time";
    }
    if (entry.attributes != old->second.attributes) {
      what += " attributes";
    }
    if (!what.empty()) {
      changes[path] = "~" + path + what;
    }
  }
  for (const auto& old : before.entries_) {
    if (after.entries_.count(old.first) == 0) {
      changes[old.first] = "-" + old.first;
    }
  }
  Lines lines;
  for (const auto& change : changes) {
    lines.push_back(change.second);
  }
  return lines;
}

}  // namespace TestSupport
