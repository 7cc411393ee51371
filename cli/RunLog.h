// The run log: "<Windows folder>\Temp\QRTX_Debug\vela.log", the program's only output besides its exit code.
//
//   RunLog::Error() << L"Failed to register Redemption.dll !! " << path;
//
// writes one entry: a line break (which ends the previous entry) with a flush, the level's prefix, then the parts
// without separators. Narrow text is widened, numbers are decimal, booleans 1 or 0. The file is 8-bit text. A character
// above U+00FF cannot be written: from there on the log of this run is lost, but the run continues. The same applies if
// the file cannot be opened. Nothing here fails, throws, takes memory from the heap or changes the last-error code, so
// any part of an entry may print GetLastError().
#pragma once

#include <fstream>
#include <ostream>
#include <string>
#include <string_view>

#include <boost/noncopyable.hpp>

namespace RunLog {

// A text of the log in a table. The type marks it for docs/messages.md, which is generated from the sources.
using Text = const wchar_t*;

// One entry while it is being written. Lives for one statement.
class Entry : private boost::noncopyable {
 public:
  explicit Entry(const wchar_t* prefix);

  Entry& operator<<(std::wstring_view text);
  Entry& operator<<(const std::wstring& text) { return *this << std::wstring_view(text); }
  Entry& operator<<(const wchar_t* text) { return *this << std::wstring_view(text); }
  Entry& operator<<(std::wostream& (*manipulator)(std::wostream&));
  Entry& operator<<(const char* text);
  Entry& operator<<(int number);
  Entry& operator<<(unsigned int number);
  Entry& operator<<(unsigned long number);
  Entry& operator<<(bool value);
  // These would silently become a number or a boolean.
  Entry& operator<<(char) = delete;
  Entry& operator<<(wchar_t) = delete;
  template <class Pointee>
  Entry& operator<<(const Pointee*) = delete;

 private:
  template <class Part>
  Entry& Insert(const Part& part);
};

Entry Info();
Entry Error();
Entry Warn();
Entry Event();

// Writes the buffered text: the last entry, which no later one has ended yet.
void Flush();

}  // namespace RunLog
