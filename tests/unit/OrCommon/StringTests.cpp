#include "Common/OrCommon/OrComn_String.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <cstdarg>
#include <memory>
#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/ImportRedirection.h"

using namespace OrCommon::String;
using TestSupport::CountCalls;
using TestSupport::ImportRedirection;

namespace {

bool FormatOnce(std::wstring& text, std::size_t& capacity, const wchar_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  struct End {
    std::va_list& list;
    ~End() { va_end(list); }
  } const end{arguments};
  return FormatV(text, capacity, format, arguments);
}

// "code line file" of what an operation throws.
template <class Operation>
std::string ThrownBy(const Operation& operation) {
  try {
    operation();
  } catch (OrCommon::String::Exception* failure) {
    const std::unique_ptr<OrCommon::Exception::Base> owner(failure);
    return std::to_string(owner->Code()) + " " + std::to_string(owner->Line()) + " " + owner->File();
  }
  return {};
}
constexpr char kByFormat[] = "6 55 ..\\..\\Common\\OrCommon\\OrComn_String";
constexpr char kByFormatV[] = "6 84 ..\\..\\Common\\OrCommon\\OrComn_String";

TEST_CASE("texts, characters and numbers are formatted as Microsoft's runtime does") {
  std::wstring text = L"content of before";
  CHECK(Format(text, L"%s\\%c-%d-%u-0x%08x-%%", L"D\u00E9j\u00E0 \u65E5\u672C", L'\u00FC', -5, 2147680509U, 0x57U));
  CHECK(text == L"D\u00E9j\u00E0 \u65E5\u672C\\\u00FC--5-2147680509-0x00000057-%");
}

TEST_CASE("255 characters fit into the first buffer, and each further buffer has room for 256 more") {
  for (const std::size_t length : {0U, 254U, 255U, 256U, 511U, 512U, 1000U, 100000U}) {
    CAPTURE(length);
    const std::wstring wanted(length, L'x');
    std::wstring text = L"content of before";
    std::size_t room = 255;  // the size given to the runtime's formatter, without its own terminator
    {
      const ImportRedirection attempt{"_vsnwprintf",
                                      [&](wchar_t* buffer, std::size_t offered, const wchar_t* format, char* list) {
                                        CHECK(offered == room);
                                        room += 256;
                                        using Function = int(__cdecl*)(wchar_t*, std::size_t, const wchar_t*, char*);
                                        return attempt.Original<Function>()(buffer, offered, format, list);
                                      }};
      CHECK(Format(text, L"%s", wanted.c_str()));
    }
    CHECK(text == wanted);
    CHECK(room == 511 + length / 256 * 256);
    CHECK(Format(text, L"%s|%d|%s", wanted.c_str(), 42, L"end"));  // each attempt starts with the first argument
    CHECK(text == wanted + L"|42|end");
  }
}

TEST_CASE("a single attempt that does not fit adds 256 to the capacity and leaves the text unchanged") {
  struct Row {
    std::size_t capacity;
    const wchar_t* text;
    bool fits;
  };
  for (const Row& row : {Row{0, L"", false}, Row{1, L"1", false}, Row{2, L"1", true}, Row{5, L"12345", false},
                         Row{6, L"12345", true}, Row{261, L"12345", true}}) {
    CAPTURE(row.capacity);
    std::wstring text = L"content of before";
    std::size_t capacity = row.capacity;
    CHECK(FormatOnce(text, capacity, L"%s", row.text) == row.fits);
    CHECK(text == (row.fits ? row.text : L"content of before"));
    CHECK(capacity == row.capacity + (row.fits ? 0 : 256));
  }
}

constexpr std::size_t kSmallestBuffer = 200;  // bytes; what is thrown takes less

TEST_CASE("if memory for the buffer or the text is short, an exception is thrown, and nothing stays allocated") {
  const std::wstring wanted(200, L'x');
  for (const std::size_t quiet :
       {kSmallestBuffer, TestSupport::HeapLimit::kAnySize}) {  // the buffers ask without an exception
    std::wstring text = L"content of before";
    std::wstring once = L"content of before";
    std::size_t capacity = 256;
    std::string thrown;
    std::string thrownOnce;
    thrown.reserve(100);
    thrownOnce.reserve(100);
    unsigned refused = 0;
    const CountCalls formatted{"_vsnwprintf"};
    const long long before = TestSupport::LiveBlocks();
    {
      const TestSupport::HeapLimit memory(kSmallestBuffer, quiet);
      thrown.append(ThrownBy([&] { Format(text, L"%s", wanted.c_str()); }));
      refused = memory.Refused();
      thrownOnce.append(ThrownBy([&] { FormatOnce(once, capacity, L"%s", wanted.c_str()); }));
    }
    const long long after = TestSupport::LiveBlocks();
    CHECK(after == before);
    CHECK(refused == 1);
    CHECK(formatted.Calls() == (quiet == kSmallestBuffer ? 0 : 2));  // never called without a buffer
    CHECK(thrown == kByFormat);
    CHECK(text.empty());
    CHECK(thrownOnce == kByFormatV);
    CHECK(once == L"content of before");
  }
}

TEST_CASE("a capacity that no machine has, or that is too large to be counted in bytes, throws") {
  for (const std::size_t characters : {std::size_t{1} << 60, std::size_t{1} << 62, static_cast<std::size_t>(-1)}) {
    CAPTURE(characters);
    std::wstring text = L"content of before";
    std::size_t capacity = characters;
    CHECK(ThrownBy([&] { FormatOnce(text, capacity, L"%s", L"new"); }) == kByFormatV);
    CHECK(text == L"content of before");
  }
}

}  // namespace
