// The C library functions that std::wstring calls. Those of this machine use wide characters of four bytes.
#include <cstddef>
#include <cstring>

extern "C" {

std::size_t wcslen(const wchar_t* text) {
  std::size_t length = 0;
  while (text[length] != L'\0') {
    ++length;
  }
  return length;
}

wchar_t* wmemcpy(wchar_t* to, const wchar_t* from, std::size_t count) {
  std::memcpy(to, from, count * sizeof(wchar_t));
  return to;
}

wchar_t* wmemmove(wchar_t* to, const wchar_t* from, std::size_t count) {
  std::memmove(to, from, count * sizeof(wchar_t));
  return to;
}

wchar_t* wmemset(wchar_t* to, wchar_t character, std::size_t count) {
  for (std::size_t index = 0; index < count; ++index) {
    to[index] = character;
  }
  return to;
}

int wmemcmp(const wchar_t* left, const wchar_t* right, std::size_t count) {
  for (std::size_t index = 0; index < count; ++index) {
    if (left[index] != right[index]) {
      return left[index] < right[index] ? -1 : 1;
    }
  }
  return 0;
}

const wchar_t* wmemchr(const wchar_t* text, wchar_t character, std::size_t count) {
  for (std::size_t index = 0; index < count; ++index) {
    if (text[index] == character) {
      return text + index;
    }
  }
  return nullptr;
}

}  // extern "C"
