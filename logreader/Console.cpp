#include "logreader/Console.h"

#include <algorithm>

namespace LogReader {
namespace {

constexpr std::size_t kMostAtOnce = 8192;  // characters: an old console refuses long texts

// The color of the text, which is not plain, on the background that the console has.
WORD AttributesOf(Color color, WORD before) {
  constexpr WORD kText = FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE | FOREGROUND_INTENSITY;
  const WORD background = before & static_cast<WORD>(~kText);
  const WORD text = color == Color::kHeading   ? kText
                    : color == Color::kGood    ? FOREGROUND_GREEN | FOREGROUND_INTENSITY
                    : color == Color::kWarning ? FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_INTENSITY
                                               : FOREGROUND_RED | FOREGROUND_INTENSITY;
  return background | text;
}

void WriteBytes(HANDLE handle, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto count = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1U << 20U));
    if (!::WriteFile(handle, bytes.data(), count, &written, nullptr) || written == 0) {
      return;  // nobody reads it any more
    }
    bytes.remove_prefix(written);
  }
}

void WriteCharacters(HANDLE console, std::wstring_view text) {
  while (!text.empty()) {
    std::size_t count = std::min(text.size(), kMostAtOnce);
    const bool splitsPair = count < text.size() && (text[count - 1] & 0xFC00) == 0xD800;
    count -= splitsPair ? 1 : 0;
    DWORD written = 0;
    if (!::WriteConsoleW(console, text.data(), static_cast<DWORD>(count), &written, nullptr) || written == 0) {
      return;
    }
    text.remove_prefix(written);
  }
}

std::string WithWindowsLineBreaks(std::string_view text) {
  std::string windows;
  for (const char character : text) {
    windows += character == '\n' ? "\r\n" : std::string(1, character);
  }
  return windows;
}

}  // namespace

std::wstring ToWide(std::string_view utf8) {
  const auto size = static_cast<int>(utf8.size());
  std::wstring wide(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string ToNarrow(std::wstring_view text) {
  const auto size = static_cast<int>(text.size());
  const int needed = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), needed, nullptr, nullptr);
  return narrow;
}

Stream::Stream(DWORD which) : handle_(::GetStdHandle(which)) {
  DWORD mode = 0;
  isConsole_ = ::GetConsoleMode(handle_, &mode) != FALSE;
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  if (isConsole_ && ::GetConsoleScreenBufferInfo(handle_, &info)) {
    attributes_ = info.wAttributes;
  }
}

void Stream::Write(std::string_view text, Color color) const {
  if (!isConsole_) {
    WriteBytes(handle_, WithWindowsLineBreaks(text));
    return;
  }
  const bool isColored = color != Color::kPlain && attributes_ != 0;
  if (isColored) {
    ::SetConsoleTextAttribute(handle_, AttributesOf(color, attributes_));
  }
  WriteCharacters(handle_, ToWide(text));
  if (isColored) {
    ::SetConsoleTextAttribute(handle_, attributes_);
  }
}

FileBytes::FileBytes(const std::wstring& path)
    : file_(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                          OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr)) {
  if (!file_) {
    error_ = ::GetLastError();
  }
}

FileBytes::int_type FileBytes::underflow() {
  DWORD read = 0;
  if (!file_) {
    return traits_type::eof();
  }
  if (!::ReadFile(file_.Get(), part_.data(), static_cast<DWORD>(part_.size()), &read, nullptr)) {
    error_ = ::GetLastError();
    error_ = error_ == ERROR_BROKEN_PIPE ? ERROR_SUCCESS : error_;  // the end of a pipe
  }
  if (read == 0 || error_ != ERROR_SUCCESS) {
    return traits_type::eof();
  }
  setg(part_.data(), part_.data(), part_.data() + read);
  return traits_type::to_int_type(part_.front());
}

}  // namespace LogReader
