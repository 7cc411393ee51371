#include "cli/RunLog.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <iterator>

#include "Common/OrCommon/OrComn_File.h"
#include "Common/OrCommon/OrComn_Handles.h"
#include "Common/OrCommon/OrComn_ProcessGuards.h"

namespace RunLog {
namespace {

// The stream's "C" locale writes U+0000 to U+00FF as one byte each and cannot write any other character.
constexpr wchar_t kLastWritable = 0xFF;

constexpr wchar_t kFolder[] = L"\\QRTX_Debug";
constexpr wchar_t kFile[] = L"\\vela.log";

// Appends the text and its terminator. The path has room for both.
template <std::size_t kSize>
void Append(wchar_t* path, const wchar_t (&text)[kSize]) {
  std::copy(std::begin(text), std::end(text), path + std::wcslen(path));
}

// Constructed in static initialisation, so that the log is open when wmain starts. The order of the members matters:
// the guards of the process come first, before any access to the disk.
class LogFile {
 public:
  LogFile();
  std::wofstream& Stream() noexcept { return stream_; }

 private:
  struct Guards {
    Guards() { OrCommon::GuardProcess(); }
  };
  Guards guards_;
  wchar_t buffer_[BUFSIZ];  // as large as the stream's own, which would come from the heap
  std::wofstream stream_;   // closed by its destructor: close() would throw for a pending unwritable character
};

LogFile::LogFile() {
  wchar_t path[OrCommon::Storage::File::kTemporaryFolderCapacity + std::size(kFolder) + std::size(kFile)];
  OrCommon::Storage::File::GetTemporaryFolder(path);
  Append(path, kFolder);
  if (::GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES) {
    ::CreateDirectoryW(path, nullptr);
  }
  Append(path, kFile);
  stream_.rdbuf()->pubsetbuf(buffer_, BUFSIZ);
  // If the file cannot be opened, the stream stays failed and every entry is a no-op; the run continues.
  stream_.open(path, std::ios_base::out | std::ios_base::app);
}

LogFile g_log;

}  // namespace

template <class Part>
Entry& Entry::Insert(const Part& part) {
  const OrCommon::LastErrorKeeper keeper;
  g_log.Stream() << part;
  return *this;
}

Entry::Entry(const wchar_t* prefix) {
  const OrCommon::LastErrorKeeper keeper;
  g_log.Stream() << std::endl << prefix;
}

Entry& Entry::operator<<(std::wstring_view text) {
  const OrCommon::LastErrorKeeper keeper;
  std::wofstream& stream = g_log.Stream();
  // The stream converts a whole buffer at a time, and one unwritable character would lose all of it. So the text before
  // that character is written first.
  const auto unwritable = std::find_if(text.begin(), text.end(), [](wchar_t c) { return c > kLastWritable; });
  const auto writable = static_cast<std::size_t>(unwritable - text.begin());
  stream << text.substr(0, writable);
  if (unwritable != text.end()) {
    stream << std::flush << text.substr(writable) << std::flush;
  }
  return *this;
}

Entry& Entry::operator<<(std::wostream& (*manipulator)(std::wostream&)) {
  return Insert(manipulator);
}

Entry& Entry::operator<<(const char* text) {
  // Not by the stream, which would widen it in memory from the heap.
  const OrCommon::LastErrorKeeper keeper;
  std::wofstream& stream = g_log.Stream();
  for (; *text != '\0'; ++text) {
    stream.put(stream.widen(*text));
  }
  return *this;
}

Entry& Entry::operator<<(int number) {
  return Insert(number);
}

Entry& Entry::operator<<(unsigned int number) {
  return Insert(number);
}

Entry& Entry::operator<<(unsigned long number) {
  return Insert(number);
}

Entry& Entry::operator<<(bool value) {
  return Insert(value);
}

Entry Info() {
  return Entry(L"LOG_INFO : ");
}

Entry Error() {
  return Entry(L"LOG_ERROR: ");
}

Entry Warn() {
  return Entry(L"LOG_WARN : ");
}

Entry Event() {
  return Entry(L"LOG_EVENT :");
}

void Flush() {
  const OrCommon::LastErrorKeeper keeper;
  g_log.Stream() << std::flush;
}

}  // namespace RunLog
