// The lines of the trace, exact to the last blank, and when none is written.
#include "Common/OrCommon/OrComn_DebugLog.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/OrCommon/RecordedTrace.h"

using OrCommon::DebugLog;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

constexpr char kSource[] = "..\\..\\Common\\Area\\Source_File";

// A separate trace object, opened with the recording library.
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

TEST_CASE("the complete text of a trace line") {
  const SYSTEMTIME moment = {2009, 2, 2, 3, 4, 5, 6, 7};
  OpenLog open;
  CHECK(open.opened);
  CHECK(open.error == 4711);  // nothing failed, so nothing is reported
  {
    const ImportRedirection time{"GetLocalTime", [&](SYSTEMTIME* now) { *now = moment; }};
    const ImportRedirection process{"GetCurrentProcessId", []() -> DWORD { return 0x1A; }};
    const ImportRedirection thread{"GetCurrentThreadId", []() -> DWORD { return 0xBC12D; }};
    CHECK(open.log.Trace(kSource, 42, DebugLog::kError, L"*** step %d of %s failed. [0x%08x]", 7, L"nine", 0xC1));
  }
  const std::vector<Traced> calls = open.recorded.Calls();
  REQUIRE(calls.size() == 1);
  CHECK(calls[0].text ==
        L"03/02/2009 04:05:06.007 001a:bc12d !!! <VELA> *** step 7 of nine failed. [0x000000c1] - Source_File(42)\r\n");
  CHECK(calls[0].handle == &open.handle);
  CHECK(std::memcmp(&calls[0].time, &moment, sizeof moment) == 0);
}

TEST_CASE("the parts of a line: the level's tag, the component, the last part of the source path, the line") {
  const auto check = [](const std::wstring& component, const char* path, DWORD line, DWORD level,
                        const std::string& wanted) {
    OpenLog open(Enabled(component));
    CHECK(open.log.Trace(path, line, level, L"m"));
    CHECK_LINES(open.recorded.Lines(), {wanted + "\r\n"});
  };
  const std::wstring longName(700, L'c');
  check(L"VELA", "C:\\a\\b\\one.cpp", 1, 1, ".w. <VELA> m - one.cpp(1)");
  check(L"two words", "..\\..\\Common\\two", 1, 16, "@@@ <two words> m - two(1)");
  check(L"", "three.cpp", 0xFFFFFFFF, 256, "!!! <> m - three.cpp(4294967295)");
  check(longName, "a/b/four.cpp", 1, 1, ".w. <" + ToUtf8(longName) + "> m - four.cpp(1)");
  check(L"VELA", "", 1, 1, ".w. <VELA> m - (1)");
  check(L"VELA", "C:\\dir\\", 1, 1, ".w. <VELA> m - dir\\(1)");
  for (const DWORD level : {2UL, 17UL, 257UL, 0x80000000UL}) {
    check(L"VELA", "a.cpp", 1, level, "??? <VELA> m - a.cpp(1)");
  }
}

TEST_CASE("a source name is converted from the ANSI code page, and left empty if that fails") {
  OpenLog open;
  REQUIRE(::GetACP() == 1252);
  CHECK(open.log.Trace("C:\\x\\caf\xE9.cpp", 3, DebugLog::kProgress, L"m"));
  for (const unsigned call : {1U, 2U}) {
    const FailCall conversion{"MultiByteToWideChar", call, ERROR_NO_UNICODE_TRANSLATION};
    CHECK(open.log.Trace("one.cpp", 5, DebugLog::kProgress, L"m"));
    CHECK(conversion.Failed() == 1);
  }
  CHECK_LINES(open.recorded.Lines(),
              {".w. <VELA> m - caf\xC3\xA9.cpp(3)\r\n", ".w. <VELA> m - (5)\r\n", ".w. <VELA> m - (5)\r\n"});
}

TEST_CASE("a trace that is not open, or not enabled by exactly 1, writes nothing and reports success") {
  DebugLog log;
  CHECK(log.Trace(kSource, 1, DebugLog::kError, L"nobody reads this"));
  CHECK(OrCommon::g_debugLog.Trace(kSource, 1, DebugLog::kError, L"nor this"));
  for (const BYTE enabled : {BYTE{0}, BYTE{2}, BYTE{255}}) {
    for (const DWORD mask : {0xFFFFFFFFUL, 0UL}) {  // dropped before the level is checked
      DebugLog::Options options = Enabled(L"VELA", mask);
      options.enabled = enabled;
      OpenLog open(options);
      CHECK(open.log.Trace(kSource, 1, DebugLog::kError, L"dropped"));
      CHECK(open.recorded.Calls().empty());
    }
  }
}

