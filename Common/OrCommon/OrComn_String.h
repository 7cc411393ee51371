// Comparing wide strings, and printf-style formatting into them.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

#include "Common/OrCommon/OrComn_Exception.h"

namespace OrCommon::String {

// Thrown as a pointer if the heap cannot hold the formatted text. Code() is the kind of the error.
class Exception : public OrCommon::Exception::Base {
 public:
  static constexpr DWORD kOutOfMemory = 6;

  explicit Exception(DWORD line) : Base(kOutOfMemory, line, "..\\..\\Common\\OrCommon\\OrComn_String") {}
};

// Replaces `text` by the formatted text of any length, and returns true. In `format`, %s and %c take wide text, as in
// Microsoft's runtime. Throws Exception* (line 55) if the heap is exhausted; `text` is then empty.
bool Format(std::wstring& text, const wchar_t* format, ...);

// One attempt with room for `capacity` characters, terminator included. If the text fits, returns true and replaces
// `text`. Otherwise returns false, does not change `text`, and increases `capacity` for the next attempt. Throws
// Exception* (line 84) if the heap is exhausted. An attempt consumes `arguments`: copy it for the next one (va_copy).
bool FormatV(std::wstring& text, std::size_t& capacity, const wchar_t* format, std::va_list arguments);

// Ignores the case of the letters A to Z; all other characters must be equal.
bool EqualsIgnoringAsciiCase(std::wstring_view left, std::wstring_view right) noexcept;

}  // namespace OrCommon::String
