// The lines of the trace, to the last blank, and when none is written.
#include "Common/OrCommon/OrComn_DebugLog.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <cwchar>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/OrCommon/HeapWatch.h"
#include "tests/unit/OrCommon/RecordedTrace.h"

using OrCommon::DebugLog;
using OrCommonTests::RecordedTrace;
using OrCommonTests::Traced;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;

namespace {

constexpr char kSource[] = "..\\..\\Common\\Area\\Source_File";
constexpr DWORD kAllLevels = 0xFFFFFFFF;

DebugLog::Options Enabled(const std::wstring& component = L"VELA", DWORD mask = kAllLevels) {
  DebugLog::Options options;
  options.enabled = 1;
  options.mask = mask;
  options.component = component;
  return options;
}

// A trace object of its own, opened with the recording library.
struct OpenLog {
  explicit OpenLog(const DebugLog::Options& options = Enabled()) {
    opened = log.Open(recorded.Library(), &handle, options, &error);
  }

  int handle = 0;  // only its address matters
  RecordedTrace recorded;
  DebugLog log;
  bool opened = false;
  DWORD error = 4711;
};

// At 04:05:06.007 on the 3rd of February 2009, in process 0x1A and thread 0xBC12D.
class KnownMoment {
 private:
  ImportRedirection time_{"GetLocalTime", [](SYSTEMTIME* time) { *time = {2009, 2, 2, 3, 4, 5, 6, 7}; }};
  ImportRedirection process_{"GetCurrentProcessId", []() -> DWORD { return 0x1A; }};
  ImportRedirection thread_{"GetCurrentThreadId", []() -> DWORD { return 0xBC12D; }};
};

TEST_CASE("a trace line, whole") {
  OpenLog open;
  CHECK(open.opened);
  CHECK(open.error == 4711);  // nothing failed, nothing is reported
  bool written = false;
  {
    const KnownMoment moment;
    written = open.log.Trace(kSource, 42, DebugLog::kError, L"*** step %d of %s failed. [0x%08x]", 7, L"nine", 0xC1);
  }
  CHECK(written);
  const std::vector<Traced> calls = open.recorded.Calls();
  REQUIRE(calls.size() == 1);
  CHECK(calls[0].text ==
        L"03/02/2009 04:05:06.007 001a:bc12d !!! <VELA> *** step 7 of nine failed. [0x000000c1] - Source_File(42)\r\n");
  CHECK(calls[0].handle == &open.handle);
  CHECK(calls[0].time.wYear == 2009);
  CHECK(calls[0].time.wMonth == 2);
  CHECK(calls[0].time.wDayOfWeek == 2);
  CHECK(calls[0].time.wDay == 3);
  CHECK(calls[0].time.wHour == 4);
  CHECK(calls[0].time.wMinute == 5);
  CHECK(calls[0].time.wSecond == 6);
  CHECK(calls[0].time.wMilliseconds == 7);
}

TEST_CASE("a trace line tells the local time, this process and the calling thread") {
  OpenLog open;
  SYSTEMTIME before = {};
  SYSTEMTIME after = {};
  ::GetLocalTime(&before);
  CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"now"));
  ::GetLocalTime(&after);
  CHECK_LINES(open.recorded.Lines(), {".w. <VELA> now - a.cpp(1)\r\n"});
  const auto ticks = [](const SYSTEMTIME& time) {
    FILETIME file = {};
    ::SystemTimeToFileTime(&time, &file);
    return (ULONGLONG{file.dwHighDateTime} << 32) + file.dwLowDateTime;
  };
  const std::vector<Traced> calls = open.recorded.Calls();
  REQUIRE(calls.size() == 1);
  CHECK(ticks(calls[0].time) >= ticks(before));
  CHECK(ticks(calls[0].time) <= ticks(after));
}

TEST_CASE("each level has its tag, all others share one") {
  OpenLog open;
  for (const DWORD level : {1UL, 16UL, 256UL, 2UL, 17UL, 257UL, 0x80000000UL}) {
    CHECK(open.log.Trace("a.cpp", level, level, L"level"));
  }
  CHECK_LINES(open.recorded.Lines(), {".w. <VELA> level - a.cpp(1)\r\n", "@@@ <VELA> level - a.cpp(16)\r\n",
                                      "!!! <VELA> level - a.cpp(256)\r\n", "??? <VELA> level - a.cpp(2)\r\n",
                                      "??? <VELA> level - a.cpp(17)\r\n", "??? <VELA> level - a.cpp(257)\r\n",
                                      "??? <VELA> level - a.cpp(2147483648)\r\n"});
}

TEST_CASE("the component stands in angle brackets, whatever it is") {
  const std::wstring component(700, L'c');
  for (const std::wstring& name : {std::wstring(), std::wstring(L"two words"), component}) {
    OpenLog open(Enabled(name));
    CHECK(open.log.Trace("a.cpp", 1, DebugLog::kNotice, L""));
    CHECK_LINES(open.recorded.Lines(), {"@@@ <" + TestSupport::ToUtf8(name) + ">  - a.cpp(1)\r\n"});
  }
}

