#include "Common/OrCommon/OrComn_String.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <cstdarg>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/ImportRedirection.h"
#include "tests/unit/OrCommon/HeapWatch.h"

using OrCommon::String::Format;
using OrCommon::String::FormatV;
using OrCommonTests::HeapLimit;
using OrCommonTests::LiveBlocks;
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

// The room that the runtime's formatter was offered at each attempt, its own terminator not counted.
class Attempts {
 public:
  Attempts()
      : redirection_("_vsnwprintf", [this](wchar_t* buffer, std::size_t room, const wchar_t* format, char* list) {
          rooms_.push_back(room);
          using Function = int(__cdecl*)(wchar_t*, std::size_t, const wchar_t*, char*);
          return redirection_.Original<Function>()(buffer, room, format, list);
        }) {}
  const std::vector<std::size_t>& Rooms() const { return rooms_; }

 private:
  std::vector<std::size_t> rooms_;
  ImportRedirection redirection_;
};

struct Thrown {
  bool any = false;
  DWORD kind = 0;
  DWORD line = 0;
  const char* file = "";
};

template <class Operation>
Thrown ThrownBy(const Operation& operation) {
  try {
    operation();
  } catch (OrCommon::String::Exception* failure) {
    const std::unique_ptr<OrCommon::Exception::Base> owner(failure);
    return {true, owner->Code(), owner->Line(), owner->File()};
  }
  return {};
}

TEST_CASE("texts, characters and numbers are formatted as Microsoft's runtime does") {
  std::wstring text = L"content of before";
  CHECK(Format(text, L"%s\\%c-%d-%u-0x%08x-%%", L"D\u00E9j\u00E0 \u65E5\u672C", L'\u00FC', -5, 2147680509U, 0x57U));
  CHECK(text == L"D\u00E9j\u00E0 \u65E5\u672C\\\u00FC--5-2147680509-0x00000057-%");
}

TEST_CASE("the text replaces what was there, also by nothing") {
  std::wstring text = L"a longer text of before";
  CHECK(Format(text, L"%s", L"new"));
  CHECK(text == L"new");
  CHECK(Format(text, L"%s", L""));
  CHECK(text.empty());
}

TEST_CASE("255 characters fit the first buffer, one more needs the next") {
  const auto roomsFor = [](std::size_t length) {
    const std::wstring wanted(length, L'x');
    std::wstring text;
    const Attempts attempts;
    CHECK(Format(text, L"%s", wanted.c_str()));
    CHECK(text == wanted);
    return attempts.Rooms();
  };
  CHECK(roomsFor(0) == std::vector<std::size_t>{255});
  CHECK(roomsFor(254) == std::vector<std::size_t>{255});
  CHECK(roomsFor(255) == std::vector<std::size_t>{255});
  CHECK(roomsFor(256) == std::vector<std::size_t>{255, 511});
  CHECK(roomsFor(511) == std::vector<std::size_t>{255, 511});
  CHECK(roomsFor(512) == std::vector<std::size_t>{255, 511, 767});
  CHECK(roomsFor(1000) == std::vector<std::size_t>{255, 511, 767, 1023});
}

TEST_CASE("every attempt starts with the first argument again") {
  const std::wstring folder(300, L'f');
  std::wstring text;
  CHECK(Format(text, L"%s|%d|%s", folder.c_str(), 42, L"end"));
  CHECK(text == folder + L"|42|end");
}

TEST_CASE("a text of 100,000 characters") {
  const std::wstring wanted(100000, L'y');
  std::wstring text;
  CHECK(Format(text, L"<%s>", wanted.c_str()));
  CHECK(text == L"<" + wanted + L">");
}

TEST_CASE("buffers are given back") {
  const std::wstring wanted(1000, L'z');
  std::wstring text;
  text.reserve(2000);
  const long long before = LiveBlocks();
  Format(text, L"%s", wanted.c_str());
  const long long after = LiveBlocks();
  CHECK(after == before);
  CHECK(text == wanted);
}

TEST_CASE("a single attempt that fits") {
  std::wstring text = L"content of before";
  std::size_t capacity = 6;
  CHECK(FormatOnce(text, capacity, L"%s", L"12345"));
  CHECK(text == L"12345");
  CHECK(capacity == 6);
}

