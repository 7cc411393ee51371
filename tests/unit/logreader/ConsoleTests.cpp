// What goes to a console, a file or a pipe. The console is one of the test.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "logreader/Console.h"
#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"

using namespace LogReader;
using TestSupport::ImportRedirection;

namespace {

constexpr WORD kWhiteOnBlue = FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE | BACKGROUND_BLUE;

// What a console of these colors gets: each text, and "[color]" where the color changes.
std::vector<std::wstring> Shown(const std::vector<std::pair<std::string, Color>>& texts, DWORD mostAtOnce = 100000) {
  std::vector<std::wstring> shown;
  const ImportRedirection mode("GetConsoleMode", [](HANDLE, DWORD* answer) -> BOOL {
    *answer = 0;
    return TRUE;
  });
  const ImportRedirection info("GetConsoleScreenBufferInfo", [](HANDLE, CONSOLE_SCREEN_BUFFER_INFO* answer) -> BOOL {
    answer->wAttributes = kWhiteOnBlue;
    return TRUE;
  });
  const ImportRedirection color("SetConsoleTextAttribute", [&](HANDLE, WORD attributes) -> BOOL {
    shown.push_back(L"[" + std::to_wstring(attributes) + L"]");
    return TRUE;
  });
  const ImportRedirection write("WriteConsoleW",
                                [&](HANDLE, const void* text, DWORD count, DWORD* written, void*) -> BOOL {
                                  *written = count < mostAtOnce ? count : mostAtOnce;
                                  shown.emplace_back(static_cast<const wchar_t*>(text), *written);
                                  return TRUE;
                                });
  const Stream stream(STD_OUTPUT_HANDLE);
  for (const auto& [text, of] : texts) {
    stream.Write(text, of);
  }
  return shown;
}

TEST_CASE("a console gets UTF-16 in colors, on its own background, and its own color again") {
  const auto own = L"[" + std::to_wstring(kWhiteOnBlue) + L"]";
  const auto of = [](WORD text) { return L"[" + std::to_wstring(text | BACKGROUND_BLUE) + L"]"; };
  CHECK(Shown({{"plain \xC3\xA9\n", Color::kPlain}}) == std::vector<std::wstring>{L"plain \u00E9\n"});
  CHECK(Shown({{"a", Color::kGood}, {"b", Color::kBad}, {"c", Color::kWarning}, {"d", Color::kHeading}}) ==
        std::vector<std::wstring>{
            of(FOREGROUND_GREEN | FOREGROUND_INTENSITY), L"a", own, of(FOREGROUND_RED | FOREGROUND_INTENSITY), L"b",
            own, of(FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_INTENSITY), L"c", own,
            of(FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE | FOREGROUND_INTENSITY), L"d", own});
}

TEST_CASE("a long text goes to a console in parts, and no part ends within a character") {
  // 8191 letters and a character of two UTF-16 units, which would be the 8192nd and the next one
  const std::string text = std::string(8191, 'x') + "\xF0\x9F\x98\x80y";
  CHECK(Shown({{text, Color::kPlain}}) == std::vector<std::wstring>{std::wstring(8191, L'x'), L"\xD83D\xDE00y"});
  CHECK(Shown({{"abcde", Color::kPlain}}, 2) == std::vector<std::wstring>{L"ab", L"cd", L"e"});
}

TEST_CASE("a console that fails gets no more") {
  for (const BOOL answer : {TRUE, FALSE}) {
    int calls = 0;
    const ImportRedirection mode("GetConsoleMode", [](HANDLE, DWORD*) -> BOOL { return TRUE; });
    const ImportRedirection info("GetConsoleScreenBufferInfo",
                                 [](HANDLE, CONSOLE_SCREEN_BUFFER_INFO*) -> BOOL { return FALSE; });
    const ImportRedirection write("WriteConsoleW", [&](HANDLE, const void*, DWORD, DWORD* written, void*) -> BOOL {
      *written = answer == FALSE && ++calls < 3 ? 1 : 0;
      calls += answer == FALSE ? 0 : 1;
      return answer;
    });
    Stream(STD_OUTPUT_HANDLE).Write("abc", Color::kPlain);
    CHECK(calls == 1);
  }
}

TEST_CASE("a file or a pipe gets UTF-8 with CR LF and no colors, until nobody reads it any more") {
  std::string written;
  int calls = 0;
  const ImportRedirection mode("GetConsoleMode", [](HANDLE, DWORD*) -> BOOL { return FALSE; });
  const ImportRedirection write("WriteFile", [&](HANDLE, const void* bytes, DWORD count, DWORD* done, OVERLAPPED*) {
    ++calls;
    *done = count < 3 ? count : 3;
    written.append(static_cast<const char*>(bytes), *done);
    return static_cast<BOOL>(calls < 3);
  });
  const Stream stream(STD_OUTPUT_HANDLE);
  stream.Write("\xC3\xA9\nab", Color::kBad);
  CHECK(written == "\xC3\xA9\r\nab");
  CHECK(calls == 2);
  stream.Write("more than three", Color::kPlain);
  CHECK(calls == 3);
}

TEST_CASE("an error of Windows ends the reading of a file; the end of a pipe is no error") {
  for (const DWORD error : {DWORD{ERROR_BROKEN_PIPE}, DWORD{ERROR_READ_FAULT}}) {
    CAPTURE(error);
    FileBytes bytes(L"C:\\windows\\win.ini");
    REQUIRE(bytes.Error() == ERROR_SUCCESS);
    const TestSupport::FailCall read("ReadFile", TestSupport::Calls::From(1), error);
    CHECK(bytes.sgetc() == std::char_traits<char>::eof());
    CHECK(bytes.Error() == (error == ERROR_BROKEN_PIPE ? ERROR_SUCCESS : error));
  }
  FileBytes missing(L"C:\\windows\\no such file");
  CHECK(missing.sgetc() == std::char_traits<char>::eof());
  CHECK(missing.Error() == ERROR_FILE_NOT_FOUND);
}

TEST_CASE("names go to UTF-8 and back") {
  CHECK(ToWide("C:\\\xC3\xA9") == L"C:\\\u00E9");
  CHECK(ToNarrow(L"C:\\\u00E9") == "C:\\\xC3\xA9");
  CHECK(ToWide("").empty());
  CHECK(ToNarrow(L"").empty());
}

}  // namespace
