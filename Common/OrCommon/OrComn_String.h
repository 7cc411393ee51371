// Comparing wide strings, and printf-style formatting into them.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

#include "Common/OrCommon/OrComn_Exception.h"

namespace OrCommon::String {

// Raised, as a pointer, where the heap cannot hold the formatted text. Code() is the kind of the error.
class Exception : public OrCommon::Exception::Base {
 public:
  static constexpr DWORD kOutOfMemory = 6;

  explicit Exception(DWORD line) : Base(kOutOfMemory, line, "..\\..\\Common\\OrCommon\\OrComn_String") {}
};

// Replaces `text` by the formatted text, however long, and returns true. In `format`, %s and %c take wide text, as in
// Microsoft's runtime. Throws Exception* (line 55) where the heap is exhausted; `text` is empty then.
bool Format(std::wstring& text, const wchar_t* format, ...);

// One attempt with room for `capacity` characters, the terminator included: true and `text` replaced where the text
// fits; otherwise false, `text` as it was, and `capacity` grown for the next attempt. Throws Exception* (line 84) where
// the heap is exhausted. `arguments` is used up by an attempt: copy it for the next (va_copy).
bool FormatV(std::wstring& text, std::size_t& capacity, const wchar_t* format, std::va_list arguments);

// Compares without regard to the case of the letters A to Z; all others must be equal.
bool EqualsIgnoringAsciiCase(std::wstring_view left, std::wstring_view right) noexcept;

}  // namespace OrCommon::String
