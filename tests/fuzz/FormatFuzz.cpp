// Texts of any length in buffers: the result of printf-style formatting (Common/OrCommon/OrComn_String.h) does not
// depend on the first buffer size, and entry points are found by their whole name (Common/OrCommon/OrComn_Library.h).
#include "Common/OrCommon/OrComn_Library.h"
#include "Common/OrCommon/OrComn_String.h"
#include "tests/fuzz/Input.h"

using Fuzz::Require;
namespace String = OrCommon::String;

namespace {

constexpr std::size_t kGrowth = 256;

bool FormatOnce(std::wstring& text, std::size_t& capacity, const wchar_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const bool fits = String::FormatV(text, capacity, format, arguments);
  va_end(arguments);
  return fits;
}

std::wstring Digits(std::uint32_t number) {
  std::wstring digits;
  do {
    digits.insert(digits.begin(), static_cast<wchar_t>(L'0' + number % 10));
    number /= 10;
  } while (number != 0);
  return digits;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  const std::wstring text = input.Text();
  const std::uint32_t number = input.Number();
  std::size_t capacity = input.Number() % 2048;
  // An input is shorter than the growth step of the buffer. Repeated, it can reach the step exactly, and exceed it.
  std::wstring longText;
  for (std::uint32_t times = input.Number() % 64; times != 0; --times) {
    longText += text;
  }
  const std::wstring expected = L"[" + longText + L"] 100% of " + Digits(number) + L": " + text;
  constexpr wchar_t kFormat[] = L"[%s] 100%% of %u: %s";

  std::wstring whole = L"what was there before";
  Require(String::Format(whole, kFormat, longText.c_str(), number, text.c_str()), "formatting succeeds");
  Require(whole == expected, "the formatted text is complete");

  std::wstring attempted = L"kept";
  const std::size_t before = capacity;
  if (FormatOnce(attempted, capacity, kFormat, longText.c_str(), number, text.c_str())) {
    Require(expected.size() < before, "a text that fits has room for its terminator");
    Require(attempted == expected && capacity == before, "a text that fits replaces the old one");
  } else {
    Require(expected.size() >= before, "a text that has room for its terminator fits");
    Require(attempted == L"kept" && capacity == before + kGrowth,
            "a text that does not fit leaves the old one and asks for more room");
  }

  DWORD error = ERROR_SUCCESS;
  const FARPROC found = OrCommon::Library::FindEntryPoint(nullptr, longText.c_str(), error);
  Require(found == nullptr && error == ERROR_PROC_NOT_FOUND, "a name that no library has is not found");
  return 0;
}