TEST_CASE("a single attempt that does not fit grows the capacity by 256 and leaves the text") {
  std::wstring text = L"content of before";
  std::size_t capacity = 5;
  CHECK_FALSE(FormatOnce(text, capacity, L"%s", L"12345"));
  CHECK(text == L"content of before");
  CHECK(capacity == 5 + 256);
  CHECK(FormatOnce(text, capacity, L"%s", L"12345"));
  CHECK(text == L"12345");
  CHECK(capacity == 5 + 256);
}

TEST_CASE("single attempts with next to no room") {
  std::wstring text = L"content of before";
  std::size_t none = 0;
  CHECK_FALSE(FormatOnce(text, none, L"%s", L""));
  CHECK(none == 256);
  CHECK(text == L"content of before");
  std::size_t one = 1;
  CHECK_FALSE(FormatOnce(text, one, L"%s", L"1"));
  CHECK(one == 257);
  std::size_t two = 2;
  CHECK(FormatOnce(text, two, L"%s", L"1"));
  CHECK(text == L"1");
}

constexpr std::size_t kSmallestBuffer = 200;  // bytes; what is thrown takes less

TEST_CASE("an exhausted heap is thrown, and nothing of it stays there") {
  std::wstring text = L"content of before";
  text.reserve(100);
  SUBCASE("at the first buffer") {
    const long long before = LiveBlocks();
    Thrown thrown;
    unsigned refused = 0;
    {
      const HeapLimit memory(kSmallestBuffer);
      thrown = ThrownBy([&] { Format(text, L"%s", L"new"); });
      refused = memory.Refused();
    }
    const long long after = LiveBlocks();
    CHECK(after == before);
    CHECK(refused == 1);
    CHECK(thrown.any);
    CHECK(thrown.kind == 6);
    CHECK(thrown.line == 55);
    CHECK(std::string(thrown.file) == "..\\..\\Common\\OrCommon\\OrComn_String");
    CHECK(text.empty());
  }
  SUBCASE("in a single attempt") {
    const long long before = LiveBlocks();
    Thrown thrown;
    std::size_t capacity = 100;
    {
      const HeapLimit memory(kSmallestBuffer);
      thrown = ThrownBy([&] { FormatOnce(text, capacity, L"%s", L"new"); });
    }
    const long long after = LiveBlocks();
    CHECK(after == before);
    CHECK(thrown.any);
    CHECK(thrown.kind == 6);
    CHECK(thrown.line == 84);
    CHECK(std::string(thrown.file) == "..\\..\\Common\\OrCommon\\OrComn_String");
    CHECK(text == L"content of before");
  }
  SUBCASE("at the text itself") {
    const std::wstring wanted(200, L'x');
    Thrown thrown;
    Thrown thrownOnce;
    std::wstring once = L"content of before";
    std::size_t capacity = 256;
    const long long before = LiveBlocks();
    {
      const HeapLimit memory(kSmallestBuffer, HeapLimit::kAnySize);
      thrown = ThrownBy([&] { Format(text, L"%s", wanted.c_str()); });
      thrownOnce = ThrownBy([&] { FormatOnce(once, capacity, L"%s", wanted.c_str()); });
    }
    const long long after = LiveBlocks();
    CHECK(after == before);
    CHECK(thrown.kind == 6);
    CHECK(thrown.line == 55);
    CHECK(text.empty());
    CHECK(thrownOnce.kind == 6);
    CHECK(thrownOnce.line == 84);
    CHECK(once == L"content of before");
  }
}

TEST_CASE("room that no machine has, and room that cannot even be counted in bytes") {
  for (const std::size_t characters : {std::size_t{1} << 60, std::size_t{1} << 62, static_cast<std::size_t>(-1)}) {
    CAPTURE(characters);
    std::wstring text = L"content of before";
    std::size_t capacity = characters;
    const Thrown thrown = ThrownBy([&] { FormatOnce(text, capacity, L"%s", L"new"); });
    CHECK(thrown.any);
    CHECK(thrown.kind == 6);
    CHECK(thrown.line == 84);
    CHECK(text == L"content of before");
  }
}

TEST_CASE("the exception of this library: its place among the others and its fields in their order") {
  using OrCommon::String::Exception;
  CHECK(std::is_base_of_v<OrCommon::Exception::Base, Exception>);
  CHECK(std::has_virtual_destructor_v<Exception>);
  CHECK_FALSE(std::is_copy_constructible_v<Exception>);
  const Exception exception(55);
  DWORD fields[2] = {};
  std::memcpy(fields, reinterpret_cast<const BYTE*>(&exception) + sizeof(void*), sizeof fields);
  CHECK(fields[0] == 6);
  CHECK(fields[1] == 55);
}

}  // namespace
