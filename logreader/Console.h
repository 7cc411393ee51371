// The console and the files of the reader's program, on Windows.
#pragma once

#include <windows.h>

#include <array>
#include <streambuf>
#include <string>
#include <string_view>

#include "Common/OrCommon/OrComn_Handles.h"
#include "logreader/Report.h"

namespace LogReader {

std::wstring ToWide(std::string_view utf8);
std::string ToNarrow(std::wstring_view text);  // to UTF-8

// Standard output or standard error. A console gets UTF-16, with colors; a file or a pipe gets UTF-8, and CR LF.
class Stream {
 public:
  // STD_OUTPUT_HANDLE or STD_ERROR_HANDLE
  explicit Stream(DWORD which);

  void Write(std::string_view text, Color color = Color::kPlain) const;

 private:
  HANDLE handle_;  // the system's
  bool isConsole_ = false;
  WORD attributes_ = 0;  // of the console, before anything is written
};

// A file as bytes. Others may write, rename and delete it meanwhile.
class FileBytes : public std::streambuf {
 public:
  explicit FileBytes(const std::wstring& path);

  // The code of Windows if the file could not be opened or read, or ERROR_SUCCESS.
  DWORD Error() const { return error_; }

 protected:
  int_type underflow() override;

 private:
  DWORD error_ = ERROR_SUCCESS;
  OrCommon::FileHandle file_;
  std::array<char, 65536> part_{};
};

}  // namespace LogReader
