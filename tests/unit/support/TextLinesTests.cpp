#include "tests/support/TextLines.h"

#include <doctest/doctest.h>

using TestSupport::Difference;
using TestSupport::Lines;

namespace {

TEST_CASE("equal lists have no difference") {
  CHECK(Difference({}, {}) == "");
  CHECK(Difference({"a", "b"}, {"a", "b"}) == "");
}

TEST_CASE("a difference shows all lines in order") {
  CHECK(Difference({"a", "b", "c"}, {"a", "c"}) == "  a\n- b\n  c\n");
  CHECK(Difference({"a", "c"}, {"a", "b", "c"}) == "  a\n+ b\n  c\n");
  CHECK(Difference({"a"}, {"b"}) == "- a\n+ b\n");
  CHECK(Difference({}, {"a"}) == "+ a\n");
  CHECK(Difference({"a", ""}, {"a"}) == "  a\n- \n");
  CHECK(Difference({"a", "b"}, {"b", "a"}) == "- a\n  b\n+ a\n");
}

TEST_CASE("lines are picked by a part of them") {
  CHECK(TestSupport::LinesWith({"LOG_INFO : x", "LOG_ERROR: y"}, "ERROR") == Lines{"LOG_ERROR: y"});
}

TEST_CASE("wide text becomes UTF-8") {
  CHECK(TestSupport::ToUtf8(L"a\u00E9\u65E5") == "a\xC3\xA9\xE6\x97\xA5");
}

}  // namespace
