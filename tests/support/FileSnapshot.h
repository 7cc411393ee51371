// The contents of folder trees, and their changes.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

#include "tests/support/TextLines.h"

namespace TestSupport {

// Reading changes no last-write time, and last-access times are ignored. A reparse point (junction, directory link) is
// an entry itself. Its target is not read.
class FileSnapshot {
 public:
  // Adds everything below a folder, without the folder itself. A folder that does not exist adds nothing. `label`
  // replaces the folder's path in the lines. If it is empty, a line has only the path below the folder.
  void Add(const std::wstring& folder, const std::string& label = {});

  // One line per entry: "VELA\Resource\x.dll 12 bytes"; a folder's name ends in a backslash. Attributes other than
  // archive and directory are added: "... readonly hidden".
  Lines AsLines() const;

  // "+VELA\Resource\x.dll", "-VELA\old\", "~VELA\x.dll content time attributes" (what of it changed), sorted.
  static Lines Changes(const FileSnapshot& before, const FileSnapshot& after);

 private:
  struct Entry {
    DWORD attributes = 0;
    std::uint64_t lastWrite = 0;  // of files only: a folder's time changes with every new entry
    std::uint64_t size = 0;
    std::uint64_t contentHash = 0;
  };
  void AddTree(const std::wstring& folder, const std::string& label);

  std::map<std::string, Entry> entries_;  // by path, folders with a trailing backslash
};

// The bytes of a file. Throws std::runtime_error if it cannot be read. Throws std::length_error if it is longer than
// this: some files of the host, such as its devices, have no end.
inline constexpr std::size_t kLongestFile = std::size_t{32} << 20U;
std::string FileContent(const std::wstring& path);
// Reads a file that is already open, from its current position; `name` is for the message.
std::string RestOfFile(FILE* file, const std::wstring& name);

}  // namespace TestSupport