TEST_CASE("of the source path only the last part is named, and line numbers are unsigned") {
  OpenLog open;
  const char* const paths[] = {"C:\\a\\b\\one.cpp", "..\\..\\Common\\two", "three.cpp", "a/b/four.cpp", "",
                               "C:\\dir\\"};
  for (const char* path : paths) {
    CHECK(open.log.Trace(path, 0xFFFFFFFF, DebugLog::kProgress, L"m"));
  }
  CHECK_LINES(open.recorded.Lines(),
              {".w. <VELA> m - one.cpp(4294967295)\r\n", ".w. <VELA> m - two(4294967295)\r\n",
               ".w. <VELA> m - three.cpp(4294967295)\r\n", ".w. <VELA> m - four.cpp(4294967295)\r\n",
               ".w. <VELA> m - (4294967295)\r\n", ".w. <VELA> m - dir\\(4294967295)\r\n"});
}

TEST_CASE("a source name is converted from the ANSI code page") {
  OpenLog open;
  REQUIRE(::GetACP() == 1252);
  CHECK(open.log.Trace("C:\\x\\caf\xE9.cpp", 3, DebugLog::kProgress, L"m"));
  CHECK_LINES(open.recorded.Lines(), {".w. <VELA> m - caf\xC3\xA9.cpp(3)\r\n"});
}

TEST_CASE("a source name that cannot be converted is left empty") {
  for (const unsigned call : {1U, 2U}) {
    OpenLog open;
    bool written = false;
    {
      const FailCall conversion{"MultiByteToWideChar", call, ERROR_NO_UNICODE_TRANSLATION};
      written = open.log.Trace("one.cpp", 5, DebugLog::kProgress, L"m");
      CHECK(conversion.Failed() == 1);
    }
    CHECK(written);
    CHECK_LINES(open.recorded.Lines(), {".w. <VELA> m - (5)\r\n"});
  }
}

TEST_CASE("a trace that was never opened is dropped and reports success") {
  DebugLog log;
  CHECK(log.Trace(kSource, 1, DebugLog::kError, L"nobody reads this"));
  CHECK(OrCommon::g_debugLog.Trace(kSource, 1, DebugLog::kError, L"nor this"));
}

TEST_CASE("a trace that is not enabled is dropped and reports success: only 1 enables") {
  for (const BYTE enabled : {BYTE{0}, BYTE{2}, BYTE{255}}) {
    DebugLog::Options options = Enabled();
    options.enabled = enabled;
    OpenLog open(options);
    CHECK(open.log.Trace(kSource, 1, DebugLog::kError, L"dropped"));
    options.mask = 0;
    CHECK(open.log.Open(open.recorded.Library(), nullptr, options, nullptr));
    CHECK(open.log.Trace(kSource, 1, DebugLog::kError, L"dropped before the level is looked at"));
    CHECK(open.recorded.Calls().empty());
  }
}

TEST_CASE("a level that shares no bit with the mask is not written and reports failure") {
  OpenLog open(Enabled(L"VELA", 0x101));
  CHECK_FALSE(open.log.Trace(kSource, 1, DebugLog::kNotice, L"masked out"));
  CHECK_FALSE(open.log.Trace(kSource, 1, 0, L"masked out"));
  CHECK_FALSE(open.log.Trace(kSource, 1, 0xFFFFFEFE, L"masked out"));
  CHECK(open.recorded.Calls().empty());
  CHECK(open.log.Trace(kSource, 1, DebugLog::kProgress, L"first bit"));
  CHECK(open.log.Trace(kSource, 1, DebugLog::kError, L"last bit"));
  CHECK(open.log.Trace(kSource, 1, 0x110, L"one bit of two"));
  CHECK(open.recorded.Calls().size() == 3);
  OpenLog none(Enabled(L"VELA", 0));
  CHECK_FALSE(none.log.Trace(kSource, 1, DebugLog::kError, L"masked out"));
  CHECK(none.recorded.Calls().empty());
}

TEST_CASE("a line that the library refuses is a failure, and only that line") {
  OpenLog open;
  open.recorded.AnswerWith(ERROR_DISK_FULL);
  CHECK_FALSE(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"refused"));
  open.recorded.AnswerWith(0);
  CHECK(open.log.Trace("a.cpp", 2, DebugLog::kProgress, L"taken"));
  CHECK_LINES(open.recorded.Lines(), {".w. <VELA> refused - a.cpp(1)\r\n", ".w. <VELA> taken - a.cpp(2)\r\n"});
}

TEST_CASE("wide texts, characters beyond the code page and percent signs arrive as they are") {
  OpenLog open;
  CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"%s|%c|%5d|%-4s|%u%%", L"C:\\Benutzer\\\x65E5\x672C",
                       L'\x00FC', -12, L"ab", 4294967295U));
  CHECK_LINES(open.recorded.Lines(),
              {".w. <VELA> C:\\Benutzer\\\xE6\x97\xA5\xE6\x9C\xAC|\xC3\xBC|  -12|ab  |4294967295% - a.cpp(1)\r\n"});
}

