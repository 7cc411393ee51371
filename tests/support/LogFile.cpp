#include "tests/support/LogFile.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>

#include "tests/support/FileSnapshot.h"

namespace TestSupport {

std::wstring LogFilePath() {
  wchar_t windowsFolder[MAX_PATH] = {};
  ::GetWindowsDirectoryW(windowsFolder, MAX_PATH);
  return std::wstring(windowsFolder) + L"\\Temp\\QRTX_Debug\\vela.log";
}

long long LogFileSize() {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  if (!::GetFileAttributesExW(LogFilePath().c_str(), GetFileExInfoStandard, &data)) {
    return 0;
  }
  return static_cast<long long>(ULARGE_INTEGER{{data.nFileSizeLow, data.nFileSizeHigh}}.QuadPart);
}

std::vector<std::string> LogLinesFrom(long long start) {
  std::vector<std::string> lines;
  FILE* const file = ::_wfopen(LogFilePath().c_str(), L"rb");
  if (file == nullptr) {
    return lines;
  }
  const std::unique_ptr<FILE, int (*)(FILE*)> owner(file, &std::fclose);
  std::string text;
  if (::_fseeki64(file, start, SEEK_SET) == 0) {
    text = RestOfFile(file, LogFilePath());
  }

  std::size_t position = text.compare(0, 2, "\r\n") == 0 ? 2 : 0;
  while (position < text.size()) {
    const std::size_t end = text.find('\n', position);
    if (end == std::string::npos) {
      lines.push_back(text.substr(position));
      break;
    }
    if (end == position || text[end - 1] != '\r') {
      throw std::runtime_error("a line of the run log does not end in CR LF");
    }
    lines.push_back(text.substr(position, end - 1 - position));
    position = end + 1;
    if (position == text.size()) {
      lines.emplace_back();  // an empty line at the end counts as a line
    }
  }
  return lines;
}

void KeepLog() {
  if (LogFileSize() == 0) {
    return;
  }
  const std::string text = FileContent(LogFilePath());
  const std::size_t start = std::min(text.find("\r\n"), text.size());
  ::CreateDirectoryW(kKeptMessages, nullptr);
  FILE* const kept = ::_wfopen((std::wstring(kKeptMessages) + L"\\vela.log").c_str(), L"ab");
  if (kept == nullptr || std::fwrite(text.data() + start, 1, text.size() - start, kept) != text.size() - start ||
      std::fclose(kept) != 0) {
    throw std::runtime_error("cannot save the run log for the census");
  }
}

}  // namespace TestSupport
