// The format of an entry of the run log.
#include "cli/RunLog.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <ostream>

#include "tests/support/FileSnapshot.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"

using namespace TestSupport;

namespace {

TEST_CASE("an entry begins with a line break, and is on the disk when the next one begins") {
  RunLog::Flush();
  const auto start = static_cast<std::size_t>(LogFileSize());
  RunLog::Info() << L"a" << L"b";
  RunLog::Error() << L"";
  {
    RunLog::Entry next = RunLog::Info();
    CHECK(FileContent(LogFilePath()).substr(start).find("\r\nLOG_INFO : ab\r\nLOG_ERROR: \r\n") == 0);
    next << L"c";
  }
  RunLog::Flush();
  CHECK(FileContent(LogFilePath()).substr(start) == "\r\nLOG_INFO : ab\r\nLOG_ERROR: \r\nLOG_INFO : c");
}

TEST_CASE("levels, texts and numbers follow one another without separators; texts are written as 8-bit") {
  const LogCapture log;
  const std::wstring text = L"text";
  wchar_t buffer[] = L"buffer";
  RunLog::Error() << L"a" << text << std::wstring_view(L"view-cut", 4) << buffer << "narrow" << L"";
  RunLog::Info() << 0 << L" " << -520159231 << L" " << 1234567;
  RunLog::Warn() << static_cast<DWORD>(0xFFFFFFFFU) << L" " << 4294967295U << L" " << static_cast<DWORD>(2147680509);
  RunLog::Event() << true << false;
  RunLog::Info() << L"\u00A0Caf\u00E9\u00FF";
  // A separate line break makes an empty line. After one in the middle there is no prefix.
  RunLog::Info() << L"banner\n";
  RunLog::Info() << L" cmd:-I" << std::endl << L" src:a" << std::endl << L"dest:b";
  CHECK_LINES(log.Lines(), {"LOG_ERROR: atextviewbuffernarrow", "LOG_INFO : 0 -520159231 1234567",
                            "LOG_WARN : 4294967295 4294967295 2147680509", "LOG_EVENT :10",
                            "LOG_INFO : \xA0"
                            "Caf\xE9\xFF",
                            "LOG_INFO : banner", "", "LOG_INFO :  cmd:-I", " src:a", "dest:b"});
}

TEST_CASE("an entry needs no memory from the heap") {
  const LogCapture log;
  const std::wstring text(2000, L'x');  // more than the stream buffers
  {
    const HeapLimit none(1);
    RunLog::Info() << L"wide" << "narrow" << text << 1 << 2U << 3UL << true << std::endl << L"end";
    RunLog::Flush();
    CHECK(none.Refused() == 0);
  }
  CHECK_LINES(log.Lines(), {"LOG_INFO : widenarrow" + std::string(2000, 'x') + "1231", "end"});
}

TEST_CASE("no part of an entry changes the last error, so each part may print it") {
  const LogCapture log;
  // A write to a slow or full disk may leave this error code.
  ImportRedirection write("_write", [&](int file, const void* text, unsigned size) -> int {
    const int written = write.Original<int(WINAPI*)(int, const void*, unsigned)>()(file, text, size);
    ::SetLastError(ERROR_DISK_FULL);
    return written;
  });
  ::SetLastError(4711);
  RunLog::Error() << L"failed: " << 1 << " " << 1U << 1UL << true << std::endl << L"code " << ::GetLastError();
  CHECK(::GetLastError() == 4711);
  RunLog::Warn() << std::wstring(100000, L'x') << ::GetLastError();  // far more than the stream buffers
  CHECK(::GetLastError() == 4711);
  RunLog::Event() << L"";
  CHECK(::GetLastError() == 4711);
  RunLog::Flush();
  CHECK(::GetLastError() == 4711);
  CHECK_LINES(log.Lines(), {"LOG_ERROR: failed: 1 111", "code 4711", "LOG_WARN : " + std::string(100000, 'x') + "4711",
                            "LOG_EVENT :"});
}

}  // namespace