// The sizes in characters, without the terminator, in which the message of each trace was tried.
class Attempts {
 public:
  const std::vector<std::size_t>& Sizes() const { return sizes_; }
  void Forget() { sizes_.clear(); }

 private:
  std::vector<std::size_t> sizes_;
  // va_list by its plain type: as a template argument it would lose its attributes.
  using Formatter = int (*)(wchar_t*, std::size_t, const wchar_t*, char*);
  ImportRedirection format_{"_vsnwprintf",
                            [this](wchar_t* buffer, std::size_t size, const wchar_t* format, char* arguments) -> int {
                              if (std::wcsncmp(format, L"msg ", 4) == 0) {
                                sizes_.push_back(size);
                              }
                              return format_.Original<Formatter>()(buffer, size, format, arguments);
                            }};
};

TEST_CASE("a message of any length is written whole") {
  OpenLog open;
  for (const std::size_t length : {250U, 251U, 252U, 255U, 256U, 257U, 1000U, 5000U, 100000U}) {
    CAPTURE(length);
    const std::wstring text(length, L'x');
    CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s.", text.c_str()));
    CHECK(open.recorded.Lines().back() == ".w. <VELA> msg " + TestSupport::ToUtf8(text) + ". - a.cpp(1)\r\n");
  }
}

TEST_CASE("the next trace starts with the size that sufficed last, of whatever trace object") {
  OpenLog open;
  Attempts attempts;
  CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s", L"short"));
  REQUIRE(attempts.Sizes().size() == 1);
  const std::size_t size = attempts.Sizes()[0] + 1;
  attempts.Forget();
  const std::wstring text(size * 2, L'x');
  CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s", text.c_str()));
  CHECK(attempts.Sizes() == std::vector<std::size_t>{size - 1, size * 2 - 1, size * 4 - 1});
  attempts.Forget();
  OpenLog other;
  CHECK(other.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s", L"short"));
  CHECK(attempts.Sizes() == std::vector<std::size_t>{size * 4 - 1});
  CHECK(other.recorded.Lines().back() == ".w. <VELA> msg short - a.cpp(1)\r\n");
}

constexpr wchar_t kFirstTraces[] = L"the first trace of a process starts with 256 characters";

TEST_CASE("the first trace of a process starts with 256 characters" * doctest::skip()) {
  OpenLog open;
  Attempts attempts;
  const std::wstring fits(251, L'x');
  CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s", fits.c_str()));
  CHECK(attempts.Sizes() == std::vector<std::size_t>{255});
  attempts.Forget();
  const std::wstring longer(252, L'x');
  CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s", longer.c_str()));
  CHECK(attempts.Sizes() == std::vector<std::size_t>{255, 511});
}

TEST_CASE("in a process of its own: the first trace starts with 256 characters") {
  wchar_t program[MAX_PATH] = {};
  REQUIRE(::GetModuleFileNameW(nullptr, program, MAX_PATH) != 0);
  TestSupport::TestProcess child(program, {L"--no-skip", std::wstring(L"--test-case=") + kFirstTraces});
  const TestSupport::ProcessOutcome outcome = child.Finish(60000);
  CHECK_FALSE(outcome.timedOut);
  CHECK(outcome.exitCode == 0);
}

TEST_CASE("a trace that finds no memory is a failure and throws nothing") {
  for (const bool quietly : {false, true}) {
    CAPTURE(quietly);
    OpenLog open;
    bool written = true;
    unsigned refused = 0;
    {
      using OrCommonTests::HeapLimit;
      const HeapLimit limit(quietly ? HeapLimit::kAnySize : 200, quietly ? 200 : HeapLimit::kAnySize);
      written = open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"lost");
      refused = limit.Refused();
    }
    CHECK(refused == 1);
    CHECK_FALSE(written);
    CHECK(open.recorded.Calls().empty());
    CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"next"));
    CHECK_LINES(open.recorded.Lines(), {".w. <VELA> next - a.cpp(1)\r\n"});
  }
}

TEST_CASE("a text that cannot be formatted is a failure and leaves the trace usable") {
  OpenLog open;
  bool written = true;
  {
    const FailCall format{"_vsnwprintf", TestSupport::Calls::From(1),
                          TestSupport::FailureReturn{~ULONG_PTR{0}, ERROR_SUCCESS, false}};
    written = open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s", L"lost");
    CHECK(format.Failed() > 1);  // larger buffers were tried
  }
  CHECK_FALSE(written);
  CHECK(open.recorded.Calls().empty());
  CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s", L"next"));
  CHECK_LINES(open.recorded.Lines(), {".w. <VELA> msg next - a.cpp(1)\r\n"});
}

}  // namespace
