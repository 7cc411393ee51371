// The bytes of the log, restored from files that another program wrote.
#include <doctest/doctest.h>

#include <algorithm>
#include <string>

#include "logreader/Encoding.h"

using namespace LogReader;

namespace {

// In parts of this size.
std::string Restored(std::string_view bytes, std::size_t size) {
  ByteRestorer restorer;
  std::string restored;
  for (std::size_t at = 0; at < bytes.size(); at += size) {
    restored += restorer.Restore(bytes.substr(at, size));
  }
  return restored + restorer.Finish();
}

void CheckRestored(std::string_view bytes, std::string_view wanted) {
  for (std::size_t size = 1; size <= std::max<std::size_t>(bytes.size(), 1); ++size) {
    CAPTURE(size);
    CHECK(Restored(bytes, size) == wanted);
  }
}

TEST_CASE("bytes without a mark stay as they are") {
  for (const std::string_view bytes : {std::string_view(), std::string_view("\r\nLOG_INFO : Caf\xE9"),
                                       std::string_view("\xFF"), std::string_view("\xFE"), std::string_view("\xEF\xBB"),
                                       std::string_view("\xEF\xBBx"), std::string_view("\xFFx")}) {
    CheckRestored(bytes, bytes);
  }
}

TEST_CASE("UTF-16 with a mark") {
  using namespace std::string_view_literals;
  CheckRestored("\xFF\xFE"sv, "");
  CheckRestored("\xFF\xFE\r\0\n\0L\0\xE9\0"sv, "\r\nL\xE9");
  CheckRestored("\xFE\xFF\0\r\0\n\0L\0\xE9"sv, "\r\nL\xE9");
  CheckRestored("\xFF\xFE\x42\x30L\0"sv, "?L");  // a Japanese character
  CheckRestored("\xFF\xFEL\0\xE9"sv, "L\xE9");   // half a character at the end
}

TEST_CASE("UTF-8 with a mark") {
  CheckRestored("\xEF\xBB\xBF", "");
  CheckRestored("\xEF\xBB\xBF\r\nCaf\xC3\xA9 \xC2\xA7", "\r\nCaf\xE9 \xA7");
  CheckRestored("\xEF\xBB\xBF\xE6\x97\xA5!", "?!");
  CheckRestored("\xEF\xBB\xBF\xF0\x9F\x98\x80!", "?!");
  CheckRestored("\xEF\xBB\xBF\xC4\x80!", "?!");  // U+0100 is the first that the log cannot have
  CheckRestored("\xEF\xBB\xBF\xC3\xBF", "\xFF");
  // What is no UTF-8 stays.
  CheckRestored("\xEF\xBB\xBF\xE9!", "\xE9!");
  CheckRestored("\xEF\xBB\xBF\xC3", "\xC3");
  CheckRestored("\xEF\xBB\xBF\xE6\x97", "\xE6\x97");
  CheckRestored("\xEF\xBB\xBF\xE6\x97!", "\xE6\x97!");
  CheckRestored("\xEF\xBB\xBF\x80\xC1\xF5", "\x80\xC1\xF5");
  CheckRestored("\xEF\xBB\xBF\xF5\x80\x80\x80!", "\xF5\x80\x80\x80!");
  CheckRestored("\xEF\xBB\xBF\xF4\x80\x80\x80!", "?!");
}

TEST_CASE("text of the log for others") {
  CHECK(ToUtf8("Caf\xE9 \xA7\x7F\x80") == "Caf\xC3\xA9 \xC2\xA7\x7F\xC2\x80");
  CHECK(ToUtf8("\x1B[1m\xBF\xC0\xFF") == "\x1B[1m\xC2\xBF\xC3\x80\xC3\xBF");
  CHECK(ToUtf8({}) == "");
  CHECK(ToPrintable("\x1B[1m \x7F\x80\x9F\xA0~\x1F") == "\\x1B[1m \\x7F\\x80\\x9F\xC2\xA0~\\x1F");
}

}  // namespace