TEST_CASE("a level that shares no bit with the mask is not written and reports failure") {
  OpenLog open(Enabled(L"VELA", 0x101));
  for (const DWORD level : {DWORD{DebugLog::kNotice}, 0UL, 0xFFFFFEFEUL}) {
    CHECK_FALSE(open.log.Trace(kSource, 1, level, L"masked out"));
  }
  CHECK(open.recorded.Calls().empty());
  for (const DWORD level : {DWORD{DebugLog::kProgress}, DWORD{DebugLog::kError}, 0x110UL}) {
    CHECK(open.log.Trace(kSource, 1, level, L"one bit"));
  }
  CHECK(open.recorded.Calls().size() == 3);
}

// The buffer sizes (in characters, without the terminator) that were tried for the messages "msg ...".
struct Attempts {
  std::vector<std::size_t> sizes;
  ImportRedirection format{"_vsnwprintf",
                           [this](wchar_t* buffer, std::size_t size, const wchar_t* text, char* arguments) -> int {
                             if (std::wcsncmp(text, L"msg ", 4) == 0) {
                               sizes.push_back(size);
                             }
                             // va_list by its plain type: as a template argument it would lose its attributes.
                             using Formatter = int (*)(wchar_t*, std::size_t, const wchar_t*, char*);
                             return format.Original<Formatter>()(buffer, size, text, arguments);
                           }};
};

std::vector<std::size_t> SizesFor(std::size_t length) {
  OpenLog open;
  const Attempts attempts;
  const std::wstring text(length, L'x');
  CHECK(open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s", text.c_str()));
  CHECK_LINES(open.recorded.Lines(), {".w. <VELA> msg " + ToUtf8(text) + " - a.cpp(1)\r\n"});
  return attempts.sizes;
}

TEST_CASE("a message of any length is written completely; the next trace starts with the last buffer size") {
  for (const std::size_t length : {251U, 252U, 255U, 256U, 257U, 100000U}) {
    SizesFor(length);
  }
  const std::vector<std::size_t> first = SizesFor(5);
  REQUIRE(first.size() == 1);
  const std::size_t size = first[0] + 1;
  CHECK(SizesFor(size * 2) == std::vector<std::size_t>{size - 1, size * 2 - 1, size * 4 - 1});
  CHECK(SizesFor(5) == std::vector<std::size_t>{size * 4 - 1});
}

TEST_CASE("the first trace of a process starts with 256 characters" * doctest::skip()) {
  CHECK(SizesFor(251) == std::vector<std::size_t>{255});
  CHECK(SizesFor(252) == std::vector<std::size_t>{255, 511});
}

TEST_CASE("in a process of its own: the first trace starts with 256 characters") {
  wchar_t program[MAX_PATH] = {};
  REQUIRE(::GetModuleFileNameW(nullptr, program, MAX_PATH) != 0);
  TestProcess child(program, {L"--no-skip", L"--test-case=the first trace of a process*"});
  CHECK(child.Finish(60000).exitCode == 0);
}

TEST_CASE("a line fails if the library refuses it, memory is short or it cannot be formatted; the next one succeeds") {
  OpenLog open;
  const auto trace = [&](const wchar_t* text) {
    return open.log.Trace("a.cpp", 1, DebugLog::kProgress, L"msg %s", text);
  };
  open.recorded.AnswerWith(1);
  CHECK_FALSE(trace(L"refused"));
  open.recorded.AnswerWith(0);
  CHECK(trace(L"taken"));
  for (const bool quietly : {false, true}) {
    bool written = true;
    unsigned refused = 0;
    {
      const HeapLimit limit(quietly ? HeapLimit::kAnySize : 200, quietly ? 200 : HeapLimit::kAnySize);
      written = trace(L"lost");
      refused = limit.Refused();
    }
    CHECK(refused == 1);
    CHECK_FALSE(written);
  }
  {
    const FailCall format{"_vsnwprintf", Calls::From(1), FailureReturn{~ULONG_PTR{0}, ERROR_SUCCESS, false}};
    CHECK_FALSE(trace(L"lost"));
    CHECK(format.Failed() > 1);  // larger buffers were tried
  }
  CHECK(trace(L"next"));
  CHECK_LINES(open.recorded.Lines(), {".w. <VELA> msg refused - a.cpp(1)\r\n", ".w. <VELA> msg taken - a.cpp(1)\r\n",
                                      ".w. <VELA> msg next - a.cpp(1)\r\n"});
}

}  // namespace
