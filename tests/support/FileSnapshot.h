// What lies in folder trees, and what changed there.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

#include "tests/support/TextLines.h"

namespace TestSupport {

// Reading moves no last-write time; last-access times are not looked at. A reparse point (junction, directory link) is
// an entry of its own and is not entered.
class FileSnapshot {
 public:
  // Adds a folder with everything below it, itself not included. A folder that does not exist adds nothing. `label`
  // takes the folder's place in the lines; empty: the entries stand there with their path below the folder only.
  void Add(const std::wstring& folder, const std::string& label = {});

  // One line per entry: "VELA\Resource\x.dll 12 bytes", a folder with a backslash behind its name. With attributes
  // other than archive and directory: "... readonly hidden".
  Lines AsLines() const;

  // "+VELA\Resource\x.dll", "-VELA\old\", "~VELA\x.dll content time attributes" (what of it changed), sorted.
  static Lines Changes(const FileSnapshot& before, const FileSnapshot& after);

 private:
  struct Entry {
    DWORD attributes = 0;
    std::uint64_t lastWrite = 0;  // of files; a folder's moves with every entry that is made in it
    std::uint64_t size = 0;
    std::uint64_t contentHash = 0;
  };
  void AddTree(const std::wstring& folder, const std::string& label);

  std::map<std::string, Entry> entries_;  // by path, folders with a trailing backslash
};

// The bytes of a file. Throws std::runtime_error where it cannot be read, and std::length_error where it does not end
// within this many bytes: some files of the host, such as its devices, have no end.
inline constexpr std::size_t kLongestFile = std::size_t{32} << 20U;
std::string FileContent(const std::wstring& path);
// Of a file that is open already, from where it stands; `name` is for the message.
std::string RestOfFile(FILE* file, const std::wstring& name);

}  // namespace TestSupport
