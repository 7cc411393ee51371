// The truncating formatter of Windows' C runtime, for %s (wide text), %d, %u and %%.
#include <algorithm>
#include <string>

#include "tests/fuzz/host/windows.h"

// As Microsoft documents it. If the characters fill the buffer exactly, no terminator is written. If they do not fit,
// as many as fit are written, without a terminator, and the result is negative.
int _vsnwprintf(wchar_t* buffer, std::size_t count, const wchar_t* format, std::va_list arguments) {
  std::wstring text;
  for (; *format != L'\0'; ++format) {
    if (*format != L'%') {
      text += *format;
      continue;
    }
    ++format;
    if (*format == L's') {
      text += va_arg(arguments, const wchar_t*);
    } else if (*format == L'd') {
      const std::string number = std::to_string(va_arg(arguments, int));
      text.append(number.begin(), number.end());
    } else if (*format == L'u') {
      const std::string number = std::to_string(va_arg(arguments, unsigned));
      text.append(number.begin(), number.end());
    } else {
      text += *format;
    }
  }
  std::copy_n(text.c_str(), std::min(text.size() + 1, count), buffer);
  return text.size() <= count ? static_cast<int>(text.size()) : -1;
}
